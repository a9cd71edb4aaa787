// Long random sequences of operations on a buffer and on a plain model of it, with an allocator
// that works and with one that fails at the k-th call. The program is linked with --wrap for
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

  bool Refuses() { return calls++ == fail_at && (fired = true); }
};
Allocator* allocator = nullptr;  // watches while it is set

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  if (allocator != nullptr && allocator->Refuses()) return nullptr;
  if (allocator != nullptr) ++allocator->live;
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

// What a buffer should hold, by the rules told in buffer_memory.h.
template <class T>
struct Model {
  std::vector<T> text;
  State state = State::kEmpty;
  unsigned cap = 0, inline_cap = 0;

  unsigned size() const { return static_cast<unsigned>(text.size()); }
  bool writable() const { return state != State::kEmpty && state != State::kConst; }
  void Set(State new_state, unsigned new_cap, std::vector<T> new_text) {
    state = new_state, cap = new_cap, text = std::move(new_text);
  }
  void Reset(std::vector<T> kept = {}) {
    Set(inline_cap != 0 ? State::kInline : State::kEmpty, inline_cap, kept);
  }
  void Clear() { writable() ? text.clear() : Reset(); }
  void Grow(unsigned need) {
    if (state != State::kEmpty && need <= cap) return;
    Set(State::kOwned, std::max({2 * cap, need, 32u}), text);
  }
  // Puts `units` in the place of [pos, pos + n); with a limit, as many of them as it leaves room
  // for.
  void Put(unsigned pos, unsigned n, std::vector<T> units, unsigned limit = kEnd) {
    if (limit != kEnd && !writable()) return;
    pos = std::min(pos, size());
    const unsigned kept = size() - std::min(n, size() - pos);
    if (limit != kEnd)
      units.resize(std::min<std::size_t>(units.size(), std::min(limit, cap) - kept));
    if (kept == size() && units.empty()) return;
    if (state == State::kConst) state = State::kEmpty;  // is copied out
    Grow(kept + static_cast<unsigned>(units.size()));
    const auto at = text.erase(text.begin() + pos, text.begin() + pos + (size() - kept));
    text.insert(at, units.begin(), units.end());
  }
  void Append(std::string_view bytes) { Put(size(), 0, {bytes.begin(), bytes.end()}); }
  void Shrink() {
    if (state != State::kOwned) return;
    size() <= inline_cap ? Reset(text) : Set(State::kOwned, size(), text);
  }
  // Through a buffer without an inline area and back.
  void MoveThereAndBack() {
    if (text.empty() && (state == State::kInline || state == State::kEmpty)) return Reset();
    if (state == State::kInline) Set(State::kOwned, std::max(size(), 32u), text);
  }
};

template <class Base>
struct Marked : Base {
  static constexpr unsigned kInlineUnits = sizeof(Base) == 20 ? 0 : 16;
  Marked() { this->flags_ |= kMark; }
  unsigned flags() const { return this->flags_; }
};

// A buffer and its model, taken through the same random steps.
template <class B>
struct Both {
  using T = typename B::unit_type;
  using OtherUnit = typename B::OtherUnit;

  RandomTexts random;
  std::deque<std::vector<T>> lent, const_texts;
  Model<T> model;
  B real;
  // What an operation works on. `text` is foreign or a part of the buffer; the vectors are copies
  // from before.
  BufferRef<T> text;
  BufferRef<OtherUnit> other;
  std::vector<T> units, other_units, five = std::vector<T>(5, 'k');
  unsigned pos = 0, n = 0, limit = 0, cap = 0;

  explicit Both(unsigned seed) : random(seed) {
    model.inline_cap = B::kInlineUnits;
    model.Reset();
  }
  void Step();
  void Check() const;
  bool Fired() const { return std::exchange(allocator->fired, false); }
  T* Owned() const {
    void* const memory = std::malloc((cap + 1) * sizeof(T));
    return memory == nullptr ? nullptr : std::copy_n(five.data(), 5, static_cast<T*>(memory)) - 5;
  }
  T* Lent() { return lent.emplace_back(cap + 1, T{'k'}).data(); }
  const T* Const() { return const_texts.emplace_back(five).data(); }
  void MoveThereAndBack() {
    Buffer<T> there(std::move(real));
    real.assign_rv(std::move(there), n % 2 == 0);
  }
};

