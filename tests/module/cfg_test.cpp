// SPDX-License-Identifier: BSD-2-Clause-Patent
// Applying and reporting the configuration against the simulated chip: the
// masked read/compare/write of each setting, start and stop, chip failures.
#include <nolotrace.h>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

const ojson CHIP = ojson::parse(R"({"interfaces": {"moca0": {"present": true, "openable": true, "started": true,
  "localInfo": {"nodeId": 1, "linkStatus": 1},
  "config": {"maxTxPwr": 10, "tgtP2pNperRate": 500, "tgtP2p50Rate": 630, "beaconTxPwr": 5, "tabooOffset": 18,
             "tabooMask": "0xff00", "mocaPassword": {"0": "1111", "5": "99999999988888888"}},
  "nodes": {"1": {"netInfo": {"mocaVer": "0x25"}}}}}})");

const std::string OPEN = "ClnkLib_OpenByName", CLOSE = "ClnkLib_Close", GET = "ClnkLib_GetClnkCfgV2Params",
                  SET = "ClnkLib_SetClnkCfgV2Params";

// The nine mask words with options first..last set.
nlohmann::json mask(int first, int last) {
    std::vector<uint32_t> words(9, 0);
    for(int opt = first; opt <= last; opt++) {
        words[opt / 32] |= 1u << (opt % 32);
    }
    return words;
}

nlohmann::json chip_cfg() {
    return clnksim::state()["interfaces"]["moca0"]["config"];
}

uint64_t chip_field(const std::string& field) {
    return chip_cfg().value(field, uint64_t{0});
}

class CfgTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        sim(CHIP);
        create("moca0");
    }
    static Outcome set(ojson args) {
        args["InternalName"] = "moca0";
        return call("set-cfg-info", args);
    }
    static Outcome report() { return call("retrieve-cfg-info", {{"InternalName", "moca0"}}); }
};

TEST_F(CfgTest, OptionIsWrittenOnlyWhenTheChipDiffers) {
    struct Case {
        ojson args;
        int opt;
        const char* field;
        uint64_t sent;
        strings info;  // between "Setting for interface" and "Loading data to chip..."
        bool rewrites; // the same request writes again: the value never fits the field
    };
    // clang-format off
    const Case cases[] = {
        {{{"PreferredNC", true}}, 69, "preferredNcMode", 1, {"Set preferredNcMode=1"}, false},
        {{{"TpcTargetRateNper", 70000}}, 200, "tgtP2pNperRate", 4464, {"Set tgtP2pNperRate=4464"}, true},
        {{{"TxPowerLimit", 300}}, 162, "maxTxPwr", 44, {"Set maxTxPwr=44"}, true},
        {{{"PowerCntlPhyTarget", 700}}, 199, "tgtP2p50Rate", 700, {"Set tgtP2p50Rate=700"}, false},
        {{{"BeaconPowerLimit", 7}}, 158, "beaconTxPwr", 7, {"Set beaconTxPwr=7"}, false},
        {{{"NodeTabooMask", "FFFFFFFF"}}, 138, "tabooMask", 0xffffff, {"Set node_taboo_mask=FFFFFFFF", "Set tabooMask=0xffffff"}, false},
        {{{"NodeTabooMask", "xyz"}}, 138, "tabooMask", 0, {"Set node_taboo_mask=xyz", "Set tabooMask=0x0"}, false},
        {{{"NodeTabooMask", " 0x1fz"}}, 138, "tabooMask", 0x1f, {"Set node_taboo_mask= 0x1fz", "Set tabooMask=0x1f"}, false},
        {{{"NodeTabooMask", "12345678901234567890"}}, 138, "tabooMask", 0x123456, {"Set node_taboo_mask=1234567890123456", "Set tabooMask=0x123456"}, false},
    };
    // clang-format on
    for(const Case& c : cases) {
        SCOPED_TRACE(c.args.dump());
        Outcome out = set(c.args);
        EXPECT_EQ(out.rc, 0);
        ASSERT_EQ(out.chip_ops(), (strings{OPEN, GET, SET, CLOSE}));
        EXPECT_EQ(out.chip[1].args, mask(c.opt, c.opt));
        EXPECT_EQ(out.chip[2].args, mask(c.opt, c.opt));
        strings info{"Setting for interface: moca0"};
        info.insert(info.end(), c.info.begin(), c.info.end());
        info.push_back("Loading data to chip...");
        EXPECT_EQ(out.messages(TRACE_LEVEL_INFO), info);
        EXPECT_EQ(chip_field(c.field), c.sent);
        EXPECT_EQ(chip_field("tabooOffset"), 18u);

        Outcome again = set(c.args);
        EXPECT_EQ(again.chip_ops(), c.rewrites ? (strings{OPEN, GET, SET, CLOSE}) : (strings{OPEN, GET, CLOSE}));
    }
    EXPECT_EQ(report().value("TxPowerLimit"), 44);
}

