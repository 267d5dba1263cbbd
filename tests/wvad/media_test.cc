// SPDX-License-Identifier: Apache-2.0
//
// What FFmpeg's libraries decode for the program: sound of phones and films, tracks, places on the clock, damage, addresses.
#include <malloc.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "support/eventually.h"
#include "wvad/audio_source.h"
#include "wvad/byte_source.h"
#include "wvad/failure.h"
#include "wvad/live_program.h"
#include "wvad/media_fixture.h"

namespace TSEG::tool {
namespace {

// One way to encode a recording, and how far the times may be from those of the WAV file: a container's rounding, an encoder's smear, and
// where nothing tells of it the encoder's lead-in, which then cannot be taken off.
struct Kind {
  const char* name;
  const char* how;
  double off_s;
};

const Kind kKinds[] = {{"a.m4a", "-c:a aac", 0.02},
                       {"first.m4a", "-c:a aac -movflags +faststart", 0.02},
                       {"pieces.mp4", "-c:a aac -movflags +frag_keyframe+empty_moov -frag_duration 1000000", 0.08},
                       {"a.mov", "-c:a alac", 0.02},
                       {"a.aac", "-c:a aac", 0.08},
                       {"a.mkv", "-c:a flac", 0.02},
                       {"ac3.mkv", "-c:a ac3", 0.03},
                       {"a.webm", "-c:a libopus", 0.03},
                       {"vorbis.webm", "-c:a libvorbis", 0.03},
                       {"a.wma", "-c:a wmav2 -ar 44100", 0.08},
                       {"a.ac3", "-c:a ac3", 0.03},
                       {"a.eac3", "-c:a eac3", 0.03},
                       {"a.ts", "-c:a aac", 0.08},
                       {"a.avi", "-c:a adpcm_ms", 0.03},
                       {"a.flv", "-c:a aac -ar 44100", 0.05}};

std::string How(const Kind& kind) { return std::string("-i a.wav ") + kind.how + " " + kind.name; }

TEST_F(Media, SoundOfPhonesAndFilmsIsHeardAtItsTimes) {
  Recording();
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    // A codec's ringing behind a hard edge lies under this floor, and above the usual one.
    const Outcome run = Segment({"-f", "json", "--energy-floor", "-46.8", Make(How(kind))});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.err, "");
    ExpectNear(Found(run.out), kWanted, kind.off_s);
    EXPECT_NEAR(First(run)["heard"].get<double>(), 10.0, 0.12);
  }
}

TEST_F(Media, FromAPipeItIsTheSame) {
  Recording();
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const std::string path = Make(How(kind));
    const Outcome piped = Piped(path);
    EXPECT_EQ(piped.code, 0);
    EXPECT_EQ(piped.err, "");
    EXPECT_EQ(Found(piped.out), Found(Segment({"-f", "json", path}).out));
  }
}

TEST_F(Media, StreamIsHeardWhileItComes) {
  Recording();
  for (const char* name : {"a.webm", "a.aac", "pieces.mp4"}) {
    SCOPED_TRACE(name);
    for (const Kind& kind : kKinds) {
      if (std::string(kind.name) == name) Make(How(kind));
    }
    std::filesystem::create_directory(folder_.file("out"));
    testing::LiveProgram program({"split", "-q", "-m", WVAD_TEST_MODEL, "-d", folder_.file("out"), "-"});
    const std::string bytes = folder_.read(name);
    program.Write(bytes.substr(0, bytes.size() * 8 / 10));
    EXPECT_TRUE(testing_support::Eventually([&] { return std::filesystem::exists(folder_.file("out/stdin-0001.wav")); }));
    program.Write(bytes.substr(bytes.size() * 8 / 10));
    program.CloseInput();
    EXPECT_EQ(program.Wait(), 0);
    std::filesystem::remove_all(folder_.file("out"));
  }
}

