// SPDX-License-Identifier: Apache-2.0
#include "session/diagnostics.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/folder_fixture.h"

namespace TSEG {
namespace {

class DiagnosticsTest : public testing_support::FolderTest {
 protected:
  std::vector<const DebugWatch*> Watches() const {
    return {diagnostics_.pWatchInput.get(), diagnostics_.pWatchOutput.get(), diagnostics_.pWatch75x11.get(), diagnostics_.pWatch75x4.get()};
  }
  Diagnostics diagnostics_;
};

TEST_F(DiagnosticsTest, HasANameBeforeItIsGivenOne) { EXPECT_EQ(diagnostics_.sid(), "undefine "); }

TEST_F(DiagnosticsTest, WatchesGoUnderTheLastComponentOfTheName) {
  const struct {
    const char* sid;
    const char* name;
  } rows[] = {{"a", "a"}, {"calls/17/a", "a"}, {"calls\\17\\b", "b"}, {"calls\\17/c", "c"}, {"calls/", ""}, {"", ""}};
  for (const auto& row : rows) {
    diagnostics_.SetSid(row.sid, true);
    EXPECT_EQ(diagnostics_.sid(), row.sid);
    for (const DebugWatch* watch : Watches()) {
      EXPECT_EQ(watch->bOn, 1) << row.sid;
      EXPECT_EQ(watch->sid, row.name) << row.sid;
    }
  }
}

TEST_F(DiagnosticsTest, WatchesStayOffWhereTheyAreNotAskedFor) {
  diagnostics_.SetSid("a", true);
  diagnostics_.SetSid("b", false);
  EXPECT_EQ(diagnostics_.sid(), "b");
  for (const DebugWatch* watch : Watches()) EXPECT_EQ(watch->bOn, 0);
}

TEST_F(DiagnosticsTest, ShorterNameLeavesNothingOfTheLongerOne) {
  diagnostics_.SetSid("a long name", false);
  diagnostics_.SetSid("b", false);
  EXPECT_EQ(diagnostics_.sid(), "b");
}

TEST_F(DiagnosticsTest, NameIsCutAt1024Characters) {
  for (const size_t length : {1023u, 1024u, 1025u, 5000u}) {
    diagnostics_.SetSid(std::string(length, 'x').c_str(), false);
    EXPECT_EQ(diagnostics_.sid(), std::string(std::min<size_t>(length, 1024), 'x')) << length;
  }
  diagnostics_.BeginText();
  EXPECT_EQ(diagnostics_.debugText, std::string(1024, 'x') + "|VAD:");
}

TEST_F(DiagnosticsTest, LineHoldsNameTraceScoresAndEnergies) {
  diagnostics_.SetSid("a", false);
  diagnostics_.BeginText();
  diagnostics_.debugText += " begin 3";
  diagnostics_.mScore = {1000, 0, -7};
  EXPECT_EQ(diagnostics_.CloseText({12.9f, -3.5f}), "a|VAD: begin 3|mScore: 1000 0 -7 |eScore: 12 -3\n");
}

TEST_F(DiagnosticsTest, LineWithoutScoresAndEnergiesLeavesTheirPartsOut) {
  diagnostics_.SetSid("a", false);
  diagnostics_.BeginText();
  EXPECT_EQ(diagnostics_.CloseText({}), "a|VAD:\n");
  diagnostics_.BeginText();
  EXPECT_EQ(diagnostics_.CloseText({1.0f}), "a|VAD:|eScore: 1\n");
}

TEST_F(DiagnosticsTest, EndForgetsTraceAndTextAndWritesTheWatches) {
  diagnostics_.SetSid("a", true);
  diagnostics_.Start(CFG_VAD());
  diagnostics_.BeginText();
  diagnostics_.mScore = {1};
  const std::vector<float> block(825, 1.0f);
  diagnostics_.OnBlock(block.data(), 825);
  diagnostics_.OnBlock(block.data(), 825);
  diagnostics_.End();
  EXPECT_TRUE(diagnostics_.mScore.empty());
  EXPECT_TRUE(diagnostics_.debugText.empty());
  EXPECT_EQ(std::filesystem::file_size("Tseg75x11_a.sub_0.txt"), 12u + 2 * 3300u);
  EXPECT_FALSE(std::filesystem::exists("TsegInputWav_a.sub_0.txt"));  // it saw nothing
  EXPECT_EQ(diagnostics_.sid(), "a");
}

}  // namespace
}  // namespace TSEG
