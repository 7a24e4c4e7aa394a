// SPDX-License-Identifier: BSD-2-Clause-Patent
// moca-host's script protocol on arbitrary lines. The input is split into
// lines and each goes through the host's own line handling, in one session
// that loads the module once. Every answer must be one JSON object, and a
// call's answer must report no open chip handle. Each input starts from an
// empty simulator and ends by destroying the records it created, so inputs
// are independent. Lines that unload or load the module are left out: the
// module must stay loaded for libFuzzer (fuzz_env.h).
#include <cstdint>
#include <set>
#include <string>

#include <clnksim.h>
#include <nolotrace.h>

#include "eventloop.h"
#include "fuzz_env.h"
#include "session.h"

namespace {

using host::json;

bool reloads(const json& line) {
    return line.is_object() && (line.contains("load") || line.contains("unload"));
}

// Keeps the interface names, as the module saw them, of the create-moca-iface
// lines that succeeded and of the destroy-moca-iface lines that did.
void note_record(const json& line, const json& answer, std::set<std::string>* records) {
    if(!line.is_object() || !line.contains("args") || answer.value("rc", json()) != 0) {
        return;
    }
    const json function = line.value("call", json());
    if(function != "create-moca-iface" && function != "destroy-moca-iface") {
        return;
    }
    host::Variant args;
    std::string err;
    if(host::json_to_variant(line["args"], args.get(), &err)) {
        const char* name =
            amxc_var_get_const_cstring_t(amxc_var_get_key(args.get(), "InternalName", AMXC_VAR_FLAG_DEFAULT));
        if(name != nullptr && function == "create-moca-iface") {
            records->insert(name);
        } else if(name != nullptr) {
            records->erase(name);
        }
    }
}

// `written` is the answer as the host writes it.
void check_answer(const std::string& text, const json& answer, const std::string& written) {
    if(!answer.is_object()) {
        fuzzenv::finding("the answer to %s is no JSON object: %s", text.c_str(), written.c_str());
    }
    if(answer.contains("handles") && answer["handles"] != 0) {
        fuzzenv::finding("the answer to %s reports open handles: %s", text.c_str(), written.c_str());
    }
}

// A line that parses is answered from that parse, as moca-host answers it
// after its own, and the answer is written out as the host writes it; only a
// line that doesn't parse takes the text path, whose answer is read back.
json answer_to(host::Session& session, const std::string& text, const json& line) {
    if(line.is_discarded()) {
        const std::string written = host::run_script_line(session, text);
        const json out = json::parse(written, nullptr, false);
        check_answer(text, out, written);
        return out;
    }
    const json out = host::answer_script_line(session, line);
    check_answer(text, out, host::to_line(out));
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static host::Options options;
    static host::Session* session = [] {
        host::use_virtual_clock(true);
        auto* s = new host::Session(options, TRACE_LEVEL_DEBUG, false);
        if(!s->start()) {
            fuzzenv::finding("the session does not start");
        }
        return s;
    }();
    clnksim::reset();
    std::set<std::string> records;
    const std::string text(reinterpret_cast<const char*>(data), size);
    for(size_t start = 0; start < text.size();) {
        size_t end = text.find('\n', start);
        if(end == std::string::npos) {
            end = text.size();
        }
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        if(line.find_first_not_of(" \t\r\n\f\v") == std::string::npos) {
            continue;
        }
        const json parsed = json::parse(line, nullptr, false);
        if(reloads(parsed)) {
            continue;
        }
        note_record(parsed, answer_to(*session, line, parsed), &records);
    }
    for(const std::string& name : records) {
        const json line = json{{"call", "destroy-moca-iface"}, {"args", {{"InternalName", name}}}};
        const json destroy = answer_to(*session, host::to_line(line), line);
        if(destroy.value("rc", json()) != 0) {
            fuzzenv::finding("destroy-moca-iface failed for the record '%s': %s", name.c_str(), destroy.dump().c_str());
        }
    }
    if(!fuzzenv::timers_idle()) {
        fuzzenv::finding("a cache timer still runs after every record was destroyed");
    }
    return 0;
}