TEST_F(Media, SpeechOfOldPhonesIsHeard) {
  // 100 frames of 20 ms of AMR at 12.2 kbit/s: a head of mode 7 and 31 bytes.
  std::string bytes = "#!AMR\n";
  unsigned state = 7;
  for (int i = 0; i < 100 * 32; ++i) {
    state = state * 1664525U + 1013904223U;
    bytes += i % 32 == 0 ? '\x3C' : static_cast<char>(state >> 24);
  }
  const Outcome run = Segment({"-f", "json", folder_.write("a.amr", bytes)});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_EQ(First(run)["heard"], 2.0);
}

TEST_F(Media, TrackThatBeginsLateIsLate) {
  Recording();
  const std::string film = "-f lavfi -i color=s=64x64:r=25:d=12 -itsoffset 1.5 -i a.wav -map 0:v -map 1:a -c:v mpeg4 ";
  for (const auto& [name, how] : {std::pair<std::string, std::string>("a.mp4", "-c:a aac"),
                                  {"a.mkv", "-c:a flac"},
                                  {"a.mov", "-c:a pcm_s16le"},
                                  {"a.ts", "-c:a ac3"}}) {
    SCOPED_TRACE(name);
    const Outcome run = Segment({"-f", "json", Make(film + how + " " + name)});
    EXPECT_EQ(run.code, 0) << run.err;
    ExpectNear(Found(run.out), Later(kWanted, 1.5), 0.05);
  }
  // And without a picture beside it, where the container's clock begins at 0.
  const Outcome alone = Segment({"-f", "json", Make("-itsoffset 0.5 -i a.wav -c:a aac late.m4a")});
  ExpectNear(Found(alone.out), Later(kWanted, 0.5), 0.03);
}

TEST_F(Media, LeadInThatMatroskaTellsIsNotHeard) {
  Recording();
  const Outcome run = Segment({"-f", "json", Make("-i a.wav -ar 48000 -c:a libopus a.webm")});
  EXPECT_EQ(run.code, 0) << run.err;
  EXPECT_NEAR(First(run)["recording"]["length"].get<double>(), 10.0, 0.002);
}

TEST_F(Media, HoleInATrackIsSilence) {
  Recording();
  // What was to be heard from 4 s on comes 2 s later.
  const Outcome run = Segment({"-f", "json", Make("-i a.wav -af 'asetpts=PTS+gte(T\\,4)*2/TB' -c:a pcm_s16le hole.mkv")});
  EXPECT_EQ(run.code, 0) << run.err;
  ExpectNear(Found(run.out), {{0.7, 3.2}, {6.7, 11.2}}, 0.02);
}

TEST_F(Media, AnyTrackIsHeard) {
  Recording("a.wav");
  Recording("b.wav", {{2.0, 4.0}});
  const std::string both = "-i a.wav -i b.wav -map 0 -map 1 -c:a flac -metadata:s:a:0 language=eng -metadata:s:a:1 title=Remarks ";
  const std::string path = Make(both + "-disposition:a:0 default -disposition:a:1 0 two.mkv");
  ExpectNear(Found(Segment({"-f", "json", path}).out), kWanted, 0.02);
  ExpectNear(Found(Segment({"-f", "json", "--track", "1", path}).out), kWanted, 0.02);
  ExpectNear(Found(Segment({"-f", "json", "--track", "2", path}).out), {{1.7, 4.2}}, 0.02);
  ExpectFailure(Segment({"-f", "csv", "--track", "3", "-o", folder_.file("no.csv"), path}), 5,
                "there is no sound track 3; there is 1: flac, 16000 Hz, 1 channel, eng; 2: flac, 16000 Hz, 1 channel, \"Remarks\"");
  const std::string second = Make(both + "-disposition:a:0 0 -disposition:a:1 default second.mkv");
  ExpectNear(Found(Segment({"-f", "json", second}).out), {{1.7, 4.2}}, 0.02);
  // A recording of one track has a first and no second.
  EXPECT_EQ(Segment({"--track", "1", folder_.file("a.wav")}).code, 0);
  ExpectFailure(Segment({"--track", "2", "-o", folder_.file("no"), folder_.file("a.wav")}), 5,
                "there is no sound track 2; there is 1: pcm_s16le");
}

