// Shared helpers of the simulator tests.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "clnkapi.h"
#include "clnksim.h"

namespace simtest {

// Starts every test from an empty simulator and checks that it leaves no handle open.
class SimTest : public ::testing::Test {
protected:
    void SetUp() override { clnksim::reset(); }
    void TearDown() override { EXPECT_EQ(clnksim::open_handles(), 0) << "a handle was left open"; }

    // Loads a scenario given as JSON text (key order kept); fails the test on error.
    static void load(const std::string& text);
    // Opens `name`, failing the test if that does not work.
    static ClnkLib_Handle_t open(const char* name = "moca0");
};

// A present, openable, started moca0 with `body` merged into it (JSON object text).
std::string iface(const std::string& body = "{}");

// "aa:bb:..." -> the two words as the chip packs them.
ClnkLib_MacAddr_t mac(const std::string& text);

uint64_t swapped(uint64_t v);

} // namespace simtest
