// SPDX-License-Identifier: BSD-2-Clause-Patent
// Runs the built moca-host binary in a scratch directory, as a user would.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

using json = nlohmann::ordered_json;

struct Outcome {
    int status = -1;
    std::string out, err;
};

inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for(std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

inline std::vector<std::string> keys_of(const json& object) {
    std::vector<std::string> keys;
    for(const auto& item : object.items()) {
        keys.push_back(item.key());
    }
    return keys;
}

// Whether `got` holds `want`: an object each wanted key with a value that holds the
// wanted one, an array an element that holds each wanted element, anything else equal.
inline bool holds(const json& got, const json& want) {
    if(want.is_object()) {
        for(const auto& item : want.items()) {
            if(!got.is_object() || !got.contains(item.key()) || !holds(got[item.key()], item.value())) {
                return false;
            }
        }
        return true;
    }
    if(want.is_array() && got.is_array()) {
        for(const auto& w : want) {
            if(std::none_of(got.begin(), got.end(), [&](const json& g) { return holds(g, w); })) {
                return false;
            }
        }
        return true;
    }
    return got == want;
}

// "--sim 'examples/NAME.json' ".
inline std::string example_sim(const std::string& name) {
    return "--sim '" + std::string(MXL_EXAMPLES_DIR) + "/" + name + ".json' ";
}

class MocaHostRun : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/moca-host-test-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
    }
    void TearDown() override { std::filesystem::remove_all(dir_); }

    std::string path(const std::string& name) const { return dir_ + "/" + name; }

    void write(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }

    static std::string read(const std::string& file) {
        std::stringstream s;
        s << std::ifstream(file).rdbuf();
        return s.str();
    }

    // The example home network with a JSON merge patch, as a --sim option.
    std::string patched_sim(const std::string& patch) const {
        json scenario = json::parse(read(std::string(MXL_EXAMPLES_DIR) + "/home-network.json"));
        scenario.merge_patch(json::parse(patch));
        write("patched.json", scenario.dump());
        return "--sim '" + path("patched.json") + "' ";
    }

    // Runs moca-host with the arguments (already quoted for the shell).
    Outcome run(const std::string& args, const std::string& stdin_file = "/dev/null") const {
        std::string cmd = std::string("'") + MOCA_HOST_BIN + "' " + args + " <" + stdin_file + " >'" + path("out") +
                          "' 2>'" + path("err") + "'";
        int rc = std::system(cmd.c_str());
        return {WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, read(path("out")), read(path("err"))};
    }

    std::string dir_;
};
