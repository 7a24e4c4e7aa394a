// SPDX-License-Identifier: BSD-2-Clause-Patent
// PQoS flows: listing order and records, the iterator's batches and budget,
// every retry path, change detection, the full table, caching and failures.
#include <dlfcn.h>
#include <sys/time.h>

#include <cstdio>
#include <functional>
#include <map>

#include <clnkapi.h>
#include <nolotrace.h>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

// Node n has GUID 00:11:22:33:44:nn; its flow k has id 01:00:5e:nn:kk:kk.
std::string guid(uint32_t node) {
    char text[18];
    snprintf(text, sizeof(text), "00:11:22:33:44:%02x", node & 0xFF);
    return text;
}
std::string flow_id(uint32_t node, uint32_t k) {
    char text[18];
    snprintf(text, sizeof(text), "01:00:5e:%02x:%02x:%02x", node & 0xFF, (k >> 8) & 0xFF, k & 0xFF);
    return text;
}
ClnkLib_MacAddr_t flow_addr(uint32_t node, uint32_t k) {
    return {0x01005e00u | node, (k << 16)};
}

ojson flow(uint32_t node, uint32_t k) {
    ojson f = ojson::parse(R"({"packetDa": "01:00:5E:7F:00:AA", "tLeaseTimeSec": 60, "tBurstSize": 2, "flowTag": 7,
        "maxLatencyMs": 10, "stAvgRatio": 3, "flowPer": 4, "ingressClass": "0xBEEF", "vlanTag": 100, "dscpMoca": 46,
        "leaseTimeLeft": 30, "dfid": 9})");
    f.update({{"flowId", flow_id(node, k)},
              {"ingressGuid", guid(node)},
              {"egressGuid", guid(15)},
              {"tPeakDataRateKbps", 20000 + k}});
    return f;
}

// moca0 with the given active nodes (id -> number of flows), MoCA 2.5 unless `versions` says otherwise.
ojson network(const std::map<uint32_t, uint32_t>& flows, uint32_t local,
              const std::map<uint32_t, const char*>& versions = {}) {
    ojson nodes = ojson::object();
    uint32_t mask = 0;
    for(const auto& [id, n] : flows) {
        mask |= 1u << id;
        ojson list = ojson::array();
        for(uint32_t k = 0; k < n; k++) {
            list.push_back(flow(id, k));
        }
        const auto version = versions.find(id);
        nodes[std::to_string(id)] = {
            {"netInfo", {{"guid", guid(id)}, {"mocaVer", version == versions.end() ? "0x25" : version->second}}},
            {"flows", {{"flowUpdateCount", 5}, {"list", list}}}};
    }
    ojson local_info = {{"nodeId", local}, {"linkStatus", 1}, {"activeNodeBitmask", mask}};
    return {
        {"interfaces",
         {{"moca0",
           {{"present", true}, {"openable", true}, {"started", true}, {"localInfo", local_info}, {"nodes", nodes}}}}}};
}

strings infos_starting(const Outcome& out, const std::string& prefix) {
    strings found;
    for(const std::string& msg : out.messages(TRACE_LEVEL_INFO)) {
        if(msg.rfind(prefix, 0) == 0) {
            found.push_back(msg);
        }
    }
    return found;
}

std::vector<uint32_t> list_starts(const Outcome& out) {
    std::vector<uint32_t> starts;
    for(const clnksim::Call& c : out.chip) {
        if(c.op == "ClnkLib_ListFlows") {
            starts.push_back(c.args[1].get<uint32_t>());
        }
    }
    return starts;
}

// The wall clock the module reads: real, or a fake one that moves on a fixed
// step per read (optionally stepping once by `jump_us` at read `jump_at`).
struct FakeClock {
    bool on = false;
    int64_t now_us = 0;
    int64_t step_us = 1000;
    uint64_t reads = 0;
    uint64_t jump_at = UINT64_MAX;
    int64_t jump_us = 0;
} g_clock;

// Replaces the chip's answer to ClnkLib_ListFlows while set.
using list_fn_t = int32_t (*)(ClnkLib_Handle_t*, ClnkLib_FlowListReq_t*, ClnkLib_FlowListRsp_t*);
std::function<int32_t(ClnkLib_Handle_t*, ClnkLib_FlowListReq_t*, ClnkLib_FlowListRsp_t*, list_fn_t)> g_list_hook;

