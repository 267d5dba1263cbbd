// SPDX-License-Identifier: Apache-2.0
//
// Log_IO_FILE: a log in a file. Each write reaches the system at once, so a process that dies loses no line. Without a stream (the file
// could not be opened) writes return without effect. Narrow writes allocate nothing.
#ifndef WVAD_LOG_LOG_IO_FILE_H_
#define WVAD_LOG_LOG_IO_FILE_H_

#include <string>

#include "log/log_io.h"
#include "platform/platform.h"

namespace TSEG {

class Log_IO_FILE final : public Log_IO {
 public:
  // Text and binary are the same here; 'a' appends, 'w' empties first. A file opened with "a+t" that is not empty and does not end in a
  // newline gets one first.
  int open(const char* path, const char* flags, int mode, int share) override;
  void close() override;
  int write(const void* bytes, size_t length) override;
  int write_w(const wchar_t* text) override;
  int write_s(const char* text) override;
  int truncate() override;
  int flush() override;
  uint64_t size() override;
  int backup(const char* newPath) override;
  int last_error() const override { return last_error_; }
  void set_last_error(int error) override { last_error_ = error; }
  int share() const override { return share_; }
  void set_share(int share) override { share_ = share; }

 private:
  int Note(int error);

  platform::AppendFile file_;
  std::string path_;
  int last_error_ = 0;
  int share_ = 0;
};

}  // namespace TSEG

#endif  // WVAD_LOG_LOG_IO_FILE_H_
