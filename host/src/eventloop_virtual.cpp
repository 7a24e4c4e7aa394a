// SPDX-License-Identifier: BSD-2-Clause-Patent
// The virtual clock: while it is on, this process's ITIMER_REAL is a virtual
// interval timer that only moves when told. libamxp measures elapsed time with
// getitimer/setitimer(ITIMER_REAL); defined here, the executable's definitions
// take precedence over the C library's, so every expiry libamxp computes is on
// virtual time. Other timers, and ITIMER_REAL while the clock is off, go to the
// kernel.
#include "eventloop.h"

#include <algorithm>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace host {

namespace {

struct VirtualTimer {
    bool on = false;
    uint64_t now_us = 0;
    uint64_t deadline_us = 0; // 0: not armed
};

VirtualTimer vt;

uint64_t to_us(const timeval& t) {
    return static_cast<uint64_t>(t.tv_sec) * 1000000u + static_cast<uint64_t>(t.tv_usec);
}

timeval to_timeval(uint64_t us) {
    timeval t{};
    t.tv_sec = static_cast<time_t>(us / 1000000u);
    t.tv_usec = static_cast<suseconds_t>(us % 1000000u);
    return t;
}

// Microseconds until the virtual timer expires: 0 once it has, -1 when not armed.
int64_t virtual_remaining_us() {
    if(vt.deadline_us == 0) {
        return -1;
    }
    return vt.deadline_us > vt.now_us ? static_cast<int64_t>(vt.deadline_us - vt.now_us) : 0;
}

// The virtual timer's setting as getitimer gives it.
itimerval virtual_setting() {
    itimerval v{};
    v.it_value = to_timeval(static_cast<uint64_t>(std::max<int64_t>(virtual_remaining_us(), 0)));
    return v;
}

int kernel_setitimer(int which, const itimerval* value, itimerval* old) {
    return static_cast<int>(syscall(SYS_setitimer, which, value, old));
}

int kernel_getitimer(int which, itimerval* value) {
    return static_cast<int>(syscall(SYS_getitimer, which, value));
}

} // namespace

void use_virtual_clock(bool on) {
    // The armed time carries over, so the switch itself adds no elapsed time.
    itimerval armed{};
    if(vt.on) {
        armed = virtual_setting();
    } else {
        const itimerval off{};
        kernel_setitimer(ITIMER_REAL, &off, &armed);
    }
    const uint64_t remaining = to_us(armed.it_value);
    vt = VirtualTimer{on, 0, on ? remaining : 0};
    if(!on && remaining > 0) {
        kernel_setitimer(ITIMER_REAL, &armed, nullptr);
    }
}

bool virtual_timer_armed() {
    return vt.on && vt.deadline_us != 0 && vt.deadline_us > vt.now_us;
}

void advance_virtual_clock(uint64_t ms) {
    const uint64_t end = vt.now_us + ms * 1000u;
    // A pass that leaves the timer expired would keep the next expiry at 0;
    // the guard stops such a loop from spinning.
    unsigned idle_passes = 0;
    for(int64_t next = virtual_remaining_us(); next >= 0 && vt.now_us + static_cast<uint64_t>(next) <= end;
        next = virtual_remaining_us()) {
        if(next == 0 && ++idle_passes > 1000) {
            break;
        }
        if(next > 0) {
            idle_passes = 0;
        }
        vt.now_us += static_cast<uint64_t>(next);
        loop_pass();
    }
    vt.now_us = end;
    loop_pass();
}

} // namespace host

extern "C" int setitimer(int which, const itimerval* value, itimerval* old) noexcept {
    using host::vt;
    if(!vt.on || which != ITIMER_REAL) {
        return host::kernel_setitimer(which, value, old);
    }
    if(old != nullptr) {
        *old = host::virtual_setting();
    }
    const uint64_t us = value != nullptr ? host::to_us(value->it_value) : 0;
    vt.deadline_us = us != 0 ? vt.now_us + us : 0;
    return 0;
}

extern "C" int getitimer(int which, itimerval* value) noexcept {
    using host::vt;
    if(!vt.on || which != ITIMER_REAL) {
        return host::kernel_getitimer(which, value);
    }
    *value = host::virtual_setting();
    return 0;
}
