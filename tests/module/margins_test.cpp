// SPDX-License-Identifier: BSD-2-Clause-Patent
// PHY margin tables: which entry an Id names, the ceilings, the SAPM margin
// text, counting versus caching, and the failure paths of both tables.
#include <algorithm>

#include <nolotrace.h>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

const std::string OPEN = "ClnkLib_OpenByName";
const std::string CLOSE = "ClnkLib_Close";

// What differs between the two tables, as the host sees it.
struct Kind {
    const char* tag; // scenario key and log tag
    const char* number_fn;
    const char* info_fn;
    const char* number_key;
    std::string read_op;
    uint32_t per_row; // entries per row in use
};

// clang-format off
const Kind RLAPM{"rlapm", "retrieve-rlapm-number", "retrieve-rlapm-info", "RlapmNumberOfEntries", "ClnkLib_GetRlapmCfg", 84};
const Kind SAPM{"sapm", "retrieve-sapm-number", "retrieve-sapm-info", "SapmNumberOfEntries", "ClnkLib_GetSapmCfg", 1};
// clang-format on

class MarginsTest : public ModuleTest {
protected:
    ojson scenario = ojson::parse(R"({"interfaces": {"moca0": {"present": true, "openable": true, "started": true,
                                     "localInfo": {"nodeId": 0, "linkStatus": 1, "activeNodeBitmask": 1}}}})");

    void SetUp() override {
        ModuleTest::SetUp();
        sim(scenario);
        create("moca0");
    }
    void row(const Kind& k, int profile, int f, const ojson& fields) {
        scenario["interfaces"]["moca0"][k.tag]["profiles"][std::to_string(profile)]["tbl"][std::to_string(f)] = fields;
    }
    // (a handle left open fails the test at its end)
    Outcome number(const Kind& k) { return call(k.number_fn, {{"InternalName", "moca0"}}); }
    Outcome info(const Kind& k, uint32_t id) { return call(k.info_fn, {{"InternalName", "moca0"}, {"Id", id}}); }
    // A call that refills reads the configuration twice: once to fill, once to count.
    Outcome refilled(const Kind& k, uint32_t id, uint32_t freq) {
        Outcome out = info(k, id);
        EXPECT_EQ(out.count_op(k.read_op), 2u);
        EXPECT_EQ(out.value("Frequency"), freq);
        return out;
    }
};

TEST_F(MarginsTest, RlapmIdsWalkProfilesRowsAndLevels) {
    ojson ramp = ojson::array();
    for(int r = 0; r < 84; r++) {
        ramp.push_back(r);
    }
    row(RLAPM, 0, 0, {{"freq", 1150}, {"phymargin", {7, 120, 121, 122, 255}}});
    row(RLAPM, 0, 2, {{"freq", 1200}, {"phymargin", ramp}});
    row(RLAPM, 3, 5, {{"freq", 1500}, {"phymargin", ramp}});
    sim(scenario);
    EXPECT_EQ(number(RLAPM).value("RlapmNumberOfEntries"), 252);

    struct Entry {
        uint32_t id;
        bool enable;
        uint32_t profile, freq, garpl, margin;
    };
    const Entry entries[] = {
        {1, true, 0, 1150, 0, 3},     {2, true, 0, 1150, 1, 60},    {3, true, 0, 1150, 2, 60},
        {4, true, 0, 1150, 3, 60},    {5, true, 0, 1150, 4, 60},    {6, true, 0, 1150, 5, 0},
        {84, true, 0, 1150, 65, 0},   {85, true, 0, 1200, 0, 0},    {149, true, 0, 1200, 64, 32},
        {150, true, 0, 1200, 65, 32}, {151, true, 0, 1200, 65, 33}, {168, true, 0, 1200, 65, 41},
        {169, true, 3, 1500, 0, 0},   {252, true, 3, 1500, 65, 41}, {253, false, 0, 0, 0, 0},
        {8064, false, 0, 0, 0, 0},
    };
    size_t reads = 0;
    for(const Entry& e : entries) {
        SCOPED_TRACE(e.id);
        Outcome out = info(RLAPM, e.id);
        reads += out.count_op(RLAPM.read_op);
        EXPECT_EQ(out.rc, 0);
        // clang-format off
        EXPECT_EQ(out.ret, ojson::array({"htable", {{"Enable", {"bool", e.enable}}, {"Profile", {"uint32", e.profile}},
            {"Frequency", {"uint32", e.freq}}, {"GlobalAggrRxPwrLevel", {"uint32", e.garpl}},
            {"PhyMargin", {"uint32", e.margin}}, {"Status", {"cstring", e.enable ? "active" : ""}}}}));
        // clang-format on
    }
    EXPECT_EQ(reads, 2u); // one refill, which counts on a second handle
}

