// SPDX-License-Identifier: Apache-2.0
#include "wvad/in_order.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace TSEG::tool {
namespace {

class Crew {
 public:
  Crew(size_t count, size_t workers, const InOrderWork& work) : count_(count), ahead_(4 * workers), work_(work), done_(count) {
    for (size_t worker = 0; worker < std::min(workers, count); ++worker) threads_.emplace_back([this, worker] { Labour(worker); });
  }
  ~Crew() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (finished_ < count_) work_.abandon();
      ended_ = true;
    }
    changed_.notify_all();
    for (std::thread& thread : threads_) thread.join();
  }
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  void FinishAll() {
    for (size_t index = 0; index < count_; ++index) {
      {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return done_[index]; });
      }
      if (!work_.finish(index)) return;
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        finished_ = index + 1;
      }
      changed_.notify_all();
    }
  }

 private:
  void Labour(size_t worker) {
    for (;;) {
      size_t index = 0;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return ended_ || next_ >= count_ || next_ < finished_ + ahead_; });
        if (ended_ || next_ >= count_) return;
        index = next_++;
      }
      work_.work(worker, index);
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        done_[index] = true;
      }
      changed_.notify_all();
    }
  }

  size_t count_;
  size_t ahead_;
  const InOrderWork& work_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<bool> done_;
  size_t next_ = 0;      // to be begun
  size_t finished_ = 0;  // so many are
  bool ended_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace

void WorkInOrder(size_t count, size_t workers, const InOrderWork& work) { Crew(count, workers, work).FinishAll(); }

}  // namespace TSEG::tool