TEST_F(Media, WhatIsCutShortSaysSo) {
  Recording();
  for (const char* name : {"first.m4a", "a.mkv", "a.wma"}) {
    SCOPED_TRACE(name);
    for (const Kind& kind : kKinds) {
      if (std::string(kind.name) == name) Make(How(kind));
    }
    const std::string bytes = folder_.read(name);
    const std::string cut = folder_.write(std::string("cut-") + name, bytes.substr(0, bytes.size() * 6 / 10));
    const Outcome run = Segment({"-f", "json", cut});
    EXPECT_EQ(run.code, 4);
    EXPECT_EQ(Lines(run.err), 1) << run.err;
    EXPECT_THAT(run.err, HasSubstr("could be heard"));
    EXPECT_THAT(First(run).value("damage", ""), HasSubstr("could be heard"));
    EXPECT_GE(Found(run.out).size(), 1U);
  }
}

TEST_F(Media, DamageInTheMiddleIsSaidAndKeepsTheTimes) {
  Recording();
  for (const char* name : {"first.m4a", "a.ac3", "a.mkv"}) {
    SCOPED_TRACE(name);
    for (const Kind& kind : kKinds) {
      if (std::string(kind.name) == name) Make(How(kind));
    }
    std::string bytes = folder_.read(name);
    for (size_t i = 0; i < 300; ++i) bytes[bytes.size() / 2 + i] = static_cast<char>(bytes[bytes.size() / 2 + i] ^ 0x5A);
    const Outcome run = Segment({"-f", "json", folder_.write(std::string("bad-") + name, bytes)});
    EXPECT_EQ(run.code, 4);
    EXPECT_EQ(Lines(run.err), 1) << run.err;
    EXPECT_THAT(First(run).value("damage", ""), HasSubstr("damaged"));
    EXPECT_NEAR(First(run)["heard"].get<double>(), 10.0, 0.15);
  }
}

TEST_F(Media, WhatHasNoSoundSaysSo) {
  ExpectFailure(Segment({"-o", folder_.file("no"), Make("-f lavfi -i color=s=64x64:r=25:d=1 -c:v mpeg4 silent.mp4")}), 4,
                "there is no sound in it");
  ExpectFailure(Segment({"-o", folder_.file("no"), Make("-f lavfi -i color=s=64x64 -frames:v 1 a.png")}), 4, "a.png: ");
  ExpectFailure(Segment({"-o", folder_.file("no"), folder_.write("a.txt", "Dear reader,\nthis is no sound.\n")}), 4, "not an audio file");
  // The head of an MP4 file and nothing behind it.
  Recording();
  Make(How(kKinds[0]));
  ExpectFailure(Segment({"-o", folder_.file("no"), folder_.write("head.m4a", folder_.read("a.m4a").substr(0, 500))}), 4, "head.m4a: ");
}

