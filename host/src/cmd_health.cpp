// SPDX-License-Identifier: BSD-2-Clause-Patent
// "health" and "report": the dump's walk, judged. The exit status is the worst
// finding (0 ok, 1 warning, 2 problem); 3 when nothing could be judged.
#include <cstdio>

#include "dump.h"
#include "health.h"
#include "session.h"

namespace host {

namespace {

constexpr int cannot_judge = 3;

bool judge(const Options& opt, NetworkView* net, std::vector<Finding>* findings) {
    DumpRun run;
    if(!read_interface(opt, &run)) {
        return false;
    }
    *net = network_view(run);
    *findings = diagnose(*net);
    return true;
}

} // namespace

int run_health(const Options& opt) {
    NetworkView net;
    std::vector<Finding> findings;
    if(!judge(opt, &net, &findings)) {
        return cannot_judge;
    }
    if(opt.json_output) {
        std::fprintf(stdout, "%s\n", health_json(net, findings).dump(1).c_str());
    } else {
        print_health_text(net, findings, stdout);
    }
    return static_cast<int>(worst(findings));
}

int run_report(const Options& opt) {
    NetworkView net;
    std::vector<Finding> findings;
    if(!judge(opt, &net, &findings)) {
        return cannot_judge;
    }
    const std::string page = report_html(net, findings);
    std::FILE* out = opt.output_path.empty() ? stdout : std::fopen(opt.output_path.c_str(), "w");
    if(out == nullptr) {
        std::perror(("moca-host: " + opt.output_path).c_str());
        return cannot_judge;
    }
    const bool written = std::fwrite(page.data(), 1, page.size(), out) == page.size();
    const bool closed = out == stdout ? std::fflush(out) == 0 : std::fclose(out) == 0;
    if(!written || !closed) {
        std::fprintf(stderr, "moca-host: could not write %s\n",
                     opt.output_path.empty() ? "the page" : opt.output_path.c_str());
        return cannot_judge;
    }
    return static_cast<int>(worst(findings));
}

} // namespace host
