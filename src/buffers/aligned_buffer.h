// SPDX-License-Identifier: Apache-2.0
//
// AlignedBuffer<T>: a fixed-size array of trivial elements on a stated alignment, zeroed when made unless asked otherwise.
//
// Owns its memory; movable, not copyable. Allocation happens in the constructor alone; failure leaves as std::bad_alloc. A large buffer
// lies in pages of its own, which come zeroed from the system: what nobody touches of it takes neither time nor memory, and with its end
// all of it is the system's again, however many such buffers come and go.
#ifndef WVAD_BUFFERS_ALIGNED_BUFFER_H_
#define WVAD_BUFFERS_ALIGNED_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "platform/platform.h"

namespace TSEG {

template <typename T>
class AlignedBuffer {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  AlignedBuffer() = default;
  // `n` elements, all bytes zero, on `alignment` bytes (a power of two, at least alignof(T)).
  explicit AlignedBuffer(size_t n, size_t alignment = 64) : size_(n), data_(Take(n, alignment, true)) {}
  // The same with whatever bytes the memory holds, for a buffer of which nothing is read that has not been written.
  static AlignedBuffer Uncleared(size_t n, size_t alignment = 64) {
    AlignedBuffer buffer;
    buffer.size_ = n;
    buffer.data_ = Take(n, alignment, false);
    return buffer;
  }

  T* data() { return data_.get(); }
  const T* data() const { return data_.get(); }
  size_t size() const { return size_; }
  T& operator[](size_t i) { return data_.get()[i]; }
  const T& operator[](size_t i) const { return data_.get()[i]; }
  T* begin() { return data_.get(); }
  T* end() { return data_.get() + size_; }
  void clear_to_zero() { std::memset(static_cast<void*>(data_.get()), 0, size_ * sizeof(T)); }

 private:
  // From here on pages of its own are cheaper than clearing used memory.
  static constexpr size_t kLargeBytes = 65536;
  // The multiple at which pages begin.
  static constexpr size_t kPage = 4096;

  struct Deleter {
    void* pages = nullptr;  // those of a large buffer, of which the first element may be a little behind the beginning
    size_t bytes = 0;       // of the pages
    size_t alignment = 64;
    void operator()(T* p) const {
      if (pages != nullptr) {
        platform::GiveBackPages(pages, bytes);
      } else {
        ::operator delete(static_cast<void*>(p), std::align_val_t(alignment));
      }
    }
  };
  using Memory = std::unique_ptr<T, Deleter>;

  static Memory Take(size_t n, size_t alignment, bool cleared) {
    if (n > (static_cast<size_t>(PTRDIFF_MAX) - alignment) / sizeof(T)) throw std::bad_alloc();
    const size_t bytes = n * sizeof(T);
    if (bytes >= kLargeBytes) return TakeLarge(bytes, alignment);
    void* p = ::operator new(bytes == 0 ? 1 : bytes, std::align_val_t(alignment));
    if (cleared) std::memset(p, 0, bytes);
    return Memory(static_cast<T*>(p), Deleter{nullptr, 0, alignment});
  }
  static Memory TakeLarge(size_t bytes, size_t alignment) {
    if (alignment > kPage) bytes += alignment;
    void* pages = platform::TakePages(bytes);
    if (pages == nullptr) throw std::bad_alloc();
    const uintptr_t past = reinterpret_cast<uintptr_t>(pages) % alignment;
    void* first = static_cast<std::byte*>(pages) + (past == 0 ? 0 : alignment - past);
    return Memory(static_cast<T*>(first), Deleter{pages, bytes, alignment});
  }

  size_t size_ = 0;
  Memory data_{nullptr, Deleter{}};
};

}  // namespace TSEG

#endif  // WVAD_BUFFERS_ALIGNED_BUFFER_H_
