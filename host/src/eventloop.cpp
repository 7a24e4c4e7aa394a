// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "eventloop.h"

#include <csignal>

#include <amxc/amxc.h>
#include <amxp/amxp_timer.h>

namespace host {

namespace {

// The signal only has to interrupt nothing and kill nothing: the pass after
// each call measures the elapsed time itself.
void on_alarm(int) {}

} // namespace

void loop_init() {
    struct sigaction action {};
    action.sa_handler = on_alarm;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
}

void loop_pass() {
    amxp_timers_calculate();
    amxp_timers_check();
}

} // namespace host
