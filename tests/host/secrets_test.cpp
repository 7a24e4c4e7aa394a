// SPDX-License-Identifier: BSD-2-Clause-Patent
// The network's pass phrase stays out of everything people read and paste into
// tickets, unless they ask for it.
#include <filesystem>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "host_binary.h"

namespace {

class Secrets : public MocaHostRun {};

TEST_F(Secrets, NoHumanOutputOfAnyExampleShowsThePassPhrase) {
    size_t phrases = 0;
    for(const auto& file : std::filesystem::directory_iterator(MXL_EXAMPLES_DIR)) {
        const auto scenario = nlohmann::json::parse(std::ifstream(file.path()));
        const std::string sim = "--sim '" + file.path().string() + "' ";
        for(const auto& [ifname, iface] : scenario["interfaces"].items()) {
            // Slot 5 is the one the configuration report reads back.
            const auto slots = iface.value("config", nlohmann::json::object()).value("mocaPassword", nlohmann::json());
            const auto slot = slots.is_object()                      ? slots.value("5", nlohmann::json())
                              : slots.is_array() && slots.size() > 5 ? slots[5]
                                                                     : nlohmann::json();
            const std::string secret = slot.is_string() ? slot.get<std::string>() : "";
            if(secret.empty()) {
                continue;
            }
            ++phrases;
            const std::string mark = "<set, " + std::to_string(secret.size()) + " characters>";
            for(const char* command : {"dump", "dump --json", "health", "health --json"}) {
                const Outcome r = run(sim + command + " " + ifname);
                EXPECT_EQ(r.out.find(secret), std::string::npos) << file.path() << " " << command;
                if(std::string(command).rfind("dump", 0) == 0) { // the dump says that one is set
                    EXPECT_NE(r.out.find(mark), std::string::npos) << file.path() << " " << command;
                }
            }
            run(sim + "report " + ifname + " -o '" + path("r.html") + "'");
            EXPECT_EQ(read(path("r.html")).find(secret), std::string::npos) << file.path();
            EXPECT_NE(run(sim + "--show-secrets dump " + ifname).out.find(secret), std::string::npos);
        }
    }
    EXPECT_GT(phrases, 0u); // some example sets a pass phrase
}

TEST_F(Secrets, ShowSecretsGoesWithHumanOutputOnly) {
    EXPECT_EQ(run("--show-secrets call is-present InternalName=moca0").status, 2);
}

} // namespace
