// The flow listing's retry, timeout, change and exhaustion lines, word for
// word, on a first batch and on a later one. The iterator's response lives
// across attempts and batches: a request that is never answered leaves what
// the previous one held (the first-time mark 0x14 on a node's first batch).
#include <algorithm>
#include <string>

#include "mxl_test_env.h"

using namespace mxltest;
using strings = std::vector<std::string>;

namespace {

// moca0: node 0 (local) with 34 flows, two batches; node 1 with one flow.
ojson network() {
    ojson nodes = ojson::object();
    for(uint32_t node : {0u, 1u}) {
        ojson list = ojson::array();
        for(uint32_t k = 0; k < (node == 0 ? 34u : 1u); k++) {
            char id[32];
            snprintf(id, sizeof(id), "01:00:5e:%02x:00:%02x", node, k);
            list.push_back({{"flowId", id}});
        }
        nodes[std::to_string(node)] = {{"netInfo", {{"guid", "00:11:22:33:44:0" + std::to_string(node)}}},
                                       {"flows", {{"flowUpdateCount", 5}, {"list", list}}}};
    }
    ojson local = {{"nodeId", 0}, {"linkStatus", 1}, {"activeNodeBitmask", 3}};
    return {{"interfaces",
             {{"moca0",
               {{"present", true}, {"openable", true}, {"started", true}, {"localInfo", local}, {"nodes", nodes}}}}}};
}

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

struct ListingCase {
    const char* name;
    std::vector<ojson> faults;
    strings lines; // node 0's retry lines (info, starting with a blank), query traces left out
    strings errors;
};

void PrintTo(const ListingCase& c, std::ostream* os) {
    *os << c.name;
}

class FlowListingLines : public ModuleTest, public ::testing::WithParamInterface<ListingCase> {};

TEST_P(FlowListingLines, AreTheDocumentedOnes) {
    const ListingCase& c = GetParam();
    sim(network());
    create("moca0");
    for(const ojson& f : c.faults) {
        fault(f);
    }
    Outcome out = call("retrieve-qos-info", {{"InternalName", "moca0"}});
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
    EXPECT_EQ(out.handles, 0);
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

INSTANTIATE_TEST_SUITE_P(
    Flows, FlowListingLines,
    ::testing::Values(ListingCase{"FirstBatchSpent",
                                  {list_fault(0, 6, -77)},
                                  unanswered(UNANSWERED_FIRST, 6, 1),
                                  {"6 retries exausted. retval:-77 flowCode:0x14 (FLOWCODE_INTERNAL_ERROR)"}},
                      ListingCase{"FirstBatchAnsweredAtLast",
                                  {list_fault(0, 5, -77)},
                                  unanswered(UNANSWERED_FIRST, 6, 2) +
                                      strings{FIRST_OK, answer(0, "FLOWCODE_SUCCESS(0x1)", 5, 34, 2)},
                                  {}},
                      ListingCase{"LaterBatchSpent",
                                  {list_fault(1, 6, -77)},
                                  strings{FIRST_OK} + unanswered(UNANSWERED_LATER, 6, 1),
                                  {"6 retries exausted. retval:-77 flowCode:0x1 (FLOWCODE_SUCCESS)"}},
                      ListingCase{"LaterBatchTimeoutThenSpent",
                                  {list_fault(1, 1, 0, 8), list_fault(2, 5, -77)},
                                  strings{FIRST_OK, answer(0, "FLOWCODE_TIMEOUT(0x8)", 5, 34, 0),
                                          "  List timeout, flowCode 0x8 (FLOWCODE_TIMEOUT)"} +
                                      unanswered(answer(-77, "FLOWCODE_TIMEOUT(0x8)", 5, 34, 0), 5, 1),
                                  {"6 retries exausted. retval:-77 flowCode:0x8 (FLOWCODE_TIMEOUT)"}},
                      ListingCase{"FirstBatchFailCode",
                                  {list_fault(0, 1, 0, 16)},
                                  {answer(0, "FLOWCODE_UNKNOWN(0x10)", 5, 34, 0),
                                   "  List fail, flowCode 0x10 (FLOWCODE_UNKNOWN)", FIRST_OK,
                                   answer(0, "FLOWCODE_SUCCESS(0x1)", 5, 34, 2)},
                                  {}},
                      ListingCase{"ChangedBetweenBatches",
                                  {{{"op", "ListFlows"}, {"skip", 1}, {"rc", 0}, {"flowUpdateCountDelta", 1}}},
                                  {FIRST_OK, answer(0, "FLOWCODE_SUCCESS(0x1)", 6, 34, 2)},
                                  {"Detected flows changed in mid op, 5 != 6, aborting."}},
                      ListingCase{"QuerySpent",
                                  {{{"op", "QueryFlow"}, {"times", 6}, {"rc", 0}, {"flowCode", 32}}},
                                  {FIRST_OK, query_left(5), query_left(4), query_left(3), query_left(2), query_left(1),
                                   query_left(0)},
                                  {"Too many fail- last retval:0 flowCode:0x20 (FLOWCODE_NO_SUCH_FLOW)"}}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace

namespace {

// The progress lines at info level: a record's creation names the interface,
// the listing each node it asks.
class ProgressLines : public ModuleTest {};

TEST_F(ProgressLines, NameTheInterfaceAndEachListedNode) {
    sim(network());
    const strings created = call("create-moca-iface", {{"InternalName", "moca0"}}).messages(TRACE_LEVEL_INFO);
    EXPECT_NE(std::find(created.begin(), created.end(), "initializing mxl moca info for name: moca0"), created.end());
    strings asked;
    for(const std::string& msg : call("retrieve-qos-info", {{"InternalName", "moca0"}}).messages(TRACE_LEVEL_INFO)) {
        if(msg.rfind("Get (ingress)", 0) == 0) {
            asked.push_back(msg);
        }
    }
    EXPECT_EQ(asked, (strings{"Get (ingress) node info for node_id:0", "Get (ingress) node info for node_id:1"}));
}

} // namespace
