#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta {
namespace {

using testing::HasSubstr;

struct ZentactlDumpTest : testing::Test {
  Finished Dump(const std::string& file, const std::string& name, const std::string& bits,
                std::vector<std::string> more = {}, const RunOptions& options = {}) const {
    more.insert(more.begin(), {ZENTACTL, "dump", folder.At(file), "--name", name, "--bits", bits});
    return RunProgram(std::move(more), options);
  }
  // Only these two are there: nothing half written stays.
  void ExpectOldFiles() const {
    EXPECT_EQ(folder.Get("data"), "abcde");
    EXPECT_EQ(folder.Get("out"), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.At("")), {}), 2);
  }
  TempFolder folder;
  std::string data = folder.Put("data", "abcde");
  std::string out = folder.Put("out", "old");
};

TEST_F(ZentactlDumpTest, ArrayGoesToStandardOutputOrToAFile) {
  for (const auto& [bits, want] :
       {std::pair<std::string, std::string>{
            "32", "const Uint32 kT_1[2] = {\r\n    0x64636261, 0x00000065,\r\n};\r\n"},
        {"64", "const Uint64 kT_1[1] = {\r\n    0x0000006564636261,\r\n};\r\n"}}) {
    const Finished shown = Dump("data", "kT_1", bits);
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(shown.out, want);
    const Finished written = Dump("data", "kT_1", bits, {"--out", out});
    EXPECT_EQ(written.status, 0) << written.err;
    EXPECT_THAT(written.out, HasSubstr("words of " + bits + " bits (5 bytes)"));
    EXPECT_EQ(folder.Get("out"), want);
  }
}

TEST_F(ZentactlDumpTest, FailureSaysWhyAndChangesNothing) {
  for (const char* const name : {"", "1a", "a b", "a-b", "a\xC3\xA9", "a;", "int", "class"}) {
    SCOPED_TRACE(name);
    EXPECT_THAT(Dump("data", name, "32", {"--out", out}).err, HasSubstr("cannot be the name"));
  }
  const struct {
    Finished done;
    std::string err;
    int status;
  } rows[] = {
      {Dump("missing", "T", "32"), "missing: No such file", 1},
      {Dump("", "T", "32"), "not a regular file", 1},
      {Dump("data", "T", "32", {"--out", data}), "is the input", 1},
      {Dump("data", "T", "32", {"--out", folder.At("no/out")}), "No such file", 1},
      {Dump("data", "T", "32", {"--out", folder.At("")}), "cannot write", 1},
      {Dump("data", "T", "32", {"--out", out}, {.max_file_bytes = 20}), "the disk is full", 1},
#ifdef __linux__
      {Dump("data", "T", "32", {"--out", "/dev/full"}), "the disk is full", 1},
      {Dump("data", "T", "32", {}, {.out = "/dev/full"}), "cannot write to standard output", 1},
#endif
      {Dump("data", "T", "16"), "16 not in {32,64}", 2},
      {RunProgram({ZENTACTL, "dump", data, "--bits", "32"}), "--name is required", 2},
  };
  for (const auto& [done, err, status] : rows) {
    SCOPED_TRACE(err);
    EXPECT_EQ(done.status, status);
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(done.err, HasSubstr(err));
  }
  ExpectOldFiles();
}

}  // namespace
}  // namespace zenta
