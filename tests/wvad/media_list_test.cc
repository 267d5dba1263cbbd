// SPDX-License-Identifier: Apache-2.0
//
// Recordings in pieces that a list names (HLS), and recordings that were put one behind the other: nothing of them is lost without a word.
#include <chrono>
#include <filesystem>
#include <fstream>

#include "wvad/media_fixture.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

// Of Recording(): the pieces begin at 0, 4 and 8 s, to the length of a packet.
const char* const kPieces = "-i a.wav -c:a aac -f hls -hls_time 4 -hls_list_size 0 ";

class MediaList : public Media {
 protected:
  // The one line, `damage` and the code of a recording that lacks something; gives its document.
  nlohmann::json ExpectLack(const std::string& list, const std::string& words) {
    const Outcome run = Segment({"-f", "json", list});
    EXPECT_EQ(run.code, 4);
    EXPECT_EQ(Lines(run.err), 1) << run.err;
    EXPECT_THAT(run.err, HasSubstr(words));
    nlohmann::json file = First(run);
    EXPECT_THAT(file.value("damage", ""), HasSubstr(words));
    EXPECT_EQ(file.value("whole", true), false);
    return file;
  }
};

TEST_F(MediaList, PiecesAreHeardAsOneRecording) {
  Recording();
  for (const char* how : {"a.m3u8", "-hls_segment_type fmp4 b.m3u8"}) {
    SCOPED_TRACE(how);
    const Outcome run = Segment({"-f", "json", Make(std::string(kPieces) + how)});
    EXPECT_EQ(run.code, 0) << run.err;
    ExpectNear(Found(run.out), kWanted, 0.1);
    EXPECT_EQ(First(run)["whole"], true);
  }
}

TEST_F(MediaList, MissingOrBrokenPieceIsSaidAndTheOthersKeepTheirTimes) {
  Recording("a.wav", {{1.0, 3.0}, {5.0, 6.0}, {8.5, 9.5}});
  for (const bool missing : {true, false}) {
    SCOPED_TRACE(missing ? "missing" : "broken");
    const std::string list = Make(std::string(kPieces) + "a.m3u8");
    missing ? static_cast<void>(std::filesystem::remove(folder_.file("a1.ts"))) : static_cast<void>(folder_.write("a1.ts", "text\n"));
    const nlohmann::json file = ExpectLack(list, "a piece of it is missing or broken: ");
    ASSERT_EQ(file["sentences"].size(), 2U);
    EXPECT_NEAR(file["sentences"][0]["begin"].get<double>(), 0.7, 0.1);
    EXPECT_NEAR(file["sentences"][1]["begin"].get<double>(), 8.2, 0.1);
    EXPECT_NEAR(file["heard"].get<double>(), 10.0, 0.15);
  }
}

TEST_F(MediaList, FirstAndLastPieceAreMissedToo) {
  Recording();
  for (const char* piece : {"a0.ts", "a2.ts"}) {
    SCOPED_TRACE(piece);
    const std::string list = Make(std::string(kPieces) + "a.m3u8");
    folder_.write(piece, "text\n");
    ExpectLack(list, "a piece of it is missing or broken: ");
  }
}

TEST_F(MediaList, LengthsInWholeSecondsAreNoLoss) {
  Recording();
  Make(std::string(kPieces) + "a.m3u8");
  // 10.1 s, told as 12.
  const std::string list = folder_.write(
      "whole.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\na0.ts\n#EXTINF:4,\na1.ts\n#EXTINF:3,\na2.ts\n#EXT-X-ENDLIST\n");
  const Outcome run = Segment({"-f", "json", list});
  EXPECT_EQ(run.code, 0) << run.err;
  ExpectNear(Found(run.out), kWanted, 0.1);
}

TEST_F(MediaList, ListThatWasNeverClosedIsHeardFromItsFirstPieceToItsLast) {
  Recording();
  Make("-i a.wav -c:a aac -f hls -hls_time 1 -hls_list_size 0 a.m3u8");
  std::string list = folder_.read("a.m3u8");
  list.erase(list.find("#EXT-X-ENDLIST"));
  const nlohmann::json file = ExpectLack(folder_.write("a.m3u8", list), "never closed: its list has no #EXT-X-ENDLIST");
  EXPECT_NEAR(file["heard"].get<double>(), 10.0, 0.15);
  EXPECT_EQ(file["sentences"].size(), 2U);
}

