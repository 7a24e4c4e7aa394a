// The frame: registration, the common argument checks of every function,
// interface records with their timers, and unloading with records alive.
#include <dlfcn.h>

#include <algorithm>

#include <amxp/amxp_timer.h>

#include "mxl_moca.h"
#include "mxl_test_env.h"

using namespace mxltest;

namespace {

// Interposed timer creation: the Nth call fails with FAIL_RC.
constexpr int FAIL_RC = -7;
int g_fail_timer_at = 0;
int g_timer_calls = 0;
int g_live_timers = 0;                             // created and not deleted
[[maybe_unused]] bool g_fail_record_alloc = false; // the allocation interposers are left out under ASan
int g_live_records = 0;                            // records allocated and not freed

const ojson MOCA0 = ojson::parse(R"({
  "interfaces": {
    "moca0": { "present": true, "openable": true, "started": true,
               "localInfo": { "nodeId": 0, "linkStatus": 1, "activeNodeBitmask": 1 } },
    "moca1": { "present": true, "openable": true, "started": true,
               "localInfo": { "nodeId": 2, "linkStatus": 1, "activeNodeBitmask": 4 } }
  }
})");

struct Row {
    const char* function;
    bool checks_ret;
    bool looks_up;
    const char* id_msg; // message for "Id" 0, when the function takes one
    uint32_t first_bad; // the smallest Id above its table
};

// The functions, in registration order.
// clang-format off
const Row ROWS[] = {
    {"create-moca-iface", false, false, nullptr, 0},
    {"destroy-moca-iface", false, false, nullptr, 0},
    {"set-cfg-info", false, true, nullptr, 0},
    {"retrieve-cfg-info", true, true, nullptr, 0},
    {"retrieve-static-info", true, true, nullptr, 0},
    {"retrieve-dyn-info", true, true, nullptr, 0},
    {"retrieve-qos-info", true, true, nullptr, 0},
    {"retrieve-flow-info", true, true, "Passed flowId is out of range", 17},
    {"retrieve-rlapm-number", true, true, nullptr, 0},
    {"retrieve-rlapm-info", true, true, "Passed zero entryIde", 8065},
    {"retrieve-sapm-number", true, true, nullptr, 0},
    {"retrieve-sapm-info", true, true, "Passed zero entryIde", 65},
    {"retrieve-node-info", true, true, "Passed nodeid is out of range", 17},
    {"retrieve-mesh-info", true, true, "Passed entryId is out of range", 257},
    {"retrieve-bridge-info", true, true, "Passed nodeid is out of range", 17},
    {"retrieve-stats-info", true, true, nullptr, 0},
    {"is-available", true, false, nullptr, 0},
    {"is-present", true, false, nullptr, 0},
};
// clang-format on

class FrameTest : public ModuleTest {
protected:
    void SetUp() override {
        g_fail_timer_at = 0;
        g_timer_calls = 0;
        g_live_timers = 0;
        g_live_records = 0;
        ModuleTest::SetUp();
        sim(MOCA0);
    }
    void TearDown() override {
        g_fail_timer_at = 0;
        ModuleTest::TearDown();
    }
};

void expect_refused(const Outcome& out, const std::string& msg) {
    EXPECT_EQ(out.rc, -1);
    EXPECT_EQ(out.errors(), std::vector<std::string>{msg});
    EXPECT_EQ(out.log.size(), 1u);
    EXPECT_TRUE(out.chip.empty());
    EXPECT_EQ(out.ret, ojson::array({"null", nullptr}));
}

} // namespace

extern "C" int amxp_timer_new(amxp_timer_t** timer, amxp_timer_cb_t cb, void* priv) {
    using fn_t = int (*)(amxp_timer_t**, amxp_timer_cb_t, void*);
    static fn_t real = reinterpret_cast<fn_t>(dlsym(RTLD_NEXT, "amxp_timer_new"));
    if((g_fail_timer_at > 0) && (++g_timer_calls == g_fail_timer_at)) {
        return FAIL_RC;
    }
    const int rc = real(timer, cb, priv);
    g_live_timers += (rc == 0) ? 1 : 0;
    return rc;
}