class FlowsTest : public ModuleTest {
protected:
    void TearDown() override {
        g_clock = FakeClock{};
        g_list_hook = nullptr;
        ModuleTest::TearDown();
    }
    void start(const ojson& scenario) {
        sim(scenario);
        create("moca0");
    }
    Outcome qos() { return call("retrieve-qos-info", {{"InternalName", "moca0"}}); }
    Outcome flow_info(uint32_t id) { return call("retrieve-flow-info", {{"InternalName", "moca0"}, {"Id", id}}); }
    void expect_counts(const Outcome& out, uint32_t ingress) {
        EXPECT_EQ(out.ret,
                  ojson::parse(R"(["htable", {"EgressNumFlows": ["uint32", 0], "IngressNumFlows": ["uint32", )" +
                               std::to_string(ingress) + "]}]"));
    }
};

} // namespace

extern "C" int gettimeofday(struct timeval* __restrict tv, void* __restrict) noexcept {
    if(!g_clock.on) {
        timespec ts{};
        clock_gettime(CLOCK_REALTIME, &ts);
        *tv = {ts.tv_sec, ts.tv_nsec / 1000};
        return 0;
    }
    g_clock.now_us += (g_clock.reads == g_clock.jump_at) ? g_clock.jump_us : 0;
    *tv = {g_clock.now_us / 1000000, g_clock.now_us % 1000000};
    g_clock.reads++;
    g_clock.now_us += g_clock.step_us;
    return 0;
}

extern "C" int32_t ClnkLib_ListFlows(ClnkLib_Handle_t* h, ClnkLib_FlowListReq_t* req, ClnkLib_FlowListRsp_t* rsp) {
    static auto real = reinterpret_cast<list_fn_t>(dlsym(RTLD_NEXT, "ClnkLib_ListFlows"));
    return g_list_hook ? g_list_hook(h, req, rsp, real) : real(h, req, rsp);
}

// A mask naming nodes beyond the sixteen: only those up to 15 are listed; a
// seventeenth flow is counted but finds no slot.
TEST_F(FlowsTest, MaskBitsBeyondSixteenNodesAndASeventeenthFlow) {
    start(network({{0, 17}}, 0));
    fault(ojson::parse(R"({"op": "GetLocalInfo", "rc": 0, "set": {"activeNodeBitmask": "0xffff0001"}})"));
    Outcome out = qos();
    EXPECT_EQ(out.errors(), strings{});
    EXPECT_EQ(out.count_op("ClnkLib_GetNetInfo"), 1u);
    EXPECT_EQ(out.messages(TRACE_LEVEL_WARNING), strings{"moca0: flow table full (16 slots), 1 flows not stored"});
}

TEST_F(FlowsTest, ListsNodesInOrderIntoSlots) {
    start(network({{0, 2}, {5, 1}, {7, 0}}, 5));
    Outcome out = qos();
    EXPECT_EQ(out.rc, 0);
    expect_counts(out, 1);
    EXPECT_EQ(out.count_op("ClnkLib_GetNetInfo"), 3u);
    EXPECT_EQ(out.count_op("ClnkLib_QueryFlow"), 3u);
    EXPECT_EQ(out.chip_ops().back(), "ClnkLib_Close");
    EXPECT_EQ(out.chip[3].args, nlohmann::json::array({guid(0), 0, 32}));
    EXPECT_EQ(infos_starting(out, "moca0: found"),
              (strings{"moca0: found 2 flows on node 0", "moca0: found 1 flows on node 5",
                       "moca0: found 0 flows on node 7"}));
    EXPECT_EQ(infos_starting(out, "TotalFlows"), strings{"TotalFlows: 3"});
    EXPECT_EQ(infos_starting(out, "Get (ingress)"),
              (strings{"Get (ingress) node info for node_id:0", "Get (ingress) node info for node_id:5",
                       "Get (ingress) node info for node_id:7"}));
    EXPECT_TRUE(out.errors().empty());

    const std::string slots[] = {flow_id(0, 0), flow_id(0, 1), flow_id(5, 0), ""};
    for(uint32_t id = 1; id <= 4; id++) {
        Outcome slot = flow_info(id);
        EXPECT_TRUE(slot.rc == 0 && slot.chip.empty() && slot.value("FlowID") == slots[id - 1]) << id;
    }
    ojson record = ojson::object();
    // clang-format off
    const std::tuple<const char*, const char*, ojson> keys[] = {
        {"FlowID", "cstring", flow_id(5, 0)}, {"PacketDA", "cstring", "01:00:5e:7f:00:aa"}, {"MaxRate", "uint32", 20000},
        {"MaxBurstSize", "uint32", 2}, {"LeaseTime", "uint32", 60}, {"Tag", "uint32", 7}, {"LeaseTimeLeft", "uint32", 30},
        {"FlowPackets", "uint32", 0}, {"IngressGuid", "cstring", guid(5)}, {"EgressGuid", "cstring", guid(15)},
        {"MaximumLatency", "uint32", 10}, {"ShortTermAvgRatio", "uint32", 3}, {"FlowPer", "uint32", 4},
        {"IngressClassify", "cstring", "beef"}, {"VlanTag", "uint32", 100}, {"DscpMoca", "uint32", 46}, {"Dfid", "uint32", 9}};
    // clang-format on
    ojson empty = ojson::object();
    for(const auto& [key, type, value] : keys) {
        record[key] = ojson::array({type, value});
        empty[key] = ojson::array({type, std::string(type) == "cstring" ? ojson("") : ojson(0)});
    }
    EXPECT_EQ(flow_info(3).ret, ojson::array({"htable", record}));
    EXPECT_EQ(flow_info(16).ret, ojson::array({"htable", empty}));
}

