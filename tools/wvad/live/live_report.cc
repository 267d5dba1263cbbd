// SPDX-License-Identifier: Apache-2.0
#include "wvad/live/live_report.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "wvad/form_of_ending.h"
#include "wvad/report_json.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

std::string Padded(const std::string& text, size_t width) {
  return text.size() >= width ? text : std::string(width - text.size(), ' ') + text;
}

// `decimals` of a measure, `missing` for one that is not a number.
std::string Measure(double value, int decimals, const char* missing) { return std::isnan(value) ? missing : Fixed(value, decimals); }

class LiveTable : public LiveReport {
 public:
  explicit LiveTable(bool summary) : summary_(summary) {}
  std::string Begin() override { return "     begin       end  duration   level     SNR\n"; }
  std::string Take(const wvad_event& event, int rate_hz) override {
    if (event.kind == WVAD_EVENT_STREAM_END && summary_) {
      return std::to_string(count_) + (count_ == 1 ? " sentence, " : " sentences, ") + Fixed(speech_, 2) + " s of speech in " +
             Fixed(Seconds(event.time, rate_hz), 2) + " s\n";
    }
    if (event.kind != WVAD_EVENT_SENTENCE_END) return "";
    const double begin = Seconds(event.begin, rate_hz);
    const double end = Seconds(event.end, rate_hz);
    ++count_;
    speech_ += end - begin;
    return Padded(Fixed(begin, 2), 10) + Padded(Fixed(end, 2), 10) + Padded(Fixed(end - begin, 2), 10) +
           Padded(Measure(event.level_db, 1, "-"), 8) + Padded(Measure(event.snr_db, 1, "-"), 8) + "\n";
  }

 private:
  bool summary_;
  int64_t count_ = 0;
  double speech_ = 0;
};

class LiveCsv : public LiveReport {
 public:
  std::string Begin() override { return "begin,end,duration,level_db,snr_db,clipped\n"; }
  std::string Take(const wvad_event& event, int rate_hz) override {
    if (event.kind != WVAD_EVENT_SENTENCE_END) return "";
    const double begin = Seconds(event.begin, rate_hz);
    const double end = Seconds(event.end, rate_hz);
    return Fixed(begin, 2) + "," + Fixed(end, 2) + "," + Fixed(end - begin, 2) + "," + Measure(event.level_db, 1, "") + "," +
           Measure(event.snr_db, 1, "") + "," + Fixed(event.clipped, 4) + "\n";
  }
};

class LiveLines : public LiveReport {
 public:
  std::string Begin() override { return ""; }
  std::string Take(const wvad_event& event, int rate_hz) override {
    const char* name = NameOf(event.kind);
    if (name == nullptr) return "";
    const auto seconds = [rate_hz](int64_t frames) { return Json::parse(Fixed(Seconds(frames, rate_hz), 2)); };
    Json json;
    json["event"] = name;
    json["time"] = seconds(event.time);
    json["known_at"] = seconds(event.known_at);
    if (event.kind == WVAD_EVENT_SENTENCE_BEGIN || event.kind == WVAD_EVENT_SENTENCE_END) {
      json["sentence"] = event.sentence + 1;
      json["begin"] = seconds(event.begin);
    }
    if (event.kind == WVAD_EVENT_SENTENCE_END) {
      json["end"] = seconds(event.end);
      json["duration"] = Json::parse(Fixed(Seconds(event.end - event.begin, rate_hz), 2));
      json["level_db"] = Json::parse(Measure(event.level_db, 1, "null"));
      json["snr_db"] = Json::parse(Measure(event.snr_db, 1, "null"));
      json["clipped"] = Json::parse(Fixed(event.clipped, 4));
      json["cut_off"] = (event.flags & WVAD_FLAG_ENDED_IN_SPEECH) != 0;
    }
    return JsonText(json) + "\n";
  }

 private:
  static const char* NameOf(int32_t kind) {
    switch (kind) {
      case WVAD_EVENT_ONSET:
        return "onset";
      case WVAD_EVENT_ONSET_DROPPED:
        return "onset dropped";
      case WVAD_EVENT_SENTENCE_BEGIN:
        return "begin";
      case WVAD_EVENT_SENTENCE_END:
        return "sentence";
      case WVAD_EVENT_STREAM_END:
        return "end";
      default:
        return nullptr;
    }
  }
};

std::unique_ptr<LiveReport> MakeLiveTable(bool summary) { return std::make_unique<LiveTable>(summary); }
std::unique_ptr<LiveReport> MakeLiveLines(bool) { return std::make_unique<LiveLines>(); }
std::unique_ptr<LiveReport> MakeLiveCsv(bool) { return std::make_unique<LiveCsv>(); }

constexpr LiveFormat kFormats[] = {{"table", "for people", ".txt", MakeLiveTable},
                                   {"jsonl", "every event, one object a line", ".jsonl", MakeLiveLines},
                                   {"csv", "one row a sentence", ".csv", MakeLiveCsv}};

}  // namespace

std::span<const LiveFormat> LiveFormats() { return kFormats; }

const LiveFormat* LiveFormatOfEnding(const std::string& path) {
  return RowOfEnding(LiveFormats(), path, [](const LiveFormat& row) { return row.ending; });
}

}  // namespace TSEG::tool
