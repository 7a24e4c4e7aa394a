#ifndef __AMXP_TIMER_H__
#define __AMXP_TIMER_H__

#include <stdbool.h>
#include <sys/time.h>

#include <amxc/amxc_llist.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum _amxp_timer_state {
    amxp_timer_off = 0,
    amxp_timer_started = 1,
    amxp_timer_running = 2,
    amxp_timer_expired = 3,
    amxp_timer_deleted = 4
} amxp_timer_state_t;

typedef struct _amxp_timer amxp_timer_t;

typedef void (*amxp_timer_cb_t)(amxp_timer_t* timer, void* priv);

struct _amxp_timer {
    amxc_llist_it_t it;     /* node in the global timer list */
    struct itimerval timer; /* it_value: time left, it_interval: repeat interval */
    amxp_timer_state_t state;
    amxp_timer_cb_t cb;
    void* priv; /* never owned by the library */
};

int amxp_timer_new(amxp_timer_t** timer, amxp_timer_cb_t cb, void* priv);
void amxp_timer_delete(amxp_timer_t** timer);
int amxp_timer_start(amxp_timer_t* timer, unsigned int timeout_msec);
int amxp_timer_stop(amxp_timer_t* timer);
int amxp_timer_set_interval(amxp_timer_t* timer, unsigned int msec);
amxp_timer_state_t amxp_timer_get_state(amxp_timer_t* timer);
unsigned int amxp_timer_remaining_time(amxp_timer_t* timer);

void amxp_timers_calculate(void);
void amxp_timers_check(void);
void amxp_timers_enable(bool enable);

#ifdef __cplusplus
}
#endif

#endif /* __AMXP_TIMER_H__ */