// Every node from MoCA 1.1 on lists its flows; a MoCA 1.0 node refuses, and says so.
TEST_F(FlowsTest, EveryNodeFromMoca11OnListsItsFlows) {
    const std::pair<const char*, const char*> versions[] = {
        {"0x11", "0x25"}, {"0x25", "0x11"}, {"0x11", "0x11"}, {"0x10", "0x11"}};
    for(const auto& [local, other] : versions) { // node 0, the local node, has 2 flows; node 1 has 1
        SCOPED_TRACE(std::string(local) + " " + other);
        start(network({{0, 2}, {1, 1}}, 0, {{0, local}, {1, other}}));
        Outcome out = qos();
        const bool refused = std::string(local) == "0x10";
        EXPECT_EQ(out.rc, 0);
        expect_counts(out, refused ? 0 : 2);
        EXPECT_EQ(infos_starting(out, "moca0: found"),
                  (strings{"moca0: found " + std::string(refused ? "0" : "2") + " flows on node 0",
                           "moca0: found 1 flows on node 1"}));
        EXPECT_EQ(infos_starting(out, "TotalFlows"), strings{refused ? "TotalFlows: 1" : "TotalFlows: 3"});
        EXPECT_EQ(infos_starting(out, "  M1.0 node NOT PQOS capable"),
                  refused ? strings{"  M1.0 node NOT PQOS capable, IngressID=" + guid(0)} : strings{});
        EXPECT_TRUE(out.errors().empty());
        call("destroy-moca-iface", {{"InternalName", "moca0"}});
    }
}

TEST_F(FlowsTest, TableIsListedOncePerTenSeconds) {
    start(network({{1, 3}}, 1));
    EXPECT_EQ(qos().count_op("ClnkLib_ListFlows"), 1u);
    advance(9999);
    for(const Outcome& out : {qos(), flow_info(3)}) {
        EXPECT_TRUE(out.chip.empty());
        EXPECT_EQ(out.rc, 0);
    }
    advance(2);
    Outcome again = flow_info(1);
    EXPECT_EQ(infos_starting(again, "get flowId"), strings{"get flowId for id 0 data for moca0, timer state=0"});
    EXPECT_EQ(again.count_op("ClnkLib_ListFlows"), 1u);
}

TEST_F(FlowsTest, LinkDownEmptiesTheTableAndCountsAsFresh) {
    start(network({{1, 2}}, 1));
    expect_counts(qos(), 2);
    patch({{"interfaces", {{"moca0", {{"localInfo", {{"linkStatus", 0}}}}}}}});
    advance(10001);
    Outcome out = qos();
    expect_counts(out, 0);
    EXPECT_EQ(out.chip_ops(), (strings{"ClnkLib_OpenByName", "ClnkLib_GetLocalInfo", "ClnkLib_Close"}));
    EXPECT_EQ(infos_starting(out, "moca0: link"), strings{"moca0: link is down - all nodes are inactive"});
    EXPECT_EQ(infos_starting(out, "TotalFlows"), strings{"TotalFlows: 0"});
    Outcome slot = flow_info(1);
    EXPECT_TRUE(slot.chip.empty());
    EXPECT_EQ(slot.value("FlowID"), "");
}

