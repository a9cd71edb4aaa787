// Long random sequences of operations on a buffer and on a plain model of it, with an allocator
// that works and with one that fails at the k-th call. The program is linked with --wrap for
// malloc, realloc and free.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <deque>
#include <utility>
#include <vector>

#include "corelib/text/buffer_inline.h"
#include "tests/corelib/text/units.h"

namespace {

struct Allocator {
  int fail_at;  // the call that fails, counted from 0; none if negative
  int calls = 0;
  int live = 0;
  bool fired = false;
  std::size_t asked = 0;

  bool Refuses(std::size_t size) {
    asked = size;
    return calls++ == fail_at && (fired = true);
  }
};
Allocator* allocator = nullptr;  // counts and refuses calls while it is set

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  if (allocator != nullptr && allocator->Refuses(size)) return nullptr;
  if (allocator != nullptr) ++allocator->live;
  return __real_malloc(size);
}
void* __wrap_realloc(void* memory, std::size_t size) {
  return allocator != nullptr && allocator->Refuses(size) ? nullptr : __real_realloc(memory, size);
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
constexpr unsigned kMark = 0x15000000;  // flags of a derived type, kept by every operation

// A model: what a buffer should hold by the rules in buffer_memory.h.
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
  void Grow(unsigned need, bool copy_out = false) {
    if (state != State::kEmpty && need <= cap && !(copy_out && state == State::kConst)) return;
    Set(State::kOwned, std::max({state == State::kEmpty ? 0 : 2 * cap, need, 32u}), text);
  }
  // Replaces the units [pos, pos + n) by `units`; with a limit, by as many of them as fit.
  void Put(unsigned pos, unsigned n, std::vector<T> units, unsigned limit = kEnd) {
    if (limit != kEnd && !writable()) return;
    pos = std::min(pos, size());
    const unsigned kept = size() - std::min(n, size() - pos);
    if (limit != kEnd)
      units.resize(std::min<std::size_t>(units.size(), std::min(limit, cap) - kept));
    if (kept == size() && units.empty()) return;
    Grow(kept + static_cast<unsigned>(units.size()), true);
    const auto at = text.erase(text.begin() + pos, text.begin() + pos + (size() - kept));
    text.insert(at, units.begin(), units.end());
  }
  void EnsureSlashEnd() {
    const bool ends = !text.empty() && (text.back() == '/' || text.back() == '\\');
    Grow(size() + !ends, true);
    if (!ends) text.push_back('/');
    std::replace(text.begin(), text.end(), T{'\\'}, T{'/'});
  }
  void Append(std::string_view bytes) { Put(size(), 0, {bytes.begin(), bytes.end()}); }
  void Shrink() {
    if (state != State::kOwned) return;
    size() <= inline_cap ? Reset(text) : Set(State::kOwned, size(), text);
  }
  // A move into a buffer without an inline area, and back.
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

// A buffer and its model, on which the same random steps are run.
template <class B>
struct Both {
  using T = typename B::unit_type;
  using OtherUnit = typename B::OtherUnit;

  RandomTexts random;
  std::deque<std::vector<T>> lent, const_texts;
  Model<T> m;
  B b;  // destroyed before the texts to which it may point
  // The arguments of an operation. `text` lies outside or is a part of the buffer; the vectors are
  // copies from before the operation.
  BufferRef<T> text;
  BufferRef<OtherUnit> other;
  std::vector<T> units, other_units, five = std::vector<T>(5, 'k');
  unsigned pos = 0, n = 0, limit = 0, cap = 0;

  explicit Both(unsigned seed) : random(seed) {
    m.inline_cap = B::kInlineUnits;
    m.Reset();
  }
  void Step();
  void Check() const {
    constexpr unsigned kStorage[] = {0, 0, 1u << 31, 0, 1u << 30};
    ASSERT_EQ(std::vector<T>(b.begin(), b.end()), m.text);
    ASSERT_EQ(b.capacity(), m.cap);
    ASSERT_EQ(b.flags(), kStorage[static_cast<int>(m.state)] | kMark | B::kInlineUnits);
    ASSERT_EQ(b.is_with_data(), m.state == State::kInline);
    ASSERT_EQ(b.ref_internal_data() == nullptr, m.state == State::kEmpty);
    ASSERT_TRUE(b.check_invariants());
    for (const auto& lent_text : const_texts) ASSERT_EQ(lent_text, five);
  }
  bool Fired() const { return std::exchange(allocator->fired, false); }
  T* Owned() const {
    void* const memory = std::malloc((cap + 1) * sizeof(T));
    return memory == nullptr ? nullptr : std::copy_n(five.data(), 5, static_cast<T*>(memory)) - 5;
  }
  T* Lent() { return lent.emplace_back(cap + 1, T{'k'}).data(); }
  const T* Const() { return const_texts.emplace_back(five).data(); }
  void MoveThereAndBack() {
    Buffer<T> there(std::move(b));
    b.assign_rv(std::move(there), n % 2 == 0);
  }
};

// The operations, each on the buffer and on the model `m`.
template <class B, class S = Both<B>>
const std::vector<void (*)(S&)> kOperations = {
    [](S& s) { s.b.append_str(s.text), s.m.Put(kEnd, 0, s.units); },
    [](S& s) { s.b.append_str(s.other), s.m.Put(kEnd, 0, s.other_units); },
    [](S& s) { s.b.append_chr('c'), s.m.Append("c"); },
    [](S& s) { s.b.append_chr_repeat('r', 33), s.m.Append(std::string(33, 'r')); },
    [](S& s) { s.b.append_num(-47), s.m.Append("-47"); },
    [](S& s) { s.b.append_num(-4, 4), s.m.Append("-004"); },
    [](S& s) { s.b.insert_str(s.pos, s.text), s.m.Put(s.pos, 0, s.units); },
    [](S& s) { s.b.replace_str(s.pos, s.n, s.text), s.m.Put(s.pos, s.n, s.units); },
    [](S& s) { s.b.write(s.pos, s.text), s.m.Put(s.pos, s.text.len(), s.units); },
    [](S& s) { s.b.insert_str_fix(s.pos, s.text, s.limit), s.m.Put(s.pos, 0, s.units, s.limit); },
    [](S& s) { s.b.write_fix(0, s.text, s.limit), s.m.Put(0, s.text.len(), s.units, s.limit); },
    [](S& s) { s.b.erase_fix(s.pos, s.n, s.limit), s.m.Put(s.pos, s.n, {}, s.limit); },
    [](S& s) { s.b.erase(s.pos, s.n), s.m.Put(s.pos, s.n, {}); },
    [](S& s) { s.b.cut_head(s.n * 3), s.m.Put(0, s.n * 3, {}); },
    [](S& s) { s.b.cut_tail(s.b.len() / 3), s.m.Put(s.m.size() - s.m.size() / 3, kEnd, {}); },
    [](S& s) { s.b.set_len(s.b.len() / 2), s.m.Put(s.m.size() / 2, kEnd, {}); },
    [](S& s) {
      s.b.reverse(), s.m.Put(0, kEnd, {s.m.text.rbegin(), s.m.text.rend()});
    },
    [](S& s) { s.b.assign(s.text), s.units.empty() ? s.m.Clear() : s.m.Put(0, kEnd, s.units); },
    [](S& s) { s.b.ensure_slash_end(), s.m.EnsureSlashEnd(); },
    [](S& s) { s.b.set_data_empty(), s.m.Set(State::kEmpty, s.m.cap, {}); },
    [](S& s) { s.b.clear(), s.m.Clear(); },
    [](S& s) { s.b.reset(), s.m.Reset(); },
    [](S& s) { s.b.recapacity(s.cap), s.m.Grow(s.cap); },
    [](S& s) { s.b.shrink_to_fit(), s.Fired() ? void() : s.m.Shrink(); },
    [](S& s) { s.MoveThereAndBack(), s.Fired() ? s.m.Reset() : s.m.MoveThereAndBack(); },
    [](S& s) { s.b.set_data_owner(s.cap, s.Owned(), 5), s.m.Set(State::kOwned, s.cap, s.five); },
    [](S& s) {
      s.b.set_data_external(s.cap, s.Lent(), 5), s.m.Set(State::kExternal, s.cap, s.five);
    },
    [](S& s) { s.b.set_data_const(s.Const(), 5), s.m.Set(State::kConst, 5, s.five); },
};

template <class B>
void Both<B>::Step() {
  const auto foreign_text = random.next<T>(60, "ab\\/Z");
  const auto other_text = random.next<OtherUnit>(40, "xyz");
  pos = random.below(b.len() + 3);
  n = random.below(b.len() / 2 + 3);
  limit = b.len() + random.below(40);
  cap = 20 + random.below(80);
  other = other_text;
  text = random.below(2) == 0 ? b.sub_str(random.below(b.len() + 1), n) : foreign_text;
  units.assign(text.begin(), text.end());
  other_units.assign(other.begin(), other.end());
  const unsigned choice = random.below(static_cast<unsigned>(kOperations<B>.size()));
  SCOPED_TRACE(choice);
  kOperations<B>[choice](*this);
  if (Fired()) m.Set(State::kEmpty, 0, {});
  Check();
}

// Runs `steps` steps on a buffer; returns whether the allocator refused a call.
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

// The allocator refuses; a length above 32 bits does not even reach it. No unit is read before.
TYPED_TEST(BufferModelTest, GrowthStopsAtTheGreatestCapacity) {
  using T = typename TypeParam::unit_type;
  constexpr std::size_t kMost = 0xFFFFFFFF * sizeof(T);
  const T unit = 'c';
  for (const auto& [len, added, asked] : {std::tuple{0x90000000u, 1u, kMost},
                                          {0xFFFFFFEF, 15, kMost},
                                          {0xFFFFFFEF, 16, 0},
                                          {0xFFFFFFEF, ~0u, 0}}) {
    TypeParam buffer;
    buffer.set_data_const(&unit, len);
    Allocator watching{0};
    allocator = &watching;
    buffer.append_chr_repeat('x', added);
    allocator = nullptr;
    EXPECT_EQ(watching.asked, asked);
    EXPECT_EQ(buffer.ref_internal_data(), nullptr);
    EXPECT_EQ(buffer.append_chr('y').len(), 1u);
  }
}

#if defined(__linux__) && defined(NDEBUG)
// Two MiB of 'x', mapped again and again to more than 2^32 units, and a zero after them.
template <class T>
unsigned LengthOfEndlessText() {
  constexpr std::size_t kPiece = 2 << 20, kSize = (std::size_t{1} << 32) * sizeof(T) + kPiece;
  const int memory = ::memfd_create("text", 0);
  const std::vector<T> piece(kPiece / sizeof(T), 'x');
  EXPECT_EQ(::write(memory, piece.data(), kPiece), ssize_t{kPiece});
  auto* const start = static_cast<char*>(
      ::mmap(nullptr, kSize + 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  EXPECT_NE(start, MAP_FAILED);
  for (std::size_t at = 0; at < kSize; at += kPiece)
    ::mmap(start + at, kPiece, PROT_READ, MAP_SHARED | MAP_FIXED, memory, 0);
  const BufferRef<T> view(reinterpret_cast<const CharOf<T>*>(start));
  ::munmap(start, kSize + 4096);
  ::close(memory);
  return view.len();
}
TEST(EndlessTextTest, ATerminatedTextIsCutToWhatAViewHolds) {
  EXPECT_EQ(LengthOfEndlessText<unsigned char>(), 0xFFFFFFFF);
  EXPECT_EQ(LengthOfEndlessText<unsigned short>(), 0xFFFFFFFF);
}
#endif

}  // namespace
}  // namespace tstl
