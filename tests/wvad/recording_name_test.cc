// SPDX-License-Identifier: Apache-2.0
#include "wvad/recording_name.h"

#include <gtest/gtest.h>

#include "wvad/failure.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {
namespace {

TEST(RecordingName, IdIsTheFilesNameWithoutItsEnding) {
  EXPECT_EQ(RecordingId("/far/a.b/talk.v2.wav"), "talk.v2");
  EXPECT_EQ(RecordingId("-"), "stdin");
  EXPECT_EQ(RecordingId(".wav"), ".wav");
  EXPECT_EQ(RecordingId("far/"), "recording");
}

TEST(RecordingName, UrlsHoldEveryByte) {
  EXPECT_EQ(FileUrl("/a b/c'd\"e\n\xff%.wav"), "file:///a%20b/c%27d%22e%0A%FF%25.wav");
  EXPECT_EQ(AbsolutePath("/a/../b/./c.wav"), "/b/c.wav");
  EXPECT_EQ(AbsolutePath("https://host/a b.wav"), "https://host/a b.wav");
  EXPECT_EQ(FileUrl("https://host/a%20b.wav"), "https://host/a%20b.wav");
}

TEST(RecordingName, Utf8IsWhatTheStandardSays) {
  for (const char* good : {"", "a", "\xc3\xa9", "\xe2\x82\xac", "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf"}) EXPECT_TRUE(IsUtf8(good)) << good;
  // A continuation alone, too long forms of "/", half a character, a surrogate, beyond the last plane, latin-1.
  for (const char* bad :
       {"\x80", "\xc0\xaf", "\xe0\x80\xaf", "\xf0\x80\x80\xaf", "\xe2\x82", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe9t\xe9"}) {
    EXPECT_FALSE(IsUtf8(bad));
  }
}

TEST(RecordingName, TokensHaveNoBlanks) {
  EXPECT_EQ(NoToken("my folder/talk.wav"), "");
  EXPECT_EQ(NoToken("t\xc3\xa4lk\"'.wav"), "");
  EXPECT_EQ(NoToken("my talk.wav"), "it has a blank");
  EXPECT_EQ(NoToken("my\ntalk.wav"), "it has a blank");
  EXPECT_EQ(NoToken("my\xc2\xa0talk.wav"), "it has a blank");      // no-break space
  EXPECT_EQ(NoToken("my\xe3\x80\x80talk.wav"), "it has a blank");  // ideographic space
  EXPECT_EQ(NoToken("my\x01talk.wav"), "it has a control character");
  EXPECT_EQ(NoToken("\xff.wav"), "its bytes are not UTF-8");
  EXPECT_EQ(NoToken(";talk.wav"), "a line that begins so is a comment");
}

TEST(RecordingName, EachFormRefusesWhatItCannotHold) {
  struct Row {
    const char* format;
    const char* name;
    bool fits;
  };
  const Row rows[] = {{"csv", "a\n\xff\".wav", true},
                      {"srt", "a\n\xff\".wav", true},
                      {"textgrid", "a\n\xff\".wav", true},
                      {"eaf", "a\n\xff\".wav", true},
                      {"rttm", "a b.wav", false},
                      {"stm", "a\tb.wav", false},
                      {"ffconcat", "a'\xff b.wav", true},
                      {"ffconcat", "a\nb.wav", false},
                      {"ffconcat", "-", false},
                      {"edl", "a b'.wav", true},
                      {"edl", "a\nb.wav", false},
                      {"edl", "\xff.wav", false},
                      {"lhotse", "a b\n.wav", true},
                      {"lhotse", "\xff.wav", false},
                      {"lhotse-supervisions", "-", true},
                      {"lhotse-recordings", "-", false},
                      {"kaldi-segments", "a b.wav", false},
                      {"kaldi-segments", "a b/c.wav", true},
                      {"kaldi-wav-scp", "a\n/c.wav", false}};
  for (const Row& row : rows) {
    const auto check = [&row] { CheckRecordings(FormatsOf(row.format), {row.name}, false); };
    if (row.fits) {
      EXPECT_NO_THROW(check()) << row.format << " " << row.name;
    } else {
      EXPECT_THROW(check(), Failure) << row.format << " " << row.name;
    }
  }
}

TEST(RecordingName, RecordingsThatAFormCouldNotTellApartAreRefused) {
  const std::vector<std::string> same = {"a/talk.wav", "b/talk.wav"};
  EXPECT_THROW(CheckRecordings(FormatsOf("rttm"), same, false), Failure);
  EXPECT_THROW(CheckRecordings(FormatsOf("srt"), same, false), Failure);
  EXPECT_NO_THROW(CheckRecordings(FormatsOf("csv,json,ffconcat"), same, false));
  EXPECT_NO_THROW(CheckRecordings(FormatsOf("rttm"), {"talk.wav", "other.wav"}, false));
  EXPECT_NO_THROW(CheckRecordings(FormatsOf("srt"), {"talk.wav", "other.wav"}, true));
  EXPECT_THROW(CheckRecordings(FormatsOf("kaldi"), same, true), Failure);
}

TEST(RecordingName, ListsOfFormatsNameEachOnce) {
  const std::vector<const ReportFormat*> formats = FormatsOf("srt,kaldi,srt,kaldi-segments");
  ASSERT_EQ(formats.size(), 4U);
  EXPECT_STREQ(formats[0]->name, "srt");
  EXPECT_STREQ(formats[3]->name, "kaldi-utt2spk");
  for (const char* wrong : {"", "srt,", "srt,,vtt", "xml"}) EXPECT_THROW(FormatsOf(wrong), Failure) << wrong;
}

}  // namespace
}  // namespace TSEG::tool
