// SPDX-License-Identifier: Apache-2.0
//
// Pieces of any length into chunks of 800 bytes: however a recording is cut, the chunks are the same.
#include "channel/intake.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <ostream>
#include <random>
#include <vector>

namespace TSEG {
namespace {

struct Chunk {
  uint32_t status;
  std::vector<uint8_t> bytes;
  bool operator==(const Chunk&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Chunk& chunk) { return out << chunk.bytes.size() << " bytes, status " << chunk.status; }

// `n` bytes that tell their places.
std::vector<uint8_t> Recording(size_t n) {
  std::vector<uint8_t> bytes(n);
  for (size_t i = 0; i < n; ++i) bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
  return bytes;
}

// The chunks that a recording is to give: whole ones, then the rest, which may be empty, as the last.
std::vector<Chunk> ChunksOf(const std::vector<uint8_t>& recording) {
  std::vector<Chunk> chunks;
  size_t at = 0;
  for (; recording.size() - at >= 800; at += 800) {
    chunks.push_back({WVAD_WRITE_CONTINUE,
                      {recording.begin() + static_cast<std::ptrdiff_t>(at), recording.begin() + static_cast<std::ptrdiff_t>(at + 800)}});
  }
  chunks.push_back({WVAD_WRITE_LAST, {recording.begin() + static_cast<std::ptrdiff_t>(at), recording.end()}});
  return chunks;
}

class IntakeTest : public ::testing::Test {
 protected:
  IntakeTest() { intake_.Start(); }

  // Gives one piece; the chunks that it completes go behind those in chunks_.
  void Give(const uint8_t* bytes, size_t n, uint32_t piece_status) {
    WVadAudioSample audio = {};
    audio.pData = const_cast<uint8_t*>(bytes);
    audio.len = static_cast<uint32_t>(n);
    audio.status = piece_status;
    uint32_t status = piece_status;
    intake_.TakePiece();
    while (intake_.NextChunk(audio, &status)) {
      const uint8_t* chunk = intake_.pChunk.data();
      chunks_.push_back({status, std::vector<uint8_t>(chunk, chunk + intake_.nChunkFill)});
    }
    EXPECT_EQ(intake_.nChunkConsumed, n);
  }
  void Give(const std::vector<uint8_t>& bytes, uint32_t status) { Give(bytes.data(), bytes.size(), status); }

  // The recording in pieces of `piece` bytes. The last piece is marked as such, or an empty one behind it is.
  void GiveAll(const std::vector<uint8_t>& recording, size_t piece, bool empty_last) {
    for (size_t at = 0; at < recording.size(); at += piece) {
      const size_t n = std::min(piece, recording.size() - at);
      const bool last = at + n == recording.size() && !empty_last;
      Give(recording.data() + at, n, last ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE);
    }
    if (empty_last || recording.empty()) Give(nullptr, 0, WVAD_WRITE_LAST);
  }

  Intake intake_;
  std::vector<Chunk> chunks_;
};

TEST_F(IntakeTest, PiecesOfEveryLengthGiveTheSameChunks) {
  for (const size_t length : {size_t{0}, size_t{2}, size_t{798}, size_t{800}, size_t{802}, size_t{1600}, size_t{2510}}) {
    const std::vector<uint8_t> recording = Recording(length);
    const std::vector<Chunk> expected = ChunksOf(recording);
    for (size_t piece = 2; piece <= 1700; piece += 2) {
      for (const bool empty_last : {false, true}) {
        intake_.Start();
        chunks_.clear();
        GiveAll(recording, piece, empty_last);
        ASSERT_EQ(chunks_, expected) << length << " bytes in pieces of " << piece << (empty_last ? ", then an empty one" : "");
      }
    }
  }
}

TEST_F(IntakeTest, PiecesOfMixedLengthsGiveTheSameChunks) {
  const std::vector<uint8_t> recording = Recording(20002);
  const std::vector<Chunk> expected = ChunksOf(recording);
  for (unsigned seed = 1; seed <= 50; ++seed) {
    std::mt19937 random(seed);
    intake_.Start();
    chunks_.clear();
    for (size_t at = 0; at < recording.size();) {
      const size_t n = std::min<size_t>(2 * (random() % 1000), recording.size() - at);  // empty ones among them
      Give(recording.data() + at, n, at + n == recording.size() ? WVAD_WRITE_LAST : WVAD_WRITE_CONTINUE);
      at += n;
    }
    ASSERT_EQ(chunks_, expected) << "seed " << seed;
  }
}

TEST_F(IntakeTest, PieceThatCompletesNoChunkWaits) {
  const std::vector<uint8_t> recording = Recording(800);
  Give(recording.data(), 798, WVAD_WRITE_CONTINUE);
  EXPECT_TRUE(chunks_.empty());
  EXPECT_EQ(intake_.nChunkFill, 798u);
  Give(nullptr, 0, WVAD_WRITE_CONTINUE);
  EXPECT_TRUE(chunks_.empty());
  Give(recording.data() + 798, 2, WVAD_WRITE_CONTINUE);
  EXPECT_EQ(chunks_, (std::vector<Chunk>{{WVAD_WRITE_CONTINUE, recording}}));
}

TEST_F(IntakeTest, OtherStatusOfAPieceIsNotThatOfItsChunks) {
  for (const uint32_t status : {uint32_t{WVAD_WRITE_FIRST}, uint32_t{7}}) {
    intake_.Start();
    chunks_.clear();
    Give(Recording(1600), status);
    ASSERT_EQ(chunks_.size(), 2u);
    for (const Chunk& chunk : chunks_) EXPECT_EQ(chunk.status, uint32_t{WVAD_WRITE_CONTINUE});
  }
}

TEST_F(IntakeTest, EmptyLastPieceSendsWhatWaitsOnce) {
  Give(Recording(100), WVAD_WRITE_CONTINUE);
  Give(nullptr, 0, WVAD_WRITE_LAST);
  EXPECT_EQ(chunks_, (std::vector<Chunk>{{WVAD_WRITE_LAST, Recording(100)}}));
  Give(nullptr, 0, WVAD_WRITE_LAST);
  EXPECT_EQ(chunks_.size(), 1u);
}

TEST_F(IntakeTest, StartForgetsWhatWaited) {
  Give(Recording(100), WVAD_WRITE_CONTINUE);
  Give(nullptr, 0, WVAD_WRITE_LAST);
  intake_.Start();
  chunks_.clear();
  Give(nullptr, 0, WVAD_WRITE_LAST);
  EXPECT_EQ(chunks_, (std::vector<Chunk>{{WVAD_WRITE_LAST, {}}}));
}

}  // namespace
}  // namespace TSEG