TEST_F(MarginsTest, SapmRowsGiveOneEntryWithBoundedMarginText) {
    ojson sixties = ojson::array();
    std::string sixties_text;
    std::string tail_text = "1,2";
    for(int k = 0; k < 256; k++) {
        sixties.push_back(60);
        sixties_text += (k == 0) ? "60" : ",60";
        tail_text += (k < 2) ? "" : ",0";
    }
    row(SAPM, 2, 1, {{"freq", 1150}, {"threshold", 70}, {"scstart", 250}, {"phymargin", {0, 59, 60, 61, 200, 7, 9}}});
    row(SAPM, 9, 0, {{"freq", 1200}, {"threshold", 65}, {"scstart", 256}, {"phymargin", {5}}});
    row(SAPM, 9, 3, {{"freq", 1250}, {"threshold", 64}, {"scstart", 300}, {"phymargin", {5}}});
    row(SAPM, 10, 0, {{"freq", 1300}, {"threshold", 0}, {"scstart", 0}, {"phymargin", sixties}});
    row(SAPM, 10, 2, {{"freq", 1350}, {"threshold", 1}, {"scstart", -5}, {"phymargin", {1, 2}}});
    sim(scenario);
    EXPECT_EQ(number(SAPM).value("SapmNumberOfEntries"), 5);

    struct Entry {
        uint32_t id;
        uint32_t profile, freq, threshold;
        std::string margin;
        uint32_t sc_count; // margin count logged when the entry is built
    };
    const Entry entries[] = {
        {1, 2, 1150, 65, "0,59,60,60,60,7", 6}, {2, 9, 1200, 65, "", 0},          {3, 9, 1250, 64, "", 0},
        {4, 10, 1300, 0, sixties_text, 256},    {5, 10, 1350, 1, tail_text, 256},
    };
    for(const Entry& e : entries) {
        SCOPED_TRACE(e.id);
        Outcome out = info(SAPM, e.id);
        EXPECT_EQ(out.rc, 0);
        // clang-format off
        EXPECT_EQ(out.ret, ojson::array({"htable", {{"Enable", {"bool", true}}, {"Profile", {"uint32", e.profile}},
            {"Frequency", {"uint32", e.freq}}, {"AggrRxPwrLevelThreshold", {"uint32", e.threshold}},
            {"PhyMargin", {"cstring", e.margin}}, {"Status", {"cstring", "active"}}}}));
        // clang-format on
        if(e.id == 1) {
            for(const Entry& built : entries) {
                EXPECT_TRUE(logged(out.log, "Sapm entry[" + std::to_string(built.id - 1) + "] sc_index_max:" +
                                                std::to_string(built.sc_count) + " MAX_MINI_SAPM_MARGIN_LEN 256"));
            }
        }
    }
    for(uint32_t unused : {6, 64}) {
        EXPECT_EQ(info(SAPM, unused).value("Status"), "");
    }
}

// ---- what both tables share ---------------------------------------------------------------

class BothTables : public MarginsTest, public ::testing::WithParamInterface<const Kind*> {};

INSTANTIATE_TEST_SUITE_P(Margins, BothTables, ::testing::Values(&RLAPM, &SAPM),
                         [](const auto& p) { return std::string(p.param->tag); });

