#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta::zentactl {
namespace {

using testing::HasSubstr;
using tools::Finished;
using tools::RunOptions;
using tools::RunProgram;

struct ZentactlDumpTest : testing::Test {
  Finished Dump(const std::string& file, const std::string& name, const std::string& bits,
                const std::string& to = {}, const RunOptions& options = {}) const {
    std::vector<std::string> command = {ZENTACTL, "dump", folder.At(file), "--name", name,
                                        "--bits", bits};
    if (!to.empty()) command.insert(command.end(), {"--out", to});
    return RunProgram(std::move(command), options);
  }
  TempFolder folder;
  std::string data = folder.Put("data", "abcde"), out = folder.Put("out", "old");
};

TEST_F(ZentactlDumpTest, ArrayGoesToStandardOutputOrToAFile) {
  for (const auto& [bits, want] :
       {std::pair<std::string, std::string>{
            "32", "const Uint32 kT_1[2] = {\r\n    0x64636261, 0x00000065,\r\n};\r\n"},
        {"64", "const Uint64 kT_1[1] = {\r\n    0x0000006564636261,\r\n};\r\n"}}) {
    EXPECT_EQ(Dump("data", "kT_1", bits).out, want);
    EXPECT_THAT(Dump("data", "kT_1", bits, out).out, HasSubstr("(of " + bits + " bits)"));
    EXPECT_EQ(folder.Get("out"), want);
  }
}

TEST_F(ZentactlDumpTest, FailureSaysWhyAndChangesNothing) {
  const struct {
    Finished done;
    std::string err;
    int status = 2;
  } rows[] = {
      {Dump("data", "", "32", out), "cannot be the name"},
      {Dump("data", "1a", "32", out), "cannot be the name"},
      {Dump("data", "a\xC3\xA9", "32", out), "cannot be the name"},
      {Dump("data", "class", "32", out), "cannot be the name"},
      {Dump("missing", "T", "32", out), "missing: No such file"},
      {Dump("", "T", "32", out), "not a regular file"},
      {Dump("data", "T", "32", folder.At("")), "is a folder"},
      {Dump("data", "T", "32", out, {.max_file_bytes = 20}), "the disk is full"},
      {Dump("data", "T", "32", "/dev/full"), "the disk is full"},
      {Dump("data", "T", "32", "", {.out = "/dev/full"}), "cannot write to standard output"},
      {Dump("data", "T", "16", out), "16 not in {32,64}"},
  };
  for (const auto& [done, err, status] : rows) {
    EXPECT_EQ(done.status, status) << err;
    EXPECT_THAT(done.err, HasSubstr(err));
  }
  EXPECT_EQ(folder.Get("data") + folder.Get("out"), "abcdeold");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.At("")), {}), 2);
}

TEST_F(ZentactlDumpTest, FileIsHeldOnce) {
  constexpr long kKilobytes = 128 << 10;
  std::filesystem::resize_file(data, std::uintmax_t{kKilobytes} << 10);
  EXPECT_LT(Dump("data", "T", "32", "/dev/full").peak_kilobytes, kKilobytes * 7 / 4);
}

}  // namespace
}  // namespace zenta::zentactl