// The flow listing's retry, timeout, change and exhaustion lines, word for
// word, on a first batch and on a later one (node 0: 34 flows, two batches;
// node 1: one flow). The iterator's response lives across attempts and
// batches: a request that is never answered leaves what the previous one held
// (the first-time mark 0x14 on a node's first batch).
// The answer line of a list request.
std::string answer(int rc, const char* code, uint32_t count, uint32_t total, uint32_t returned) {
    return "  -->  retval:" + std::to_string(rc) + " .flowCode:" + code +
           ", .flowUpdateCount:" + std::to_string(count) + " .totalFlowIdCount:" + std::to_string(total) +
           " .numReturnedFlowIds:" + std::to_string(returned);
}

const std::string FIRST_OK = answer(0, "FLOWCODE_SUCCESS(0x1)", 5, 34, 32);
const std::string UNANSWERED_FIRST = answer(-77, "FLOWCODE_INTERNAL_ERROR(0x14)", 0, 0, 0);
const std::string UNANSWERED_LATER = answer(-77, "FLOWCODE_SUCCESS(0x1)", 5, 34, 32);

// Attempts that return -77: the answer line (what the response still holds) and the retry line.
strings unanswered(const std::string& held, int from, int to) {
    strings lines;
    for(int left = from; left >= to; left--) {
        lines.push_back(held);
        lines.push_back("  Unexpected list retval -77, " + std::to_string(left) + " retries left...");
    }
    return lines;
}

