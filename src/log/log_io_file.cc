// SPDX-License-Identifier: Apache-2.0
//
// The file device over platform::AppendFile, which takes care that no write waits or raises a signal.
#include "log/log_io_file.h"

#include <cerrno>
#include <cstring>

#include "log/log_text.h"

namespace TSEG {

int Log_IO_FILE::Note(int error) {
  if (error != 0) last_error_ = error;
  return error;
}

int Log_IO_FILE::open(const char* path, const char* flags, int /*mode*/, int share) {
  path_ = path;
  share_ = share;
  const int error = Note(file_.Open(path_, flags[0] == 'w'));
  if (error != 0) return error;
  const bool append_text = std::strcmp(flags, "a+t") == 0;
  const int last = append_text ? file_.LastByte() : -1;
  return last >= 0 && last != '\n' ? Note(file_.Write("\n", 1)) : 0;
}

void Log_IO_FILE::close() { file_.Close(); }

int Log_IO_FILE::write(const void* bytes, size_t length) {
  if (!file_.is_open()) return EBADF;
  return Note(file_.Write(static_cast<const char*>(bytes), length));
}

int Log_IO_FILE::write_w(const wchar_t* text) {
  if (!file_.is_open()) return EBADF;
  const std::string bytes = NarrowText(text);
  return write(bytes.data(), bytes.size());
}

int Log_IO_FILE::write_s(const char* text) { return write(text, std::strlen(text)); }

int Log_IO_FILE::truncate() { return file_.is_open() ? Note(file_.Truncate()) : EBADF; }

// Every write has reached the system already.
int Log_IO_FILE::flush() { return 0; }

uint64_t Log_IO_FILE::size() { return file_.Size(); }

int Log_IO_FILE::backup(const char* newPath) {
  if (path_ != newPath && !platform::CopyFileOver(path_, newPath)) return Note(EIO);
  return truncate();
}

}  // namespace TSEG
