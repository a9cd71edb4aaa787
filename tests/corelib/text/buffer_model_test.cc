// Long random sequences of operations on a buffer and on a plain model of it, with memory that can
// be had and with an allocator that fails at the k-th call. The program is linked with --wrap for
// malloc, realloc and free.
#include <algorithm>
#include <cstdlib>
#include <deque>
#include <utility>
#include <vector>

#include "corelib/text/buffer_inline.h"
#include "tests/corelib/text/units.h"

namespace {

struct Allocator {
  int fail_at;  // the call that fails, counted from 0; none when negative
  int calls = 0;
  int live = 0;
  bool fired = false;

  bool Refuses() {
    const bool refuses = calls++ == fail_at;
    fired = fired || refuses;
    return refuses;
  }
};
Allocator* allocator = nullptr;  // watches what is allocated while it is set

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  if (allocator == nullptr) return __real_malloc(size);
  if (allocator->Refuses()) return nullptr;
  ++allocator->live;
  return __real_malloc(size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  return allocator != nullptr && allocator->Refuses() ? nullptr : __real_realloc(memory, size);
}
void __wrap_free(void* memory) {
  if (allocator != nullptr && memory != nullptr) --allocator->live;
  __real_free(memory);
}
}

namespace tstl {
namespace {

enum class State { kEmpty, kInline, kOwned, kExternal, kConst };
constexpr unsigned kEnd = ~0u;
constexpr unsigned kMark = 0x15000000;  // flags of a derived type, which every operation keeps

// What an operation comes to: `units` in the place of [pos, pos + n), at most `limit` units then.
template <class T>
struct Edit {
  unsigned pos, n;
  std::vector<T> units;
  unsigned limit = kEnd;  // kEnd: grows as need be
};

// What a buffer should hold, by the rules told in buffer_memory.h.
template <class T>
struct Model {
  std::vector<T> text;
  State state = State::kEmpty;
  unsigned cap = 0;
  unsigned inline_cap = 0;

  unsigned size() const { return static_cast<unsigned>(text.size()); }
  bool writable() const { return state != State::kEmpty && state != State::kConst; }
  void Set(State new_state, unsigned new_cap, std::vector<T> new_text = {}) {
    state = new_state, cap = new_cap, text = std::move(new_text);
  }
  void Reset() { Set(inline_cap != 0 ? State::kInline : State::kEmpty, inline_cap); }
  void Clear() { writable() ? text.clear() : Reset(); }
  void Grow(unsigned need) { Set(State::kOwned, std::max({2 * cap, need, 32u}), text); }
  void Apply(Edit<T> edit) {
    const unsigned pos = std::min(edit.pos, size());
    const unsigned n = std::min(edit.n, size() - pos);
    const unsigned kept = size() - n;
    if (edit.limit != kEnd) {
      if (!writable()) return;
      edit.units.resize(std::min<std::size_t>(edit.units.size(), std::min(edit.limit, cap) - kept));
    }
    if (n == 0 && edit.units.empty()) return;
    const unsigned need = kept + static_cast<unsigned>(edit.units.size());
    if (!writable() || need > cap) Grow(need);
    text.insert(text.erase(text.begin() + pos, text.begin() + pos + n), edit.units.begin(),
                edit.units.end());
  }
  // Moved to a buffer without an inline area and back.
  void MoveThereAndBack() {
    if (text.empty() && (state == State::kInline || state == State::kEmpty)) return Reset();
    if (state == State::kInline) Set(State::kOwned, std::max(size(), 32u), text);
  }
  void Shrink() {
    if (state != State::kOwned) return;
    if (size() > inline_cap) return Set(State::kOwned, size(), text);
    std::vector<T> kept = text;
    Reset();
    text = kept;
  }
};

template <class Base>
struct Marked : Base {
  Marked() { this->flags_ |= kMark; }
  unsigned flags() const { return this->flags_; }
  static constexpr unsigned kInlineUnits = sizeof(Base) == 20 ? 0 : 16;
};

// What an operation of a step works on.
template <class T>
struct Arguments {
  std::vector<T> old;  // the contents before it
  unsigned len = 0;
  BufferRef<T> text;  // foreign, or a part of the buffer
  std::vector<T> units;
  BufferRef<typename BufferFixBase<T>::OtherUnit> other;
  unsigned pos = 0, n = 0, limit = 0;