TEST_F(Media, AddressesAreNotOpenedUnasked) {
  Recording();
  Make("-i a.wav -c:a aac -f segment -segment_time 4 -segment_list all.m3u8 piece%d.ts");
  // A playlist of files that lie beside it is a recording.
  const Outcome local = Segment({"-f", "json", folder_.file("all.m3u8")});
  EXPECT_EQ(local.code, 0) << local.err;
  ExpectNear(Found(local.out), kWanted, 0.1);
  // A server, and what it is asked for.
  const std::string start =
      "cd " + folder_.path() + " && python3 -u -m http.server 0 --bind 127.0.0.1 >port 2>asked & echo $! >" + folder_.file("server");
  ASSERT_EQ(std::system(start.c_str()), 0);
  ASSERT_TRUE(testing_support::Eventually([&] { return folder_.read("port").find(" port ") != std::string::npos; }));
  const std::string said = folder_.read("port");
  const std::string address = "http://127.0.0.1:" + std::to_string(std::atoi(said.c_str() + said.find(" port ") + 6)) + "/";
  const std::string playlist =
      folder_.write("far.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\n" + address + "piece0.ts\n#EXT-X-ENDLIST\n");
  const std::string concat = folder_.write("far.txt", "ffconcat version 1.0\nfile " + address + "a.wav\n");
  ExpectFailure(Segment({"-o", folder_.file("no"), address + "a.wav"}), 3, "--allow-network");
  for (const std::string& path : {playlist, concat}) {
    const Outcome run = Segment({path});
    EXPECT_TRUE(run.code == 3 || run.code == 4) << run.code;
    EXPECT_EQ(Lines(run.err), 1) << run.err;
  }
  EXPECT_EQ(folder_.read("asked"), "");
  const Outcome asked = Segment({"-f", "json", "--allow-network", address + "a.wav"});
  EXPECT_EQ(asked.code, 0) << asked.err;
  EXPECT_EQ(Found(asked.out), Found(Segment({"-f", "json", folder_.file("a.wav")}).out));
  const Outcome far = Segment({"-f", "json", "--allow-network", playlist});
  EXPECT_EQ(far.code, 0) << far.err;
  EXPECT_EQ(Found(far.out).size(), 1U);
  ExpectFailure(Segment({"-o", folder_.file("no"), "--allow-network", address + "missing.wav"}), 3, "cannot be opened");
  // What comes from elsewhere does not lead back to files that lie here.
  folder_.write("back.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:4\n#EXTINF:4,\nfile://" + folder_.file("piece0.ts") + "\n#EXT-X-ENDLIST\n");
  const Outcome back = Segment({"-f", "json", "--allow-network", address + "back.m3u8"});
  EXPECT_TRUE(back.code == 3 || back.code == 4) << back.code;
  EXPECT_EQ(Lines(back.err), 1) << back.err;
  std::system(("kill $(cat " + folder_.file("server") + ")").c_str());
}

// Says what it is, and cannot be read any further.
class BrokenDisk : public ByteSource {
 public:
  size_t ReadAt(uint64_t offset, void* out, size_t count) override {
    const std::string mark = "#!AMR\n0123456789";
    if (offset > 0 || count > mark.size()) throw Failure(ExitCode::kNoFile, "the disk is broken");
    std::memcpy(out, mark.data(), count);
    return count;
  }
  std::optional<uint64_t> length() const override { return 1 << 20; }
};

TEST_F(Media, RecordingThatCannotBeReadLeavesNoMemoryBehind) {
  const auto open = [] {
    try {
      OpenAudio("a.amr", std::make_unique<BrokenDisk>(), {});
      ADD_FAILURE() << "was opened";
    } catch (const Failure& failure) {
      EXPECT_STREQ(failure.what(), "the disk is broken");
    }
  };
  open();  // what is loaded for good is loaded now
  const size_t before = mallinfo2().uordblks;
  for (int i = 0; i < 100; ++i) open();
  // What the libraries hold for one of them takes more than 600 bytes; some thousand in all the allocator keeps for itself.
  EXPECT_LT(mallinfo2().uordblks, before + 100 * 300);
}

TEST_F(Media, WithoutTheLibrariesTheWayRoundIsTold) {
  Recording();
  Make(How(kKinds[0]));
  std::filesystem::create_directories(folder_.file("bin"));
  std::filesystem::copy_file(WVAD_PROGRAM, folder_.file("bin/wvad"));
  std::filesystem::rename(folder_.file("a.m4a"), folder_.file("it's a.m4a"));
  const auto call = [&](const std::string& file) {
    const std::string line = "cd " + folder_.path() + " && bin/wvad segment -m " + WVAD_TEST_MODEL + " \"" + file + "\" >out 2>err";
    return WEXITSTATUS(std::system(line.c_str()));
  };
  EXPECT_EQ(call("it's a.m4a"), 4);
  EXPECT_EQ(folder_.read("err"),
            "wvad: it's a.m4a: FFmpeg's libraries are needed for it (its part lib/wvad/ffmpeg.so is not installed); "
            "the way round is: ffmpeg -i 'it'\\''s a.m4a' -f wav - | wvad segment -\n");
  // Something else in its place, as after half an upgrade.
  folder_.write("lib/wvad/ffmpeg.so", "not a library");
  EXPECT_EQ(call("it's a.m4a"), 4);
  EXPECT_THAT(folder_.read("err"), HasSubstr("lib/wvad/ffmpeg.so: "));
  EXPECT_EQ(call("a.wav"), 0);
}

}  // namespace
}  // namespace TSEG::tool