// The operations, each on the buffer and on the model.
template <class B, class S = Both<B>>
const std::vector<void (*)(S&)> kOperations = {
    [](S& s) { s.real.append_str(s.text), s.model.Put(kEnd, 0, s.units); },
    [](S& s) { s.real.append_str(s.other), s.model.Put(kEnd, 0, s.other_units); },
    [](S& s) { s.real.append_chr('c'), s.model.Append("c"); },
    [](S& s) { s.real.append_chr_repeat('r', 33), s.model.Append(std::string(33, 'r')); },
    [](S& s) { s.real.append_num(-47), s.model.Append("-47"); },
    [](S& s) { s.real.append_num(-4, 4), s.model.Append("-004"); },
    [](S& s) { s.real.insert_str(s.pos, s.text), s.model.Put(s.pos, 0, s.units); },
    [](S& s) { s.real.replace_str(s.pos, s.n, s.text), s.model.Put(s.pos, s.n, s.units); },
    [](S& s) { s.real.write(s.pos, s.text), s.model.Put(s.pos, s.text.len(), s.units); },
    [](S& s) {
      s.real.insert_str_fix(s.pos, s.text, s.limit), s.model.Put(s.pos, 0, s.units, s.limit);
    },
    [](S& s) {
      s.real.write_fix(0, s.text, s.limit), s.model.Put(0, s.text.len(), s.units, s.limit);
    },
    [](S& s) { s.real.erase_fix(s.pos, s.n, s.limit), s.model.Put(s.pos, s.n, {}, s.limit); },
    [](S& s) { s.real.erase(s.pos, s.n), s.model.Put(s.pos, s.n, {}); },
    [](S& s) { s.real.cut_head(s.n * 3), s.model.Put(0, s.n * 3, {}); },
    [](S& s) {
      s.real.cut_tail(s.real.len() / 3), s.model.Put(s.model.size() - s.model.size() / 3, kEnd, {});
    },
    [](S& s) { s.real.set_len(s.real.len() / 2), s.model.Put(s.model.size() / 2, kEnd, {}); },
    [](S& s) {
      s.real.reverse(), s.model.Put(0, kEnd, {s.model.text.rbegin(), s.model.text.rend()});
    },
    [](S& s) {
      s.real.assign(s.text), s.units.empty() ? s.model.Clear() : s.model.Put(0, kEnd, s.units);
    },
    [](S& s) { s.real.clear(), s.model.Clear(); },
    [](S& s) { s.real.reset(), s.model.Reset(); },
    [](S& s) { s.real.recapacity(s.cap), s.model.Grow(s.cap); },
    [](S& s) { s.real.shrink_to_fit(), s.Fired() ? void() : s.model.Shrink(); },
    [](S& s) { s.MoveThereAndBack(), s.Fired() ? s.model.Reset() : s.model.MoveThereAndBack(); },
    [](S& s) {
      s.real.set_data_owner(s.cap, s.Owned(), 5), s.model.Set(State::kOwned, s.cap, s.five);
    },
    [](S& s) {
      s.real.set_data_external(s.cap, s.Lent(), 5), s.model.Set(State::kExternal, s.cap, s.five);
    },
    [](S& s) { s.real.set_data_const(s.Const(), 5), s.model.Set(State::kConst, 5, s.five); },
};

template <class B>
void Both<B>::Step() {
  const auto foreign_text = random.next<T>(60, "ab\\/Z");
  const auto other_text = random.next<OtherUnit>(40, "xyz");
  pos = random.below(real.len() + 3);
  n = random.below(real.len() / 2 + 3);
  limit = real.len() + random.below(40);
  cap = 20 + random.below(80);
  other = other_text;
  text = random.below(2) == 0 ? real.sub_str(random.below(real.len() + 1), n) : foreign_text;
  units.assign(text.begin(), text.end());
  other_units.assign(other.begin(), other.end());
  const unsigned choice = random.below(static_cast<unsigned>(kOperations<B>.size()));
  SCOPED_TRACE(choice);
  kOperations<B>[choice](*this);
  if (Fired()) model.Set(State::kEmpty, 0, {});
  Check();
}

template <class B>
void Both<B>::Check() const {
  constexpr unsigned kStorage[] = {0, 0, 1u << 31, 0, 1u << 30};
  ASSERT_EQ(std::vector<T>(real.begin(), real.end()), model.text);
  ASSERT_EQ(real.capacity(), model.cap);
  ASSERT_EQ(real.flags(), kStorage[static_cast<int>(model.state)] | kMark | B::kInlineUnits);
  ASSERT_EQ(real.is_with_data(), model.state == State::kInline);
  ASSERT_EQ(real.ref_internal_data() == nullptr, model.state == State::kEmpty);
  ASSERT_TRUE(real.check_invariants());
  for (const auto& lent_text : const_texts) ASSERT_EQ(lent_text, five);
}

// Takes a buffer through `steps` steps; returns whether the allocator failed on the way.
template <class B>
bool Run(unsigned seed, unsigned steps, int fail_at) {
  SCOPED_TRACE(testing::Message() << "seed=" << seed << " fail_at=" << fail_at);
  Allocator watching{fail_at};
  allocator = &watching;
  {
    Both<B> both(seed);
    for (unsigned i = 0; i < steps && !testing::Test::HasFatalFailure(); ++i) both.Step();
  }
  allocator = nullptr;
  EXPECT_EQ(watching.live, 0);
  return fail_at >= 0 && watching.calls > fail_at;
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
  int failures = 0;
  for (unsigned seed = 0; seed < 20; ++seed) {
    for (int k = 0; Run<TypeParam>(seed, 100, k) && !this->HasFatalFailure(); ++k) ++failures;
  }
  EXPECT_GT(failures, 200);
}

}  // namespace
}  // namespace tstl