extern "C" void amxp_timer_delete(amxp_timer_t** timer) {
    using fn_t = void (*)(amxp_timer_t**);
    static fn_t real = reinterpret_cast<fn_t>(dlsym(RTLD_NEXT, "amxp_timer_delete"));
    g_live_timers -= (timer != nullptr && *timer != nullptr) ? 1 : 0;
    real(timer);
}

#ifndef __SANITIZE_ADDRESS__ // the sanitizer's allocator must see every block
// A record that cannot be allocated: the module's calloc of one fails once.
// Records alive: the blocks of a record's size, until they are freed.
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void __libc_free(void*);
void* g_records[8];
extern "C" void* calloc(size_t n, size_t size) noexcept {
    if(n * size != sizeof(mxl_moca_iface_t)) {
        return __libc_calloc(n, size);
    }
    void* block = g_fail_record_alloc ? nullptr : __libc_calloc(n, size);
    g_fail_record_alloc = false;
    void** slot = std::find(std::begin(g_records), std::end(g_records), nullptr);
    if(block != nullptr && slot != std::end(g_records)) {
        *slot = block;
        g_live_records++;
    }
    return block;
}
extern "C" void free(void* block) noexcept {
    void** slot = block == nullptr ? std::end(g_records) : std::find(std::begin(g_records), std::end(g_records), block);
    if(slot != std::end(g_records)) {
        *slot = nullptr;
        g_live_records--;
    }
    __libc_free(block);
}

TEST_F(FrameTest, RecordThatCannotBeAllocatedIsRefused) {
    g_fail_record_alloc = true;
    Outcome out = call("create-moca-iface", ojson{{"InternalName", "moca0"}});
    EXPECT_EQ(out.rc, -1);
    EXPECT_EQ(out.errors(), std::vector<std::string>{"Unable to allocate memory"});
    EXPECT_TRUE(out.chip.empty());
    EXPECT_EQ(g_live_timers, 0);
    create("moca0");
}
#endif

TEST_F(FrameTest, EveryFunctionIsRegistered) {
    for(const Row& row : ROWS) {
        Outcome out = call(row.function, ojson::object(), true, true);
        EXPECT_EQ(out.rc, -1) << row.function;
        EXPECT_EQ(out.errors(), std::vector<std::string>{"Passed args is NULL"}) << row.function;
    }
}

TEST_F(FrameTest, AbsentRetIsRefusedSilentlyWhereTested) {
    for(const Row& row : ROWS) {
        if(!row.checks_ret) {
            continue;
        }
        for(bool null_args : {false, true}) {
            Outcome out = call(row.function, ojson{{"InternalName", "moca0"}, {"Id", 1}}, false, null_args);
            EXPECT_EQ(out.rc, -1) << row.function;
            EXPECT_TRUE(out.log.empty()) << row.function;
            EXPECT_TRUE(out.chip.empty()) << row.function;
        }
    }
}

TEST_F(FrameTest, BadArgumentsAreRefusedWithOneErrorLine) {
    const std::pair<ojson, std::string> cases[] = {
        {ojson::array({"moca0"}), "args is not an htable"},
        {ojson("moca0"), "args is not an htable"},
        {ojson::object({{"Id", 1}}), "Passed interface name is NULL"},
        {ojson::object({{"InternalName", 5}}), "Passed interface name is NULL"},
        {ojson::object({{"InternalName", true}}), "Passed interface name is NULL"},
    };
    for(const Row& row : ROWS) {
        for(const auto& [args, msg] : cases) {
            SCOPED_TRACE(std::string(row.function) + " " + args.dump());
            expect_refused(call(row.function, args), msg);
        }
    }
}

