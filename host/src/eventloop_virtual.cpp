// The virtual clock of our libamxp (timerclock.h), which only scripts use.
#include "eventloop.h"

#include <timerclock/timerclock.h>

namespace host {

void use_virtual_clock(bool on) {
    timerclock_use_virtual(on);
}

void advance_virtual_clock(uint64_t ms) {
    uint64_t left = ms;
    // A timer that is due but whose pass changes nothing would keep the next
    // expiry at 0; the guard stops such a loop from spinning.
    unsigned idle_passes = 0;
    for(;;) {
        int64_t next = timerclock_next_expiry_ms();
        if(next < 0 || static_cast<uint64_t>(next) > left) {
            break;
        }
        if(next == 0) {
            if(++idle_passes > 1000) {
                break;
            }
        } else {
            idle_passes = 0;
        }
        timerclock_advance_ms(static_cast<uint64_t>(next));
        left -= static_cast<uint64_t>(next);
        loop_pass();
    }
    if(left > 0) {
        timerclock_advance_ms(left);
    }
    loop_pass();
}

} // namespace host
