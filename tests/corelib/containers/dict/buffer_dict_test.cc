#include "corelib/containers/dict/buffer_dict.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <map>

#include "corelib/containers/dict/dict_builder.h"
#include "corelib/containers/dict/image_builder.h"
#include "fuzz/containers/dict_oracle.h"
#include "tests/corelib/containers/contents.h"
#include "tests/corelib/io/files/system_calls.h"
#include "tests/temp_folder.h"

namespace tstl {
namespace {

using Bytes = std::vector<unsigned char>;

// Little-endian words, then bytes.
Bytes Image(const std::vector<std::uint32_t>& words, const Bytes& rest = {}) {
  Bytes bytes(words.size() * 4);
  for (std::size_t i = 0; i < words.size(); ++i) base::store_le(&bytes[4 * i], words[i]);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return bytes;
}

template <class T>
struct BufferDictTest : testing::Test {
  std::unique_ptr<unsigned char[]> storage;
  BufferDict<T> dict;

  static BufferHash<T> RandomTable(unsigned keys, unsigned seed) {
    BufferHash<T> table(64);
    RandomTexts random(seed);
    while (table.itemcnt() < keys) {
      table[random.next<T>(9, "ab\xE1")]->set_value(random.below(~0u) * std::uint64_t{3});
    }
    return table;
  }
  Bytes image() const {
    return Bytes(dict.ref_internal_data().begin(), dict.ref_internal_data().end());
  }
  // Opens exactly these bytes, with a zero after them, in place; `shift` misaligns them.
  std::uint32_t Open(const Bytes& bytes, unsigned shift = 0) {
    storage = std::make_unique<unsigned char[]>(shift + bytes.size() + 1);
    std::copy(bytes.begin(), bytes.end(), &storage[shift]);
    Buffer<unsigned char> buffer;
    buffer.set_data_external(unsigned(bytes.size()), &storage[shift], unsigned(bytes.size()));
    return dict.open(std::move(buffer));
  }
  // Tests what holds for any image. Returns check().
  bool ExpectSafe() const {
    EXPECT_TRUE(oracle::ImageIsSafe(dict));
    return dict.check();
  }
};
TYPED_TEST_SUITE(BufferDictTest, Units, UnitNames);

// A table of 2000 keys is rehashed and filled again, so that it has several nodes with one key. The
// image has the one that the table's find() returns.
TYPED_TEST(BufferDictTest, HoldsExactlyWhatTheTableFinds) {
  using T = TypeParam;
  for (const unsigned keys : {0u, 1u, 2u, 33u, 2000u}) {
    BufferHash<T> table = this->RandomTable(keys, keys);
    const Pairs<T> pairs = Contents<T>(table);
    if (keys == 2000) table.set_tabsize(33);
    for (const auto& pair : pairs) table.insert(pair.first)->set_value(1);
    ASSERT_EQ(table.itemcnt() > keys, keys == 2000);
    std::uint32_t cut = 9;
    ASSERT_EQ(this->dict.open(table, &cut), 0u);
    EXPECT_EQ(cut, std::ranges::count_if(pairs, [&table](const auto& pair) {
                return table.find(pair.first)->value() > 0x7FFFFFFF;
              }));
    EXPECT_TRUE(this->ExpectSafe());
    const BufferDict<T> moved = std::move(this->dict);
    EXPECT_TRUE(this->dict.is_empty());
    EXPECT_EQ(Contents<T>(moved).size(), pairs.size());
    RandomTexts random(keys);
    std::vector<HeapText<T>> texts;
    for (int i = 0; i < 1000; ++i) texts.push_back(random.next<T>(10, "ab\xE1"));
    std::vector<BufferRef<T>> asked(texts.begin(), texts.end());
    for (const auto& pair : pairs) asked.emplace_back(pair.first);
    std::vector<const BufferDictNode<T>*> records(asked.size());
    moved.find_all(asked.data(), unsigned(asked.size()), records.data());
    for (std::size_t i = 0; i < asked.size(); ++i) {
      const auto* const node = table.find(asked[i]);
      EXPECT_EQ(records[i], moved.find(asked[i]));
      ASSERT_EQ(records[i] == nullptr, node == nullptr);
      EXPECT_TRUE(node == nullptr || records[i]->value() == (node->value() & 0x7FFFFFFF));
    }
  }
}

// The recorded length of two keys wraps, so that they are recorded as a key that a third one really
// is, or that no other is.
TYPED_TEST(BufferDictTest, AnImageDependsOnTheContentsOnlyAndStaysWithinTheLimit) {
  using T = TypeParam;
  const auto table = this->RandomTable(500, 1);
  const std::string rest(65536, 'x');
  const std::pair<std::string, unsigned> more[] = {
      {"w" + rest, 1}, {"w", 2}, {"v" + rest, 7}, {"v" + std::string(65536, 'y'), 3}};
  Bytes image;
  for (const unsigned size : {64u, 1000u, 333u, 90u, 32u}) {
    BufferHash<T> other(size);
    Pairs<T> pairs = Sorted<T>(Contents<T>(table));
    for (const auto& [key, value] : more) pairs.emplace_back(Widen<T>(key), value);
    if (size % 2 != 0) std::ranges::reverse(pairs);
    for (const auto& [key, value] : pairs) other[key]->set_value(value);
    ASSERT_EQ(other.find(Widen<T>("v")), nullptr);
    ASSERT_EQ(this->dict.open(other), 0u);
    if (image.empty()) image = this->image();
    EXPECT_EQ(this->image(), image);
    EXPECT_EQ(this->dict.find(Widen<T>("w"))->value(), 2u);
    EXPECT_EQ(this->dict.find(Widen<T>("v"))->value(), 3u);
  }
  ASSERT_EQ(this->dict.open(table), 0u);
  image = this->image();
  Buffer<unsigned char> buffer;
  std::uint32_t cut = 0;
  EXPECT_FALSE(detail::build_dict_image(table, buffer, cut, image.size() - 1));
  EXPECT_EQ(buffer.len(), 0u);
  EXPECT_TRUE(detail::build_dict_image(table, buffer, cut, image.size()));
}

TYPED_TEST(BufferDictTest, WhatTheHeaderMaySay) {
  constexpr std::uint32_t kNone = 0, kRefused = ~0u;
  // The words of the header, the real length, and the number of usable buckets.
  const std::uint32_t rows[][5] = {
      {1, 1, 0, 0, kRefused},   {1, 1, 16, 16, kRefused}, {1, 1, 17, 17, kNone},
      {9, 1, 20, 20, 1},        {~0u, 1, 31, 31, 3},      {2, 1, 32, 32, 2},
      {2, 1, 31, 32, kRefused}, {0, 1, 32, 32, kRefused}, {2, 0, 32, 32, kRefused}};
  for (const auto& [asked, keys, told, length, buckets] : rows) {
    SCOPED_TRACE(testing::Message() << "length " << length);
    ASSERT_EQ(this->dict.open(this->RandomTable(3, 3)), 0u);
    Bytes bytes = Image({asked, keys, told});
    bytes.resize(length);
    EXPECT_EQ(this->Open(bytes), buckets == kRefused ? FAILURE : 0);
    EXPECT_EQ(this->dict.is_empty(), buckets == kRefused);
    EXPECT_EQ(this->dict.bucket_cnt(), buckets == kRefused ? 0 : buckets);
    EXPECT_LT(this->dict.hash_id(Widen<TypeParam>("k")), std::max(this->dict.bucket_cnt(), 1u));
    EXPECT_EQ(this->ExpectSafe(), buckets == 2);
  }
}

TYPED_TEST(BufferDictTest, EveryPrefixAndEveryChangedByteIsSafe) {
  ASSERT_EQ(this->dict.open(this->RandomTable(12, 4)), 0u);
  const Bytes image = this->image();
  ASSERT_EQ(this->Open(image, 1), 0u);  // at an odd address, where 16-bit units may not be
  EXPECT_EQ(this->ExpectSafe(), sizeof(TypeParam) == 1);
  const auto opens_whole = [&](Bytes bytes) {
    if (bytes.size() >= 12) base::store_le(&bytes[8], std::uint32_t(bytes.size()));
    return this->Open(bytes) == 0 && this->ExpectSafe();
  };
  for (std::size_t n = 0; n < image.size(); ++n) {
    EXPECT_FALSE(opens_whole(Bytes(image.begin(), image.begin() + std::ptrdiff_t(n))));
    for (const int change : {0x01, 0x04, 0x80, 0xFF}) {
      Bytes bytes = image;
      bytes[n] = static_cast<unsigned char>(bytes[n] ^ change);
      opens_whole(bytes);
    }
  }
}

// An image with the single key "k", and one bucket or two that share its record.
TYPED_TEST(BufferDictTest, CheckSeesEveryKindOfDamage) {
  struct Row {
    const char* damage;
    std::uint32_t buckets, offset;
    std::size_t byte = 0;  // offset in the record
    int change = 0;        // bits to flip there
  };
  for (const auto& [damage, buckets, offset, byte, change] :
       {Row{"none", 1, 20}, Row{"a value", 1, 20, 0, 1}, Row{"no last record", 1, 20, 3, 0x80},
        Row{"a length", 1, 20, 4, 1}, Row{"a zero unit", 1, 20, 6 + sizeof(TypeParam), 1},
        Row{"an offset", 1, 21}, Row{"an offset in the table", 1, 16},
        Row{"an offset past the end", 1, 99}, Row{"a table past the end", 99, 20},
        Row{"shared records, one in the wrong bucket", 2, 24}}) {
    Bytes record(BufferDictNode<TypeParam>::node_size(1));
    auto* const node = reinterpret_cast<BufferDictNode<TypeParam>*>(record.data());
    node->init_key(Widen<TypeParam>("k"));
    node->set_lastnode(true);
    record[byte] = static_cast<unsigned char>(record[byte] ^ change);
    std::vector<std::uint32_t> words{buckets, 1, 0, 0, offset};
    if (buckets == 2) words.push_back(offset);
    words[2] = std::uint32_t(words.size() * 4 + record.size());
    ASSERT_EQ(this->Open(Image(words, record)), 0u);
    const bool whole = offset == 20 && buckets == 1 && byte == 0;
    EXPECT_EQ(this->ExpectSafe(), whole) << damage;
    EXPECT_TRUE(!whole || this->dict.match(Widen<TypeParam>("k")));
  }
  // The table's zeros read as a record with an empty key, and another one follows.
  ASSERT_EQ(this->Open(Image({3, 1, 36, 0, 20, 0, 0, 0x80000000, 0})), 0u);
  EXPECT_FALSE(this->ExpectSafe());
}

// Ten thousand buckets that share one chain of ten thousand records; then one record that fills the
// rest of the image.
TYPED_TEST(BufferDictTest, TraversalOfSharedChainsEndsWithinTheImagesLength) {
  const zenta::TempFolder folder;
  const std::string path = folder.At("file");
  for (const std::uint32_t key_len : {0u, 30000u}) {
    std::vector<std::uint32_t> words(4 + 10000, 4 * 10004);
    words[0] = words[1] = 10000;
    words[2] = 4 * 10004 + 8 * 10000;
    Bytes records(8 * 10000, 'k');
    if (key_len == 0) std::ranges::fill(records, 0);
    base::store_le(&records[0], key_len == 0 ? 0 : 0x80000001);
    base::store_le(&records[4], static_cast<std::uint16_t>(key_len));
    ASSERT_EQ(this->Open(Image(words, records)), 0u);
    EXPECT_FALSE(this->ExpectSafe());
    EXPECT_FALSE(this->dict.write_kvfile(path.c_str(), '\t', false));
    EXPECT_LT(std::filesystem::file_size(path), words[2] + 3 * (words[2] / 8));
  }
}

TYPED_TEST(BufferDictTest, WhatIsNoReadableFileLeavesItEmpty) {
  const zenta::TempFolder folder;
  const std::string pipe = folder.At("pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  for (const char* path : {static_cast<const char*>(nullptr), "", "/dev/zero", "/", pipe.c_str()}) {
    ASSERT_EQ(this->dict.open(this->RandomTable(3, 7)), 0u);
    EXPECT_EQ(this->dict.save(nullptr), FAILURE);
    EXPECT_EQ(this->dict.save("/dev/full"), FAILURE);
    EXPECT_EQ(this->dict.open(path), FAILURE);
    EXPECT_EQ(this->dict.open_mapped(path), FAILURE);
    EXPECT_TRUE(this->dict.is_empty() && this->image().empty());
    EXPECT_EQ(this->dict.save("/dev/null"), FAILURE);  // there is nothing to write
  }
}

// Pairs for a builder: many keys several times, many with long common prefixes and with zeros, some
// of the greatest length, some longer.
template <class T>
Pairs<T> PairsWithRepeats(unsigned cnt, unsigned seed) {
  RandomTexts random(seed);
  const std::string starts[] = {"", "a", std::string(7, 'b'), std::string(150, 'c'),
                                std::string(3, '\0')};
  Pairs<T> pairs;
  while (pairs.size() < cnt) {
    StdString<T> key = Widen<T>(starts[random.below(5)]);
    const HeapText<T> rest = random.next<T>(6, "ab\xE1");
    key += BufferRef<T>(rest).std_view();
    key.append(random.below(4), 0);
    if (pairs.size() % 200 == 0) key.append(60000 + random.below(2) * 5536, 'x');
    pairs.emplace_back(key, random.below(~0u) * std::uint64_t{3});
  }
  return pairs;
}

// The builder's images are compared with those of tables with the same contents, merged by the
// standard library's map. With a bound of 1 byte every pair is written to a file of its own.
TYPED_TEST(BufferDictTest, BuilderMakesTheImageOfATableWithTheMergedContents) {
  using T = TypeParam;
  struct Row {
    DictMerge merge;
    unsigned pairs;
    std::uint64_t memory;  // 0: without a bound
    bool sorted = false;
  };
  const zenta::TempFolder folder;
  const std::string path = folder.At("file");
  for (const auto& [merge, cnt, memory, sorted] :
       {Row{dict_merge::last, 0, 0}, Row{dict_merge::last, 5000, 0},
        Row{dict_merge::first, 5000, 0}, Row{dict_merge::sum, 5000, 0},
        Row{dict_merge::max, 5000, 0, true}, Row{dict_merge::last, 700, 1},
        Row{dict_merge::first, 5000, 20000}, Row{dict_merge::sum, 5000, 2000, true},
        Row{dict_merge::max, 5000, 300000},
        Row{[](std::uint64_t a, std::uint64_t b) { return a ^ b; }, 3000, 5000}}) {
    SCOPED_TRACE(testing::Message() << cnt << " pairs, memory " << memory);
    Pairs<T> pairs = PairsWithRepeats<T>(cnt, cnt + unsigned(memory));
    if (sorted) std::ranges::stable_sort(pairs, {}, &Pairs<T>::value_type::first);
    DictBuilder<T> builder(merge);
    if (memory != 0) builder.set_memory(memory, folder.At("").c_str());
    std::map<StdString<T>, std::uint64_t> merged;
    for (const auto& [key, value] : pairs) {
      const auto [at, is_new] = merged.emplace(key, value);
      if (!is_new && key.size() < 65536) at->second = merge(at->second, value);
      if (!is_new && key.size() >= 65536) at->second = std::min(at->second, value);
    }
    BufferHash<T> table(99991);
    for (const auto& [key, value] : merged) table[key]->set_value(value);
    std::uint32_t cut = 0;
    ASSERT_EQ(this->dict.open(table, &cut), 0u);
    ASSERT_TRUE(this->dict.check());
    const Bytes image = this->image();
    for (const bool to_file : {false, true}) {
      for (const auto& [key, value] : pairs) ASSERT_TRUE(builder.add(key, value));
      ASSERT_EQ(to_file ? builder.save(path.c_str()) : builder.build(this->dict), 0u);
      EXPECT_EQ(builder.cut_cnt(), cut);
      EXPECT_TRUE(!to_file || this->dict.open_mapped(path.c_str()) == 0);
      ASSERT_TRUE(this->image() == image);
    }
  }
}

TEST(DictBuilderTest, ManyRepeatsAreMergedOnTheWay) {
  DictBuilder<unsigned char> builder(dict_merge::sum);
  const std::string key(1000, 'k');
  for (unsigned i = 0; i < 100000; ++i) ASSERT_TRUE(builder.add(key + char('a' + i % 7), i));
  BufferDict<unsigned char> dict;
  ASSERT_EQ(builder.build(dict), 0u);
  EXPECT_EQ(Contents<unsigned char>(dict).size(), 7u);
  EXPECT_EQ(dict.find(key + 'a')->value(), 714264285u);  // 0 + 7 + 14 + ..., 14286 terms
  EXPECT_EQ(dict_merge::sum(UINT64_MAX - 1, 1), UINT64_MAX);
  EXPECT_EQ(dict_merge::sum(UINT64_MAX - 1, 2), UINT64_MAX);
}

// The k-th write to temporary files or to the image fails, for k = 0, 1, 2 ... to success.
TYPED_TEST(BufferDictTest, AFullDiskLeavesTheOldFileAndNoOther) {
  using T = TypeParam;
  const zenta::TempFolder folder;
  const std::string path = folder.Put("file", "old");
  const Pairs<T> pairs = PairsWithRepeats<T>(1000, 1);
  for (const std::uint64_t memory : {0u, 20000u}) {
    unsigned calls = 0;
    for (unsigned k = 0; calls >= k; ++k) {
      ASSERT_LT(k, 1000u);
      calls = 0;
      const Answering full(writes, [&](std::uint64_t n) {
        return calls++ == k ? -ENOSPC : static_cast<std::int64_t>(n);
      });
      DictBuilder<T> builder;
      if (memory != 0) builder.set_memory(memory, folder.At("").c_str());
      bool good = true;
      for (const auto& [key, value] : pairs) good = good && builder.add(key, value);
      const std::uint32_t result = builder.save(path.c_str());
      EXPECT_EQ(result == 0, calls <= k);
      EXPECT_EQ(builder.error(), result == 0 ? 0 : ENOSPC);
      EXPECT_EQ(folder.Get("file") == "old", result != 0);
      EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.At("")), {}), 1);
    }
    folder.Put("file", "old");
  }
  DictBuilder<T> builder;
  builder.set_memory(1, folder.At("missing").c_str());
  EXPECT_FALSE(builder.add(Widen<T>("k"), 1) || builder.add(Widen<T>("k"), 1));
  EXPECT_EQ(builder.build(this->dict), FAILURE);
  EXPECT_EQ(builder.error(), ENOENT);
}