TEST_F(FrameTest, NameWithoutRecordIsRefusedByEveryLookup) {
    for(const Row& row : ROWS) {
        if(!row.looks_up) {
            continue;
        }
        SCOPED_TRACE(row.function);
        expect_refused(call(row.function, ojson{{"InternalName", "moca0"}, {"Id", 1}}),
                       "Unable to find a mxl iface by name");
    }
    Outcome out = call("destroy-moca-iface", ojson{{"InternalName", "moca0"}});
    EXPECT_EQ(out.rc, -1);
    EXPECT_EQ(out.errors(), std::vector<std::string>{"mxl interface is not found"});
}

TEST_F(FrameTest, IndexIsCheckedBeforeTheRecord) {
    for(const Row& row : ROWS) {
        if(row.id_msg == nullptr) {
            continue;
        }
        SCOPED_TRACE(row.function);
        const std::string range =
            row.id_msg == std::string("Passed zero entryIde") ? "Passed entryId is out of range" : row.id_msg;
        expect_refused(call(row.function, ojson{{"InternalName", "nosuch"}}), row.id_msg);
        expect_refused(call(row.function, ojson{{"InternalName", "nosuch"}, {"Id", 0}}), row.id_msg);
        expect_refused(call(row.function, ojson{{"InternalName", "nosuch"}, {"Id", row.first_bad}}), range);
        expect_refused(call(row.function, ojson{{"InternalName", "nosuch"}, {"Id", row.first_bad - 1}}),
                       "Unable to find a mxl iface by name");
    }
}

TEST_F(FrameTest, CreateTestsTheChipOnce) {
    Outcome out = call("create-moca-iface", ojson{{"InternalName", "moca0"}}, false);
    EXPECT_EQ(out.rc, 0);
    EXPECT_EQ(out.chip_ops(),
              (std::vector<std::string>{"ClnkLib_OpenByName", "ClnkLib_GetLocalInfo", "ClnkLib_Close"}));
    EXPECT_TRUE(out.errors().empty());
    EXPECT_EQ(out.messages(TRACE_LEVEL_APP_INFO), std::vector<std::string>{"The interface 'moca0' is enabled at init"});
    EXPECT_EQ(out.messages(TRACE_LEVEL_NOTICE),
              std::vector<std::string>{"allocated mxl moca info for interface moca0"});
    const std::vector<std::string> infos = out.messages(TRACE_LEVEL_INFO);
    EXPECT_NE(std::find(infos.begin(), infos.end(), "initializing mxl moca info for name: moca0"), infos.end());
    EXPECT_EQ(out.handles, 0);

    Outcome again = call("create-moca-iface", ojson{{"InternalName", "moca0"}});
    EXPECT_EQ(again.rc, 0);
    EXPECT_TRUE(again.chip.empty());
    EXPECT_EQ(again.messages(TRACE_LEVEL_NOTICE),
              std::vector<std::string>{"The mxl moca interface 'moca0' already exists"});
}

TEST_F(FrameTest, UnreachableChipGivesADisabledRecord) {
    struct Case {
        const char* name;
        const char* fault_op;
        std::vector<std::string> errors;
    };
    const Case cases[] = {
        {"eth0", nullptr, {"eth0: ClnkLib_OpenByName failed with rc=-2"}},
        {"moca1", "GetLocalInfo", {"moca1: ClnkLib_GetLocalInfo failed with rc=-1"}},
    };
    for(const Case& c : cases) {
        if(c.fault_op != nullptr) {
            fault(ojson{{"op", c.fault_op}});
        }
        Outcome out = call("create-moca-iface", ojson{{"InternalName", c.name}});
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.errors(), c.errors);
        EXPECT_EQ(out.messages(TRACE_LEVEL_APP_INFO),
                  std::vector<std::string>{std::string("The interface '") + c.name + "' is disabled at init"});
        EXPECT_EQ(out.handles, 0);
        // the record exists: a second create finds it
        EXPECT_EQ(call("create-moca-iface", ojson{{"InternalName", c.name}}).chip.size(), 0u);
    }
}