TEST_F(MediaList, ListThatLeadsToOneThatWasNeverClosedComesToItsEndToo) {
  Recording();
  Make("-i a.wav -c:a aac -f hls -hls_time 1 -hls_list_size 0 a.m3u8");
  std::string list = folder_.read("a.m3u8");
  list.erase(list.find("#EXT-X-ENDLIST"));
  folder_.write("a.m3u8", list);
  const Outcome run = Segment({"-f", "json", folder_.write("all.m3u8", "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=90000\na.m3u8\n")});
  ExpectNear(Found(run.out), kWanted, 0.1);
}

TEST_F(MediaList, ListOnStandardInputIsToldHowToBeHeard) {
  Recording();
  Make(std::string(kPieces) + "a.m3u8");
  for (const std::string& list : {folder_.read("a.m3u8"), std::string("#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=90000\na.m3u8\n")}) {
    input_ = list;
    ExpectFailure(Segment({"-"}), 4, "-: is a list of pieces (HLS), which are looked for beside it");
  }
  current_ = folder_.path();
  input_ = "ffconcat version 1.0\nfile a0.ts\n";
  EXPECT_EQ(Segment({"-"}).code, 0);
}

TEST_F(MediaList, ListThatLeadsToItselfIsRefused) {
  const std::string leads = "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=90000\n";
  const std::string own = folder_.write("own.m3u8", leads + "own.m3u8\n");
  ExpectFailure(Segment({own}), 4, "own.m3u8: a list that leads to itself");
  folder_.write("b.m3u8", leads + "./c.m3u8\n");
  folder_.write("c.m3u8", leads + "b.m3u8\n");
  ExpectFailure(Segment({folder_.write("a.m3u8", leads + "b.m3u8\n")}), 4, "a.m3u8: a list that leads to itself");
}

TEST_F(MediaList, InsertThatHasAClockOfItsOwnIsNoHole) {
  Recording("a.wav", {{1.0, 3.0}});
  Make("-i a.wav -c:a aac a.ts");
  Make("-i a.wav -c:a aac -output_ts_offset 500 b.ts");
  const std::string list =
      folder_.write("three.m3u8",
                    "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10.1,\na.ts\n#EXT-X-DISCONTINUITY\n#EXTINF:10.1,\nb.ts\n"
                    "#EXT-X-DISCONTINUITY\n#EXTINF:10.1,\na.ts\n#EXT-X-ENDLIST\n");
  const Outcome run = Segment({"-f", "json", list});
  EXPECT_EQ(run.code, 0) << run.err;
  ExpectNear(Found(run.out), {{0.7, 3.2}, {10.7, 13.2}, {20.7, 23.2}}, 0.3);
}

TEST_F(MediaList, WordsOfTheLibraryNameNoOptionThatThereIsNot) {
  Recording();
  folder_.write("k.key", "0123456789abcdef");
  folder_.write("info", "k.key\n" + folder_.file("k.key") + "\n");
  Make("-i a.wav -c:a aac -f hls -hls_time 4 -hls_key_info_file info -hls_list_size 0 a.m3u8");
  const Outcome run = Segment({folder_.file("a.m3u8")});
  EXPECT_EQ(run.code, 4);
  EXPECT_EQ(Lines(run.err), 1) << run.err;
  EXPECT_THAT(run.err, Not(HasSubstr("allowed_extensions")));
}

