// SPDX-License-Identifier: Apache-2.0
#include "stream/engine_session.h"

#include <algorithm>
#include <optional>
#include <string>
#include <variant>

#include "base/number_text.h"
#include "frontend/float_front.h"
#include "params/param_table.h"
#include "session/tseg_inst.h"
#include "stream/refusal.h"

namespace TSEG::stream {
namespace {

constexpr size_t kReadBufferBytes = 3145728;

// Nothing that a client can do leads here.
void Expect(int code, const char* what) {
  if (code != 0) throw Refusal(WVAD_E_INTERNAL, std::string("the engine refused ") + what + ", code " + std::to_string(code));
}

// The engine reads a float by the C++ global locale, which is the client's affair: floats are set here, from the same text.
bool SetFloat(TsegInst* inst, const std::string& name, const std::string& text) {
  const int position = FindParamRow(kVadParams, name, 0, kParamNormalCount - 1);
  if (position < 0) return false;
  const auto* field = std::get_if<float CFG_VAD::*>(&kVadParams[position].field);
  const std::optional<float> value = ReadNumber<float>(text);
  if (field == nullptr || !value) return false;
  CFG_VAD& parameters = *inst->pCfg;
  parameters.*(*field) = *value;
  return true;
}

}  // namespace

EngineInstance::EngineInstance(Engine& engine, DecisionObserver* observer) : engine_(engine) {
  Expect(engine_.CreateInst(&handle_), "an instance");
  handle_->decision.pObserver = observer;
  handle_->nReadyMeans = kReadyMeans;
  // A frame of 10 ms at a time, and blocks as soon as their frames are there: nothing is heard differently, only sooner.
  handle_->intake.nChunkBytes = static_cast<uint32_t>(handle_->nSampleRate / 100) * sizeof(int16_t);
  handle_->sideA.pFrontEnd->bPopsEarly = true;
  if (handle_->sideB) handle_->sideB->pFrontEnd->bPopsEarly = true;
  // Minutes without a sentence take no more memory than seconds, and a sentence is whole however far its margin reaches back.
  handle_->reading.bFreesByFloor = true;
}

EngineInstance::~EngineInstance() { engine_.DestroyInst(handle_); }

EngineSession::EngineSession(EngineInstance& instance, const ParameterList& parameters, size_t frame_bytes)
    : instance_(instance), frame_bytes_(frame_bytes) {
  for (const auto& [name, value] : parameters) {
    if (SetFloat(&instance_.record(), name, value)) continue;
    Expect(instance_.engine().SetParameter(&instance_.record(), name.c_str(), value.c_str()), name.c_str());
  }
  Expect(instance_.engine().Start(&instance_.record()), "a session");
}

EngineSession::~EngineSession() { instance_.engine().Stop(&instance_.record()); }

void EngineSession::Write(const int16_t* samples, size_t count, bool last) {
  WVadAudioSample piece{};
  // The engine only reads here; the record's pointer is not const because the same record is handed out by reads.
  piece.pData = const_cast<int16_t*>(samples);
  piece.len = static_cast<uint32_t>(count * sizeof(int16_t));
  piece.status = last ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE;
  Expect(instance_.engine().AudioWrite(&instance_.record(), &piece), "audio");
  // Reading lets the engine free what it has handed out.
  if (!last || frame_bytes_ > 0) Drain();
  all_read_ = last;
}

void EngineSession::Drain() {
  for (;;) {
    WVadAudioSample piece{};
    Expect(instance_.engine().AudioRead(&instance_.record(), &piece), "a read");
    if (frame_bytes_ > 0) {
      const auto* bytes = static_cast<const unsigned char*>(piece.pData);
      handed_out_.insert(handed_out_.end(), bytes, bytes + piece.len);
    }
    // Frames that found no room in a full buffer come with the next read, whatever its status.
    const bool full = piece.len + frame_bytes_ > kReadBufferBytes;
    if (piece.status != WVAD_READ_BEGIN && piece.status != WVAD_READ_END && !full) return;
  }
}

std::vector<SessionSentence> EngineSession::TakeClosed() {
  const SentenceTable& table = *instance_.record().results.pSentences;
  std::vector<SessionSentence> taken;
  for (; n_taken_ < table.bitsClosed.size(); ++n_taken_) {
    SessionSentence sentence;
    sentence.begin_frame = table.vecBegin[n_taken_];
    sentence.end_frame = table.vecEnd[n_taken_];
    const size_t wanted = static_cast<size_t>(sentence.end_frame - sentence.begin_frame) * frame_bytes_;
    if (handed_out_.size() < wanted && !all_read_) break;
    const auto end = handed_out_.begin() + static_cast<std::ptrdiff_t>(std::min(wanted, handed_out_.size()));
    sentence.data.assign(handed_out_.begin(), end);
    handed_out_.erase(handed_out_.begin(), end);
    taken.push_back(std::move(sentence));
  }
  return taken;
}

bool EngineSession::sentence_open() const {
  const SentenceTable& table = *instance_.record().results.pSentences;
  return table.vecBegin.size() > table.bitsClosed.size() || n_taken_ < table.bitsClosed.size();
}

int64_t EngineSession::sentences() const { return static_cast<int64_t>(instance_.record().results.pSentences->vecBegin.size()); }

}  // namespace TSEG::stream