TEST_F(CfgTest, PrivacyAndPassPhraseAreWrittenUnread) {
    for(bool on : {true, false, false}) {
        Outcome out = set({{"PrivacyEnabledSetting", on}});
        EXPECT_EQ(out.chip_ops(), (strings{OPEN, SET, CLOSE}));
        EXPECT_EQ(out.chip[1].args, mask(70, 78));
        EXPECT_EQ(out.messages(TRACE_LEVEL_INFO)[1], on ? "Set securityMode=0xff" : "Set securityMode=0x0");
        EXPECT_EQ(chip_field("securityMode"), on ? 0xffu : 0u);
    }

    Outcome out = set({{"KeyPassphrase", "12345678901234567890"}});
    ASSERT_EQ(out.chip_ops(), (strings{OPEN, SET, CLOSE}));
    EXPECT_EQ(out.chip[1].args, mask(52, 59));
    strings info = out.messages(TRACE_LEVEL_INFO);
    ASSERT_EQ(info.size(), 10u);
    for(int band = 52; band <= 59; band++) {
        EXPECT_EQ(info[band - 51], "Set keyphrase=12345678901234567 for band " + std::to_string(band));
    }
    const nlohmann::json slots = chip_cfg()["mocaPassword"];
    EXPECT_EQ(slots.size(), 8u);
    for(const auto& [slot, text] : slots.items()) {
        EXPECT_EQ(text, "12345678901234567") << slot;
    }
    EXPECT_EQ(report().value("KeyPassphrase"), "12345678901234567");

    Outcome empty = set({{"KeyPassphrase", ""}});
    EXPECT_EQ(empty.rc, 0);
    EXPECT_EQ(empty.chip_ops(), (strings{OPEN, CLOSE}));
}

TEST_F(CfgTest, OnlyTheFirstKnownKeyIsApplied) {
    struct Case {
        ojson args;
        strings ops;
    };
    const Case cases[] = {
        {{{"Enable", true}, {"PreferredNC", true}}, {OPEN, CLOSE}},
        {{{"TxPowerLimit", 10}, {"PreferredNC", true}}, {OPEN, GET, SET, CLOSE}}, // table order, not args order
        {ojson::object(), {OPEN, CLOSE}},
        {{{"Unknown", 1}}, {OPEN, CLOSE}},
        {{{"KeyPassphrase", "secret"}, {"FreqCurrentMaskSetting", "00000000003C0000FF"}}, {OPEN, CLOSE}},
        // A text key that holds no text is ignored.
        {{{"FreqCurrentMaskSetting", nullptr}}, {OPEN, CLOSE}},
        {{{"KeyPassphrase", 5}}, {OPEN, CLOSE}},
        {{{"NodeTabooMask", true}}, {OPEN, CLOSE}},
    };
    for(const Case& c : cases) {
        SCOPED_TRACE(c.args.dump());
        Outcome out = set(c.args);
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.chip_ops(), c.ops);
        if(c.ops.size() > 2) {
            EXPECT_EQ(out.chip[1].args, mask(69, 69));
        }
    }
    EXPECT_EQ(report().value("FreqCurrentMaskSetting"), "00000000003C0000");
    EXPECT_EQ(call("retrieve-dyn-info", {{"InternalName", "moca0"}}).value("FreqCurrentMask"), "00000000003C0000");
}

