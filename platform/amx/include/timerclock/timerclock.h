#ifndef TIMERCLOCK_H
#define TIMERCLOCK_H

/* The clock behind the libamxp timers. By default it is CLOCK_MONOTONIC; a
 * test or a scripted host switches to a virtual clock that only moves when it
 * is told to. amxp_timers_calculate() measures elapsed time on this clock. */

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Switches between the virtual clock (true) and the monotonic clock (false).
 * Either way the virtual clock restarts at 0 and the timers are re-based, so
 * the switch itself adds no elapsed time. */
void timerclock_use_virtual(bool on);

/* Moves the virtual clock forward. Runs nothing: the event loop still calls
 * amxp_timers_calculate() and amxp_timers_check(). */
void timerclock_advance_ms(uint64_t ms);

/* Current reading of the active clock in milliseconds. */
uint64_t timerclock_now_ms(void);

/* Milliseconds from now until the earliest started or running timer expires
 * (rounded up), 0 if a timer has expired and its callback has not run yet,
 * -1 when no timer is active. */
int64_t timerclock_next_expiry_ms(void);

#ifdef __cplusplus
}
#endif

#endif /* TIMERCLOCK_H */