// A mapping keeps the old file, and a symbolic link still leads to the replaced one.
TYPED_TEST(BufferDictTest, SavingReplacesTheFileInOneStep) {
  using T = TypeParam;
  const zenta::TempFolder folder;
  const std::string path = folder.At("file"), link = folder.At("link");
  std::filesystem::create_symlink("file", link);
  BufferDict<T> old, fresh;
  ASSERT_EQ(fresh.open(this->RandomTable(30, 1)), 0u);
  ASSERT_EQ(fresh.save(path.c_str()), 0u);
  ::chmod(path.c_str(), 0606);
  ASSERT_EQ(old.open_mapped(path.c_str()), 0u);
  const Pairs<T> contents = Contents<T>(fresh);
  ASSERT_EQ(fresh.open(this->RandomTable(40, 2)), 0u);
  ASSERT_EQ(fresh.save(link.c_str()), 0u);
  this->dict = std::move(old);
  EXPECT_TRUE(this->ExpectSafe());
  EXPECT_EQ(Contents<T>(this->dict), contents);
  ASSERT_EQ(this->dict.open_mapped(path.c_str()), 0u);
  EXPECT_EQ(Contents<T>(this->dict), Contents<T>(fresh));
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  struct stat info;
  ASSERT_EQ(::stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0606u);
  EXPECT_EQ(fresh.save(folder.At("missing/file").c_str()), FAILURE);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.At("")), {}), 2);
}

// The bytes of the example in docs/formats/dictionary-image.md.
TEST(BufferDictImageTest, TheWorkedExampleOfTheFormat) {
  BufferHash<unsigned char> table(32);
  for (const auto& [key, value] : {std::pair{"中国", 9u}, {"中", 5u}, {"a", 1u}})
    table[key]->set_value(value);
  Buffer<unsigned char> image;
  std::uint32_t cut;
  ASSERT_TRUE(detail::build_dict_image(table, image, cut));
  EXPECT_EQ(Bytes(image.begin(), image.end()),
            Image({5, 3, 72, 0, 0, 0x2C, 0x24, 0, 0x38, 0x80000001, 0x00610001, 0x80000005,
                   0xB8E40003, 0x000000AD, 0x80000009, 0xB8E40006, 0xBD9BE5AD, 0}));
  const auto* const node = reinterpret_cast<const BufferDictNode<unsigned char>*>(image.cstr(0x24));
  EXPECT_EQ(reinterpret_cast<const unsigned char*>(node->next()), image.cstr(0x2C));
  EXPECT_EQ(node->next_not_last(), nullptr);
  EXPECT_EQ(BufferDictNode<unsigned short>::node_size(~0u), 0x200000008u);
}

}  // namespace
}  // namespace tstl