TEST_F(MediaList, PiecesInAnotherOrderThanTheirClockAreHeardAsTheListHasThem) {
  Recording("a.wav", {{1.0, 2.0}, {5.0, 6.0}, {8.5, 9.5}});
  Make(std::string(kPieces) + "a.m3u8");
  const auto list = [this](const std::vector<std::string>& pieces) {
    std::string text = "#EXTM3U\n#EXT-X-TARGETDURATION:5\n";
    for (const std::string& piece : pieces) text += "#EXTINF:" + std::string(piece == "a2.ts" ? "2.1" : "4.0") + ",\n" + piece + "\n";
    return folder_.write("list.m3u8", text + "#EXT-X-ENDLIST\n");
  };
  // The last piece, of 2.1 s, comes first: what follows is 2.1 s late.
  Outcome run = Segment({"-f", "json", list({"a2.ts", "a0.ts", "a1.ts"})});
  EXPECT_EQ(run.code, 0);
  EXPECT_THAT(run.err, HasSubstr("the clock of its pieces is set back in 1 place without #EXT-X-DISCONTINUITY"));
  EXPECT_NEAR(First(run)["heard"].get<double>(), 10.1, 0.2);
  ExpectNear(Found(run.out), {{0.2, 1.8}, {2.8, 4.3}, {6.8, 8.3}}, 0.3);
  // From the second to the first and on to the third it is ahead by 4 s, which are no silence either.
  run = Segment({"-f", "json", list({"a1.ts", "a0.ts", "a2.ts"})});
  EXPECT_EQ(run.code, 0);
  ExpectNear(Found(run.out), {{0.7, 2.2}, {4.7, 6.2}, {8.2, 9.8}}, 0.3);
  // In the second place the clock has 4 s of silence before it, 4.0 + 4.0 + 2.1 + 4.0 + 2.1 s, and none where it is set back and ahead
  // again.
  run = Segment({"-f", "json", list({"a0.ts", "a2.ts", "a1.ts", "a2.ts"})});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(run.err, HasSubstr("its pieces stand in another order than that of their clock"));
  EXPECT_NEAR(First(run)["heard"].get<double>(), 16.2, 0.3);
  EXPECT_EQ(First(run)["whole"], false);
}

TEST_F(MediaList, PieceThatWasExchangedIsGoneOnWithAsAnotherRecording) {
  Recording("a.wav", {{1.0, 3.0}, {5.0, 6.0}});
  Recording("b.wav", {{1.0, 3.0}});
  Make("-i b.wav -c:a aac -f hls -hls_time 4 -hls_list_size 0 b.m3u8");
  const std::string list = Make(std::string(kPieces) + "a.m3u8");
  const auto age = [this](const char* name) {
    fs::last_write_time(folder_.file(name), fs::last_write_time(folder_.file("a.wav")) - std::chrono::hours(1));
  };
  for (const char* name : {"a.m3u8", "a0.ts", "a1.ts", "a2.ts"}) age(name);
  const auto split = [&] { return Run("split", {"-q", "--resume", "-d", folder_.file("out"), list}); };
  ASSERT_EQ(split().code, 0);
  const std::vector<std::string> two = {"a-0001.wav", "a-0002.wav", "a-split.json"};
  EXPECT_EQ(Names(folder_.file("out")), two);
  const nlohmann::json index = nlohmann::json::parse(folder_.read("out/a-split.json"));
  size_t bytes = 0;
  for (const char* name : {"a.m3u8", "a0.ts", "a1.ts", "a2.ts"}) bytes += folder_.read(name).size();
  EXPECT_EQ(index["source_bytes"], bytes);
  const std::string rows = folder_.file("rows.jsonl");
  ASSERT_EQ(Segment({"-f", "jsonl", "-o", rows, list}).code, 0);
  // By its time.
  folder_.write("a1.ts", folder_.read("b1.ts"));
  fs::last_write_time(folder_.file("a1.ts"), fs::last_write_time(rows) + std::chrono::hours(1));
  ExpectFailure(Segment({"-q", "--resume", "-f", "jsonl", "-o", rows, list}), 8, "which has been written to since; begin anew");
  EXPECT_EQ(split().code, 0);
  EXPECT_EQ(Names(folder_.file("out")), (std::vector<std::string>{"a-0001.wav", "a-split.json"}));
  // And by its size, where it has kept its time.
  folder_.write("a1.ts", folder_.read("a0.ts") + folder_.read("a0.ts"));
  age("a1.ts");
  const std::string before = folder_.read("out/a-split.json");
  split();
  EXPECT_NE(folder_.read("out/a-split.json"), before);
}

