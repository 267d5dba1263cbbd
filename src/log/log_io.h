// SPDX-License-Identifier: Apache-2.0
//
// Log_IO: what a log writes to. The logger calls it under its lock, so an implementation needs none of its own. Nothing throws; results are
// 0 or the system's error.
#ifndef WVAD_LOG_LOG_IO_H_
#define WVAD_LOG_LOG_IO_H_

#include <cstddef>
#include <cstdint>

namespace TSEG {

class Log_IO {
 public:
  // `flags` is an open string ("a+t", "a+b", "wt", "wb"), `mode` the permissions of a new file, `share` who else may open it.
  virtual int open(const char* path, const char* flags, int mode, int share) = 0;
  virtual void close() = 0;
  // All three write behind the last byte.
  virtual int write(const void* bytes, size_t length) = 0;
  virtual int write_w(const wchar_t* text) = 0;
  virtual int write_s(const char* text) = 0;
  // Sets the length to 0.
  virtual int truncate() = 0;
  virtual int flush() = 0;
  // The length in bytes; 0 where nothing is open.
  virtual uint64_t size() = 0;
  // Copies what stands there onto `newPath`, unless that is the current name, then sets the length to 0. An error of the copy leaves all.
  virtual int backup(const char* newPath) = 0;
  virtual ~Log_IO() = default;
  // The two attributes: the error of the last operation that failed, and the sharing asked for.
  virtual int last_error() const = 0;
  virtual void set_last_error(int error) = 0;
  virtual int share() const = 0;
  virtual void set_share(int share) = 0;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_IO_H_