TEST_F(FrameTest, BadNamesCreateNothing) {
    for(const std::string name : {"", "moca0123456789ab"}) {
        Outcome out = call("create-moca-iface", ojson{{"InternalName", name}});
        EXPECT_EQ(out.rc, -1);
        EXPECT_EQ(out.errors(), std::vector<std::string>{"Failed to initialize mxl moca interface: " + name});
        EXPECT_TRUE(out.chip.empty());
        Outcome destroy = call("destroy-moca-iface", ojson{{"InternalName", name}});
        EXPECT_EQ(destroy.errors(), std::vector<std::string>{"mxl interface is not found"});
    }
}

TEST_F(FrameTest, FailedTimerRollsTheRecordBack) {
    const char* const timers[] = {"rlapm_timer", "sapm_timer",    "mesh_timer",
                                  "flows_timer", "bridges_timer", "nodes_timer"};
    for(int at = 1; at <= 6; at++) {
        g_timer_calls = 0;
        g_fail_timer_at = at;
        Outcome out = call("create-moca-iface", ojson{{"InternalName", "moca0"}});
        g_fail_timer_at = 0;
        EXPECT_EQ(out.rc, FAIL_RC);
        EXPECT_EQ(g_live_timers, 0); // the timers made before the failure are gone, and the record
        EXPECT_EQ(g_live_records, 0);
        EXPECT_EQ(out.errors(), std::vector<std::string>{std::string("Failed to allocate ") + timers[at - 1] + ": " +
                                                         std::to_string(FAIL_RC)});
        // nothing is left behind: the name can be created afresh
        EXPECT_EQ(call("retrieve-cfg-info", ojson{{"InternalName", "moca0"}}).errors(),
                  std::vector<std::string>{"Unable to find a mxl iface by name"});
    }
    EXPECT_TRUE(advance(20000).empty());
    create("moca0");
}

TEST_F(FrameTest, DestroyRemovesOnlyThatRecord) {
    create("moca0");
    create("moca1");
    Outcome out = call("destroy-moca-iface", ojson{{"InternalName", "moca0"}});
    EXPECT_EQ(out.rc, 0);
    EXPECT_TRUE(out.chip.empty());
    EXPECT_EQ(out.messages(TRACE_LEVEL_NOTICE), (std::vector<std::string>{"moca0:Remove from the list and free memory",
                                                                          "deallocating mxl moca info for moca0"}));
    EXPECT_EQ(call("destroy-moca-iface", ojson{{"InternalName", "moca0"}}).rc, -1);
    EXPECT_EQ(call("create-moca-iface", ojson{{"InternalName", "moca1"}}).messages(TRACE_LEVEL_NOTICE),
              std::vector<std::string>{"The mxl moca interface 'moca1' already exists"});
#ifndef __SANITIZE_ADDRESS__
    EXPECT_EQ(g_live_records, 1);
#endif
}

TEST_F(FrameTest, LookupIsExact) {
    create("moca0");
    for(const char* name : {"MOCA0", "moca", "moca00", "moca0 "}) {
        EXPECT_EQ(call("destroy-moca-iface", ojson{{"InternalName", name}}).rc, -1) << name;
    }
    EXPECT_EQ(call("destroy-moca-iface", ojson{{"InternalName", "moca0"}}).rc, 0);
}

TEST_F(FrameTest, UnloadWithRecordsFreesEverything) {
    create("moca0");
    create("moca1");
    unload_module();
    std::vector<LogLine> log = take_log();
    ASSERT_EQ(log.size(), 3u);
    EXPECT_EQ(log[0].msg, "Module stopped");
    EXPECT_EQ(log[1].msg, "deallocating mxl moca info for moca0");
    EXPECT_EQ(log[2].msg, "deallocating mxl moca info for moca1");
    EXPECT_TRUE(advance(20000).empty()); // no timer of a freed record fires
    EXPECT_EQ(g_live_records, 0);
    ASSERT_TRUE(load_module());
    EXPECT_EQ(take_log().at(0).msg, "Module loaded");
    EXPECT_EQ(call("destroy-moca-iface", ojson{{"InternalName", "moca0"}}).rc, -1);
}

