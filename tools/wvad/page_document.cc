// SPDX-License-Identifier: Apache-2.0
#include "wvad/page_document.h"

#include <wvad.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "wvad/packed_array.h"
#include "wvad/page_assets.h"
#include "wvad/page_picture.h"
#include "wvad/report_json.h"
#include "wvad/sound_writer.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// Steps of the energies in a page, per unit, and what stands for no number there.
constexpr double kEnergySteps = 100;
constexpr int16_t kNoNumber = std::numeric_limits<int16_t>::min();

double Rounded(double value, double steps) { return std::round(value * steps) / steps; }

int16_t EnergySteps(float value) {
  if (!std::isfinite(value)) return kNoNumber;
  return static_cast<int16_t>(std::lround(std::clamp(static_cast<double>(value) * kEnergySteps, -32767.0, 32767.0)));
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '<') {
      escaped += "&lt;";
    } else if (c == '&') {
      escaped += "&amp;";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

// JSON inside of an element: no text in it can end the element.
std::string ElementText(const Json& json) {
  std::string text;
  for (const char c : JsonText(json)) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

class PageWriter {
 public:
  PageWriter(const PageRecording& recording, const std::vector<PageTrack>& tracks, const std::function<void(std::string_view)>& write)
      : recording_(recording), tracks_(tracks), write_(write) {}

  void Write() {
    std::string_view frame = kPageFrame;
    for (size_t at = frame.find("{{"); at != std::string_view::npos; at = frame.find("{{")) {
      write_(frame.substr(0, at));
      const size_t end = frame.find("}}", at);
      Fill(frame.substr(at + 2, end - at - 2));
      frame.remove_prefix(end + 2);
    }
    write_(frame);
  }

 private:
  void Fill(std::string_view place) {
    // A name that is no UTF-8 gets the replacement characters that it has in JSON.
    if (place == "title") write_(Escaped(Json::parse(JsonText(recording_.name)).get<std::string>()));
    if (place == "style") write_(kPageStyle);
    if (place == "script") write_(kPageScript);
    if (place == "data") Data();
  }

  void Element(const std::string& name, const std::string& text) {
    write_("<script type=\"text/plain\" id=\"" + name + "\">" + text + "</script>\n");
  }

  void Data() {
    const WaveEnvelope wave = EnvelopeOf(recording_.samples, recording_.rate_hz);
    Element("wave", PackedArray(wave.pairs));
    const Spectrogram spectrum = SpectrogramOf(recording_.samples, recording_.rate_hz);
    Element("spectrum", PackedArray(spectrum.columns));
    Json tracks = Json::array();
    for (size_t i = 0; i < tracks_.size(); ++i) {
      Columns("track" + std::to_string(i), tracks_[i].rows);
      tracks.push_back(Track(tracks_[i]));
    }
    const Json sound = Sound();
    Json statements = Json::array();
    for (const StatementRow& row : StatementTable()) statements.push_back({{"key", row.key}, {"topic", row.topic}});
    Json page = {{"program", std::string("wvad ") + WVAD_VERSION},
                 {"file", recording_.name},
                 {"seconds", Seconds(static_cast<int64_t>(recording_.samples.size()), recording_.rate_hz)},
                 {"rate", recording_.rate_hz},
                 {"damage", recording_.damage},
                 {"note", recording_.note},
                 {"sound", sound},
                 {"wave", {{"per_second", wave.per_second}, {"peak", Rounded(wave.peak / 32768.0, 1e6)}}},
                 {"spectrum",
                  {{"hop_ms", spectrum.hop_ms},
                   {"bands", Spectrogram::kBands},
                   {"levels", Spectrogram::kLevels},
                   {"step_db", Spectrogram::kStepDb},
                   {"low_hz", Spectrogram::kLowHz},
                   {"high_hz", spectrum.high_hz},
                   {"top_db", Rounded(spectrum.top_db, 10)}}},
                 {"energy_steps", kEnergySteps},
                 {"statements", statements},
                 {"tracks", tracks}};
    write_("<script type=\"application/json\" id=\"page\">" + ElementText(page) + "</script>\n");
  }

  Json Sound() {
    if (!recording_.sound_link.empty()) return {{"link", recording_.sound_link}};
    if (recording_.samples.empty()) return nullptr;
    const SoundKind& kind = ListeningKind(recording_.rate_hz);
    Element("sound-data", Base64(EncodeSound(recording_.samples.data(), recording_.samples.size(), recording_.rate_hz, kind)));
    return {{"type", kind.name == std::string("opus") ? "audio/ogg; codecs=opus" : "audio/wav"}};
  }

  void Columns(const std::string& name, const std::vector<TraceRow>& rows) {
    std::vector<uint16_t> probability, count, need;
    std::vector<int16_t> energy, floor;
    std::vector<uint32_t> statements;
    for (const TraceRow& row : rows) {
      probability.push_back(
          static_cast<uint16_t>(std::lround(65535 * std::clamp(std::isfinite(row.probability) ? row.probability : 0.0F, 0.0F, 1.0F))));
      energy.push_back(EnergySteps(row.energy));
      floor.push_back(EnergySteps(row.floor));
      statements.push_back(row.statements);
      count.push_back(row.count);
      need.push_back(row.need);
    }
    Element(name + "-probability", PackedArray(probability));
    Element(name + "-energy", PackedArray(energy));
    Element(name + "-floor", PackedArray(floor));
    Element(name + "-statements", PackedArray(statements));
    Element(name + "-count", PackedArray(count));
    Element(name + "-need", PackedArray(need));
  }

  Json Track(const PageTrack& track) {
    Json words = Json::array();
    for (const StatementRow& row : StatementTable()) words.push_back(TextOf(row, track.facts));
    Json parameters = Json::array();
    for (const ParameterInForce& row : track.parameters) parameters.push_back({row.name, row.value, row.built_in});
    Json renewals = Json::array();
    for (const int64_t sample : track.renewals) renewals.push_back(Seconds(sample, recording_.rate_hz));
    Json sentences = Json::array();
    for (size_t i = 0; i < track.sentences.size(); ++i) sentences.push_back(OneSentence(track, i));
    return {{"model", track.model},
            {"checksum", track.checksum},
            {"settings", track.settings},
            {"threshold", Rounded(track.facts.threshold, 1e6)},
            {"adaptive_floor", track.facts.adaptive_floor},
            {"words", words},
            {"parameters", parameters},
            {"renewals", renewals},
            {"sentences", sentences}};
  }

  Json OneSentence(const PageTrack& track, size_t i) {
    Json json = ToJson(track.sentences[i], recording_.rate_hz);
    json["speech_begin"] = static_cast<double>(track.numbered[i].speech_begin) / 100;
    json["speech_end"] = static_cast<double>(track.numbered[i].speech_end) / 100;
    json["level"] = Rounded(track.levels[i].level_db, 10);
    json["snr"] = track.levels[i].snr_db ? Json(Rounded(*track.levels[i].snr_db, 10)) : Json(nullptr);
    return json;
  }

  const PageRecording& recording_;
  const std::vector<PageTrack>& tracks_;
  const std::function<void(std::string_view)>& write_;
};

}  // namespace

void WritePage(const PageRecording& recording, const std::vector<PageTrack>& tracks, const std::function<void(std::string_view)>& write) {
  PageWriter(recording, tracks, write).Write();
}

}  // namespace TSEG::tool
