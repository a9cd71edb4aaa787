// zentactl dict: from lists to images and back, and every command with bad input for each argument.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;
using testing::AllOf;
using testing::HasSubstr;
using tools::Finished;
using tools::RunOptions;
using tools::RunProgram;
using Arguments = std::vector<std::string>;

std::string Gzip(const std::string& text) {
  z_stream stream{};
  deflateInit2(&stream, 6, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

// "z\t7\n" and "zz\t8\n" as a frame each, as the library's own program makes them.
const std::string kZstd = "\x28\xB5\x2F\xFD\x04\x58\x21\x00\x00z\t7\n\x3C\xD6\x1F\x1C"s +
                          "\x28\xB5\x2F\xFD\x04\x58\x29\x00\x00zz\t8\n\x3C\xF9\x8C\x66"s;

std::string Utf16(const std::u16string& text, bool high_first) {
  std::string bytes;
  for (const char16_t unit : text) {
    const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
    bytes += high_first ? high : low;
    bytes += high_first ? low : high;
  }
  return bytes;
}

struct ZentactlDictTest : testing::Test {
  static Finished Do(Arguments arguments, const RunOptions& options = {}) {
    arguments.insert(arguments.begin(), {ZENTACTL, "dict"});
    return RunProgram(std::move(arguments), options);
  }
  // Expects success and no notes.
  static std::string Out(Arguments arguments) {
    const Finished done = Do(std::move(arguments));
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.err, "");
    return done.out;
  }
  // Runs a line of the shell; $1 is the program and $2 the folder.
  Finished Shell(const std::string& line) const {
    return RunProgram({"/bin/sh", "-c", line, "sh", ZENTACTL, folder.At("")});
  }
  std::string Build(const std::string& name, const std::string& list, Arguments more = {}) const {
    const std::string image = folder.At(name);
    more.insert(more.begin(), {"build", folder.Put(name + ".txt", list), "--out", image});
    Out(std::move(more));
    return image;
  }

  TempFolder folder;
};

TEST_F(ZentactlDictTest, ListsOfEveryKindBecomeImagesAndListsAgain) {
  const struct {
    std::string list;
    Arguments options;
    std::string dumped;
  } rows[] = {
      {"b\t2\na\t1\n", {}, "a\t1\nb\t2\n"},
      {"\xEF\xBB\xBF你好 12\r\n你 5\r\r\n", {}, "你\t5\n你好\t12\n"},
      {"a b,7\nc,8", {}, "a b\t7\nc\t8\n"},
      {"a\t1\nb\t2\n", {"--separator", "tab", "--bits", "16"}, "a\t1\nb\t2\n"},
      {"\xFF\xFE" + Utf16(u"𠮷\t3\n词\t4\n", false), {"--bits", "16"}, "词\t4\n𠮷\t3\n"},
      {"\xFE\xFF" + Utf16(u"词 4\r", true), {}, "词\t4\n"},
      {"T恤 4 n\nAT&T 3 nz\n", {"--value-column", "2"}, "AT&T\t3\nT恤\t4\n"},
      {"x\nx y\n", {"--plain", "--value", "9"}, "x\t9\nx y\t9\n"},
      {"a\tb\t2\n", {"--separator", "\\t"}, "a\tb\t2\n"},
      {"a:2147483647\n", {"--separator", ":"}, "a\t2147483647\n"},
      {Gzip("a\t1\n") + Gzip("b\t2\n"), {}, "a\t1\nb\t2\n"},
      {kZstd, {}, "z\t7\nzz\t8\n"},
      {"k\t1\nk\t5\nk\t3\n", {}, "k\t3\n"},
      {"k\t1\nk\t5\nk\t3\n", {"--merge", "first"}, "k\t1\n"},
      {"k\t1\nk\t5\nk\t3\n", {"--merge", "max"}, "k\t5\n"},
      {"k\t1\nk\t5\nk\t3\n", {"--merge", "sum"}, "k\t9\n"},
  };
  for (const auto& [list, options, dumped] : rows) {
    SCOPED_TRACE(testing::PrintToString(list) + testing::PrintToString(options));
    const std::string image = Build("image", list, options);
    EXPECT_EQ(Out({"dump", image}), dumped);
    EXPECT_THAT(Out({"check", image}), HasSubstr("whole"));
    Build("again", dumped, {"--bits", options.size() != 0 && options.back() == "16" ? "16" : "8"});
    EXPECT_EQ(Out({"diff", image, folder.At("again")}), "");
    EXPECT_EQ(folder.Get("again"), folder.Get("image"));
  }
}

TEST_F(ZentactlDictTest, FolderOfPartFilesIsTakenAsItIs) {
  folder.Put("parts/part-00001", "b\t2\n");
  folder.Put("parts/part-00000.gz", Gzip("a\t1\n\nb\t1\n"));
  folder.Put("parts/part-00002.zst", kZstd);
  folder.Put("parts/part-00003-c000", "");
  for (const char* other : {"_SUCCESS", ".part-00001.crc", "_started"})
    folder.Put("parts/"s + other, "x");
  const std::string image = folder.At("image");
  const Arguments build = {"build", folder.At("parts"), "--merge", "sum", "--out", image};
  EXPECT_THAT(Out(build),
              AllOf(HasSubstr("files        4\n"), HasSubstr("separator    tab  (found)")));
  EXPECT_EQ(Out({"dump", image}), "a\t1\nb\t3\nz\t7\nzz\t8\n");
  folder.Put("parts/readme", "c\t1\n");
  fs::create_directory(folder.At("parts/_temporary"));
  EXPECT_THAT(Do(build).err, AllOf(HasSubstr("is not done"), HasSubstr("begin with part-: 1")));
  EXPECT_EQ(Shell("cat $2/parts/part-00001 | $1 dict build - --quiet --out - | $1 dict dump -").out,
            "b\t2\n");
}

TEST_F(ZentactlDictTest, WhatIsNotTakenIsNamedAndCounted) {
  const std::string list = "a\t1\nnone\n\nb\tx\nc\t\n\t5\nd\t2147483648\ne\t-1\n\xFF\t1\n" +
                           std::string(65536, 'l') + "\t1\n" + std::string(2 << 20, 'm') +
                           "\t1\nz\t2\n";
  std::string many = list;
  for (int i = 0; i < 12; ++i) many += "none\n";
  const std::string path = folder.Put("list", many), image = folder.At("image");
  const Finished done = Do({"build", path, "--out", image, "--json", "--separator", "tab"});
  EXPECT_EQ(done.status, 0);
  for (const char* told :
       {"list: line 2: no separator: \"none\"\n", "list: line 20: no separator",
        "and 3 more: no sep", "list: line 4: no number in the value's place: \"b\\u{9}x\"",
        "list: line 5: no number", "list: line 6: no key",
        "line 7: the value is not from 0 to 2147483647", "line 8: the value",
        "line 9: the key is not well-formed UTF-8: \"\\xFF",
        "line 10: the key is longer than 65535", "line 11: the key is longer", "lll...\"\n"}) {
    EXPECT_THAT(done.err, HasSubstr(told));
  }
  EXPECT_THAT(done.out,
              AllOf(HasSubstr(R"("not_taken":21,"no_separator":13,"no_key":1,"no_number":2)"),
                    HasSubstr(R"("past_31_bits":2,"too_long":2,"ill_formed":1,"keys":2)")));
  EXPECT_EQ(Out({"dump", image}), "a\t1\nz\t2\n");
  folder.Put("image", "old");
  const Finished strict =
      Do({"build", path, "--out", image, "--strict", "--quiet", "--separator", "tab"});
  EXPECT_EQ(strict.status, 2);
  EXPECT_THAT(strict.err, HasSubstr("21; nothing was written; the first: " + path + ": line 2: "));
  EXPECT_EQ(folder.Get("image"), "old");
  const std::string great = folder.Put("great", "k\t2147483647\nk\t1\n");
  EXPECT_THAT(Do({"build", great, "--merge", "sum", "--out", image}).err,
              HasSubstr("some sums are past"));
  EXPECT_EQ(Out({"get", image, "k"}), "k\t2147483647\n");
  EXPECT_THAT(Shell("$1 dict build $2/great --merge sum --out - > /dev/null").err,
              HasSubstr("some sums are past"));
}

TEST_F(ZentactlDictTest, GetAndPrefixSayWhatIsThere) {
  const std::string list = "你\t5\n你好\t2\n你们\t9\nab\t1\n";
  for (const std::string bits : {"8", "16"}) {
    const std::string image = Build("image", list, {"--bits", bits});
    EXPECT_EQ(Out({"get", image, "ab", "你好"}), "ab\t1\n你好\t2\n");
    EXPECT_EQ(Out({"get", image, "你", "--json"}), "{\"你\":5}\n");
    const Finished none = Do({"get", image, "ab", "a", "b"});
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "ab\t1\n");
    EXPECT_THAT(none.err, HasSubstr("a and 1 more of 3"));
    EXPECT_EQ(Shell("printf 'ab\\n\\n你' | $1 dict get $2/image -").out, "ab\t1\n你\t5\n");
    EXPECT_EQ(Shell("$1 dict get - ab < $2/image").out, "ab\t1\n");
    EXPECT_EQ(Out({"prefix", image, "你"}), "你\t5\n你们\t9\n你好\t2\n");
    EXPECT_EQ(Out({"prefix", image, "你", "--order", "value", "--limit", "2"}), "你们\t9\n你\t5\n");
    EXPECT_EQ(Do({"prefix", image, "b", "--quiet"}).status, 1);
    EXPECT_EQ(Out({"dump", image, "--order", "value", "--plain"}), "你们\n你\n你好\nab\n");
    Out({"dump", image, "--order", "stored", "--separator", "comma", "--out", folder.At("list")});
    Out({"build", folder.At("list"), "--bits", bits, "--out", folder.At("again")});
    EXPECT_EQ(folder.Get("again"), folder.Get("image"));
  }
}

