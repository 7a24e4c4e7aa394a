// SPDX-License-Identifier: BSD-2-Clause-Patent
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

TEST_F(FrameTest, AbsentRetIsRefusedSilentlyWhereTested) {
    for(const Row& row : ROWS) {
        for(bool null_args : {false, true}) {
            if(row.checks_ret) {
                Outcome out = call(row.function, ojson{{"InternalName", "moca0"}, {"Id", 1}}, false, null_args);
                EXPECT_TRUE(out.rc == -1 && out.log.empty() && out.chip.empty()) << row.function;
            }
        }
    }
}

// Null args (every function is registered), args of the wrong shape, a name that is no text.
TEST_F(FrameTest, BadArgumentsAreRefusedWithOneErrorLine) {
    const std::pair<ojson, std::string> cases[] = {
        {ojson(nullptr), "Passed args is NULL"},
        {ojson::array({"moca0"}), "args is not an htable"},
        {ojson("moca0"), "args is not an htable"},
        {ojson::object({{"Id", 1}}), "Passed interface name is NULL"},
        {ojson::object({{"InternalName", 5}}), "Passed interface name is NULL"},
        {ojson::object({{"InternalName", true}}), "Passed interface name is NULL"},
    };
    for(const Row& row : ROWS) {
        for(const auto& [args, msg] : cases) {
            SCOPED_TRACE(std::string(row.function) + " " + args.dump());
            expect_refused(call(row.function, args, true, args.is_null()), msg);
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

// A record is made for any chip, disabled when it can't be opened or read; a bad name makes none.
TEST_F(FrameTest, CreateTestsTheChipOnce) {
    const struct {
        const char* name;
        const char* fault_op;
        strings ops, errors;
        const char* state; // of the app-info line; nullptr: refused
    } cases[] = {
        {"moca0", nullptr, {"ClnkLib_OpenByName", "ClnkLib_GetLocalInfo", "ClnkLib_Close"}, {}, "enabled"},
        {"eth0", nullptr, {"ClnkLib_OpenByName"}, {"eth0: ClnkLib_OpenByName failed with rc=-2"}, "disabled"},
        {"moca1",
         "GetLocalInfo",
         {"ClnkLib_OpenByName", "ClnkLib_GetLocalInfo", "ClnkLib_Close"},
         {"moca1: ClnkLib_GetLocalInfo failed with rc=-1"},
         "disabled"},
        {"", nullptr, {}, {"Failed to initialize mxl moca interface: "}, nullptr},
        {"moca0123456789ab", nullptr, {}, {"Failed to initialize mxl moca interface: moca0123456789ab"}, nullptr},
    };
    for(const auto& c : cases) {
        SCOPED_TRACE(c.name);
        if(c.fault_op != nullptr) {
            fault(ojson{{"op", c.fault_op}});
        }
        const std::string name = c.name;
        Outcome out = call("create-moca-iface", ojson{{"InternalName", name}}, false);
        EXPECT_EQ(out.rc, c.state ? 0 : -1);
        EXPECT_EQ(out.chip_ops(), c.ops);
        EXPECT_EQ(out.errors(), c.errors);
        if(c.state == nullptr) {
            EXPECT_EQ(call("destroy-moca-iface", ojson{{"InternalName", name}}).errors(),
                      strings{"mxl interface is not found"});
            continue;
        }
        EXPECT_EQ(out.messages(TRACE_LEVEL_APP_INFO),
                  strings{"The interface '" + name + "' is " + c.state + " at init"});
        EXPECT_EQ(out.messages(TRACE_LEVEL_NOTICE), strings{"allocated mxl moca info for interface " + name});
        const strings infos = out.messages(TRACE_LEVEL_INFO);
        EXPECT_NE(std::find(infos.begin(), infos.end(), "initializing mxl moca info for name: " + name), infos.end());
        Outcome again = call("create-moca-iface", ojson{{"InternalName", name}}); // the record exists
        EXPECT_EQ(again.rc, 0);
        EXPECT_TRUE(again.chip.empty());
        EXPECT_EQ(again.messages(TRACE_LEVEL_NOTICE), strings{"The mxl moca interface '" + name + "' already exists"});
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

TEST_F(FrameTest, LinesCarryTheFrame) {
    Outcome out = call("destroy-moca-iface", ojson{{"InternalName", "moca0"}});
    ASSERT_EQ(out.log.size(), 2u);
    const char* const starts[] = {
        "korvane - [i]destroy mxl moca info for name: moca0 - (mxl_iface_destroy@mxl_iface.cpp:",
        "korvane - [x]mxl interface is not found - (mxl_iface_destroy@mxl_iface.cpp:"};
    for(int i = 0; i < 2; i++) {
        EXPECT_EQ(out.log[i].line.rfind(starts[i], 0), 0u) << out.log[i].line;
        EXPECT_EQ(out.log[i].level, i == 0 ? TRACE_LEVEL_INFO : TRACE_LEVEL_ERROR);
    }
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
    patch(ojson::parse(R"({"interfaces": {"moca0": {"nodes": {"0": {
        "netInfo": {"guid": "02:00:00:00:00:01"}, "fmr": {"validInfo": 1}}}}}})"));
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
    // Unloading frees the records still alive, in creation order.
    fill();
    create("moca1");
    unload_module();
    std::vector<std::string> log;
    for(const LogLine& l : take_log()) {
        log.push_back(l.msg);
    }
    EXPECT_EQ(log, (std::vector<std::string>{"Module stopped", "deallocating mxl moca info for moca0",
                                             "deallocating mxl moca info for moca1"}));
    EXPECT_TRUE(advance(20000).empty());
    EXPECT_EQ(g_live_records, 0);
    ASSERT_TRUE(load_module());
    EXPECT_EQ(take_log().at(0).msg, "Module loaded");
    EXPECT_EQ(call("destroy-moca-iface", ojson{{"InternalName", "moca0"}}).rc, -1);
}