TEST_F(MediaList, ChecksumIsThatOfTheListAndItsPieces) {
  Recording();
  const std::string list = Make(std::string(kPieces) + "a.m3u8");
  const std::string sum = First(Segment({"-f", "json", "--checksum", list}))["recording"]["sha256"];
  folder_.write("all", folder_.read("a.m3u8") + folder_.read("a0.ts") + folder_.read("a1.ts") + folder_.read("a2.ts"));
  ASSERT_EQ(std::system(("sha256sum <" + folder_.file("all") + " >" + folder_.file("sum")).c_str()), 0);
  EXPECT_EQ(sum + "  -\n", folder_.read("sum"));
}

TEST_F(MediaList, RecordingsOneBehindTheOtherAreHeardOneBehindTheOther) {
  Recording("a.wav", {{1.0, 3.0}});
  Make("-i a.wav -c:a aac a.ts");
  const std::string bytes = folder_.read("a.ts");
  const std::string list = folder_.write(
      "two.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:10.1,\na.ts\n#EXT-X-DISCONTINUITY\n#EXTINF:10.1,\na.ts\n#EXT-X-ENDLIST\n");
  for (const std::string& path : {folder_.write("two.ts", bytes + bytes), list}) {
    SCOPED_TRACE(path);
    const Outcome run = Segment({"-f", "json", path});
    EXPECT_EQ(run.code, 0) << run.err;
    ExpectNear(Found(run.out), {{0.7, 3.2}, {10.7, 13.2}}, 0.2);
    EXPECT_NEAR(First(run)["heard"].get<double>(), 20.0, 0.3);
  }
}

TEST_F(MediaList, JumpOfTheClockBetweenThemIsNoHole) {
  Recording("a.wav", {{1.0, 3.0}});
  const std::string first = folder_.read(std::filesystem::path(Make("-i a.wav -c:a aac a.ts")).filename());
  for (const char* by_s : {"30", "3600", "90000"}) {
    SCOPED_TRACE(by_s);
    Make(std::string("-i a.wav -c:a aac -output_ts_offset ") + by_s + " b.ts");
    const Outcome run = Segment({"-f", "json", folder_.write("two.ts", first + folder_.read("b.ts"))});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.err, HasSubstr("two.ts: note: its clock jumps ahead in 1 place, as where recordings were put one behind the other"));
    ExpectNear(Found(run.out), {{0.7, 3.2}, {10.7, 13.2}}, 0.2);
  }
}

TEST_F(MediaList, WhatATransportStreamHasLostTakesItsTime) {
  WriteAudio(folder_.file("a.wav"), Bursts(60, {{1.0, 3.0}, {56.0, 58.0}}));
  const std::string bytes = folder_.read(std::filesystem::path(Make("-i a.wav -c:a mp2 a.ts")).filename());
  // From within one piece of sound to within another. Packets are counted to 16, and the loss is no multiple of that.
  const auto packet_of_sound = [&bytes](size_t packet) {
    while ((bytes[packet * 188 + 1] & 0x5F) != 1 || bytes[packet * 188 + 2] != 0) ++packet;
    return packet;
  };
  const auto number = [&bytes](size_t packet) { return bytes[packet * 188 + 3] & 0x0F; };
  const size_t begin = packet_of_sound(bytes.size() / 188 / 3);
  size_t end = packet_of_sound(bytes.size() / 188 * 2 / 3);
  if (number(end) == number(begin)) end = packet_of_sound(end + 1);
  const Outcome run = Segment({"-f", "json", folder_.write("lost.ts", bytes.substr(0, begin * 188) + bytes.substr(end * 188))});
  EXPECT_EQ(run.code, 4);
  EXPECT_THAT(run.err, HasSubstr("damaged in "));
  ExpectNear(Found(run.out), {{0.7, 3.2}, {55.7, 58.2}}, 0.2);
}

TEST_F(MediaList, OggWithTwoRecordingsSaysThatOneWasHeard) {
  Recording();
  for (const char* made : {"a.opus", "a.ogg"}) {
    SCOPED_TRACE(made);
    const std::string bytes = folder_.read(std::filesystem::path(Make(std::string("-i a.wav ") + made)).filename());
    const nlohmann::json file = ExpectLack(folder_.write(std::string("two-") + made, bytes + bytes),
                                           "holds several recordings one behind the other, of which the first was heard");
    EXPECT_EQ(file["sentences"].size(), 2U);
  }
}

}  // namespace
}  // namespace TSEG::tool