TEST_F(FrameTest, LinesCarryTheFrame) {
    Outcome out = call("destroy-moca-iface", ojson{{"InternalName", "moca0"}});
    ASSERT_EQ(out.log.size(), 2u);
    const LogLine& info = out.log[0];
    EXPECT_EQ(info.level, TRACE_LEVEL_INFO);
    EXPECT_EQ(info.zone, "korvane");
    EXPECT_EQ(info.mark, "i");
    EXPECT_EQ(info.func, "mxl_iface_destroy");
    EXPECT_EQ(
        info.line.rfind("korvane - [i]destroy mxl moca info for name: moca0 - (mxl_iface_destroy@mxl_iface.cpp:", 0),
        0u);
    const LogLine& error = out.log[1];
    EXPECT_EQ(error.level, TRACE_LEVEL_ERROR);
    EXPECT_EQ(error.zone, "korvane");
    EXPECT_EQ(error.mark, "x");
    EXPECT_EQ(error.func, "mxl_iface_destroy");
    // Lines logged on behalf of a caller carry their level's mark and name their
    // file without directories too.
    const Outcome created = call("create-moca-iface", ojson{{"InternalName", "moca0"}});
    fault({{"op", "GetLocalInfo"}, {"rc", -5}});
    for(const Outcome& out : {created, call("retrieve-static-info", ojson{{"InternalName", "moca0"}})}) {
        for(const LogLine& l : out.log) {
            EXPECT_EQ(l.mark, host::mark_for_level(l.level)) << l.line;
            EXPECT_EQ(l.line.find('/'), std::string::npos) << l.line;
        }
    }
}

// Records destroyed, or still alive at unload, while their six cache timers
// run: no timer fires afterwards (under ASan: nothing touches the freed record).
TEST_F(FrameTest, TimersOfAFreedRecordNeverFire) {
    std::string err;
    ASSERT_TRUE(clnksim::patch(nlohmann::json::parse(R"({"interfaces": {"moca0": {"nodes": {"0": {
        "netInfo": {"guid": "02:00:00:00:00:01"}, "fmr": {"validInfo": 1}}}}}})"),
                               &err))
        << err;
    auto fill = [this] {
        create("moca0");
        for(const char* fn : {"retrieve-node-info", "retrieve-mesh-info", "retrieve-bridge-info", "retrieve-flow-info",
                              "retrieve-rlapm-info", "retrieve-sapm-info"}) {
            Outcome out = call(fn, ojson{{"InternalName", "moca0"}, {"Id", 1}});
            ASSERT_TRUE(out.rc == 0 && !out.chip.empty()) << fn;
        }
    };
    auto fired = [](const std::vector<LogLine>& log) {
        return std::count_if(log.begin(), log.end(), [](const LogLine& l) { return l.msg == "timer fired"; });
    };
    fill();
    EXPECT_EQ(fired(advance(10001)), 6); // all six were running
    call("destroy-moca-iface", ojson{{"InternalName", "moca0"}});
    for(uint64_t wait : {0, 5000}) { // destroyed right after the refills, and half-way
        SCOPED_TRACE(wait);
        fill();
        advance(wait);
        ASSERT_EQ(call("destroy-moca-iface", ojson{{"InternalName", "moca0"}}).rc, 0);
        EXPECT_EQ(fired(advance(20000)), 0);
    }
    fill();
    unload_module();
    take_log();
    EXPECT_TRUE(advance(20000).empty());
    ASSERT_TRUE(load_module());
}