TEST_F(ZentactlDictTest, DiffAndMergeCompareImages) {
  const std::string a = Build("a", "k\t1\nl\t2\nm\t3\n"), b = Build("b", "k\t1\nm\t4\nn\t5\n");
  const Finished done = Do({"diff", a, b});
  EXPECT_EQ(done.status, 1);
  EXPECT_EQ(done.out, "- l\t2\n  m\t3 -> 4\n+ n\t5\n");
  EXPECT_EQ(Do({"diff", a, b, "--json"}).out,
            "{\"equal\":false,\"added\":1,\"removed\":1,\"changed\":1}\n");
  const std::string both = folder.At("both");
  EXPECT_THAT(Out({"merge", a, b, "--merge", "sum", "--out", both}), HasSubstr("keys         4\n"));
  EXPECT_EQ(Out({"dump", both}), "k\t2\nl\t2\nm\t7\nn\t5\n");
}

// An image of one bucket and one key, at byte 20.
TEST_F(ZentactlDictTest, CheckNamesTheFaultAndItsPlace) {
  const std::string image = Build("image", "a\t1\n");
  const std::string good = folder.Get("image");
  const struct {
    std::size_t byte;
    char change;
    std::string told;
  } rows[] = {{0, 8, "byte 28: it ends inside its table, after 3 buckets"},
              {8, 1, "byte 8: the header says that it has 29 bytes, and it has 28"},
              {16, 1, "byte 21: bucket 0: no record can begin there"},
              {17, 1, "byte 276: bucket 0: the record passes the end"},
              {23, '\x80', "byte 28: bucket 0: the record passes the end"},
              {24, 8, "byte 20: bucket 0: the record passes the end"},
              {27, 1, "byte 20: bucket 0: what follows the record's key is not zero"}};
  for (const auto& [byte, change, told] : rows) {
    std::string bytes = good;
    bytes[byte] = static_cast<char>(bytes[byte] ^ change);
    folder.Put("image", bytes);
    const Finished done = Do({"check", image});
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.out, HasSubstr(told));
    EXPECT_EQ(done.err, "");
  }
  EXPECT_THAT(Do({"check", image, "--json"}).out, HasSubstr("\"whole\":false,\"fault\":\"byte 20"));
}

