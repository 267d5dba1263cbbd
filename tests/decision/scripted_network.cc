// SPDX-License-Identifier: Apache-2.0
//
// Stands in for the channels' pops and for both forward objects, and writes down each call.
#include "decision/scripted_network.h"

namespace TSEG {

Script* script = nullptr;

namespace {

const float* Pop(FrontEndChannel* channel, size_t floats, uint8_t* bEof, int32_t* nPadded) {
  const bool is_a = channel == script->channel_a;
  script->calls.push_back(is_a ? "pop A" : "pop B");
  std::deque<Block>& side = is_a ? script->side_a : script->side_b;
  if (side.empty()) return nullptr;
  script->out.assign(floats, 0.0f);
  script->out[0] = side.front().tag;
  if (side.front().eof) *bEof = 1;
  if (nPadded != nullptr && side.front().padded > 0) *nPadded = side.front().padded;
  side.pop_front();
  return script->out.data();
}

bool Take(std::deque<Scores>* results) {
  script->current = results->empty() ? Scores() : results->front();
  if (!results->empty()) results->pop_front();
  return !script->current.empty();
}

std::string Added(const char* name, const float* block, int32_t count, bool flush) {
  return std::string(name) + " " + std::to_string(static_cast<int>(block[0])) + " of " + std::to_string(count) + (flush ? " eof" : "");
}

int32_t Read(float* out, int32_t* stride) {
  ++script->reads;
  for (size_t i = 0; i < script->current.size(); ++i) {
    out[2 * i] = script->current[i];
    out[2 * i + 1] = 1.0f - script->current[i];
  }
  *stride = 2;
  return static_cast<int32_t>(script->current.size());
}

}  // namespace

const float* PopDnnBlock(FrontEndChannel* channel, bool, uint8_t* bEof) { return Pop(channel, 825, bEof, nullptr); }
const float* PopLstmBlock75(FrontEndChannel* channel, bool, uint8_t* bEof, int32_t* nPadded) { return Pop(channel, 300, bEof, nPadded); }
const float* PopLstmBlock40(FrontEndChannel* channel, bool, uint8_t* bEof, int32_t* nPadded) { return Pop(channel, 160, bEof, nPadded); }

DnnForward::DnnForward() = default;
void DnnForwardBind(DnnForward* forward, const DnnModel* model) { forward->pModel = model; }
bool DnnForwardAddBlock(DnnForward*, const float* block, int32_t count, bool flush) {
  script->calls.push_back(Added("dnn", block, count, flush));
  return Take(&script->results);
}
int32_t DnnForwardRead(DnnForward*, float* out, int32_t* outStride) { return Read(out, outStride); }
void DnnForwardForget(DnnForward*) { script->calls.push_back("forget"); }

LstmForward::LstmForward() = default;
void LstmForwardBind(LstmForward* forward, const LstmModel* model) { forward->pModel = model; }
bool LstmForwardAddBlock75(LstmForward*, const float* block, int32_t count, bool flush) {
  script->calls.push_back(Added("lstm75", block, count, flush));
  return Take(&script->results);
}
bool LstmForwardAddBlock40(LstmForward*, const float* block, int32_t count, bool flush) {
  script->calls.push_back(Added("lstm40", block, count, flush));
  return Take(&script->results);
}
bool LstmForwardFlushBlock(LstmForward*, const float* block, int32_t count, bool flush) {
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(count, 160);
  EXPECT_TRUE(flush);
  script->calls.push_back("flush");
  return Take(&script->flush_results);
}
int32_t LstmForwardRead(LstmForward*, float* out, int32_t* outStride) { return Read(out, outStride); }
void LstmForwardClearState(LstmForward*) {
  script->calls.push_back("clear state at frame " + std::to_string(script->inst->decision.nFrameIdx) + ", closed " +
                          std::to_string(script->inst->results.pSentences->bitsClosed.size()));
}
void LstmForwardClearAll(LstmForward*) { script->calls.push_back("clear all"); }
void LstmForwardPrime(LstmForward*, int32_t frames) { script->calls.push_back("prime " + std::to_string(frames)); }

}  // namespace TSEG