strings operator+(strings a, const strings& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

strings operator*(const strings& a, int times) {
    strings out;
    for(int i = 0; i < times; i++) {
        out = out + a;
    }
    return out;
}

ojson list_fault(uint32_t skip, uint32_t times, int rc, uint32_t code = 0) {
    ojson f = {{"op", "ListFlows"}, {"skip", skip}, {"times", times}, {"rc", rc}};
    if(code != 0) {
        f["flowCode"] = code;
    }
    return f;
}

std::string query_left(int left) {
    return " Unexpected fail: last retval:0 flowCode:0x20 (FLOWCODE_NO_SUCH_FLOW): " + std::to_string(left) +
           " left...";
}

// node 0's retry lines (info, starting with a blank, query traces left out) and the error lines
TEST_F(FlowsTest, ListingLinesAreTheDocumentedOnes) {
    // clang-format off
    const struct {
        const char* name;
        std::vector<ojson> faults;
        strings lines, errors;
    } cases[] = {
        {"FirstBatchSpent", {list_fault(0, 6, -77)}, unanswered(UNANSWERED_FIRST, 6, 1),
            {"6 retries exausted. retval:-77 flowCode:0x14 (FLOWCODE_INTERNAL_ERROR)"}},
        {"FirstBatchAnsweredAtLast", {list_fault(0, 5, -77)},
            unanswered(UNANSWERED_FIRST, 6, 2) + strings{FIRST_OK, answer(0, "FLOWCODE_SUCCESS(0x1)", 5, 34, 2)}, {}},
        {"LaterBatchSpent", {list_fault(1, 6, -77)}, strings{FIRST_OK} + unanswered(UNANSWERED_LATER, 6, 1),
            {"6 retries exausted. retval:-77 flowCode:0x1 (FLOWCODE_SUCCESS)"}},
        {"LaterBatchTimeoutThenSpent", {list_fault(1, 1, 0, 8), list_fault(2, 5, -77)},
            strings{FIRST_OK, answer(0, "FLOWCODE_TIMEOUT(0x8)", 5, 34, 0), "  List timeout, flowCode 0x8 (FLOWCODE_TIMEOUT)"} +
                unanswered(answer(-77, "FLOWCODE_TIMEOUT(0x8)", 5, 34, 0), 5, 1),
            {"6 retries exausted. retval:-77 flowCode:0x8 (FLOWCODE_TIMEOUT)"}},
        {"FirstBatchFailCode", {list_fault(0, 1, 0, 16)},
            {answer(0, "FLOWCODE_UNKNOWN(0x10)", 5, 34, 0), "  List fail, flowCode 0x10 (FLOWCODE_UNKNOWN)", FIRST_OK,
             answer(0, "FLOWCODE_SUCCESS(0x1)", 5, 34, 2)}, {}},
        // "Not PQoS capable" ends the node, even with ids in the answer.
        {"NotCapableWithIds", {{{"op", "ListFlows"}, {"rc", 0}, {"flowCode", 12}, {"set", {{"numReturnedFlowIds", 32}}}}},
            {answer(0, "FLOWCODE_QOS_UNAVAIL(0xc)", 5, 34, 32), "  M1.0 node NOT PQOS capable, IngressID=00:11:22:33:44:00"}, {}},
        {"UnnamedCodeSpent", {list_fault(0, 6, 0, 9)},
            strings{answer(0, "(0x9)", 5, 34, 0), "  List fail, flowCode 0x9 ()"} * 6, {"6 retries exausted. retval:0 flowCode:0x9 ()"}},
        {"ChangedBetweenBatches", {{{"op", "ListFlows"}, {"skip", 1}, {"rc", 0}, {"flowUpdateCountDelta", 1}}},
            {FIRST_OK, answer(0, "FLOWCODE_SUCCESS(0x1)", 6, 34, 2)}, {"Detected flows changed in mid op, 5 != 6, aborting."}},
        {"QuerySpent", {{{"op", "QueryFlow"}, {"times", 6}, {"rc", 0}, {"flowCode", 32}}},
            {FIRST_OK, query_left(5), query_left(4), query_left(3), query_left(2), query_left(1), query_left(0)},
            {"Too many fail- last retval:0 flowCode:0x20 (FLOWCODE_NO_SUCH_FLOW)"}}
    };
    // clang-format on
    for(const auto& c : cases) {
        SCOPED_TRACE(c.name);
        start(network({{0, 34}, {1, 1}}, 0));
        for(const ojson& f : c.faults) {
            fault(f);
        }
        Outcome out = qos();
        EXPECT_EQ(out.rc, 0);
        strings lines;
        for(const std::string& msg : out.messages(TRACE_LEVEL_INFO)) {
            const bool query_trace = msg.rfind("  -->", 0) == 0 && msg.find(".flowUpdateCount") == std::string::npos;
            if(msg.rfind(' ', 0) == 0 && !query_trace) {
                lines.push_back(msg);
            }
        }
        // Node 1's one clean batch closes every listing that gets that far.
        strings expected = c.lines;
        if(c.errors.empty() || c.errors[0].rfind("Too many", 0) != 0) {
            expected.push_back(answer(0, "FLOWCODE_SUCCESS(0x1)", 5, 1, 1));
        }
        EXPECT_EQ(lines, expected);
        EXPECT_EQ(out.errors(), c.errors);
        call("destroy-moca-iface", {{"InternalName", "moca0"}});
        clnksim::clear_faults();
    }
}

// A node of 40 flows: two batches, and a table that holds only 16 of them.
TEST_F(FlowsTest, FortyFlowsOnTheLocalNode) {
    const struct {
        ojson fault;
        uint32_t counted;
        strings errors;
    } cases[] = {
        {nullptr, 40, {}},
        {{{"op", "ListFlows"}, {"skip", 1}, {"rc", 0}, {"flowUpdateCountDelta", 1}},
         32,
         {"Detected flows changed in mid op, 5 != 6, aborting."}},
    };
    for(const auto& c : cases) {
        start(network({{0, 40}, {3, 2}}, 0));
        if(!c.fault.is_null()) {
            fault(c.fault);
        }
        Outcome out = qos();
        expect_counts(out, c.counted);
        EXPECT_EQ(list_starts(out), (std::vector<uint32_t>{0, 32, 0}));
        EXPECT_EQ(out.count_op("ClnkLib_QueryFlow"), 16u);
        EXPECT_EQ(out.errors(), c.errors);
        EXPECT_EQ(out.messages(TRACE_LEVEL_WARNING), strings{"moca0: flow table full (16 slots), " +
                                                             std::to_string(c.counted + 2 - 16) + " flows not stored"});
        EXPECT_EQ(infos_starting(out, "TotalFlows"), strings{"TotalFlows: " + std::to_string(c.counted + 2)});
        EXPECT_EQ(flow_info(16).value("FlowID"), flow_id(0, 15));
        call("destroy-moca-iface", {{"InternalName", "moca0"}});
    }
}

TEST_F(FlowsTest, FailedListingKeepsTheTableAndRetries) {
    start(network({{0, 2}}, 0));
    qos();
    advance(10001);
    fault(ojson{{"op", "GetLocalInfo"}, {"rc", -2}, {"times", 2}}); // code and error lines: the fault matrix's
    Outcome counts = qos();
    Outcome slot = flow_info(2);
    EXPECT_TRUE(counts.rc == -2 && slot.rc == -2);
    expect_counts(counts, 2);
    EXPECT_EQ(slot.value("FlowID"), flow_id(0, 1));
    EXPECT_EQ(qos().count_op("ClnkLib_ListFlows"), 1u);
}

TEST_F(FlowsTest, BatchCountsOutOfRangeStayWithinTheBatch) {
    const struct {
        const char* what;
        uint32_t flows;               // on the local node 0
        ojson set;                    // on every batch answer
        std::vector<uint32_t> starts; // of the batch requests
    } cases[] = {
        {"more ids than asked for", 40, {{"numReturnedFlowIds", 1000}}, {0, 32}},
        {"33 ids", 40, {{"numReturnedFlowIds", 33}}, {0, 32}},
        {"a list longer than it is", 3, {{"totalFlowIdCount", "0xffffffff"}}, {0, 3}},
    };
    for(const auto& c : cases) {
        SCOPED_TRACE(c.what);
        start(network({{0, c.flows}}, 0));
        fault({{"op", "ListFlows"}, {"rc", 0}, {"times", 100}, {"set", c.set}});
        Outcome out = qos();
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(list_starts(out), c.starts);
        expect_counts(out, c.flows);
        EXPECT_EQ(infos_starting(out, "moca0: found"),
                  strings{"moca0: found " + std::to_string(c.flows) + " flows on node 0"});
        EXPECT_TRUE(out.errors().empty());
        call("destroy-moca-iface", {{"InternalName", "moca0"}});
        clnksim::clear_faults();
    }
}

TEST_F(FlowsTest, BatchBudgetEndsTheNodeBeforeTheLastBatchIsUsed) {
    start(network({{0, 16}}, 0));
    noloTraceSetLevel(TRACE_LEVEL_WARNING);
    uint32_t batches = 0;
    g_list_hook = [&batches](ClnkLib_Handle_t*, ClnkLib_FlowListReq_t* req, ClnkLib_FlowListRsp_t* rsp, list_fn_t) {
        // An endless list; the chip stops answering ids well past the budget.
        *rsp = ClnkLib_FlowListRsp_t{CLNKLIB_FLOWCODE_SUCCESS, 0, UINT32_MAX, batches < 70000 ? 2u : 0u, {}};
        rsp->returnedFlowId[0] = flow_addr(0, req->flowStartIndex % 16);
        rsp->returnedFlowId[1] = flow_addr(0, (req->flowStartIndex + 1) % 16);
        batches++;
        return 0;
    };
    Outcome out = qos();
    EXPECT_EQ(batches, 65535u);
    expect_counts(out, 2 * 65534 + 1);
    EXPECT_EQ(out.messages(TRACE_LEVEL_WARNING), strings{"moca0: flow table full (16 slots), 131053 flows not stored"});
}

TEST_F(FlowsTest, SpinWaitsHundredMillisecondsOfWallClock) {
    struct SpinCase {
        int64_t start_us;
        uint64_t jump_at;
        uint64_t reads; // clock reads of the one busy wait
        int64_t step_us = 1000;
    };
    const SpinCase cases[] = {
        {1000000000000LL, UINT64_MAX, 101},
        {1000000950000LL, UINT64_MAX, 101},
        {1000000999999LL, UINT64_MAX, 101},
        {1000000900000LL, UINT64_MAX, 101},
        {1000000123456LL, 50, 152},               // clock set back an hour while waiting: wait afresh
        {1000000000000LL, UINT64_MAX, 16, 7000},  // a coarse clock passes the deadline between reads
        {1000000950000LL, UINT64_MAX, 1001, 100}, // a fine clock, across a second
    };
    start(network({{0, 1}}, 0));
    for(const SpinCase& c : cases) {
        SCOPED_TRACE(c.start_us);
        fault(ojson::parse(R"({"op":"ListFlows","rc":0,"flowCode":8})"));
        g_clock = FakeClock{true, c.start_us, c.step_us, 0, c.jump_at, -3600LL * 1000000};
        Outcome out = qos();
        g_clock.on = false;
        EXPECT_EQ(g_clock.reads, c.reads);
        EXPECT_EQ(infos_starting(out, "Timer:"), (strings{"Timer: Spin for 100ms...", "Timer: Spin done."}));
        advance(10001);
    }
}