TEST_F(ZentactlDictTest, StatsAddUpAndAreDrawn) {
  const std::string image = Build("image", "a\t1\n中\t7\n中国\t3\n");
  EXPECT_EQ(
      Out({"stats", image, "--json", "--svg", folder.At("svg")}),
      "{\"image\":\"" + image + R"(","bits":8,"keys":3,"buckets":5,"least_value":1,)" +
          R"("greatest_value":7,"longest_key":6,"longest_chain":1,"records_per_hit":"1.00",)" +
          R"("buckets_of_0":2,"buckets_of_1":3,"keys_of_1":1,"keys_of_2":0,"keys_of_3":1,)" +
          R"("keys_of_4":0,"keys_of_5":0,"keys_of_6":1,"bytes":72,"bytes_of_header":16,)" +
          R"("bytes_of_table":20,"bytes_of_values_and_lengths":18,"bytes_of_keys":10,)" +
          "\"bytes_of_zeros_behind_keys\":8,\"written\":\"" + folder.At("svg") + "\"}\n");
  EXPECT_THAT(folder.Get("svg"), AllOf(testing::StartsWith("<svg "), HasSubstr(">2  (40.0 %)<"),
                                       testing::EndsWith("</svg>\n")));
}

TEST_F(ZentactlDictTest, RubbishIsOneLineAndChangesNothing) {
  const std::string list = folder.Put("list", "a\t1\n"), out = folder.Put("out", "old");
  const std::string image = Build("image", "a\t1\n"),
                    wide = Build("wide", "a\t1\n", {"--bits", "16"});
  const std::string empty = folder.Put("empty", ""), words = folder.Put("words", "a b\nc d\n");
  const std::string huge = folder.Put("huge", "");
  fs::resize_file(huge, std::uintmax_t{5} << 30);
  const std::string cut = folder.Put("cut.gz", Gzip(std::string(100000, 'x')).substr(0, 60));
  fs::create_directory(folder.At("bare"));
  const struct {
    Arguments arguments;
    std::string error;
    RunOptions run = {};
  } rows[] = {
      {{}, "subcommand is required"},
      {{"bild"}, "did you mean 'build'?"},
      {{"build", list}, "--out is required"},
      {{"build", list, "--out", out, "--merg", "sum"}, "did you mean '--merge'?"},
      {{"build", list, "--out", out, "--merge", "least"}, "least not in"},
      {{"build", list, "--out", out, "--separator", "ab"}, "'ab' is no separator"},
      {{"build", list, "--out", out, "--separator", "5"}, "'5' is no separator"},
      {{"build", list, "--out", out, "--value", "5"}, "--plain"},
      {{"build", list, "--out", out, "--memory", "lots"}, "lots"},
      {{"build", list, "--out", out, "--memory", "10K"}, "10240"},
      {{"build", list, "--out", list}, "is an input"},
      {{"build", list, "--out", folder.At("")}, "is a folder"},
      {{"build", list, "--out", folder.At("no/out")}, "cannot create " + folder.At("no/out")},
      {{"build", list, "--out", "/dev/full"}, "No space left"},
      {{"build", list, "--out", out}, "cannot write " + out, {.max_file_bytes = 10}},
      {{"build", list, "--out", out, "--temporary", folder.At("none"), "--memory", "1M"},
       "no folder for temporary files"},
      {{"build", folder.At("none"), "--out", out}, "none: No such file"},
      {{"build", folder.At("bare"), "--out", out}, "without part files"},
      {{"build", empty, "--out", out}, "nothing to build"},
      {{"build", words, "--out", out}, "words: no separator is known"},
      {{"build", cut, "--plain", "--out", out}, "cut.gz: its compression is cut short"},
      {{"build", folder.Put("a.gz", "a\t1\n"), "--out", out}, "a.gz: it is not compressed"},
      {{"build", folder.Put("a.zst", kZstd.substr(0, 12)), "--out", out},
       "a.zst: its compression is cut"},
      {{"build", folder.Put("b.zst", kZstd + "x"), "--out", out}, "b.zst: its compression is"},
      {{"build", folder.Put("a.parquet", "PAR1"), "--out", out}, "kind .parquet are not read"},
      {{"build", "/dev/zero", "--out", out}, "not a regular file"},
      {{"build", "-", "-", "--out", out}, "was given twice"},
      {{"get", image}, "KEY is required"},
      {{"get", "-", "-"}, "was given twice"},
      {{"get", list, "a"}, "list is no dictionary image: it has 4 bytes"},
      {{"get", huge, "a"}, "huge is no dictionary image: byte 8"},
      {{"get", folder.At("none"), "a"}, "none: No such file"},
      {{"get", image, "a"}, "cannot write standard output", {.out = "/dev/full"}},
      {{"prefix", folder.At(""), "a"}, "not a regular file"},
      {{"dump", image, "--out", image}, "is an input"},
      {{"dump", image, "--out", out}, "cannot write " + out, {.max_file_bytes = 1}},
      {{"check", folder.At("none")}, "none: No such file"},
      {{"stats", image, "--svg", image}, "is an input"},
      {{"diff", image}, "SECOND is required"},
      {{"diff", image, wide}, "8 bits and of 16"},
      {{"diff", image, list}, "list is no dictionary image"},
      {{"merge", image, wide, "--out", out}, "8 bits and of 16"},
      {{"merge", image, "--out", image}, "is an input"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    const Finished done = Do(row.arguments, row.run);
    EXPECT_EQ(done.status, 2);
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(done.err, AllOf(HasSubstr(row.error), testing::StartsWith("zentactl dict")));
    EXPECT_EQ(done.err.find('\n') + 1, done.err.size());
    EXPECT_EQ(folder.Get("out"), "old");
    EXPECT_EQ(folder.Get("list"), "a\t1\n");
  }
  for (const auto& entry : fs::directory_iterator(folder.At(""))) {
    EXPECT_NE(entry.path().filename().string()[0], '.');
  }
}

}  // namespace
}  // namespace zenta::zentactl
