// BufferMemOwner: where the memory of a buffer comes from, who frees it, and how it grows.
//
//   state     str            cap           owner  const  entered by
//   empty     null           0 (*)         no     no     construction, set_data_empty, failure
//   inline    inline area    its size      no     no     reset, shrink_to_fit, a derived type
//   owned     heap           as allocated  yes    no     recapacity, set_data_owner,
//                                                        capture_the_ownership
//   external  the caller's   as given      no     no     set_data_external,
//                                                        release_the_ownership
//   const     caller's text  its length    no     yes    set_data_const
//
//   (*) set_data_empty leaves `cap` as it was. Without memory `cap` means nothing: growth starts
//       from 0.
//
// Memory comes from malloc and realloc and is freed with free; an allocation is always cap + 1
// units. When an allocation fails, or a length exceeds 32 bits, the buffer frees what it owned and
// becomes empty: a null pointer, length and capacity 0. Nothing is reported, and the buffer can be
// used again. Callers that may ask for large sizes check the pointer (ref_internal_data)
// afterwards.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/text/buffer_fix_base.h"

namespace tstl {

template <Unit T>
class BufferMemOwner : public BufferFixBase<T> {
 public:
  // The least and the greatest capacity that is ever allocated.
  static constexpr unsigned kLeastCapacity = 32;
  static constexpr unsigned kGreatestCapacity = 0xFFFFFFFE;

  BufferMemOwner() noexcept = default;
  ~BufferMemOwner() { try_free(); }

  // Units that fit before the terminating zero.
  [[nodiscard]] unsigned capacity() const noexcept { return cap_; }
  [[nodiscard]] bool is_owner() const noexcept { return (flags_ & kOwnerFlag) != 0; }
  [[nodiscard]] bool is_const_data() const noexcept { return (flags_ & kConstFlag) != 0; }
  // The text is in the inline area.
  [[nodiscard]] bool is_with_data() const noexcept {
    return inline_capacity() != 0 && str_ == internal_with_data_ptr();
  }
  // Where a derived type has its inline area: directly after the header.
  [[nodiscard]] T* internal_with_data_ptr() const noexcept {
    return reinterpret_cast<T*>(reinterpret_cast<std::uintptr_t>(this) + sizeof(*this));
  }
  // Whether the state is one of the table's, and a text that is not const has its zero. For tests.
  [[nodiscard]] bool check_invariants() const noexcept;

  // ---- Change the storage: owned memory is freed, the inline area's size and the flags of derived
  // types stay. REQUIRES of all: `p` is not the memory that the buffer owns now; len <= cap. A null
  // `p` gives the empty state.

  // Adopts memory from malloc of cap + 1 units; the buffer frees it. Writes the zero at p[len].
  void set_data_owner(unsigned cap, T* p, unsigned len) noexcept {
    set_data(p, len, cap, kOwnerFlag);
  }
  // Uses the caller's memory of cap + 1 units, which has to outlive its use. Writes the zero at
  // p[len].
  void set_data_external(unsigned cap, T* p, unsigned len) noexcept { set_data(p, len, cap, 0); }
  // Points at a text that has to outlive its use and is never written; the first change copies it
  // out.
  void set_data_const(const T* p, unsigned len) noexcept {
    set_data(const_cast<T*>(p), len, len, kConstFlag);
  }
  // Sets the empty state; capacity() keeps its value.
  void set_data_empty() noexcept;
  // Switches to the inline area, empty, and records its size. REQUIRES: the object's type has an
  // array of n + 1 units directly after the header, as BufferInline does.
  void set_data_with_data(unsigned n) noexcept;

  // Sets the owner bit for the current memory, which has to come from malloc. Does nothing in the
  // inline, const and empty states, where there is nothing to own.
  void capture_the_ownership() noexcept;
  // Clears the owner bit: the memory outlives the buffer, and the holder of the pointer must free()
  // it.
  void release_the_ownership() noexcept { flags_ &= ~kOwnerFlag; }

  // Frees the memory if it is owned and changes nothing else, so that the pointer dangles. This is
  // the destructor's step. Before any other use call release_the_ownership and then set_data_empty.
  void try_free() noexcept;

  // Frees owned memory and returns to the inline area if there is one, else to the empty state.
  void reset() noexcept;

  // Ensures a capacity of `need` units in all and keeps the contents. Does nothing if they fit.
  // Otherwise the text moves to heap memory that the buffer owns; the capacity becomes the largest
  // of twice the old one, `need` and kLeastCapacity. Storage that was not owned is not freed.
  // Returns whether they fit now; after a failure the buffer is empty, as described above.
  bool recapacity(std::uint64_t need) noexcept {
    return (need <= cap_ && str_ != nullptr) || need == 0 || grow(need);
  }

  // Frees what the text does not need: all memory if it is empty, the heap memory if it fits into
  // the inline area, else the capacity above its length. Affects owned memory only. If realloc
  // fails, nothing changes.
  void shrink_to_fit() noexcept;

 protected:
  using BufferFixBase<T>::kOwnerFlag;
  using BufferFixBase<T>::kConstFlag;
  using BufferFixBase<T>::kDerivedFlags;
  using BufferFixBase<T>::kInlineMask;
  using BufferFixBase<T>::str_;
  using BufferFixBase<T>::len_;
  using BufferFixBase<T>::cap_;
  using BufferFixBase<T>::flags_;

  [[nodiscard]] unsigned inline_capacity() const noexcept { return flags_ & kInlineMask; }

  // The part of recapacity that allocates; also copies a const text to the heap. False after a
  // failed allocation.
  bool grow(std::uint64_t need) noexcept;

 private:
  void install(T* p, unsigned len, unsigned cap, unsigned storage) noexcept;
  void set_data(T* p, unsigned len, unsigned cap, unsigned storage) noexcept;
  void install_start() noexcept;
};

static_assert(sizeof(BufferMemOwner<unsigned char>) == sizeof(BufferFixBase<unsigned char>) &&
              sizeof(BufferMemOwner<unsigned short>) == sizeof(BufferFixBase<unsigned short>));

extern template class BufferMemOwner<unsigned char>;
extern template class BufferMemOwner<unsigned short>;

}  // namespace tstl
