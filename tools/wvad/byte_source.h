// SPDX-License-Identifier: Apache-2.0
//
// The bytes of a recording, from a file or a stream, for decoders that go forward and look back. A stream is kept as far as they look back:
// its first MiB and its last one, or all of it in a temporary file without a name.
#ifndef WVAD_WVAD_BYTE_SOURCE_H_
#define WVAD_WVAD_BYTE_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace TSEG::tool {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  // Up to `count` bytes from `offset` on, waiting for what a stream has not brought yet; fewer only at the end, and where a stream has let
  // them go. Throws Failure(kNoFile) where the system cannot read.
  virtual size_t ReadAt(uint64_t offset, void* out, size_t count) = 0;
  // None for a stream that has not ended yet.
  virtual std::optional<uint64_t> length() const = 0;
  // A stream keeps everything from here on. Call before much has been read.
  virtual void KeepAll() {}
};

// `path`: "-" for standard input, which is read from where it stands. Throws Failure(kNoFile): missing, a folder, no right to read.
std::unique_ptr<ByteSource> OpenBytes(const std::string& path);
// All bytes of a text, or the first `most` of a longer one. Throws as OpenBytes, and Failure: kInterrupted (what came before a signal is
// not the whole text), kNoFile (without `most`, for over 1 GiB, as devices have them).
std::string ReadWhole(const std::string& path, size_t most = SIZE_MAX);

// Bytes that only come in their order. `read` stores up to `count` of them, at least one, for which it waits; 0 at the end, negative with
// errno where it cannot. `name` is for messages.
std::unique_ptr<ByteSource> StreamOf(const std::string& name, std::function<long(void* out, size_t count)> read);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_BYTE_SOURCE_H_
