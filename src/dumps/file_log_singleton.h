// SPDX-License-Identifier: Apache-2.0
//
// FileLogSingleton: collects the debug text of finished sessions and writes it to text files from the engine's only thread of its own.
//
// The one object that instances share while they run: every operation takes its lock, which is held while writing to disk. start and stop
// may come repeatedly; queues survive a stop, so that banners are not repeated for a file already seen in the process.
#ifndef WVAD_DUMPS_FILE_LOG_SINGLETON_H_
#define WVAD_DUMPS_FILE_LOG_SINGLETON_H_

#include <memory>
#include <string>

namespace TSEG {

class FileLogSingleton {
 public:
  static FileLogSingleton& instance();

  // Returns when the workers wait for their time, so that the process may fork from then on.
  void start(int nThreads);
  void append(const std::string& text, const std::string& fileName);
  // Writes the closing banner to each file, flushes, joins the workers.
  void stop();

 private:
  FileLogSingleton();
  ~FileLogSingleton();
  void renew_after_fork();
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace TSEG

#endif  // WVAD_DUMPS_FILE_LOG_SINGLETON_H_