TEST_F(CfgTest, EnableStartsOrStopsFromTheRecordState) {
    struct Step {
        bool enable;
        const char* op; // nullptr: nothing is sent
        const char* before;
    };
    const Step steps[] = {
        {true, nullptr, "enabled"},
        {false, "ClnkLib_Stop", "enabled"},
        {false, nullptr, "disabled"},
        {true, "ClnkLib_Start", "disabled"},
    };
    for(const Step& s : steps) {
        Outcome out = set({{"Enable", s.enable}});
        EXPECT_EQ(out.rc, 0);
        strings info{"Setting for interface: moca0", std::string("Set enable on ") + s.before + " moca0"};
        strings ops{OPEN, CLOSE};
        if(s.op != nullptr) {
            info.push_back(std::string("moca0: ") + s.op + ": returned rc=0");
            ops.insert(ops.begin() + 1, s.op);
        }
        EXPECT_EQ(out.messages(TRACE_LEVEL_INFO), info);
        EXPECT_EQ(out.chip_ops(), ops);
        EXPECT_EQ(report().value("Enable"), s.enable);
        EXPECT_EQ(clnksim::state()["interfaces"]["moca0"]["started"], s.enable);
    }
}

TEST_F(CfgTest, ReportReadsTheChipOnce) {
    struct Case {
        ojson config;
        bool privacy;
        const char* taboo;
    };
    const Case cases[] = {
        {{{"securityMode", 0}, {"tabooMask", 0}}, false, "0000000000000000"},
        {{{"securityMode", 1}, {"tabooMask", "0xffffff"}}, true, "0000000000FFFFFF"},
        {{{"securityMode", 255}, {"tabooMask", "0xff00"}}, true, "000000000000FF00"},
    };
    for(const Case& c : cases) {
        patch({{"interfaces", {{"moca0", {{"config", c.config}}}}}});
        Outcome out = report();
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.chip_ops(), (strings{OPEN, "ClnkLib_GetClnkCfgV2", CLOSE}));
        EXPECT_EQ(out.value("PrivacyEnabledSetting"), c.privacy);
        EXPECT_EQ(out.value("NodeTabooMask"), c.taboo);
    }
    Outcome out = report(); // keys in order, with their types and values
    EXPECT_EQ(out.ret[1], ojson::parse(R"({"Enable": ["bool", true], "PreferredNC": ["bool", false],
        "PrivacyEnabledSetting": ["bool", true], "TpcTargetRateNper": ["uint32", 500],
        "FreqCurrentMaskSetting": ["cstring", ""], "KeyPassphrase": ["cstring", "99999999988888888"],
        "TxPowerLimit": ["uint32", 10], "PowerCntlPhyTarget": ["uint32", 630], "BeaconPowerLimit": ["uint32", 5],
        "NodeTabooMask": ["cstring", "000000000000FF00"]})"));
}

// A setting names its interface before the chip is opened, so a chip that cannot
// be opened still leaves the request in the log.
TEST_F(CfgTest, RequestLineComesBeforeTheOpen) {
    fault({{"op", "OpenByName"}, {"rc", -3}});
    Outcome out = set({{"PreferredNC", true}});
    ASSERT_FALSE(out.log.empty());
    EXPECT_EQ(out.log.front().msg, "Setting for interface: moca0");
}

// Pass phrase slots that fill all 18 bytes without a terminator: the report takes 17 characters.
TEST_F(CfgTest, PassPhrasesWithoutTerminatorFromTheChip) {
    ojson unterminated = ojson::object();
    for(int slot = 0; slot < 8; slot++) {
        unterminated["mocaPassword." + std::to_string(slot)] = "ABCDEFGHIJKLMNOPQ";
        unterminated["mocaPassword." + std::to_string(slot) + ".17"] = "0xff";
    }
    fault({{"op", "GetClnkCfgV2"}, {"rc", 0}, {"set", unterminated}});
    Outcome out = report();
    EXPECT_EQ(out.rc, 0);
    EXPECT_EQ(out.value("KeyPassphrase"), "ABCDEFGHIJKLMNOPQ");

    // Slot 5 alone decides; its neighbours' bytes do not leak into the text.
    fault({{"op", "GetClnkCfgV2"}, {"rc", 0}, {"set", {{"mocaPassword.5", "abc"}}}});
    EXPECT_EQ(report().value("KeyPassphrase"), "abc");
}

} // namespace
