#include "corelib/io/files/buffer_write.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "tests/corelib/io/files/system_calls.h"

namespace tstl {
namespace {

// A model of the writer: what was written, and the sizes of the writes that the system gets.
template <class T>
struct BufferWriteTest : testing::Test {
  static constexpr std::size_t kSize = BufferWrite<T>::kBlock;
  const StdString<T> mark{StdString<T>(sizeof(T) - 1, static_cast<CharOf<T>>(0xFEFF))};

  StdString<T> text;
  std::size_t written = 0;
  std::vector<std::uint64_t> sizes;

  std::size_t Pending() const { return text.size() - written; }
  void Write(const StdString<T>& data) {
    text += data;
    if (Pending() > kSize) Emit(kSize), EmitBlocks();
  }
  void EmitBlocks() { Emit(Pending() / kSize * kSize); }
  void Emit(std::size_t n) {
    if (n != 0) sizes.push_back(n * sizeof(T));
    written += n;
  }
  void ExpectIn(const BufferWrite<T>& out, const std::vector<std::uint64_t>& seen) {
    ASSERT_EQ(out.written(), written);
    ASSERT_EQ(out.pending().std_view(), text.substr(written));
    ASSERT_EQ(out.file_size(), (out.is_empty() ? Pending() : text.size()) * sizeof(T));
    ASSERT_EQ(seen, out.is_empty() ? std::vector<std::uint64_t>() : sizes);
  }
};
TYPED_TEST_SUITE(BufferWriteTest, Units, UnitNames);

TYPED_TEST(BufferWriteTest, TheSystemSeesWholeBlocksOfWhatWasWritten) {
  using T = TypeParam;
  RandomTexts random(31);
  for (unsigned round = 0; round < 20; ++round) {
    const TempFile file;
    std::vector<std::uint64_t> seen;
    const Answering answering(writes, [&](std::uint64_t n) {
      seen.push_back(n);
      return static_cast<std::int64_t>(n);
    });
    BufferWrite<T> out;
    const bool open = round % 4 != 0;  // without a file everything is counted and discarded
    ASSERT_EQ(open ? out.open(file.path(), false) : 0, 0u);
    this->text = open ? this->mark : StdString<T>();
    this->written = 0;
    this->sizes = {};
    for (unsigned step = 0; step < 100; ++step) {
      const auto to_block = static_cast<unsigned>(this->kSize - this->Pending());
      const unsigned lengths[] = {random.below(30), random.below(500), random.below(10000),
                                  to_block, to_block + 1};
      const StdString<T> data(lengths[random.below(5)], static_cast<CharOf<T>>('a' + step % 26));
      const std::uint64_t number = std::uint64_t{1} << random.below(64);
      const StdString<T> digits = Widen<T>(std::to_string(number)), tab = Widen<T>("\t");
      const StdString<T> eol = Widen<T>(step % 2 ? "\r\n" : "\n");
      // A part of the writer's own memory.
      const auto own = out.pending().sub_str(random.below(3) * 100, 500 + random.below(4000));
      std::vector<StdString<T>> parts{step % 7 == 4 ? StdString<T>(own) : data};
      if (step % 7 == 0) {
        out.write_pair(data, '\t', number, step % 2);
        parts = {data, tab, digits, eol};
      } else if (step % 7 == 1) {
        out.write_num(number).write_chr('\t').write_line_end(step % 2);
        parts = {digits, tab, eol};
      } else {
        out << (step % 7 == 4 ? own : BufferRef<T>(data));
      }
      for (const auto& part : parts) this->Write(part);
      if (random.below(5) == 0) out.try_flush(), this->EmitBlocks();
      if (random.below(20) == 0) out.force_flush(), this->Emit(this->Pending());
      this->ExpectIn(out, seen);
      if (this->HasFatalFailure()) return;
    }
    out.close();
    EXPECT_EQ(out.error(), 0);
    EXPECT_EQ(out.written(), 0u);
    EXPECT_EQ(file.bytes(), open ? BytesOf(this->text) : "");
  }
}

TYPED_TEST(BufferWriteTest, AppendsWithoutASecondMarkAndOpenClosesTheFileBefore) {
  const TempFile file;
  BufferWrite<TypeParam> out;
  const std::pair<bool, std::size_t> rows[] = {{true, 2}, {true, 4}, {false, 2}, {true, 4}};
  for (const auto& [append, size] : rows) {
    ASSERT_EQ(out.open(file.path(), append), 0u);
    out << Widen<TypeParam>("ab");
    EXPECT_EQ(out.file_size(), (this->mark.size() + size) * sizeof(TypeParam));
  }
  out.close();
  EXPECT_EQ(file.bytes(), BytesOf(this->mark + Widen<TypeParam>("abab")));
}

// The k-th write fails, after others that were interrupted or partial: the file has what was
// written before it, and nothing of what comes later.
TYPED_TEST(BufferWriteTest, AfterAnErrorTheFileIsABeginningOfTheText) {
  const auto x = Widen<TypeParam>(std::string(20000, 'x'));
  for (int k = 0; k < 12; ++k) {
    const TempFile file;
    std::size_t taken = 0;
    int call = 0;
    const Answering answering(writes, [&](std::uint64_t n) -> std::int64_t {
      if (call++ == k) return -EIO;
      if (call % 3 == 1) return -EINTR;
      taken += n = call % 3 == 2 ? n / 2 : n;
      return static_cast<std::int64_t>(n);
    });
    BufferWrite<TypeParam> out;
    ASSERT_EQ(out.open(file.path(), false), 0u);
    out << x.substr(0, 9000) << x.substr(9000);
    out.close();
    EXPECT_EQ(out.error(), call > k ? EIO : 0);
    EXPECT_EQ(file.bytes(), BytesOf(this->mark + x).substr(0, taken));
  }
}

// A signal during open(), a closed standard output, and a file system that reports errors only on
// close.
TYPED_TEST(BufferWriteTest, OpensNoStandardStreamAndTellsTheErrorOfTheLastCall) {
  const TempFile file;
  const int output = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 10);
  ::close(STDOUT_FILENO);
  int calls = 0;
  const Answering interrupting(opens, [&](std::uint64_t) { return ++calls == 1 ? -EINTR : 0; });
  BufferWrite<TypeParam> out;
  EXPECT_EQ(out.open(file.path(), false), 0u);
  EXPECT_EQ(::write(STDOUT_FILENO, "printed", 7), -1);
  ::dup2(output, STDOUT_FILENO);
  ::close(output);
  out.write_chr('x');
  const Answering answering(closes, [](std::uint64_t) { return -EIO; });
  out.close();
  EXPECT_EQ(out.error(), EIO);
  EXPECT_EQ(file.bytes(), BytesOf(this->mark + Widen<TypeParam>("x")));
}

TYPED_TEST(BufferWriteTest, ErrorsAreKeptUntilTheNextOpen) {
  const std::pair<const char*, int> rows[] = {
      {nullptr, EINVAL}, {"/no/such/folder", ENOENT}, {"/", EISDIR}, {"/dev/full", ENOSPC}};
  for (const auto& [path, error] : rows) {
    if (error == ENOSPC && ::access(path, W_OK) != 0) continue;
    const TempFile file;
    BufferWrite<TypeParam> out;
    EXPECT_EQ(out.open(path, false), error == ENOSPC ? 0 : FAILURE);
    EXPECT_EQ(out.is_empty(), error != ENOSPC);
    out.write_chr('x').close();
    EXPECT_EQ(out.error(), error);
    ASSERT_EQ(out.open(file.path(), false), 0u);
    ::unlink(file.path());  // does not disturb the writer
    out.write_chr('x').force_flush();
    EXPECT_EQ(out.file_size(), (this->mark.size() + 1) * sizeof(TypeParam));
    EXPECT_EQ(out.error(), 0);
  }
}

}  // namespace
}  // namespace tstl
