// SPDX-License-Identifier: Apache-2.0
//
// Where the lines of a thread go while a route stands, and where they go again behind it.
#include "log/log_route.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using Lines = std::vector<std::string>;

class LogRouteTest : public ::testing::Test {
 protected:
  static LogSink SinkTo(Lines* lines, uint32_t levels = testing_support::LogCapture::kAllLevels) {
    return {levels, [lines](uint32_t bit, const char* text) { lines->push_back(std::to_string(bit) + " " + text); }};
  }
  testing_support::LogCapture process_;
};

TEST_F(LogRouteTest, SinkTakesTheLinesWhileItsRouteStands) {
  Lines lines;
  const LogSink sink = SinkTo(&lines);
  WVAD_LOG_ERROR("before");
  {
    const LogRoute route(LogRoute::To::kSink, &sink);
    EXPECT_TRUE(LogRoute::Diverted());
    EXPECT_EQ(LogRoute::Sink(), &sink);
    WVAD_LOG_ERROR("line %d", 7);
    WVAD_LOG_VERBOSE("note");
  }
  EXPECT_FALSE(LogRoute::Diverted());
  EXPECT_EQ(LogRoute::Sink(), nullptr);
  WVAD_LOG_ERROR("behind");
  EXPECT_EQ(lines, (Lines{"2 line 7", "16 note"}));
  EXPECT_EQ(process_.Lines(), (Lines{"before", "behind"}));
}

TEST_F(LogRouteTest, SinkGetsTheLevelsThatItWantsAlone) {
  Lines lines;
  const LogSink sink = SinkTo(&lines, kLogErr | kLogInf);
  const LogRoute route(LogRoute::To::kSink, &sink);
  int formatted = 0;
  WVAD_LOG_WARN("%d", ++formatted);
  log_warn("past the macro");
  EXPECT_EQ(formatted, 0);
  EXPECT_FALSE(log_enabled(kLogWan));
  EXPECT_TRUE(log_enabled(kLogErr));
  EXPECT_TRUE(log_enabled(kLogInf));
  WVAD_LOG_INFO("info");
  EXPECT_EQ(WVAD_FAIL(14002, "NAME", "what was wrong"), 14002);
  EXPECT_EQ(lines, (Lines{"8 info", "2 what was wrong", "2 Error! The error string is -> NAME = 14002\n"}));
  EXPECT_EQ(process_.Lines(), Lines{});
}

TEST_F(LogRouteTest, LinesWithoutATakerAreDropped) {
  const LogSink without_function = {testing_support::LogCapture::kAllLevels, nullptr};
  for (const LogSink* sink : {static_cast<const LogSink*>(nullptr), &without_function}) {
    const LogRoute route(LogRoute::To::kSink, sink);
    EXPECT_TRUE(LogRoute::Diverted());
    EXPECT_FALSE(log_enabled(kLogErr));
    WVAD_LOG_ERROR("nowhere");
    log_error("nowhere");
  }
  EXPECT_EQ(process_.Lines(), Lines{});
}

TEST_F(LogRouteTest, InnermostRouteDecidesAndGivesBack) {
  Lines outer_lines, inner_lines;
  const LogSink outer_sink = SinkTo(&outer_lines), inner_sink = SinkTo(&inner_lines);
  const LogRoute outer(LogRoute::To::kSink, &outer_sink);
  WVAD_LOG_ERROR("1");
  {
    const LogRoute inner(LogRoute::To::kSink, &inner_sink);
    WVAD_LOG_ERROR("2");
    {
      const LogRoute dropping(LogRoute::To::kSink, nullptr);
      WVAD_LOG_ERROR("3");
    }
    WVAD_LOG_ERROR("4");
  }
  WVAD_LOG_ERROR("5");
  EXPECT_EQ(outer_lines, (Lines{"2 1", "2 5"}));
  EXPECT_EQ(inner_lines, (Lines{"2 2", "2 4"}));
  EXPECT_EQ(process_.Lines(), Lines{});
}

TEST_F(LogRouteTest, RouteToTheProcessLeavesTheLinesWhereTheyGo) {
  Lines lines;
  const LogSink sink = SinkTo(&lines);
  {
    const LogRoute route(LogRoute::To::kProcess, &sink);
    EXPECT_FALSE(LogRoute::Diverted());
    WVAD_LOG_ERROR("to the process");
  }
  const LogRoute outer(LogRoute::To::kSink, &sink);
  {
    const LogRoute inner(LogRoute::To::kProcess, nullptr);
    EXPECT_TRUE(LogRoute::Diverted());
    WVAD_LOG_ERROR("to the sink");
  }
  EXPECT_EQ(lines, Lines{"2 to the sink"});
  EXPECT_EQ(process_.Lines(), Lines{"to the process"});
}

TEST_F(LogRouteTest, RouteIsOfItsThreadAlone) {
  Lines mine, theirs;
  const LogSink my_sink = SinkTo(&mine), their_sink = SinkTo(&theirs);
  const LogRoute route(LogRoute::To::kSink, &my_sink);
  std::thread([&] {
    EXPECT_FALSE(LogRoute::Diverted());
    WVAD_LOG_ERROR("plain thread");
    const LogRoute route_there(LogRoute::To::kSink, &their_sink);
    WVAD_LOG_ERROR("routed thread");
  }).join();
  WVAD_LOG_ERROR("here");
  EXPECT_EQ(mine, Lines{"2 here"});
  EXPECT_EQ(theirs, Lines{"2 routed thread"});
  EXPECT_EQ(process_.Lines(), Lines{"plain thread"});
}

}  // namespace
}  // namespace TSEG
