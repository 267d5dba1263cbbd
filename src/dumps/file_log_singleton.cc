// SPDX-License-Identifier: Apache-2.0
//
// FileLogSingleton: queues of text per file, and the worker that empties them every five seconds.
//
// A file that cannot be opened keeps its lines for the next flush, the newest 8 MiB of them.
#include "dumps/file_log_singleton.h"

#include <boost/bind/bind.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <map>
#include <vector>

#include "log/log.h"
#include "platform/platform.h"

namespace TSEG {
namespace {

constexpr const char* kSeparator = "==============================================================\n";
constexpr const char* kLogBegin = "\t \tLog Begin wvad session\n";
constexpr const char* kLogEnd = "\t \tLog End\n";
constexpr int64_t kFlushEveryMicroseconds = 5000000;
constexpr size_t kMaxWaitingBytes = size_t{8} << 20;

struct TextQueue {
  std::deque<std::string> lines;
  size_t bytes = 0;
  bool refused = false;  // the last open failed, and the log has said so

  void Push(const std::string& text) {
    lines.push_back(text);
    bytes += text.size();
  }
  void Clear() {
    lines.clear();
    bytes = 0;
  }
};

}  // namespace

struct FileLogSingleton::Impl {
  std::map<std::string, TextQueue> queues;
  boost::mutex lock;
  boost::condition_variable wake_up;
  boost::condition_variable begun;
  bool bStop = false;
  int nThreads = 0;
  size_t working = 0;  // workers that have come to take the lock
  std::vector<std::unique_ptr<boost::thread>> threads;
  uint32_t process_id = platform::ProcessId();

  // A forked child has none of its parent's threads: nothing to join, a lock that nobody may ever give back, waiters that never wake. It
  // leaves all of this alone; the text that waits in it is written by the parent.
  bool IsOfThisProcess() const { return process_id == platform::ProcessId(); }
  void Work();
  void Flush();
  void FlushFile(const std::string& file_name, TextQueue* queue);
};

void FileLogSingleton::Impl::Work() {
  boost::unique_lock<boost::mutex> guard(lock);
  ++working;
  begun.notify_all();
  for (;;) {
    if (!bStop) wake_up.timed_wait(guard, boost::posix_time::microseconds(kFlushEveryMicroseconds));
    Flush();
    if (bStop) return;
  }
}

void FileLogSingleton::Impl::Flush() {
  for (auto& [file_name, queue] : queues) FlushFile(file_name, &queue);
}

void FileLogSingleton::Impl::FlushFile(const std::string& file_name, TextQueue* queue) {
  platform::AppendFile file;
  if (file.Open(platform::NormaliseSeparators(file_name), false) != 0) {
    if (!queue->refused) WVAD_LOG_ERROR("%s | Open file %s error", "FileLogSingleton", file_name.c_str());
    queue->refused = true;
    while (queue->bytes > kMaxWaitingBytes) {
      queue->bytes -= queue->lines.front().size();
      queue->lines.pop_front();
    }
    return;
  }
  queue->refused = false;
  for (const std::string& line : queue->lines) file.Write(line.data(), line.size());
  queue->Clear();
}

FileLogSingleton& FileLogSingleton::instance() {
  static FileLogSingleton singleton;
  return singleton;
}

FileLogSingleton::FileLogSingleton() : impl_(std::make_unique<Impl>()) {}

FileLogSingleton::~FileLogSingleton() {
  if (impl_->threads.empty()) return;
  if (!impl_->IsOfThisProcess()) {
    static_cast<void>(impl_.release());
    return;
  }
  try {
    stop();
  } catch (const std::exception&) {
    // The process ends: what could not be written is lost.
  }
}

void FileLogSingleton::renew_after_fork() {
  if (impl_->IsOfThisProcess()) return;
  static_cast<void>(impl_.release());
  impl_ = std::make_unique<Impl>();
}

void FileLogSingleton::start(int nThreads) {
  renew_after_fork();
  boost::unique_lock<boost::mutex> guard(impl_->lock);
  impl_->bStop = false;
  impl_->nThreads = nThreads;
  for (int i = 0; i < nThreads; ++i) {
    try {
      impl_->threads.push_back(std::make_unique<boost::thread>(boost::bind(&Impl::Work, impl_.get())));
    } catch (const boost::thread_resource_error&) {
      // Without a worker the text waits for the flush of stop.
      WVAD_LOG_ERROR("%s | no thread", "FileLogSingleton");
    }
  }
  // A thread that is still being made may hold a lock of the allocator. A process that forked at that moment would hand the lock to a child
  // in which nobody gives it back; a worker that waits holds none.
  while (impl_->working < impl_->threads.size()) impl_->begun.wait(guard);
}

void FileLogSingleton::append(const std::string& text, const std::string& fileName) {
  const boost::lock_guard<boost::mutex> guard(impl_->lock);
  const auto [it, is_new] = impl_->queues.try_emplace(fileName);
  TextQueue& queue = it->second;
  if (is_new) {
    queue.Push(kSeparator);
    queue.Push(kLogBegin);
    queue.Push(kSeparator);
  }
  queue.Push(text);
}

void FileLogSingleton::stop() {
  renew_after_fork();
  {
    const boost::lock_guard<boost::mutex> guard(impl_->lock);
    if (!impl_->bStop) {
      for (auto& [file_name, queue] : impl_->queues) {
        queue.Push(kSeparator);
        queue.Push(kLogEnd);
        queue.Push(kSeparator);
      }
    }
    impl_->Flush();
    impl_->bStop = true;
    impl_->wake_up.notify_all();
  }
  for (const auto& thread : impl_->threads) thread->join();
  impl_->threads.clear();
  impl_->working = 0;
}

}  // namespace TSEG
