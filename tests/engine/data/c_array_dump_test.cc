#include "engine/data/c_array_dump.h"

#include <gtest/gtest.h>

#include <numeric>

#include "corelib/base/types.h"
#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta::data {
namespace {

using tools::Finished;
using tools::RunProgram;

TEST(CArrayDumpTest, WordsStandInLines) {
  const TempFolder folder;
  const std::string path = folder.At("T");
  const std::string word32 = " 0xABABABAB,", word64 = " 0xABABABABABABABAB,";
  const std::string three32 = word32 + word32 + word32, two64 = word64 + word64;
  const struct {
    decltype(&DumpUint32Array) dump;
    std::string data, want;
  } rows[] = {
      {DumpUint32Array, "", "const Uint32 T[0] = {"},
      {DumpUint32Array, std::string(40, '\xAB'),
       "const Uint32 T[10] = {\r\n   " + three32 + three32 + three32 + "\r\n   " + word32},
      {DumpUint64Array, std::string(48, '\xAB'),
       "const Uint64 T[6] = {\r\n   " + two64 + two64 + word64 + "\r\n   " + word64},
  };
  for (const auto& [dump, data, want] : rows) {
    // An exactly sized copy, so that a sanitizer sees a read past the end.
    const std::vector<unsigned char> bytes(data.begin(), data.end());
    EXPECT_EQ(dump(path.c_str(), "T", {bytes.data(), static_cast<unsigned>(bytes.size())}), 0u);
    EXPECT_EQ(folder.Get("T"), want + "\r\n};\r\n");
    EXPECT_EQ(dump(nullptr, "T", "data"), tstl::FAILURE);
    EXPECT_EQ(dump(folder.At("no/such").c_str(), "T", "data"), tstl::FAILURE);
  }
}

TEST(CArrayDumpTest, ArraysCompileAsCAndCxxAndHoldTheSameBytesTheLastWordCompleted) {
  const TempFolder folder;
  const std::string program = folder.At("program");
  std::string data(4002, '\0');
  std::iota(data.begin(), data.end(), '\0');
  ASSERT_EQ(DumpUint32Array(folder.At("k32").c_str(), "k32", data), 0u);
  ASSERT_EQ(DumpUint64Array(folder.At("k64").c_str(), "k64", data), 0u);
  const std::string source = folder.Put("main.c", R"(
#include <stdint.h>
#include <stdio.h>
typedef uint32_t Uint32;
typedef uint64_t Uint64;
#include "k32"
#include "k64"
int main(void) { return fwrite(k32, sizeof k32, 1, stdout) + fwrite(k64, sizeof k64, 1, stdout) - 2; }
)");
  for (const auto& [language, standard] : {std::pair{"c", "-std=c99"}, {"c++", "-std=c++11"}}) {
    const Finished compiled =
        RunProgram({ZENTA_CXX_COMPILER, "-x", language, standard, "-Wall", "-Wextra", "-Werror",
                    "-pedantic-errors", source, "-o", program});
    ASSERT_EQ(compiled.status, 0) << language << compiled.err;
    EXPECT_EQ(RunProgram({program}).out, data + std::string(2, '\0') + data + std::string(6, '\0'));
  }
}

}  // namespace
}  // namespace zenta::data