TEST_P(BothTables, InfoIsCachedForTenSecondsNumberAsksEveryTime) {
    const Kind& k = *GetParam();
    row(k, 0, 0, {{"freq", 1150}});
    sim(scenario);
    const std::string get = std::string("get ") + k.tag + " for id 0 data for moca0, timer state=";

    Outcome first = info(k, 1);
    EXPECT_EQ(first.chip_ops(), (strings{OPEN, k.read_op, OPEN, k.read_op, CLOSE, CLOSE}));
    EXPECT_TRUE(logged(first.log, get + "0"));
    EXPECT_TRUE(logged(first.log, "armed timer for 10000"));

    // the chip changes: the cache keeps the old rows, the count sees the new ones
    row(k, 0, 1, {{"freq", 1200}});
    row(k, 0, 0, {{"freq", 1400}});
    sim(scenario);
    Outcome cached = info(k, 1);
    EXPECT_TRUE(cached.chip.empty());
    EXPECT_TRUE(logged(cached.log, get + "2"));
    EXPECT_EQ(cached.value("Frequency"), 1150);
    for(int i = 0; i < 2; i++) {
        Outcome n = number(k);
        EXPECT_EQ(n.chip_ops(), (strings{OPEN, k.read_op, CLOSE}));
        EXPECT_EQ(n.keys(), (std::vector<std::pair<std::string, std::string>>{{k.number_key, "uint32"}}));
        EXPECT_EQ(n.value(k.number_key), 2 * k.per_row);
    }

    std::vector<LogLine> fired = advance(11000);
    ASSERT_EQ(fired.size(), 1u);
    EXPECT_EQ(fired[0].msg, "timer fired");
    refilled(k, 1, 1400);
}

TEST_P(BothTables, EntriesOutliveSmallerTables) {
    const Kind& k = *GetParam();
    row(k, 0, 0, {{"freq", 1150}});
    row(k, 0, 1, {{"freq", 1200}});
    sim(scenario);
    EXPECT_EQ(info(k, k.per_row + 1).value("Frequency"), 1200);

    scenario["interfaces"]["moca0"].erase(k.tag); // no row in use
    sim(scenario);
    advance(11000);
    EXPECT_EQ(refilled(k, k.per_row + 1, 1200).value("Enable"), true);
    EXPECT_TRUE(info(k, 1).chip.empty()); // an empty table is fresh too
    EXPECT_EQ(number(k).value(k.number_key), 0);
}

// A failed refill or count answers from what the table held (its error lines and
// chip calls are the fault matrix's), and the next call reads the chip again.
TEST_P(BothTables, FailedRefillOrCountKeepsTheCacheAndRetries) {
    const Kind& k = *GetParam();
    const std::pair<std::string, uint32_t> refill_failures[] = {{OPEN, 0}, {k.read_op, 0}, {OPEN, 1}, {k.read_op, 1}};
    for(const auto& [op, skip] : refill_failures) {
        SCOPED_TRACE(op + " after " + std::to_string(skip));
        row(k, 0, 0, {{"freq", 1150}});
        sim(scenario);
        advance(11000);
        refilled(k, 1, 1150);
        row(k, 0, 0, {{"freq", 1400}});
        sim(scenario);
        advance(11000);
        fault({{"op", op}, {"skip", skip}, {"rc", -5}});
        Outcome out = info(k, 1);
        EXPECT_EQ(out.rc, -5);
        EXPECT_FALSE(logged(out.log, "armed timer for 10000"));
        if(op == OPEN && skip == 0) {
            EXPECT_EQ(out.ret, ojson::array({"null", nullptr}));
        } else {
            EXPECT_EQ(out.value("Frequency"), 1150);
        }
        refilled(k, 1, 1400);
    }
    row(k, 1, 0, {{"freq", 1150}});
    sim(scenario);
    for(const std::string& op : {OPEN, k.read_op}) {
        fault({{"op", op}, {"rc", -5}});
        Outcome out = number(k);
        EXPECT_EQ(out.rc, -5);
        EXPECT_EQ(out.value(k.number_key), k.per_row); // counted by the last refill
    }
    EXPECT_EQ(number(k).value(k.number_key), 2 * k.per_row);
}

// ---- a chip answering out of range --------------------------------------------------------

