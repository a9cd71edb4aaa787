#include "corelib/io/buffer_write.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "tests/corelib/io/system_calls.h"

namespace tstl {
namespace {

template <class T>
struct BufferWriteTest : testing::Test {
  // What a new file starts with.
  static StdString<T> Mark() { return StdString<T>(sizeof(T) - 1, static_cast<CharOf<T>>(0xFEFF)); }
  static auto Everything() {
    return [](std::uint64_t n) { return static_cast<std::int64_t>(n); };
  }
};
TYPED_TEST_SUITE(BufferWriteTest, Units, UnitNames);

// The contract in plain words: what was written, and the sizes of the writes that the system sees.
template <class T>
class Model {
 public:
  explicit Model(StdString<T> text) : text_(std::move(text)) {}

  void Write(const StdString<T>& data) {
    constexpr auto kBlock = BufferWrite<T>::kBlock;
    text_ += data;
    if (pending() <= kBlock) return;
    Emit(kBlock);
    Emit(pending() / kBlock * kBlock);
  }
  void Emit(std::size_t n) {
    if (n != 0) sizes_.push_back(n * sizeof(T));
    written_ += n;
  }
  void ExpectIn(const BufferWrite<T>& out) const {
    ASSERT_EQ(writes.sizes, sizes_);
    ASSERT_EQ(out.written(), written_);
    ASSERT_EQ(out.pending().std_view(), text_.substr(written_));
    ASSERT_EQ(out.file_size(), text_.size() * sizeof(T));
    ASSERT_TRUE(!out.pending() || *out.pending().end() == 0);
  }
  std::size_t pending() const { return text_.size() - written_; }
  const StdString<T>& text() const { return text_; }

