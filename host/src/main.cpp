// SPDX-License-Identifier: BSD-2-Clause-Patent
// moca-host: loads the MoCA control module the way a data-model host does and
// offers ways to talk to it: one call, a dump of everything, a script, and a
// health check of the network with its HTML report.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "cli.h"
#include "session.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string err;
    auto opt = host::parse_command_line(args, &err);
    if(!opt) {
        std::fprintf(stderr, "moca-host: %s\n%s", err.c_str(), host::usage_text());
        return host::usage_error_status(args);
    }
    try {
        switch(opt->command) {
            case host::Command::help: std::fputs(host::usage_text(), stdout); return 0;
            case host::Command::call: return host::run_call(*opt);
            case host::Command::dump: return host::run_dump(*opt);
            case host::Command::script: return host::run_script(*opt);
            case host::Command::health: return host::run_health(*opt);
            case host::Command::report: return host::run_report(*opt);
            case host::Command::check: return host::run_check(*opt);
            case host::Command::none: break;
        }
    } catch(const std::exception& e) {
        std::fprintf(stderr, "moca-host: %s\n", e.what());
        const bool grading = opt->command == host::Command::health || opt->command == host::Command::report ||
                             opt->command == host::Command::check;
        return grading ? 3 : 1;
    }
    return 2;
}