// Every row of every RLAPM profile in use: freq 1000 + 6 x profile + row.
ojson every_rlapm_row() {
    ojson set = ojson::object();
    for(int p = 0; p < 16; p++) {
        for(int f = 0; f < 6; f++) {
            set["profiles." + std::to_string(p) + ".tbl." + std::to_string(f) + ".freq"] = 1000 + 6 * p + f;
        }
    }
    return set;
}

TEST_F(MarginsTest, RlapmRowsOfAFullOrChangingChipStayWithinTheTable) {
    row(RLAPM, 0, 0, {{"freq", 1150}});
    sim(scenario);
    const struct {
        const char* what;
        uint32_t times; // reads answered with every row: the fill, then the count
    } cases[] = {
        {"every row in use", 2},
        {"every row when filling, one when counting", 1},
    };
    for(const auto& c : cases) {
        SCOPED_TRACE(c.what);
        advance(10001);
        fault({{"op", "GetRlapmCfg"}, {"rc", 0}, {"times", c.times}, {"set", every_rlapm_row()}});
        Outcome last = info(RLAPM, 8064);
        EXPECT_EQ(last.rc, 0);
        EXPECT_TRUE(last.errors().empty());
        // The 8064th entry is the last level of profile 15's last row, whatever count the chip gave.
        EXPECT_EQ(last.value("Profile"), 15);
        EXPECT_EQ(last.value("Frequency"), 1000 + 6 * 15 + 5);
        EXPECT_EQ(last.value("GlobalAggrRxPwrLevel"), 65);
        EXPECT_EQ(number(RLAPM).value("RlapmNumberOfEntries"), 84u); // counted afresh: the scenario's one row
        EXPECT_EQ(info(RLAPM, 8065).rc, -1);
    }
}

// A refused call's line names the registered function.
TEST_F(MarginsTest, RefusalsNameTheirFunction) {
    for(const Kind* k : {&RLAPM, &SAPM}) {
        const Outcome out[] = {info(*k, 0), call(k->number_fn, ojson::object())};
        const std::string names[] = {std::string("mxl_") + k->tag + "_info_retrieve",
                                     std::string("mxl_") + k->tag + "_entries_number"};
        for(int i = 0; i < 2; i++) {
            ASSERT_EQ(out[i].log.size(), 1u);
            EXPECT_EQ(out[i].log[0].func, names[i]);
        }
    }
}

// The rows are read once to fill and once to count: only the profiles in use
// at the count are filled.
TEST_F(MarginsTest, ProfilesLeftOutOfTheCountAreNotFilled) {
    row(SAPM, 0, 0, {{"freq", 1150}});
    row(SAPM, 1, 0, {{"freq", 1200}});
    sim(scenario);
    fault({{"op", "GetSapmCfg"}, {"skip", 1}, {"rc", 0}, {"set", {{"profiles.0.tbl.0.freq", 0}}}});
    Outcome out = info(SAPM, 1);
    EXPECT_EQ(out.value("Profile"), 1);
    EXPECT_EQ(out.value("Frequency"), 1200);
}

TEST_F(MarginsTest, SapmMarginCountFollowsTheStart) {
    row(SAPM, 0, 0, {{"freq", 1150}, {"phymargin", {1, 2, 3}}});
    sim(scenario);
    const struct {
        ojson scstart;
        uint32_t count; // margins taken from the start of the row
    } cases[] = {
        {257, 0}, {"0x7fffffff", 0}, {"-0x80000000", 256}, {-1, 256}, {1, 255}, {255, 1},
    };
    for(const auto& c : cases) {
        SCOPED_TRACE(c.scstart.dump());
        std::string margin;
        for(uint32_t k = 0; k < c.count; k++) {
            margin += (k == 0 ? "" : ",") + std::to_string(k < 3 ? k + 1 : 0);
        }
        advance(10001);
        fault({{"op", "GetSapmCfg"}, {"rc", 0}, {"set", {{"profiles.0.tbl.0.scstart", c.scstart}}}});
        Outcome out = info(SAPM, 1);
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.value("PhyMargin"), margin);
        EXPECT_TRUE(
            logged(out.log, "Sapm entry[0] sc_index_max:" + std::to_string(c.count) + " MAX_MINI_SAPM_MARGIN_LEN 256"));
    }
}

} // namespace
