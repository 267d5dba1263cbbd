// SPDX-License-Identifier: Apache-2.0
//
// NamedMutex as a mutex of the system in the names of the session, which is the user's. It ends with its holder, and the default rights
// keep other users away from it. The system lets a thread take again what it holds already, so two objects of one name are kept apart by
// a lock of this process in front of it.
#include <chrono>
#include <map>
#include <mutex>

#include "platform/platform.h"
#include "platform/windows/error_number.h"
#include "platform/windows/handle.h"
#include "platform/windows/wide_text.h"

namespace TSEG::platform {
namespace {

// How long Acquire waits. The guarded work takes milliseconds; whoever holds the lock longer is stuck or stopped.
constexpr std::chrono::milliseconds kLongestWait{2000};

std::string SystemName(const std::string& name) {
  std::string plain_name;
  for (const char c : name) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    plain_name += plain ? c : '_';
  }
  return plain_name;
}

// The lock of this process for a name: one for all objects that have it open.
std::shared_ptr<std::timed_mutex> LockOfProcess(const std::string& name) {
  static std::mutex guard;
  static std::map<std::string, std::weak_ptr<std::timed_mutex>> locks;
  const std::lock_guard<std::mutex> guarded(guard);
  std::shared_ptr<std::timed_mutex> lock = locks[name].lock();
  if (lock == nullptr) locks[name] = lock = std::make_shared<std::timed_mutex>();
  return lock;
}

}  // namespace

struct NamedMutex::Impl {
  Handle system;
  std::shared_ptr<std::timed_mutex> process;
  bool is_held = false;
};

NamedMutex::NamedMutex() : impl_(std::make_unique<Impl>()) {}

NamedMutex::~NamedMutex() { Close(); }

int NamedMutex::Open(const std::string& name) {
  Close();
  const std::string plain_name = SystemName(name);
  Handle mutex(::CreateMutexW(nullptr, FALSE, Wide(plain_name).c_str()));
  if (!mutex.ok()) return LastErrorNumber();
  impl_->process = LockOfProcess(plain_name);
  impl_->system = std::move(mutex);
  return 0;
}

void NamedMutex::Close() {
  Release();
  impl_->system.Close();
  impl_->process.reset();
}

bool NamedMutex::Acquire() {
  if (!impl_->system.ok()) return true;
  const uint64_t begin = TickCount64();
  if (!impl_->process->try_lock_for(kLongestWait)) return false;
  const uint64_t waited = TickCount64() - begin;
  const auto longest = static_cast<uint64_t>(kLongestWait.count());
  const unsigned long outcome =
      ::WaitForSingleObject(impl_->system.get(), static_cast<unsigned long>(waited < longest ? longest - waited : 0));
  impl_->is_held = outcome == WAIT_OBJECT_0 || outcome == WAIT_ABANDONED;
  if (!impl_->is_held) impl_->process->unlock();
  return impl_->is_held;
}

void NamedMutex::Release() {
  if (!impl_->is_held) return;
  impl_->is_held = false;
  ::ReleaseMutex(impl_->system.get());
  impl_->process->unlock();
}

}  // namespace TSEG::platform
