#include "sim_test_util.h"

namespace simtest {

void SimTest::load(const std::string& text) {
    std::string err;
    ASSERT_TRUE(clnksim::load_ordered(nlohmann::ordered_json::parse(text), &err)) << err;
}

ClnkLib_Handle_t SimTest::open(const char* name) {
    ClnkLib_Handle_t h{};
    EXPECT_EQ(ClnkLib_OpenByName(&h, name), CLNK_OK) << name;
    return h;
}

std::string iface(const std::string& body) {
    auto base = nlohmann::ordered_json::parse(R"({"present": true, "openable": true, "started": true})");
    base.update(nlohmann::ordered_json::parse(body));
    nlohmann::ordered_json doc;
    doc["interfaces"]["moca0"] = base;
    return doc.dump();
}

ClnkLib_MacAddr_t mac(const std::string& text) {
    unsigned b[6] = {};
    EXPECT_EQ(std::sscanf(text.c_str(), "%x:%x:%x:%x:%x:%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]), 6) << text;
    return {(b[0] << 24) | (b[1] << 16) | (b[2] << 8) | b[3], (b[4] << 24) | (b[5] << 16)};
}

uint64_t swapped(uint64_t v) {
    return (v << 32) | (v >> 32);
}

} // namespace simtest