  Edit<T> Append(std::vector<T> added, unsigned cap = kEnd) const { return {len, 0, added, cap}; }
  template <class Change>
  Edit<T> Whole(Change change) const {
    std::vector<T> changed = old;
    change(changed);
    return {0, len, changed};
  }
};

// The operations, each with what it comes to.
template <class B, class T, class A = Arguments<T>>
const std::vector<Edit<T> (*)(B&, const A&)> kEdits = {
    [](B& b, const A& a) { return b.append_str(a.text), a.Append(a.units); },
    [](B& b, const A& a) {
      return b.append_str(a.other), a.Append({a.other.begin(), a.other.end()});
    },
    [](B& b, const A& a) { return b.append_chr('c'), a.Append({'c'}); },
    [](B& b, const A& a) {
      return b.append_chr_repeat('r', a.n), a.Append(std::vector<T>(a.n, 'r'));
    },
    [](B& b, const A& a) {
      return b.append_num(-471), a.Append({'-', '4', '7', '1'});
    },
    [](B& b, const A& a) {
      return b.append_hex(0xF, 3), a.Append({'0', '0', 'F'});
    },
    [](B& b, const A& a) { return b.ensure_len_align4(), a.Append(std::vector<T>(-a.len & 3)); },
    [](B& b, const A& a) {
      return b.insert_str(a.pos, a.text), Edit<T>{a.pos, 0, a.units};
    },
    [](B& b, const A& a) {
      return b.replace_str(a.pos, a.n, a.text), Edit<T>{a.pos, a.n, a.units};
    },
    [](B& b, const A& a) {
      return b.write(a.pos, a.text), Edit<T>{a.pos, a.text.len(), a.units};
    },
    [](B& b, const A& a) {
      return b.erase(a.pos, a.n), Edit<T>{a.pos, a.n, {}};
    },
    [](B& b, const A& a) {
      return b.cut_head(a.n), Edit<T>{0, a.n, {}};
    },
    [](B& b, const A& a) {
      return b.cut_tail(a.n), Edit<T>{a.len - std::min(a.n, a.len), a.n, {}};
    },
    [](B& b, const A& a) {
      return b.set_len(a.len / 2), Edit<T>{a.len / 2, kEnd, {}};
    },
    [](B& b, const A& a) { return b.append_str_fix(a.text, a.limit), a.Append(a.units, a.limit); },
    [](B& b, const A& a) {
      return b.insert_str_fix(a.pos, a.text, a.limit), Edit<T>{a.pos, 0, a.units, a.limit};
    },
    [](B& b, const A& a) {
      return b.write_fix(a.pos, a.text, a.limit), Edit<T>{a.pos, a.text.len(), a.units, a.limit};
    },
    [](B& b, const A& a) {
      return b.erase_fix(a.pos, a.n, a.limit), Edit<T>{a.pos, a.n, {}, a.limit};
    },
    [](B& b, const A& a) {
      return b.set_len_fix(a.len / 2, a.limit), Edit<T>{a.len / 2, kEnd, {}, a.limit};
    },
    [](B& b, const A& a) {
      return b.reverse(), a.Whole([](auto& u) { std::reverse(u.begin(), u.end()); });
    },
    [](B& b, const A& a) { return b.erase_chr('a'), a.Whole([](auto& u) { std::erase(u, 'a'); }); },
    [](B& b, const A& a) {
      return b.replace_chr('a', 'b'),
             a.Whole([](auto& u) { std::replace(u.begin(), u.end(), 'a', 'b'); });
    },
    [](B& b, const A& a) {
      return b.ensure_slash_end(), a.Whole([](auto& u) {
        std::replace(u.begin(), u.end(), '\\', '/');
        if (u.empty() || u.back() != '/') u.push_back('/');
      });
    },
};

// A buffer and its model, taken through the same random steps.
template <class B>
class Both {
 public:
  using T = typename B::unit_type;

  Both(unsigned seed, Allocator& watched) : random_(seed), watched_(watched) {
    model_.inline_cap = B::kInlineUnits;
    model_.Reset();
  }
  void Step() {
    const HeapText<T> foreign = random_.next<T>(60, "ab\\/Z");
    const auto other = random_.next<typename B::OtherUnit>(40, "xyz");
    Arguments<T> a{model_.text, real_.len(), foreign, {}, other};
    if (random_.below(2) == 0)
      a.text = BufferRef<T>(real_).sub_tail(random_.below(a.len + 1)).sub_head(random_.below(50));
    a.units.assign(a.text.begin(), a.text.end());
    a.pos = random_.below(a.len + 3);
    a.n = random_.below(a.len / 2 + 3);
    a.limit = a.len + random_.below(40);
    const auto& edits = kEdits<B, T>;
    const unsigned choice = random_.below(static_cast<unsigned>(edits.size()) * 3 / 2);
    SCOPED_TRACE(choice);
    if (choice < edits.size()) {
      model_.Apply(edits[choice](real_, a));
    } else {
      ChangeStorage(a);
    }
    if (std::exchange(watched_.fired, false)) model_.Set(State::kEmpty, 0);
    Check();
  }

