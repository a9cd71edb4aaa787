// BufferInline: a Buffer with space for N units in the object itself.
//
// Texts of up to N units need no heap. A longer one moves to the heap by the rules of every buffer;
// reset() and shrink_to_fit() bring it back. The object can be passed as a Buffer<T>, but it must
// not be moved with memcpy: its pointer points into itself.
#pragma once

#include <cassert>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/text/buffer.h"

namespace tstl {

template <Unit T, unsigned N>
class BufferInline : public Buffer<T> {
 public:
  using typename Buffer<T>::View;
  using typename Buffer<T>::OtherView;

  BufferInline() noexcept {
    static_assert(N > 0 && N <= Buffer<T>::kInlineMask,
                  "the size has to fit into the header's bits");
    static_assert(sizeof(BufferInline) == (sizeof(Buffer<T>) + (N + 1) * sizeof(T) + 3) / 4 * 4);
    assert(this->internal_with_data_ptr() == inline_);
    this->set_data_with_data(N);
  }
  // A copy; a transcoded copy of text of the other width; a copy; the moved text (a text in the
  // inline area is copied).
  explicit BufferInline(View text) noexcept : BufferInline() { this->append_str(text); }
  explicit BufferInline(OtherView text) noexcept : BufferInline() { this->append_str(text); }
  BufferInline(const BufferInline& other) noexcept : BufferInline() { this->append_str(other); }
  explicit BufferInline(Buffer<T>&& other) noexcept : BufferInline() {
    this->assign_rv(std::move(other), false);
  }
  BufferInline(BufferInline&& other) noexcept : BufferInline(static_cast<Buffer<T>&&>(other)) {}

  using Buffer<T>::operator=;
  BufferInline& operator=(const BufferInline& other) noexcept {
    this->assign(other);
    return *this;
  }
  BufferInline& operator=(BufferInline&& other) noexcept {
    this->assign_rv(std::move(other), true);
    return *this;
  }

 private:
  T inline_[N + 1];
};

}  // namespace tstl

template <tstl::Unit T, unsigned N>
struct std::hash<tstl::BufferInline<T, N>> : std::hash<tstl::BufferRef<T>> {};
