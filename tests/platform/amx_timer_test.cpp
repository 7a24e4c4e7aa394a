// Timers on the virtual clock: states, remaining time, callbacks, deletion,
// ordering and periodic timers.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <amxp/amxp.h>
#include <timerclock/timerclock.h>

namespace {

std::vector<std::string> fired; // "name@ms" of each firing, in order

// Records the firing; priv is the timer's name.
void record(amxp_timer_t* timer, void* priv) {
    fired.push_back(static_cast<const char*>(priv) + ("@" + std::to_string(timerclock_now_ms())));
    amxp_timers_check(); // nested checks from a callback do nothing, even with other timers due
    EXPECT_EQ(fired.back(), static_cast<const char*>(priv) + ("@" + std::to_string(timerclock_now_ms())));
    EXPECT_NE(amxp_timer_get_state(timer), amxp_timer_expired);
}

// The event loop of a host: calculate and check at each expiry on the way to now + ms.
void run_for(uint64_t ms) {
    const uint64_t end = timerclock_now_ms() + ms;
    for(bool last = false; !last;) {
        const int64_t next = timerclock_next_expiry_ms();
        const uint64_t now = timerclock_now_ms();
        last = next < 0 || now + static_cast<uint64_t>(next) > end;
        timerclock_advance_ms(last ? end - now : static_cast<uint64_t>(next));
        amxp_timers_calculate();
        amxp_timers_check();
    }
}

class TimerTest : public ::testing::Test {
protected:
    std::vector<amxp_timer_t*> owned;

