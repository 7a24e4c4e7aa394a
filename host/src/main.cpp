// moca-host: loads the MoCA control module the way a data-model host does and
// offers three ways to talk to it: one call, a dump of everything, a script.
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
        return 2;
    }
    try {
        switch(opt->command) {
        case host::Command::help:
            std::fputs(host::usage_text(), stdout);
            return 0;
        case host::Command::call:
            return host::run_call(*opt);
        case host::Command::dump:
            return host::run_dump(*opt);
        case host::Command::script:
            return host::run_script(*opt);
        case host::Command::none:
            break;
        }
    } catch(const std::exception& e) {
        std::fprintf(stderr, "moca-host: %s\n", e.what());
        return 1;
    }
    return 2;
}
