// SPDX-License-Identifier: Apache-2.0
#include "wvad/output.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

const OutputRules kKeep(false, {});

std::string Refusal(const std::string& path, const OutputRules& rules) {
  try {
    CheckOutput(path, rules);
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kOutput);
    return failure.what();
  }
  return "";
}

TEST(Output, FileAppearsWhenItIsClosed) {
  const testing_support::TempFolder folder;
  {
    Output output(folder.file("a"), kKeep);
    output.Write("text");
    EXPECT_FALSE(std::filesystem::exists(folder.file("a")));
    EXPECT_FALSE(output.is_terminal());
    output.Close();
  }
  EXPECT_EQ(folder.read("a"), "text");
  { Output(folder.file("b"), kKeep).Write("text"); }
  EXPECT_FALSE(std::filesystem::exists(folder.file("b")));
}

TEST(Output, PipeGetsEachPieceAtOnce) {
  const testing_support::TempFolder folder;
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  const int reader = open(folder.file("pipe").c_str(), O_RDONLY | O_NONBLOCK);
  Output output(folder.file("pipe"), kKeep);
  output.Write("text");
  char text[8];
  EXPECT_EQ(read(reader, text, sizeof text), 4);
  output.Close();
  close(reader);
}

TEST(Output, DescriptorOfThisProcessIsWrittenWhereItStands) {
  const testing_support::TempFolder folder;
  const int descriptor = open(folder.write("a", "before ").c_str(), O_WRONLY | O_APPEND);
  Output output("/dev/fd/" + std::to_string(descriptor), kKeep);
  output.Write("after");
  output.Close();
  EXPECT_EQ(folder.read("a"), "before after");
  close(descriptor);
}

TEST(Output, PipeThatIsFullIsWaitedFor) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
  const std::string text(200000, 'x');  // a pipe holds 65536 bytes
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    Output output("/dev/fd/" + std::to_string(ends[1]), kKeep);
    output.Write(text);
    _exit(0);
  }
  close(ends[1]);
  size_t got = 0;
  std::string piece(4096, '\0');
  for (ssize_t count = 1; count != 0;) {
    count = read(ends[0], piece.data(), piece.size());
    if (count < 0) usleep(1000);
    if (count > 0) got += static_cast<size_t>(count);
  }
  close(ends[0]);
  EXPECT_EQ(got, text.size());
}

TEST(OutputRules, InputIsRefusedByWhateverName) {
  const testing_support::TempFolder folder;
  const std::string input = folder.write("deep/a.wav", "audio");
  std::filesystem::create_hard_link(input, folder.file("hard.wav"));
  std::filesystem::create_symlink("deep/a.wav", folder.file("link.wav"));
  std::filesystem::create_symlink("deep", folder.file("way"));
  const OutputRules rules(true, {input, folder.file("missing.wav"), "/dev/null"});
  EXPECT_EQ(Refusal(input, rules), input + ": this file is read in the same run; choose another output");
  for (const char* name : {"hard.wav", "link.wav", "way/a.wav", "deep/../deep/./a.wav"}) {
    EXPECT_EQ(Refusal(folder.file(name), rules),
              folder.file(name) + ": this file is read as " + input + " in the same run; choose another output");
  }
  EXPECT_EQ(Refusal(folder.file("missing.wav"), rules), "");
  EXPECT_EQ(Refusal(folder.write("other.wav", "audio"), rules), "");
  EXPECT_EQ(Refusal("/dev/null", rules), "");
  const int descriptor = open(input.c_str(), O_WRONLY | O_APPEND);
  EXPECT_THAT(Refusal("/dev/fd/" + std::to_string(descriptor), rules), ::testing::HasSubstr("is read as"));
  close(descriptor);
}

TEST(OutputRules, WhatIsThereStaysUnlessItMayBeReplaced) {
  const testing_support::TempFolder folder;
  const std::string there = folder.write("a", "");
  std::filesystem::create_symlink("nowhere", folder.file("dangling"));
  const OutputRules replace(true, {});
  EXPECT_EQ(Refusal(there, kKeep), there + ": exists already; --force replaces it");
  EXPECT_EQ(Refusal(folder.file("dangling"), kKeep), folder.file("dangling") + ": exists already; --force replaces it");
  EXPECT_EQ(Refusal(there, replace), "");
  EXPECT_EQ(Refusal(folder.file("dangling"), replace), "");
  EXPECT_EQ(Refusal(folder.file("free"), kKeep), "");
  EXPECT_EQ(Refusal(folder.path(), replace), folder.path() + ": is a folder, and one file is to be written; name one in it");
  EXPECT_EQ(Refusal(folder.file("new/"), replace), folder.file("new/") + ": is a folder, and one file is to be written; name one in it");
}

}  // namespace
}  // namespace TSEG::tool
