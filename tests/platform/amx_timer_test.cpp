// Timers on the virtual clock: states, remaining time, callbacks, deletion,
// ordering and periodic timers.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <amxp/amxp.h>
#include <timerclock/timerclock.h>

namespace {

std::vector<std::string> fired; // names of the timers, in firing order
std::vector<uint64_t> fired_at; // clock at each firing

// Records the firing; priv is the timer's name.
void record(amxp_timer_t* timer, void* priv) {
    fired.emplace_back(static_cast<const char*>(priv));
    fired_at.push_back(timerclock_now_ms());
    amxp_timers_check(); // nested checks from a callback do nothing
    EXPECT_NE(amxp_timer_get_state(timer), amxp_timer_expired);
}

class TimerTest : public ::testing::Test {
protected:
    std::vector<amxp_timer_t*> owned;

    void SetUp() override {
        fired.clear();
        fired_at.clear();
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
    // The event loop of a host: calculate and check at each expiry on the way to now + ms.
    static void run_for(uint64_t ms) {
        const uint64_t end = timerclock_now_ms() + ms;
        for(;;) {
            const int64_t next = timerclock_next_expiry_ms();
            const uint64_t now = timerclock_now_ms();
            const bool last = next < 0 || now + static_cast<uint64_t>(next) > end;
            timerclock_advance_ms(last ? end - now : static_cast<uint64_t>(next));
            amxp_timers_calculate();
            amxp_timers_check();
            if(last) {
                return;
            }
        }
    }
};

TEST_F(TimerTest, RemainingTimeAndNextExpiryFollowTheCalculations) {
    amxp_timer_t* t = make("t");
    EXPECT_EQ(timerclock_next_expiry_ms(), -1);
    ASSERT_EQ(amxp_timer_start(t, 1000), 0);
    EXPECT_EQ(amxp_timer_remaining_time(t), 1000u);
    timerclock_advance_ms(400);
    EXPECT_EQ(amxp_timer_remaining_time(t), 1000u); // as of the last calculation
    EXPECT_EQ(timerclock_next_expiry_ms(), 600);
    amxp_timers_calculate();
    EXPECT_EQ(amxp_timer_remaining_time(t), 600u);
    timerclock_advance_ms(600);
    amxp_timers_calculate();
    EXPECT_EQ(amxp_timer_remaining_time(t), 0u);
    EXPECT_EQ(timerclock_next_expiry_ms(), 0);
    EXPECT_TRUE(fired.empty()); // calculate never runs callbacks
    amxp_timers_check();
    amxp_timers_check();
    EXPECT_EQ(fired, std::vector<std::string>{"t"});
    EXPECT_EQ(timerclock_next_expiry_ms(), -1);
}

TEST_F(TimerTest, StartStopAndRestart) {
    amxp_timer_t* t = make("t");
    EXPECT_EQ(amxp_timer_start(nullptr, 10), -1);
    EXPECT_EQ(amxp_timer_stop(nullptr), -1);
    EXPECT_EQ(amxp_timer_set_interval(nullptr, 10), -1);
    EXPECT_EQ(amxp_timer_get_state(nullptr), amxp_timer_off);
    EXPECT_EQ(amxp_timer_new(nullptr, record, nullptr), -1);
    EXPECT_EQ(amxp_timer_new(&t, record, nullptr), -1); // *timer must be NULL
    amxp_timer_start(t, 0);                             // 0 becomes 1 ms
    EXPECT_EQ(amxp_timer_remaining_time(t), 1u);
    amxp_timer_start(t, 500);
    run_for(300);
    amxp_timer_start(t, 500); // restarting gives the full timeout again
    run_for(499);
    EXPECT_TRUE(fired.empty());
    EXPECT_EQ(amxp_timer_stop(t), 0);
    EXPECT_EQ(amxp_timer_remaining_time(t), 0u);
    run_for(1000);
    EXPECT_TRUE(fired.empty());
}

TEST_F(TimerTest, TimersFireInExpiryOrderAndDeletedOnesNever) {
    for(const char* timeout : {"700", "100", "500", "300", "900", "200"}) {
        amxp_timer_start(make(timeout), static_cast<unsigned>(std::stoul(timeout)));
    }
    run_for(50);
    amxp_timer_t* alias = owned[3];
    amxp_timer_delete(&owned[3]);
    EXPECT_EQ(owned[3], nullptr);
    EXPECT_EQ(amxp_timer_get_state(alias), amxp_timer_deleted); // not freed before a check
    EXPECT_EQ(amxp_timer_start(alias, 10), -1);
    run_for(2000);
    EXPECT_EQ(fired, (std::vector<std::string>{"100", "200", "500", "700", "900"}));
    EXPECT_EQ(fired_at, (std::vector<uint64_t>{100, 200, 500, 700, 900}));
}

TEST_F(TimerTest, PeriodicTimerStaysRunning) {
    amxp_timer_t* t = make("tick");
    amxp_timer_set_interval(t, 250);
    amxp_timer_start(t, 100);
    run_for(900);
    EXPECT_EQ(amxp_timer_get_state(t), amxp_timer_running);
    EXPECT_EQ(amxp_timer_remaining_time(t), 200u);
    // A late loop does not catch up missed periods.
    timerclock_advance_ms(1000);
    amxp_timers_calculate();
    amxp_timers_check();
    EXPECT_EQ(amxp_timer_remaining_time(t), 250u);
    // A new interval applies from the next expiry on; 0 becomes 1 ms.
    amxp_timer_set_interval(t, 0);
    run_for(253);
    EXPECT_EQ(fired_at, (std::vector<uint64_t>{100, 350, 600, 850, 1900, 2150, 2151, 2152, 2153}));
}

TEST_F(TimerTest, CallbacksMayDeleteAndRestartTimers) {
    struct Ctx {
        amxp_timer_t* self = nullptr;
        amxp_timer_t* victim = nullptr;
        int runs = 0;
    } ctx;
    amxp_timer_new(
        &ctx.self,
        [](amxp_timer_t* timer, void* priv) {
            auto* c = static_cast<Ctx*>(priv);
            if(++c->runs == 1) {
                amxp_timer_delete(&c->victim);
                amxp_timer_start(timer, 50); // re-arm itself
            } else {
                amxp_timer_delete(&c->self);
            }
        },
        &ctx);
    amxp_timer_new(&ctx.victim, record, const_cast<char*>("victim"));
    amxp_timer_start(ctx.self, 10);
    amxp_timer_start(ctx.victim, 10);
    run_for(200);
    EXPECT_EQ(ctx.runs, 2);
    EXPECT_EQ(ctx.self, nullptr);
    EXPECT_EQ(ctx.victim, nullptr);
    EXPECT_TRUE(fired.empty());
}

TEST_F(TimerTest, DisabledTimersExpireButWaitForTheirCallbacks) {
    amxp_timer_t* t = make("t");
    amxp_timer_start(t, 10);
    amxp_timers_enable(false);
    timerclock_advance_ms(10);
    amxp_timers_calculate();
    amxp_timers_check();
    EXPECT_EQ(amxp_timer_get_state(t), amxp_timer_expired);
    EXPECT_TRUE(fired.empty());
    amxp_timers_enable(true);
    amxp_timers_check();
    EXPECT_EQ(fired.size(), 1u);
}

TEST_F(TimerTest, SwitchingClocksAddsNoElapsedTime) {
    amxp_timer_t* t = make("t");
    amxp_timer_start(t, 1000);
    timerclock_advance_ms(300);
    timerclock_use_virtual(true);
    EXPECT_EQ(timerclock_now_ms(), 0u);
    amxp_timers_calculate();
    EXPECT_EQ(amxp_timer_remaining_time(t), 1000u);
}

} // namespace
