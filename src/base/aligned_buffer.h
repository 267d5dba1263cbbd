// SPDX-License-Identifier: Apache-2.0
//
// AlignedBuffer<T>: a fixed-size array of trivial elements on a stated alignment, zeroed when made unless asked otherwise.
//
// Owns its memory; movable, not copyable. Allocation happens in the constructor alone; failure leaves as std::bad_alloc. A large buffer
// comes zeroed from the system page by page: what nobody touches of it takes neither time nor memory.
#ifndef WVAD_BASE_ALIGNED_BUFFER_H_
#define WVAD_BASE_ALIGNED_BUFFER_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

namespace TSEG {

template <typename T>
class AlignedBuffer {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  AlignedBuffer() = default;
  // `n` elements, all bytes zero, on `alignment` bytes (a power of two, at least alignof(T)).
  explicit AlignedBuffer(size_t n, size_t alignment = 64) : size_(n), data_(Make(n, alignment)) {}
  // The same with whatever bytes the memory holds, for a buffer of which nothing is read that has not been written.
  static AlignedBuffer Uncleared(size_t n, size_t alignment = 64) {
    AlignedBuffer buffer;
    buffer.size_ = n;
    buffer.data_ = Take(n, alignment);
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
  // From here on the system's own zeroed pages are cheaper than clearing used memory.
  static constexpr size_t kLargeBytes = 65536;

  struct Deleter {
    void* large = nullptr;  // the start of a large buffer's memory, which lies somewhat before its first element
    size_t alignment = 64;
    void operator()(T* p) const {
      if (large != nullptr) {
        std::free(large);
      } else {
        ::operator delete(static_cast<void*>(p), std::align_val_t(alignment));
      }
    }
  };
  using Memory = std::unique_ptr<T, Deleter>;

  static Memory Take(size_t n, size_t alignment) {
    if (n > static_cast<size_t>(PTRDIFF_MAX) / sizeof(T)) throw std::bad_alloc();
    void* p = ::operator new((n == 0 ? 1 : n) * sizeof(T), std::align_val_t(alignment));
    return Memory(static_cast<T*>(p), Deleter{nullptr, alignment});
  }
  static Memory Make(size_t n, size_t alignment) {
    if (n > (static_cast<size_t>(PTRDIFF_MAX) - alignment) / sizeof(T)) throw std::bad_alloc();
    const size_t bytes = n * sizeof(T);
    if (bytes < kLargeBytes) {
      Memory memory = Take(n, alignment);
      std::memset(static_cast<void*>(memory.get()), 0, bytes);
      return memory;
    }
    void* large = std::calloc(bytes + alignment, 1);
    if (large == nullptr) throw std::bad_alloc();
    const uintptr_t past = reinterpret_cast<uintptr_t>(large) % alignment;
    void* first = static_cast<std::byte*>(large) + (past == 0 ? 0 : alignment - past);
    return Memory(static_cast<T*>(first), Deleter{large, alignment});
  }

  size_t size_ = 0;
  Memory data_{nullptr, Deleter{}};
};

}  // namespace TSEG

#endif  // WVAD_BASE_ALIGNED_BUFFER_H_
