#include "corelib/io/buffer_write.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "tests/corelib/io/system_calls.h"

namespace tstl {
namespace {

// The contract in plain words: what was written, and the sizes of the writes that the system sees.
template <class T>
struct BufferWriteTest : testing::Test {
  static constexpr std::size_t kSize = BufferWrite<T>::kBlock;
  // What a new file starts with.
  const StdString<T> mark{StdString<T>(sizeof(T) - 1, static_cast<CharOf<T>>(0xFEFF))};

  StdString<T> text;
  std::size_t written = 0;
  std::vector<std::uint64_t> sizes, seen;
  SystemCall watch = [this](std::uint64_t n) {
    seen.push_back(n);
    return static_cast<std::int64_t>(n);
  };

  std::size_t Pending() const { return text.size() - written; }
  void Write(const StdString<T>& data) {
    text += data;
    if (Pending() <= kSize) return;
    Emit(kSize);
    Emit(Pending() / kSize * kSize);
  }
  void Emit(std::size_t n) {
    if (n != 0) sizes.push_back(n * sizeof(T));
    written += n;
  }
  void ExpectIn(const BufferWrite<T>& out) {
    ASSERT_EQ(out.written(), written);
    ASSERT_EQ(out.pending().std_view(), text.substr(written));
    ASSERT_TRUE(!out.pending() || *out.pending().end() == 0);
    ASSERT_EQ(out.file_size(), (out.is_empty() ? Pending() : text.size()) * sizeof(T));
    ASSERT_EQ(seen, out.is_empty() ? std::vector<std::uint64_t>() : sizes);
  }
};
TYPED_TEST_SUITE(BufferWriteTest, Units, UnitNames);

TYPED_TEST(BufferWriteTest, TheSystemSeesWholeBlocksOfWhatWasWritten) {
  using T = TypeParam;
  constexpr unsigned kBlock = BufferWrite<T>::kBlock;
  RandomTexts random(31);
  for (int round = 0; round < 40; ++round) {
    const TempFile file;
    const Answering answering(writes, this->watch);
    BufferWrite<T> out;
    const bool open = round % 4 != 0;  // without a file everything goes nowhere, but is counted
    ASSERT_EQ(open ? out.open(file.path(), false) : 0, 0u);
    this->text = open ? this->mark : StdString<T>();
    this->written = 0;
    this->sizes = this->seen = {};
    for (int step = 0; step < 100; ++step) {
      const auto to_block = static_cast<unsigned>(kBlock - this->Pending());
      const unsigned lengths[] = {0, random.below(30), random.below(500), random.below(kBlock * 3),
                                  to_block};
      const StdString<T> data(lengths[random.below(5)], static_cast<CharOf<T>>('a' + step % 26));
      const std::uint64_t number = std::uint64_t{1} << random.below(64);
      const StdString<T> digits = Widen<T>(std::to_string(number)),
                         eol = Widen<T>(step % 2 ? "\r\n" : "\n");
      switch (random.below(9)) {
        case 0: {
          out.write_pair(data, '\t', number, step % 2);
          for (const auto& part : {data, Widen<T>("\t"), digits, eol}) this->Write(part);
          break;
        }
        case 1: {
          out.write_num(number).write_chr('x').write_line_end(step % 2);
          for (const auto& part : {digits, Widen<T>("x"), eol}) this->Write(part);
          break;
        }
        case 2: {  // a part of the writer's own memory
          const auto own = out.pending().sub_tail(random.below(200));
          this->Write(StdString<T>(own.std_view()));
          out << own;
          break;
        }
        case 3: {
          out.try_flush();
          if (this->Pending() == kBlock) this->Emit(kBlock);
          if (random.below(5) != 0) break;
          out.force_flush();
          this->Emit(this->Pending());
          break;
        }
        default: {
          out << data;
          this->Write(data);
        }
      }
      this->ExpectIn(out);
      if (this->HasFatalFailure()) return;
    }
    out.close();
    EXPECT_EQ(out.error(), 0);
    EXPECT_EQ(out.written(), 0u);
    EXPECT_EQ(file.bytes(), open ? BytesOf(this->text) : "");
  }
}

using ByteWriteTest = BufferWriteTest<unsigned char>;
TEST_F(ByteWriteTest, ABlockGoesOutWhenMoreThanABlockIsThere) {
  const Answering answering(writes, watch);
  const TempFile file;
  BufferWrite<unsigned char> out;
  const auto pending_after = [&](std::vector<std::size_t> adds) {
    seen = {};
    EXPECT_EQ(out.open(file.path(), false), 0u);
    for (const std::size_t n : adds) out << std::string(n, 'x');
    return out.pending().len();
  };
  EXPECT_EQ(pending_after({4096}), 4096u);
  EXPECT_EQ(seen, (std::vector<std::uint64_t>{}));
  EXPECT_EQ(pending_after({4097}), 1u);
  EXPECT_EQ(pending_after({100, 10000}), 1908u);
  EXPECT_EQ(seen, (std::vector<std::uint64_t>{1, 4096, 4096}));  // the 1 is that of the file before
}

TYPED_TEST(BufferWriteTest, AppendsWithoutASecondMarkAndOpenClosesTheFileBefore) {
  const TempFile file;
  BufferWrite<TypeParam> out;
  for (const bool append : {true, true, false, true}) {
    ASSERT_EQ(out.open(file.path(), append), 0u);
    out << Widen<TypeParam>("ab");
  }
  EXPECT_EQ(out.file_size(), (this->mark.size() + 4) * sizeof(TypeParam));
  out.close();
  EXPECT_EQ(file.bytes(), BytesOf(this->mark + Widen<TypeParam>("abab")));
}

// The k-th write fails, after writes that were interrupted or cut short: what was written before it
// is there, and nothing of what comes later.
TYPED_TEST(BufferWriteTest, AfterAnErrorTheFileIsABeginningOfTheText) {
  using T = TypeParam;
  for (int k = 0; k < 12; ++k) {
    const TempFile file;
    std::size_t taken = 0;
    int call = 0;
    const Answering answering(writes, [&](std::uint64_t n) -> std::int64_t {
      if (call++ == k) return -EIO;
      if (call % 3 == 1) return -EINTR;
      n = call % 3 == 2 ? n / 2 : n;
      taken += n;
      return static_cast<std::int64_t>(n);
    });
    BufferWrite<T> out;
    ASSERT_EQ(out.open(file.path(), false), 0u);
    this->text = this->mark;
    for (int i = 0; i < 2000; ++i) this->text += Widen<T>(std::to_string(i));
    out << this->text.substr(this->mark.size(), 1000)
        << this->text.substr(this->mark.size() + 1000);
    out.close();
    EXPECT_EQ(out.error(), call > k ? EIO : 0);
    EXPECT_EQ(file.bytes(), BytesOf(this->text).substr(0, taken));
  }
}

TYPED_TEST(BufferWriteTest, ErrorsAreKeptUntilTheNextOpen) {
  const std::string missing = testing::TempDir() + "/io_test_no_such_folder/file";
  const std::pair<const char*, int> rows[] = {
      {nullptr, EINVAL}, {missing.c_str(), ENOENT}, {"/", EISDIR}, {"/dev/full", ENOSPC}};
  for (const auto& [path, error] : rows) {
    if (error == ENOSPC && ::access(path, W_OK) != 0) continue;
    const TempFile file;
    BufferWrite<TypeParam> out;
    EXPECT_EQ(out.open(path, false), error == ENOSPC ? 0 : FAILURE);
    EXPECT_EQ(out.is_empty(), error != ENOSPC);
    out << Widen<TypeParam>(std::string(error == ENOSPC ? 9000 : 0, 'x'));
    EXPECT_EQ(out.error(), error);
    out.close();
    EXPECT_EQ(out.error(), error);
    ASSERT_EQ(out.open(file.path(), false), 0u);
    ::unlink(file.path());  // a file that vanishes takes no harm
    out << Widen<TypeParam>(std::string(9000, 'x'));
    EXPECT_EQ(out.file_size(), (this->mark.size() + 9000) * sizeof(TypeParam));
    out.close();
    EXPECT_EQ(out.error(), 0);
  }
}

}  // namespace
}  // namespace tstl