 private:
  StdString<T> text_;
  std::size_t written_ = 0;
  std::vector<std::uint64_t> sizes_;
};

TYPED_TEST(BufferWriteTest, TheSystemSeesWholeBlocksOfWhatWasWritten) {
  using T = TypeParam;
  using Text = StdString<T>;
  constexpr unsigned kBlock = BufferWrite<T>::kBlock;
  RandomTexts random(31);
  const TempFile file;
  for (int round = 0; round < 40; ++round) {
    const Answering watch(writes, this->Everything());
    Model<T> model(this->Mark());
    BufferWrite<T> out;
    ASSERT_EQ(out.open(file.path(), false), 0u);
    for (int step = 0; step < 100; ++step) {
      const unsigned sizes[] = {0,
                                random.below(30),
                                random.below(500),
                                random.below(kBlock * 3),
                                kBlock,
                                unsigned(kBlock - model.pending())};
      const Text data(sizes[random.below(6)], static_cast<CharOf<T>>('a' + step % 26));
      const std::uint64_t number = std::uint64_t{1} << random.below(64);
      const Text digits = Widen<T>(std::to_string(number)),
                 eol = Widen<T>(step % 2 ? "\r\n" : "\n");
      const Text own(out.pending().sub_tail(random.below(200)).std_view());
      switch (random.below(10)) {
        case 0:
          out.write_pair(data, '\t', number, step % 2);
          for (const Text& part : {data, Widen<T>("\t"), digits, eol}) model.Write(part);
          break;
        case 1:
          out.write_num(number).write_chr('x');
          model.Write(digits), model.Write(Widen<T>("x"));
          break;
        case 2:
          out.write_line_end(step % 2);
          model.Write(eol);
          break;
        case 3:
          out << out.pending().sub_tail(unsigned(out.pending().len() - own.size()));
          model.Write(own);
          break;
        case 4:
          out.try_flush();
          if (model.pending() == kBlock) model.Emit(kBlock);
          break;
        case 5:
          if (random.below(5) == 0) out.force_flush(), model.Emit(model.pending());
          break;
        default:
          out << data;
          model.Write(data);
      }
      model.ExpectIn(out);
      if (this->HasFatalFailure()) return;
    }
    out.close();
    EXPECT_EQ(out.error(), 0);
    EXPECT_EQ(out.written(), 0u);
    EXPECT_EQ(file.bytes(), BytesOf(model.text()));
  }
}

TEST(BufferWriteBytesTest, CountsBytesInTheExamplesOfTheContract) {
  struct Row {
    std::vector<unsigned> adds;
    std::vector<std::uint64_t> sizes;
    unsigned pending;
  };
  const Answering watch(writes, BufferWriteTest<unsigned char>::Everything());
  for (const Row& row :
       {Row{{4096}, {}, 4096}, Row{{4097}, {4096}, 1}, Row{{100, 10000}, {4096, 4096}, 1908},
        Row{{4096, 4096}, {4096, 4096}, 0}}) {
    const TempFile file;
    BufferWrite<unsigned char> out;
    writes.sizes.clear();
    ASSERT_EQ(out.open(file.path(), false), 0u);
    for (const unsigned n : row.adds) out << std::string(n, 'x');
    EXPECT_EQ(writes.sizes, row.sizes);
    EXPECT_EQ(out.pending().len(), row.pending);
  }
  const TempFile file(std::string(4096, 'x'));
  BufferWrite<unsigned short> wide;
  ASSERT_EQ(wide.open(file.path(), true), 0u);
  EXPECT_EQ((wide << std::u16string(10, u'x')).file_size(), 4116u);
}

TYPED_TEST(BufferWriteTest, AppendsWithoutASecondMarkAndReopensOverWhatWasThere) {
  using T = TypeParam;
  const TempFile file;
  BufferWrite<T> out;
  for (const bool append : {true, true, false}) {  // opening closes the file before, with all of it
    ASSERT_EQ(out.open(file.path(), append), 0u);
    out << Widen<T>("ab");
  }
  ASSERT_EQ(out.open(file.path(), true), 0u);
  out << Widen<T>("c");
  out.close();
  EXPECT_EQ(file.bytes(), BytesOf(this->Mark() + Widen<T>("abc")));
}

TYPED_TEST(BufferWriteTest, WithoutAFileEverythingIsCountedAndGoesNowhere) {
  BufferWrite<TypeParam> out;
  out.write_chr('a');
  for (int i = 0; i < 3; ++i) out << StdString<TypeParam>(BufferWrite<TypeParam>::kBlock, 'x');
  EXPECT_EQ(out.written() + out.pending().len(), 3 * BufferWrite<TypeParam>::kBlock + 1u);
  EXPECT_EQ(out.file_size(), out.pending().len() * sizeof(TypeParam));
  out.force_flush();
  EXPECT_EQ(out.written(), 3 * BufferWrite<TypeParam>::kBlock + 1u);
  EXPECT_TRUE(out.is_empty());
  EXPECT_EQ(out.error(), 0);
}

TYPED_TEST(BufferWriteTest, OpenSaysWhyItFailed) {
  const std::string missing = testing::TempDir() + "/io_test_no_such_folder/file";
  const std::pair<const char*, int> rows[] = {
      {nullptr, EINVAL}, {missing.c_str(), ENOENT}, {"/", EISDIR}};
  for (const auto& [path, error] : rows) {
    const TempFile file;
    BufferWrite<TypeParam> out;
    ASSERT_EQ(out.open(file.path(), false), 0u);
    EXPECT_EQ(out.open(path, false), FAILURE);
    EXPECT_TRUE(out.is_empty());
    EXPECT_EQ(out.error(), error);
    EXPECT_EQ(out.open(file.path(), false), 0u);
    EXPECT_EQ(out.error(), 0);
  }
}

// The k-th write fails, after writes that were interrupted or cut short: what was written before it
// is there, and nothing of what comes later.
TYPED_TEST(BufferWriteTest, AfterAnErrorTheFileIsABeginningOfTheText) {
  using T = TypeParam;
  RandomTexts random(5);
  for (int k = 0; k < 12; ++k) {
    const TempFile file;
    const auto text = random.next<T>(5 * BufferWrite<TypeParam>::kBlock, "abc");
    std::size_t taken = 0;
    int call = 0;
    const Answering watch(writes, [&](std::uint64_t n) -> std::int64_t {
      if (call++ == k) return -EIO;
      if (call % 3 == 1) return -EINTR;
      n = call % 3 == 2 ? n / 2 : n;
      taken += n;
      return static_cast<std::int64_t>(n);
    });
    BufferWrite<T> out;
    ASSERT_EQ(out.open(file.path(), false), 0u);
    for (auto rest = text.view(); rest; rest = rest.sub_tail(1000)) out << rest.sub_head(1000);
    out.close();
    EXPECT_EQ(out.error(), call > k ? EIO : 0);
    EXPECT_EQ(file.bytes(),
              BytesOf(this->Mark() + StdString<T>(text.view().std_view())).substr(0, taken));
  }
}

TYPED_TEST(BufferWriteTest, AFullDiskIsRememberedAndAVanishedFileIsNone) {
  BufferWrite<TypeParam> out;
  if (::access("/dev/full", W_OK) == 0) {
    ASSERT_EQ(out.open("/dev/full", false), 0u);
    out << StdString<TypeParam>(BufferWrite<TypeParam>::kBlock * 3, 'x');
    EXPECT_EQ(out.error(), ENOSPC);
    out.close();
    EXPECT_EQ(out.error(), ENOSPC);
  }
  const TempFile file;
  ASSERT_EQ(out.open(file.path(), false), 0u);
  ::unlink(file.path());
  out << StdString<TypeParam>(BufferWrite<TypeParam>::kBlock * 3, 'x');
  EXPECT_GE(out.file_size(), 3 * 4096u);
  out.close();
  EXPECT_EQ(out.error(), 0);
}

}  // namespace
}  // namespace tstl
