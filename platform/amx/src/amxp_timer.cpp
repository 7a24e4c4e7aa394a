// Timers driven by an event loop: amxp_timers_calculate() measures the time
// elapsed on the timer clock and marks due timers expired, amxp_timers_check()
// runs their callbacks. The clock is CLOCK_MONOTONIC or a virtual clock.
#include <cstdlib>
#include <ctime>

#include <amxc/amxc.h>
#include <amxp/amxp_timer.h>
#include <timerclock/timerclock.h>

namespace {

amxc_llist_t timers; // every timer, in creation order
bool timers_enabled = true;
int check_depth = 0; // nesting of amxp_timers_check()

bool virtual_clock = false;
uint64_t virtual_us = 0;
uint64_t last_calc_us = 0; // clock reading at the previous calculation
bool calculated = false;

uint64_t now_us() {
    if(virtual_clock) {
        return virtual_us;
    }
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000u + static_cast<uint64_t>(ts.tv_nsec) / 1000u;
}

int64_t tv_us(const timeval& tv) {
    return static_cast<int64_t>(tv.tv_sec) * 1000000 + tv.tv_usec;
}

void set_tv(timeval& tv, int64_t us) {
    tv.tv_sec = static_cast<time_t>(us / 1000000);
    tv.tv_usec = static_cast<suseconds_t>(us % 1000000);
}

amxp_timer_t* timer_of(amxc_llist_it_t* it) {
    return amxc_container_of(it, amxp_timer_t, it);
}

bool is_usable(const amxp_timer_t* timer) {
    return timer != nullptr && timer->state != amxp_timer_deleted;
}

void timer_free(amxc_llist_it_t* it) {
    free(timer_of(it));
}

// Frees the timers deleted since the last check. Live timers stay: an object
// unloaded after this library may still delete its own.
__attribute__((destructor)) void amxp_timers_release() {
    amxc_llist_for_each(it, &timers) {
        if(timer_of(it)->state == amxp_timer_deleted) {
            amxc_llist_it_clean(it, timer_free);
        }
    }
}

} // namespace

extern "C" {

int amxp_timer_new(amxp_timer_t** timer, amxp_timer_cb_t cb, void* priv) {
    if(timer == nullptr || *timer != nullptr) {
        return -1;
    }
    *timer = static_cast<amxp_timer_t*>(calloc(1, sizeof(amxp_timer_t)));
    if(*timer == nullptr) {
        return -1;
    }
    (*timer)->state = amxp_timer_off;
    (*timer)->cb = cb;
    (*timer)->priv = priv;
    amxc_llist_append(&timers, &(*timer)->it);
    return 0;
}

void amxp_timer_delete(amxp_timer_t** timer) {
    if(timer == nullptr || *timer == nullptr) {
        return;
    }
    // The memory goes at the next outermost amxp_timers_check(): the timer may
    // be the one whose callback is running.
    amxp_timer_stop(*timer);
    (*timer)->state = amxp_timer_deleted;
    *timer = nullptr;
}

int amxp_timer_start(amxp_timer_t* timer, unsigned int timeout_msec) {
    if(!is_usable(timer)) {
        return -1;
    }
    set_tv(timer->timer.it_value, static_cast<int64_t>(timeout_msec > 0 ? timeout_msec : 1) * 1000);
    timer->state = amxp_timer_started;
    amxp_timers_calculate();
    return 0;
}

int amxp_timer_stop(amxp_timer_t* timer) {
    if(!is_usable(timer)) {
        return -1;
    }
    timer->state = amxp_timer_off;
    amxp_timers_calculate();
    return 0;
}

int amxp_timer_set_interval(amxp_timer_t* timer, unsigned int msec) {
    if(timer == nullptr) {
        return -1;
    }
    set_tv(timer->timer.it_interval, static_cast<int64_t>(msec > 0 ? msec : 1) * 1000);
    return 0;
}

amxp_timer_state_t amxp_timer_get_state(amxp_timer_t* timer) {
    return timer != nullptr ? timer->state : amxp_timer_off;
}

unsigned int amxp_timer_remaining_time(amxp_timer_t* timer) {
    if(timer == nullptr || (timer->state != amxp_timer_started && timer->state != amxp_timer_running)) {
        return 0;
    }
    return static_cast<unsigned int>(timer->timer.it_value.tv_sec * 1000 + timer->timer.it_value.tv_usec / 1000);
}

void amxp_timers_calculate(void) {
    uint64_t now = now_us();
    int64_t elapsed = calculated ? static_cast<int64_t>(now - last_calc_us) : 0;
    last_calc_us = now;
    calculated = true;

    amxc_llist_iterate(it, &timers) {
        amxp_timer_t* timer = timer_of(it);
        switch(timer->state) {
            case amxp_timer_started:
                // Freshly started: the full timeout counts from now.
                timer->state = amxp_timer_running;
                break;
            case amxp_timer_running:
            case amxp_timer_expired: {
                int64_t left = tv_us(timer->timer.it_value) - elapsed;
                if(left <= 0) {
                    timer->state = amxp_timer_expired;
                    left = tv_us(timer->timer.it_interval);
                }
                set_tv(timer->timer.it_value, left);
                break;
            }
            default: break;
        }
    }
}

void amxp_timers_check(void) {
    if(!timers_enabled) {
        return;
    }
    check_depth++;
    // Timers created by a callback are appended and visited in this same walk;
    // deleted ones stay linked until the outermost walk frees them.
    amxc_llist_it_t* it = amxc_llist_get_first(&timers);
    while(it != nullptr) {
        amxp_timer_t* timer = timer_of(it);
        if(timer->state == amxp_timer_deleted) {
            it = amxc_llist_it_get_next(it);
            if(check_depth == 1) {
                amxc_llist_it_clean(&timer->it, timer_free);
            }
            continue;
        }
        if(timer->state == amxp_timer_expired) {
            timer->state = tv_us(timer->timer.it_interval) > 0 ? amxp_timer_running : amxp_timer_off;
            if(timer->cb != nullptr) {
                timers_enabled = false;
                timer->cb(timer, timer->priv);
                timers_enabled = true;
            }
        }
        it = amxc_llist_it_get_next(it);
    }
    check_depth--;
}

void amxp_timers_enable(bool enable) {
    timers_enabled = enable;
}

void timerclock_use_virtual(bool on) {
    virtual_clock = on;
    virtual_us = 0;
    last_calc_us = now_us();
}

void timerclock_advance_ms(uint64_t ms) {
    virtual_us += ms * 1000;
}

uint64_t timerclock_now_ms(void) {
    return now_us() / 1000;
}

int64_t timerclock_next_expiry_ms(void) {
    int64_t since = calculated ? static_cast<int64_t>(now_us() - last_calc_us) : 0;
    int64_t best = -1;
    amxc_llist_iterate(it, &timers) {
        const amxp_timer_t* timer = timer_of(it);
        if(timer->state == amxp_timer_expired) {
            return 0;
        }
        if(timer->state == amxp_timer_started || timer->state == amxp_timer_running) {
            int64_t left = tv_us(timer->timer.it_value) - since;
            int64_t ms = left > 0 ? (left + 999) / 1000 : 0;
            if(best < 0 || ms < best) {
                best = ms;
            }
        }
    }
    return best;
}

} // extern "C"
