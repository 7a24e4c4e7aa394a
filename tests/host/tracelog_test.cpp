// SPDX-License-Identifier: BSD-2-Clause-Patent
// Reading the module's trace frame back, and capturing trace lines.
#include <gtest/gtest.h>

#include <nolotrace.h>

#include <tuple>

#include "tracelog.h"

namespace {

TEST(TraceFrame, SplitsIntoZoneMarkMessageAndFunction) {
    // Lines as the module frames them are read back end to end; here the odd ones: level,
    // zone as given to the sink, line; the zone, mark, message and function read back.
    // clang-format off
    using Row = std::tuple<int, const char*, const char*, const char*, const char*, const char*, const char*>;
    const Row rows[] = {
        {400, "korvane", "korvane - [i]link down - all inactive - (mesh@tables.cpp:3)", "korvane", "i",
         "link down - all inactive", "mesh"},
        {400, "korvane", "korvane - [i]odd - (a@b.cpp:1) - (f@g.cpp:2)", "korvane", "i", "odd - (a@b.cpp:1)", "f"},
        {350, "korvane", "korvane - [I]enabled - (operator()@iface.cpp:7)", "korvane", "I", "enabled", "operator()"},
        {300, "ab", "ab      - [n]short zone - (f@g.cpp:1)", "ab", "n", "short zone", "f"},
        {300, "korvane", "korvane - [n] - (f@g.cpp:1)", "korvane", "n", "", "f"},
        // Lines without the frame keep their text whole.
        {200, "other", "plain text", "other", "!", "plain text", ""},
        {100, nullptr, "plain - text", "", "x", "plain - text", ""},
        {300, "korvane", "korvane - [n]no tail here", "korvane", "n", "korvane - [n]no tail here", ""},
        {500, "korvane", "korvane - [d]bad tail - (nowhere)", "korvane", "d", "korvane - [d]bad tail - (nowhere)", ""},
        {450, "z", "", "z", "", "", ""},
    };
    // clang-format on
    for(const auto& [level, zone, line, want_zone, want_mark, want_msg, want_func] : rows) {
        SCOPED_TRACE(line);
        host::TraceLine t = host::parse_trace_line(level, zone, line);
        EXPECT_EQ(t.level, level);
        EXPECT_EQ(t.zone, want_zone);
        EXPECT_EQ(t.mark, want_mark);
        EXPECT_EQ(t.msg, want_msg);
        EXPECT_EQ(t.func, want_func);
        EXPECT_EQ(t.line, line);
    }
}

TEST(TraceCapture, TakesLinesUpToItsLevelInOrderAndRestoresTheLevel) {
    noloTraceSetLevel(200);
    {
        host::TraceCapture capture(400);
        noloTraceZ(300, "korvane", "korvane - [n]%s - (f@g.cpp:%d)", "first", 1);
        noloTrace(100, "korvane - [x]%s - (f@g.cpp:%d)", "second", 2);
        noloTraceZ(500, "korvane", "korvane - [d]dropped - (f@g.cpp:3)");
        auto lines = capture.take();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].msg, "first");
        EXPECT_EQ(lines[1].msg, "second");
        EXPECT_EQ(lines[1].level, 100);
        EXPECT_TRUE(capture.take().empty());
    }
    EXPECT_EQ(noloTraceGetLevel(), 200);
}

} // namespace
