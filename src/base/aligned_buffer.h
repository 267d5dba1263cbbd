// SPDX-License-Identifier: Apache-2.0
//
// AlignedBuffer<T>: a fixed-size array of trivial elements on a stated alignment, zeroed when made.
//
// Owns its memory; movable, not copyable. Allocation happens in the constructor alone; failure leaves as std::bad_alloc.
#ifndef WVAD_BASE_ALIGNED_BUFFER_H_
#define WVAD_BASE_ALIGNED_BUFFER_H_

#include <cstddef>
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
  explicit AlignedBuffer(size_t n, size_t alignment = 64)
      : size_(n), data_(static_cast<T*>(::operator new((n == 0 ? 1 : n) * sizeof(T), std::align_val_t(alignment))), Deleter{alignment}) {
    std::memset(static_cast<void*>(data_.get()), 0, n * sizeof(T));
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
  struct Deleter {
    size_t alignment = 64;
    void operator()(T* p) const { ::operator delete(static_cast<void*>(p), std::align_val_t(alignment)); }
  };
  size_t size_ = 0;
  std::unique_ptr<T, Deleter> data_{nullptr, Deleter{}};
};

}  // namespace TSEG

#endif  // WVAD_BASE_ALIGNED_BUFFER_H_
