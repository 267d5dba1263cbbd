// SPDX-License-Identifier: Apache-2.0
#include "wvad/provenance.h"

#include <wvad.h>

#include <algorithm>
#include <set>
#include <utility>

#include "wvad/checksum.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/model_choice.h"
#include "wvad/model_finder.h"
#include "wvad/raw_source.h"
#include "wvad/report_json.h"
#include "wvad/sentence_run.h"

namespace TSEG::tool {
namespace {

using Json = nlohmann::ordered_json;

// Of several NAME=VALUE with one name the last, which wins, in its place.
std::vector<std::string> InForce(std::vector<std::string> settings) {
  std::set<std::string> names;
  std::vector<std::string> kept;
  for (auto setting = settings.rbegin(); setting != settings.rend(); ++setting) {
    if (names.insert(setting->substr(0, setting->find('='))).second) kept.push_back(std::move(*setting));
  }
  std::reverse(kept.begin(), kept.end());
  return kept;
}

// `model`: its file.
Json ParametersOf(const SentenceOptions& options, const std::string& model) {
  Json json;
  json["channel"] = options.input.channel;
  json["gain"] = options.input.gain;
  json["endpoint"] = options.endpoint;
  json["slow_start"] = options.engine.slow_start;
  if (options.input.source.track > 0) json["track"] = options.input.source.track;
  if (!options.engine.plain.profile.empty()) json["profile"] = options.engine.plain.profile;
  if (const std::vector<std::string> set = InForce(AllSettings(options.engine, model)); !set.empty()) json["set"] = set;
  if (!options.engine.config.empty()) {
    json["config"] = options.engine.config;
    // A pipe has given what it held to the engine.
    if (LookAt(options.engine.config).kind == FileKind::kFile) json["config_sha256"] = Sha256Of(options.engine.config);
  }
  if (options.input.source.raw.form != nullptr) {
    json["raw"] = options.input.source.raw.form->name;
    json["rate"] = options.input.source.raw.rate_hz;
    json["channels"] = options.input.source.raw.channels;
  }
  return json;
}

}  // namespace

Json ProvenanceOfRun(const SentenceOptions& options) {
  Json json;
  json["program"] = std::string("wvad ") + WVAD_VERSION;
  json["model"] = options.engine.model;
  const std::string model = FindModel(options.engine.model, options.engine.models_dir);
  json["model_sha256"] = Sha256Of(model);
  json["parameters"] = ParametersOf(options, model);
  return json;
}

std::vector<std::string> ProvenancesOfRun(const SentenceOptions& options) {
  std::vector<std::string> ways;
  SentenceOptions of_form = options;
  for (const std::string& model : ModelChoice(options.engine).models()) {
    of_form.engine.model = model;
    ways.push_back(JsonText(ProvenanceOfRun(of_form)));
  }
  return ways;
}

void CheckChecksums(const std::vector<std::string>& recordings) {
  for (const std::string& name : recordings) {
    if (name == "-") throw Failure(ExitCode::kUsage, "--checksum: standard input cannot be read twice");
    if (IsHeardOnce(name)) throw Failure(ExitCode::kUsage, "--checksum: " + name + ": cannot be read twice");
  }
}

Json ProvenanceOfRecording(const FileEnd& end) {
  Json json;
  const RecordingFacts& facts = end.recording;
  json["rate"] = facts.rate_hz;
  json["channels"] = facts.channels;
  json["length"] = facts.frames < 0 ? Json() : Json::parse(Fixed(Seconds(facts.frames, facts.rate_hz), 3));
  if (!facts.sha256.empty()) json["sha256"] = facts.sha256;
  if (facts.measured_gain_db) json["gain_db"] = Json::parse(Fixed(*facts.measured_gain_db, 2));
  return json;
}

bool HeardWhole(const FileEnd& end) { return end.reason == kWholeReason && end.damage.empty(); }

const std::string& MadeBy(const FileEnd& end, const std::string& whole) {
  return whole.empty() || end.made_by.empty() ? whole : end.made_by;
}

Json OwnMembers(const FileEnd& end, const std::string& whole) {
  Json own = Json::object();
  if (whole.empty() || end.made_by.empty() || end.made_by == whole) return own;
  const Json ours = Json::parse(end.made_by);
  const Json others = Json::parse(whole);
  for (const auto& [key, value] : ours.items()) {
    if (!others.contains(key) || others[key] != value) own[key] = value;
  }
  return own;
}

std::string ProvenanceLine(const std::string& name, const FileEnd& end, const std::string& whole) {
  Json json;
  json["file"] = name;
  if (end.recording.rate_hz > 0) json["recording"] = ProvenanceOfRecording(end);
  if (end.reason != kWholeReason) {
    json["heard"] = Json::parse(Fixed(Seconds(end.samples, end.rate_hz), 2));
    json["stopped_by"] = end.reason;
  }
  json["whole"] = HeardWhole(end);
  if (!end.damage.empty()) json["damage"] = end.damage;
  json.update(OwnMembers(end, whole));
  return JsonText(json);
}

}  // namespace TSEG::tool
