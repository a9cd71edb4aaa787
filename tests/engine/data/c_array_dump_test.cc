#include "engine/data/c_array_dump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "corelib/text/types.h"
#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta {
namespace {

using Text = tstl::BufferRef<unsigned char>;
using tstl::FAILURE;

// Bytes 1, 2, 3 ...
std::string Counted(std::size_t n) {
  std::string bytes(n, '\0');
  for (std::size_t i = 0; i < n; ++i) bytes[i] = static_cast<char>(i * 7 + 1);
  return bytes;
}

TEST(CArrayDumpTest, WordsStandInLinesWithTheLastOneCompleted) {
  const TempFolder folder;
  const struct {
    decltype(&DumpUint32Array) dump;
    std::string data, want;
  } rows[] = {
      {DumpUint32Array,
       {"\1\0\0\0\xFF\xFF\xFF\xFF", 8},
       "const Uint32 T[2] = {\r\n    0x00000001, 0xFFFFFFFF,\r\n};\r\n"},
      {DumpUint32Array, "", "const Uint32 T[0] = {\r\n};\r\n"},
      {DumpUint64Array, "", "const Uint64 T[0] = {\r\n};\r\n"},
      {DumpUint32Array, "abcde", "const Uint32 T[2] = {\r\n    0x64636261, 0x00000065,\r\n};\r\n"},
      {DumpUint64Array, "abcdefghi",
       "const Uint64 T[2] = {\r\n    0x6867666564636261, 0x0000000000000069,\r\n};\r\n"},
      {DumpUint32Array, std::string(40, '\xAB'),
       "const Uint32 T[10] = {\r\n    0xABABABAB, 0xABABABAB, 0xABABABAB, 0xABABABAB, 0xABABABAB, "
       "0xABABABAB, 0xABABABAB, 0xABABABAB, 0xABABABAB,\r\n    0xABABABAB,\r\n};\r\n"},
      {DumpUint64Array, std::string(48, '\x0C'),
       "const Uint64 T[6] = {\r\n    0x0C0C0C0C0C0C0C0C, 0x0C0C0C0C0C0C0C0C, 0x0C0C0C0C0C0C0C0C, "
       "0x0C0C0C0C0C0C0C0C, 0x0C0C0C0C0C0C0C0C,\r\n    0x0C0C0C0C0C0C0C0C,\r\n};\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.want);
    // Exactly the data's bytes, so that a sanitizer sees a read behind them.
    const auto data = std::make_unique<unsigned char[]>(row.data.size());
    std::copy(row.data.begin(), row.data.end(), data.get());
    EXPECT_EQ(row.dump(folder.At("T").c_str(), "T",
                       Text(data.get(), static_cast<unsigned>(row.data.size()))),
              0u);
    EXPECT_EQ(folder.Get("T"), row.want);
  }
}

TEST(CArrayDumpTest, WhatCannotBeWrittenIsToldOf) {
  const TempFolder folder;
  for (const auto dump : {DumpUint32Array, DumpUint64Array}) {
    EXPECT_EQ(dump(nullptr, "T", "data"), FAILURE);
    EXPECT_EQ(dump(folder.At("no/such").c_str(), "T", "data"), FAILURE);
#ifdef __linux__
    EXPECT_EQ(dump("/dev/full", "T", "data"), FAILURE);
#endif
  }
}

TEST(CArrayDumpTest, ArraysCompileAsCAndCxxAndHoldTheSameBytes) {
  const TempFolder folder;
  const std::string data = Counted(4001);
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
  for (const auto& [language, standard] : {std::pair{"c", "-std=c99"}, {"c++", "-std=c++11"}}) {
    SCOPED_TRACE(language);
    const std::string program = folder.At(std::string("run-") + language);
    const Finished compiled =
        RunProgram({ZENTA_CXX_COMPILER, "-x", language, standard, "-Wall", "-Wextra", "-Werror",
                    "-pedantic-errors", source, "-o", program});
    ASSERT_EQ(compiled.status, 0) << compiled.err;
    EXPECT_EQ(RunProgram({program}).out, data + std::string(3, '\0') + data + std::string(7, '\0'));
  }
}

}  // namespace
}  // namespace zenta