 private:
  void ChangeStorage(const Arguments<T>& a);
  void Check() const;

  RandomTexts random_;
  Allocator& watched_;
  std::deque<std::vector<T>> lent_, const_texts_, const_copies_;
  Model<T> model_;
  B real_;
};

template <class B>
void Both<B>::ChangeStorage(const Arguments<T>& a) {
  const unsigned cap = a.pos + 20;
  switch (random_.below(9)) {
    case 0:
      real_.assign(a.text);
      return a.units.empty() ? model_.Clear() : model_.Apply({0, kEnd, a.units});
    case 1:
      real_.clear();
      return model_.Clear();
    case 2:
      real_.reset();
      return model_.Reset();
    case 3:
      real_.recapacity(cap * 2);
      return cap * 2 <= model_.cap && model_.state != State::kEmpty ? void() : model_.Grow(cap * 2);
    case 4:
      real_.set_data_external(cap, lent_.emplace_back(cap + 1, T{'L'}).data(), 5);
      return model_.Set(State::kExternal, cap, std::vector<T>(5, 'L'));
    case 5:
      if (a.units.empty()) return;
      const_copies_.push_back(a.units);
      real_.set_data_const(const_texts_.emplace_back(a.units).data(),
                           static_cast<unsigned>(a.units.size()));
      return model_.Set(State::kConst, static_cast<unsigned>(a.units.size()), a.units);
    case 6: {
      T* const units = static_cast<T*>(std::malloc((cap + 1) * sizeof(T)));
      if (units != nullptr) std::fill_n(units, 3, T{'O'});
      real_.set_data_owner(cap, units, 3);
      return model_.Set(State::kOwned, cap, std::vector<T>(3, 'O'));
    }
    case 7: {
      Buffer<T> other;
      other.assign_rv(std::move(real_), true);
      real_.assign_rv(std::move(other), a.n % 2 == 0);
      return std::exchange(watched_.fired, false) ? model_.Reset() : model_.MoveThereAndBack();
    }
    default:
      real_.shrink_to_fit();
      return std::exchange(watched_.fired, false) ? void() : model_.Shrink();
  }
}

template <class B>
void Both<B>::Check() const {
  const State state = model_.state;
  const unsigned storage = state == State::kOwned   ? 1u << 31
                           : state == State::kConst ? 1u << 30
                                                    : 0;
  ASSERT_EQ(std::vector<T>(real_.begin(), real_.end()), model_.text);
  ASSERT_EQ(real_.capacity(), model_.cap);
  ASSERT_EQ(real_.flags(), storage | kMark | B::kInlineUnits);
  ASSERT_EQ(real_.is_with_data(), state == State::kInline);
  ASSERT_EQ(real_.ref_internal_data() == nullptr, state == State::kEmpty);
  ASSERT_TRUE(real_.check_invariants());
  ASSERT_EQ(const_texts_, const_copies_);
}

// Takes a buffer through `steps` steps; returns whether the allocator failed on the way.
template <class B>
bool Run(unsigned seed, unsigned steps, int fail_at) {
  SCOPED_TRACE(testing::Message() << "seed=" << seed << " fail_at=" << fail_at);
  Allocator watched{.fail_at = fail_at};
  allocator = &watched;
  {
    Both<B> both(seed, watched);
    for (unsigned i = 0; i < steps && !testing::Test::HasFatalFailure(); ++i) both.Step();
  }
  allocator = nullptr;
  EXPECT_EQ(watched.live, 0);
  return fail_at >= 0 && watched.calls > fail_at;
}

template <class B>
class BufferModelTest : public testing::Test {};
using Buffers = testing::Types<Marked<Buffer<unsigned char>>, Marked<Buffer<unsigned short>>,
                               Marked<BufferInline<unsigned char, 16>>,
                               Marked<BufferInline<unsigned short, 16>>>;
TYPED_TEST_SUITE(BufferModelTest, Buffers);

TYPED_TEST(BufferModelTest, EveryStepLeavesWhatTheModelHolds) {
  for (unsigned seed = 0; seed < 20 && !this->HasFatalFailure(); ++seed)
    Run<TypeParam>(seed, 1000, -1);
}

TYPED_TEST(BufferModelTest, AFailedAllocationLeavesAnEmptyBufferThatWorksOn) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    int fail_at = 0;
    while (Run<TypeParam>(seed, 60, fail_at) && !this->HasFatalFailure()) ++fail_at;
    EXPECT_GT(fail_at, 5);
  }
}

}  // namespace
}  // namespace tstl
