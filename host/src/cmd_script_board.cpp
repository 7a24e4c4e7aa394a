// SPDX-License-Identifier: BSD-2-Clause-Patent
// "script" in the board build: it needs the simulator and the virtual clock,
// which a board's libraries do not have.
#include <cstdio>

#include "session.h"

namespace host {

int run_script(const Options&) {
    std::fprintf(stderr,
                 "moca-host: script is not available: this moca-host is built for a board (no simulator, "
                 "no virtual clock); use call or dump\n%s",
                 usage_text());
    return 2;
}

} // namespace host
