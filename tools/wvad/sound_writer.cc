// SPDX-License-Identifier: Apache-2.0
#include "wvad/sound_writer.h"

#include <sndfile.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// A file in memory, as libsndfile wants to see it.
struct MemoryFile {
  std::string bytes;
  sf_count_t at = 0;
};

MemoryFile* Of(void* user) { return static_cast<MemoryFile*>(user); }

sf_count_t Length(void* user) { return static_cast<sf_count_t>(Of(user)->bytes.size()); }

sf_count_t Seek(sf_count_t offset, int whence, void* user) {
  MemoryFile* file = Of(user);
  const sf_count_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? file->at : Length(user);
  file->at = std::max<sf_count_t>(0, base + offset);
  return file->at;
}

sf_count_t Read(void* out, sf_count_t count, void* user) {
  MemoryFile* file = Of(user);
  const sf_count_t there = std::clamp<sf_count_t>(Length(user) - file->at, 0, count);
  std::memcpy(out, file->bytes.data() + std::min(file->at, Length(user)), static_cast<size_t>(there));
  file->at += there;
  return there;
}

sf_count_t Write(const void* data, sf_count_t count, void* user) {
  MemoryFile* file = Of(user);
  const size_t end = static_cast<size_t>(file->at + count);
  if (file->bytes.size() < end) file->bytes.resize(end);
  std::memcpy(file->bytes.data() + file->at, data, static_cast<size_t>(count));
  file->at += count;
  return count;
}

sf_count_t Tell(void* user) { return Of(user)->at; }

struct Close {
  void operator()(SNDFILE* file) const { sf_close(file); }
};

constexpr SoundKind kSoundKinds[] = {
    {"wav", "16 bit, not compressed", SF_FORMAT_WAV | SF_FORMAT_PCM_16},
    {"flac", "16 bit, compressed without loss", SF_FORMAT_FLAC | SF_FORMAT_PCM_16},
};

constexpr SoundKind kOpus = {"opus", "compressed, for listening", SF_FORMAT_OGG | SF_FORMAT_OPUS};

// In steps: libsndfile's encoders take room on the stack for what they get at once.
sf_count_t WriteInSteps(SNDFILE* file, const int16_t* samples, sf_count_t wanted) {
  constexpr sf_count_t kStep = 16384;
  sf_count_t written = 0;
  while (written < wanted) {
    const sf_count_t step = std::min(kStep, wanted - written);
    if (sf_write_short(file, samples + written, step) != step) break;
    written += step;
  }
  return written;
}

}  // namespace

std::span<const SoundKind> SoundKinds() { return kSoundKinds; }

const SoundKind& ListeningKind(int rate_hz) { return rate_hz == 16000 || rate_hz == 8000 ? kOpus : kSoundKinds[0]; }

std::string EncodeSound(const int16_t* samples, size_t count, int rate_hz, const SoundKind& kind) {
  MemoryFile memory;
  SF_VIRTUAL_IO io = {Length, Seek, Read, Write, Tell};
  SF_INFO info{};
  info.samplerate = rate_hz;
  info.channels = 1;
  info.format = kind.format;
  std::unique_ptr<SNDFILE, Close> file(sf_open_virtual(&io, SFM_WRITE, &info, &memory));
  const sf_count_t wanted = static_cast<sf_count_t>(count);
  if (file == nullptr || WriteInSteps(file.get(), samples, wanted) != wanted) {
    throw Failure(ExitCode::kOutput, std::string(kind.name) + ": this libsndfile cannot write it (" + sf_strerror(file.get()) + ")");
  }
  file.reset();  // writes what is still missing
  return memory.bytes;
}

}  // namespace TSEG::tool
