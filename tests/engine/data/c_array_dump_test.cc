#include "engine/data/c_array_dump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "corelib/text/types.h"
#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta {
namespace {

std::string Repeat(unsigned n, const std::string& text) {
  std::string all;
  while (n-- != 0) all += text;
  return all;
}

TEST(CArrayDumpTest, WordsStandInLinesWithTheLastOneCompleted) {
  const TempFolder folder;
  const std::string word32 = " 0xABABABAB,", word64 = " 0xABABABABABABABAB,", end = "\r\n};\r\n";
  const struct {
    decltype(&DumpUint32Array) dump;
    std::string data, want;
  } rows[] = {
      {DumpUint32Array, "", "const Uint32 T[0] = {" + end},
      {DumpUint32Array, "abcde", "const Uint32 T[2] = {\r\n    0x64636261, 0x00000065," + end},
      {DumpUint64Array, "abcde", "const Uint64 T[1] = {\r\n    0x0000006564636261," + end},
      {DumpUint32Array, std::string(40, '\xAB'),
       "const Uint32 T[10] = {\r\n   " + Repeat(9, word32) + "\r\n   " + word32 + end},
      {DumpUint64Array, std::string(48, '\xAB'),
       "const Uint64 T[6] = {\r\n   " + Repeat(5, word64) + "\r\n   " + word64 + end},
  };
  for (const auto& [dump, data, want] : rows) {
    // Exactly the data's bytes, so that a sanitizer sees a read behind them.
    const auto bytes = std::make_unique<unsigned char[]>(data.size());
    std::copy(data.begin(), data.end(), bytes.get());
    const std::string path = folder.At("T");
    EXPECT_EQ(dump(path.c_str(), "T", {bytes.get(), static_cast<unsigned>(data.size())}), 0u);
    EXPECT_EQ(folder.Get("T"), want);
    EXPECT_EQ(dump(nullptr, "T", "data"), tstl::FAILURE);
    EXPECT_EQ(dump(folder.At("no/such").c_str(), "T", "data"), tstl::FAILURE);
  }
}

TEST(CArrayDumpTest, ArraysCompileAsCAndCxxAndHoldTheSameBytes) {
  const TempFolder folder;
  const std::string data = Repeat(667, "\x01\xFE\x80\x7F\x0A\xA0");
  ASSERT_EQ(DumpUint32Array(folder.At("k32.inc").c_str(), "k32", data), 0u);
  ASSERT_EQ(DumpUint64Array(folder.At("k64.inc").c_str(), "k64", data), 0u);
  const std::string source = folder.Put("main.c", R"(
#include <stdint.h>
#include <stdio.h>
typedef uint32_t Uint32;
typedef uint64_t Uint64;
#include "k32.inc"
#include "k64.inc"
int main(void) {
  fwrite(k32, sizeof k32, 1, stdout);
  fwrite(k64, sizeof k64, 1, stdout);
  return 0;
}
)");
  const std::string want = data + std::string(2, '\0') + data + std::string(6, '\0');
  for (const auto& [language, standard] : {std::pair{"c", "-std=c99"}, {"c++", "-std=c++11"}}) {
    const std::string program = folder.At("program");
    const Finished compiled =
        RunProgram({ZENTA_CXX_COMPILER, "-x", language, standard, "-Wall", "-Wextra", "-Werror",
                    "-pedantic-errors", source, "-o", program});
    ASSERT_EQ(compiled.status, 0) << language << compiled.err;
    EXPECT_EQ(RunProgram({program}).out, want) << language;
  }
}

}  // namespace
}  // namespace zenta