    void SetUp() override {
        fired.clear();
        timerclock_use_virtual(true);
    }
    void TearDown() override {
        for(amxp_timer_t*& t : owned) {
            amxp_timer_delete(&t);
        }
        amxp_timers_check(); // frees the deleted timers
        timerclock_use_virtual(false);
    }
    amxp_timer_t* make(const char* name) {
        amxp_timer_t* timer = nullptr;
        EXPECT_EQ(amxp_timer_new(&timer, record, const_cast<char*>(name)), 0);
        owned.push_back(timer);
        return timer;
    }
};

// One step on a single timer, and what follows it: the timer's state and
// remaining time, the clock's next expiry, and the number of firings so far.
// op: s start, x stop, i interval, a advance, c calculate, k check, r run, d/e disable/enable, v virtual clock.
// clang-format off
struct Step { char op; unsigned ms; amxp_timer_state_t state; unsigned remaining; int64_t next; size_t fired; };
constexpr auto off = amxp_timer_off, run = amxp_timer_running, due = amxp_timer_expired;
const struct {
    const char* name;
    std::vector<Step> steps;
} kScripts[] = {
    {"one shot", {{'s', 1000, run, 1000, 1000, 0},
                  {'a', 400, run, 1000, 600, 0}, // remaining as of the last calculation
                  {'c', 0, run, 600, 600, 0},
                  {'a', 600, run, 600, 0, 0},
                  {'c', 0, due, 0, 0, 0}, // calculate never runs callbacks
                  {'k', 0, off, 0, -1, 1},
                  {'k', 0, off, 0, -1, 1}}},
    {"restart and stop", {{'s', 0, run, 1, 1, 0}, // 0 becomes 1 ms
                          {'s', 500, run, 500, 500, 0},
                          {'r', 300, run, 200, 200, 0},
                          {'s', 500, run, 500, 500, 0}, // restarting gives the full timeout again
                          {'r', 499, run, 1, 1, 0},
                          {'x', 0, off, 0, -1, 0},
                          {'r', 1000, off, 0, -1, 0}}},
    {"periodic", {{'i', 250, off, 0, -1, 0},
                  {'s', 100, run, 100, 100, 0},
                  {'r', 900, run, 200, 200, 4}, // at 100, 350, 600 and 850
                  {'a', 1000, run, 200, 0, 4},
                  {'c', 0, due, 0, 0, 4}, // a late loop does not catch up missed periods
                  {'k', 0, run, 250, 250, 5},
                  {'i', 0, run, 250, 250, 5}, // a new interval applies from the next expiry; 0 becomes 1 ms
                  {'r', 250, run, 1, 1, 6},
                  {'r', 3, run, 1, 1, 9}}},
    {"disabled", {{'s', 10, run, 10, 10, 0},
                  {'d', 0, run, 10, 10, 0},
                  {'a', 10, run, 10, 0, 0},
                  {'c', 0, due, 0, 0, 0},
                  {'k', 0, due, 0, 0, 0}, // expired, but its callback waits
                  {'e', 0, due, 0, 0, 0},
                  {'k', 0, off, 0, -1, 1}}},
    {"clock switch", {{'s', 1000, run, 1000, 1000, 0},
                      {'a', 300, run, 1000, 700, 0},
                      {'v', 0, run, 1000, 1000, 0}, // switching adds no elapsed time
                      {'c', 0, run, 1000, 1000, 0}}},
};
// clang-format on

TEST_F(TimerTest, ScriptsOfOneTimer) {
    for(const auto& script : kScripts) {
        fired.clear();
        amxp_timer_t* t = make(script.name);
        for(size_t i = 0; i < script.steps.size(); i++) {
            const Step& s = script.steps[i];
            SCOPED_TRACE(std::string(script.name) + ", step " + std::to_string(i) + " '" + s.op + "'");
            switch(s.op) {
                case 's': ASSERT_EQ(amxp_timer_start(t, s.ms), 0); break;
                case 'x': ASSERT_EQ(amxp_timer_stop(t), 0); break;
                case 'i': ASSERT_EQ(amxp_timer_set_interval(t, s.ms), 0); break;
                case 'a': timerclock_advance_ms(s.ms); break;
                case 'c': amxp_timers_calculate(); break;
                case 'k': amxp_timers_check(); break;
                case 'r': run_for(s.ms); break;
                case 'v': timerclock_use_virtual(true); break;
                default: amxp_timers_enable(s.op == 'e');
            }
            EXPECT_EQ(amxp_timer_get_state(t), s.state);
            EXPECT_EQ(amxp_timer_remaining_time(t), s.remaining);
            EXPECT_EQ(timerclock_next_expiry_ms(), s.next);
            EXPECT_EQ(fired.size(), s.fired);
        }
        amxp_timer_delete(&owned.back());
    }
}

TEST_F(TimerTest, TimersFireInExpiryOrderAndNullOrDeletedOnesAreRefused) {
    // "500b" is due with "500": a check nested in the first callback must not run it.
    for(const char* timeout : {"700", "100", "500", "300", "900", "200", "500b"}) {
        amxp_timer_start(make(timeout), static_cast<unsigned>(std::stoul(timeout)));
    }
    run_for(50);
    amxp_timer_t* deleted = owned[3];
    amxp_timer_delete(&owned[3]);
    EXPECT_EQ(owned[3], nullptr);
    EXPECT_EQ(amxp_timer_get_state(deleted), amxp_timer_deleted); // not freed before a check
    EXPECT_EQ(amxp_timer_start(deleted, 10), -1);
    EXPECT_EQ(amxp_timer_start(nullptr, 10), -1);
    EXPECT_EQ(amxp_timer_stop(nullptr), -1);
    EXPECT_EQ(amxp_timer_set_interval(nullptr, 10), -1);
    EXPECT_EQ(amxp_timer_get_state(nullptr), amxp_timer_off);
    EXPECT_EQ(amxp_timer_new(nullptr, record, nullptr), -1);
    EXPECT_EQ(amxp_timer_new(&owned[0], record, nullptr), -1); // *timer must be NULL
    run_for(2000);
    EXPECT_EQ(fired, (std::vector<std::string>{"100@100", "200@200", "500@500", "500b@500", "700@700", "900@900"}));
}

amxp_timer_t* first = nullptr;
amxp_timer_t* second = nullptr;
int first_runs = 0;

// Deletes the second timer and re-arms itself on its first run; deletes itself on its second.
void delete_and_restart(amxp_timer_t* timer, void*) {
    if(++first_runs == 1) {
        amxp_timer_delete(&second);
        amxp_timer_start(timer, 50);
    } else {
        amxp_timer_delete(&first);
    }
}

TEST_F(TimerTest, CallbacksMayDeleteAndRestartTimers) {
    amxp_timer_new(&first, delete_and_restart, nullptr);
    amxp_timer_new(&second, record, const_cast<char*>("second"));
    amxp_timer_start(first, 10);
    amxp_timer_start(second, 10);
    run_for(200);
    EXPECT_EQ(first_runs, 2);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_TRUE(fired.empty());
}

} // namespace
