// SPDX-License-Identifier: Apache-2.0
#include "wvad/engine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <system_error>
#include <typeinfo>

#include "frontend/float_front.h"
#include "session/tseg_inst.h"
#include "wvad/engine_log.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/system.h"
#include "wvad/temporary_file.h"

namespace TSEG::tool {
namespace {

struct NamedCode {
  int code;
  const char* name;
};

// A code that has its name in the public header.
#define WVAD_NAMED(code) \
  { code, #code }
constexpr NamedCode kCodes[] = {
    WVAD_NAMED(WVAD_ERROR_ALREADY_INIT),           WVAD_NAMED(WVAD_ERROR_NOT_INIT),
    WVAD_NAMED(WVAD_ERROR_ALREADY_START),          WVAD_NAMED(WVAD_ERROR_NOT_START),
    WVAD_NAMED(WVAD_ERROR_RESOURCE_TYPE),          WVAD_NAMED(WVAD_ERROR_INVALID_PARA),
    WVAD_NAMED(WVAD_ERROR_INVALID_PARA_VALUE),     WVAD_NAMED(WVAD_ERROR_NULL_HANDLE),
    WVAD_NAMED(WVAD_ERROR_INVALID_HANDLE),         WVAD_NAMED(WVAD_ERROR_BUF_NOT_ENOUGH),
    WVAD_NAMED(WVAD_ERROR_AUDIO_ENOUGH),           WVAD_NAMED(WVAD_ERROR_PARA_NOT_SETTABLE),
    WVAD_NAMED(WVAD_ERROR_PARAM_TOO_LONG),         WVAD_NAMED(WVAD_ERROR_WRITE_LENGTH_NOT_EVEN),
    WVAD_NAMED(RES_MGR_ERROR_RESOURCE_NOT_EXIST),  WVAD_NAMED(RES_MGR_ERROR_RESOURCE_ALREADY_EXIST),
    WVAD_NAMED(RES_MGR_ERROR_RESOURCE_UNREADABLE), WVAD_NAMED(RES_MGR_ERROR_INVALID_PARA_VALUE),
    WVAD_NAMED(RES_MGR_ERROR_NULL_HANDLE),         WVAD_NAMED(RES_MGR_ERROR_RESOURCE_MAGIC),
    WVAD_NAMED(RES_MGR_ERROR_RESOURCE_TOO_OLD),    WVAD_NAMED(RES_MGR_ERROR_RESOURCE_DELETE),
    WVAD_NAMED(RES_MGR_ERROR_RESOURCE_TYPE),
};
#undef WVAD_NAMED

const char* ModelTrouble(int code) {
  switch (code) {
    case RES_MGR_ERROR_RESOURCE_NOT_EXIST:
      return "there is no such file";
    case RES_MGR_ERROR_RESOURCE_UNREADABLE:
      return "it is empty, cut short, damaged or cannot be read";
    case RES_MGR_ERROR_RESOURCE_MAGIC:
      return "it is not a model file of this engine";
    case RES_MGR_ERROR_RESOURCE_TOO_OLD:
      return "it lacks one of the seven settings that a model carries";
    case RES_MGR_ERROR_RESOURCE_TYPE:
      return "it holds a kind of network that this engine does not run";
    default:
      return "the engine could not be started with it";
  }
}

// The engine ends the process on a file without the magic word; a program must look first.
void CheckMagic(const std::string& model) {
  constexpr std::streamoff kMagicOffset = 44;
  constexpr std::array<char, 8> kMagic = {'o', 'r', 'v', 'a', 'l', 'i', 'n', '\0'};
  // Opening a pipe would wait for its other end, and what comes out of it could be read only once.
  if (LookAt(model).kind == FileKind::kSpecial)
    throw Failure(ExitCode::kBadModel, model + ": this is not a model file of this engine, but a pipe or a device");
  std::ifstream in(PathOf(model), std::ios::binary);
  if (!in) throw Failure(ExitCode::kBadModel, model + ": the model cannot be opened: " + std::strerror(errno));
  std::array<char, 8> found{};
  in.seekg(kMagicOffset);
  in.read(found.data(), found.size());
  if (found != kMagic) throw Failure(ExitCode::kBadModel, model + ": this is not a model file of this engine");
}

// `line` is a line of its own in a configuration file only without line breaks; the parameters were checked for them before.
void WriteConfiguration(const std::string& file, const std::string& model_folder, const ParameterList& configuration,
                        const std::string& more) {
  std::ofstream out(PathOf(file), std::ios::binary);
  out << "[vad]\n"
      << "wvad_param_model_path = " << PathFromProgram(model_folder) << "/\n"
      << "wvad_param_model_name = model\n";
  for (const auto& [name, value] : configuration) out << name << " = " << value << '\n';
  out << '\n' << more << '\n';
  out.flush();
  if (!out) throw Failure(ExitCode::kOutput, file + ": cannot be written" + kOtherFolderForTemporary);
}

}  // namespace

std::string CodeName(int code) {
  for (const NamedCode& row : kCodes) {
    if (row.code == code) return std::string(row.name) + " (" + std::to_string(code) + ")";
  }
  return "code " + std::to_string(code);
}

Engine::Engine(const std::string& model, const ParameterList& configuration, const std::string& more, bool slow_start)
    : slow_start_(slow_start) {
  CheckMagic(model);
  KeepNoLog();
  const PrivateFolder folder;
  std::error_code error;
  const std::filesystem::path target = std::filesystem::absolute(PathOf(model), error);
  if (error) throw Failure(ExitCode::kBadModel, model + ": the current folder is gone; give the model's whole path");
  error = PlaceFile(NameOf(target), folder.path() + "/model");
  if (error) throw Failure(ExitCode::kOutput, folder.path() + "/model: " + error.message());
  WriteConfiguration(folder.path() + "/w_tseg.cfg", folder.path(), configuration, more);

  // The configuration is looked for in the current folder, by the start alone; model and configuration are not needed afterwards.
  int code = 0;
  {
    const CurrentFolder there(folder.path());
    const OutputToError quiet;
    code = core_.Initialize(nullptr);
  }
  if (code != WVAD_SUCCESS) core_.ReleaseFailedStart();
  // It was there a moment ago: the engine, which opens more than one file at once, could not open it.
  constexpr int kOpenAtOnce = 4;
  if (code == RES_MGR_ERROR_RESOURCE_NOT_EXIST && !CanOpen(kOpenAtOnce)) {
    throw Failure(ExitCode::kBadModel, model + ": the model cannot be opened: " + std::strerror(EMFILE) + " (ulimit -n)");
  }
  if (code != WVAD_SUCCESS) throw Failure(ExitCode::kBadModel, model + ": " + ModelTrouble(code) + ", " + CodeName(code));
}

Engine::~Engine() { core_.Uninitialize(); }

Detector::Detector(Engine& engine) : core_(engine.core()) {
  const int code = core_.CreateInst(&handle_);
  if (code != WVAD_SUCCESS) throw Failure(ExitCode::kEngine, "no detector could be made: " + CodeName(code));
  // Who asks for another kind of mean has it with its own beginning.
  if (!engine.slow_start() && Get("wvad_param_cmn_type") == "0") handle_->nReadyMeans = kReadyMeans;
  // A sentence is whole however far its margin reaches back.
  handle_->reading.bFreesByFloor = true;
}

Detector::~Detector() { core_.DestroyInst(handle_); }

void Detector::Set(const std::string& name, const std::string& value) {
  int code = 0;
  try {
    code = core_.SetParameter(handle_, name.c_str(), value.c_str());
  } catch (const std::bad_cast&) {
    // The one failure of the library that has no code: a number that is not one, whole.
    throw Failure(ExitCode::kBadParameter, name + ": \"" + value + "\" is not a value of this parameter's type");
  }
  switch (code) {
    case WVAD_SUCCESS:
      return;
    case WVAD_ERROR_INVALID_PARA_VALUE:
      throw Failure(ExitCode::kBadRate, name + ": the engine does not support a sample rate of " + value + " (16000, 8000 or 6000)");
    case WVAD_ERROR_INVALID_PARA:
      if (value.size() > 256) throw Failure(ExitCode::kBadParameter, name + ": the value is too long (at most 256 characters)");
      throw Failure(ExitCode::kBadParameter, name + ": there is no such parameter");
    case WVAD_ERROR_PARA_NOT_SETTABLE:
      throw Failure(ExitCode::kBadParameter, name + ": this parameter cannot be set");
    default:
      throw Failure(ExitCode::kBadParameter, name + ": " + CodeName(code));
  }
}

std::string Detector::Get(const std::string& name) const {
  std::array<char, 1025> text{};
  const int code = core_.GetParameter(handle_, name.c_str(), text.data(), static_cast<int>(text.size()));
  return code == WVAD_SUCCESS ? std::string(text.data()) : std::string();
}

Session::Session(Detector& detector, const ParameterList& parameters, size_t frame_bytes)
    : detector_(detector), core_(detector.core()), frame_bytes_(frame_bytes) {
  for (const auto& [name, value] : parameters) detector_.Set(name, value);
  quality_ = detector_.Get("wvad_param_bKelOn") == "1";
  const int code = core_.Start(detector_.handle());
  if (code == WVAD_ERROR_INVALID_PARA_VALUE) {
    throw Failure(ExitCode::kBadParameter, "a margin below 0 or a sample rate that is not supported");
  }
  if (code != WVAD_SUCCESS) throw Failure(ExitCode::kEngine, "the session could not be started: " + CodeName(code));
}

Session::~Session() { core_.Stop(detector_.handle()); }

void Session::Write(const int16_t* samples, size_t count, bool last) {
  WVadAudioSample piece{};
  // The engine only reads here; the record's pointer is not const because the same record is handed out by reads.
  piece.pData = const_cast<int16_t*>(samples);
  piece.len = static_cast<uint32_t>(count * sizeof(int16_t));
  piece.status = last ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE;
  const int code = core_.AudioWrite(detector_.handle(), &piece);
  if (code == WVAD_ERROR_AUDIO_ENOUGH) {
    ended_ = true;
    return;
  }
  if (code != WVAD_SUCCESS) throw Failure(ExitCode::kEngine, "the engine refused the audio: " + CodeName(code));
  // After the last write the stop frees everything at once; only what is kept and the audio-quality results are waited for.
  if (!last || quality_ || frame_bytes_ > 0) Drain();
  all_read_ = last || ended_;
  Collect();
}

void Session::Drain() {
  constexpr size_t kReadBufferBytes = 3145728;
  for (;;) {
    WVadAudioSample piece{};
    const int code = core_.AudioRead(detector_.handle(), &piece);
    if (code != WVAD_SUCCESS) throw Failure(ExitCode::kEngine, "the engine refused a read: " + CodeName(code));
    if (frame_bytes_ > 0) {
      const auto* bytes = static_cast<const unsigned char*>(piece.pData);
      handed_out_.insert(handed_out_.end(), bytes, bytes + piece.len);
    }
    if (piece.status == WVAD_READ_OVER) ended_ = true;
    // Frames that found no room in a full buffer come with the next read, whatever its status.
    const bool full = piece.len + frame_bytes_ > kReadBufferBytes;
    if (piece.status != WVAD_READ_BEGIN && piece.status != WVAD_READ_END && !full) return;
  }
}

// Sentences follow each other without overlap and their frames are handed out in order, so the next sentence's frames are the next ones.
bool Session::TakeData(SessionSentence* sentence) {
  const size_t wanted = static_cast<size_t>(sentence->end_frame - sentence->begin_frame) * frame_bytes_;
  if (handed_out_.size() < wanted && !all_read_) return false;
  const auto end = handed_out_.begin() + static_cast<std::ptrdiff_t>(std::min(wanted, handed_out_.size()));
  sentence->data.assign(handed_out_.begin(), end);
  handed_out_.erase(handed_out_.begin(), end);
  return true;
}

void Session::AttachValues(const char* text) {
  const nlohmann::json parsed = nlohmann::json::parse("{" + std::string(text) + "}", nullptr, false);
  if (parsed.is_discarded() || !parsed.contains("ws") || parsed["ws"].empty()) return;
  const nlohmann::json& row = parsed["ws"][0];
  SessionSentence sentence;
  sentence.begin_frame = row.value("bg", int64_t{-10}) / 10;
  sentence.end_frame = row.value("ed", int64_t{-10}) / 10;
  if (row.contains("vol")) sentence.vol = row["vol"].get<double>();
  if (row.contains("trig")) sentence.trig = row["trig"].get<bool>();
  if (row.contains("eg")) sentence.eg = row["eg"].get<double>();
  values_.push_back(sentence);
}

void Session::Collect() {
  WVadResult* results = nullptr;
  if (core_.GetResult(detector_.handle(), &results) == WVAD_SUCCESS && results != nullptr) {
    for (int32_t i = 0; i < results->nCount; ++i) {
      const WVadResultItem& item = results->pItems[i];
      if (std::string(item.pKey) == "vol") {
        AttachValues(item.pText);
      } else if (ended_) {
        // Handed out again at each call; the end of the session is the one time that counts.
        others_.push_back({item.pKey, item.pText});
      }
    }
  }
  // The silence length tells cheaply whether a sentence beyond the known ones has begun; only then the table is fetched.
  int silence = -1;
  core_.GetSilLen(detector_.handle(), static_cast<int>(n_closed_), &silence);
  open_ = silence != -1;
  if (!open_) return;
  constexpr size_t kMaxSentences = 20480;
  end_points_.resize(2 * kMaxSentences);
  const int written = core_.QueryEPInfo(detector_.handle(), end_points_.data(), static_cast<int>(end_points_.size()));
  const size_t closed = static_cast<size_t>(std::max(written, 0)) / 2;
  for (; n_closed_ < closed; ++n_closed_) {
    SessionSentence sentence;
    sentence.begin_frame = end_points_[2 * n_closed_];
    sentence.end_frame = end_points_[2 * n_closed_ + 1];
    const auto match = std::find_if(values_.begin(), values_.end(), [&](const SessionSentence& value) {
      return value.begin_frame == sentence.begin_frame && value.end_frame == sentence.end_frame;
    });
    if (match != values_.end()) {
      sentence = *match;
      values_.erase(values_.begin(), match + 1);
    }
    fresh_.push_back(sentence);
  }
  core_.GetSilLen(detector_.handle(), static_cast<int>(n_closed_), &silence);
  open_ = silence != -1;
}

std::vector<SessionSentence> Session::TakeClosed() {
  std::vector<SessionSentence> taken;
  if (frame_bytes_ == 0) {
    taken.swap(fresh_);
    return taken;
  }
  size_t whole = 0;
  while (whole < fresh_.size() && TakeData(&fresh_[whole])) ++whole;
  taken.assign(std::make_move_iterator(fresh_.begin()), std::make_move_iterator(fresh_.begin() + static_cast<std::ptrdiff_t>(whole)));
  fresh_.erase(fresh_.begin(), fresh_.begin() + static_cast<std::ptrdiff_t>(whole));
  return taken;
}

}  // namespace TSEG::tool
