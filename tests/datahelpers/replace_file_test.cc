#include "datahelpers/replace_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tests/child.h"
#include "tests/temp_folder.h"

namespace zenta::signing {
namespace {

namespace fs = std::filesystem;

void SetLimit(decltype(RLIMIT_FSIZE) what, rlim_t most) {
  const rlimit limit{most, most};
  setrlimit(what, &limit);
}

TEST(ReplaceContentsTest, FileIsReplacedWholeOrStaysAndNothingIsLeftBeside) {
  const TempFolder folder;
  const std::string file = folder.Put("file", "old");
  fs::create_directory(folder.At("folder"));
  EXPECT_EQ(ReplaceContents(folder.At("folder"), "new", 0600), EISDIR);
  EXPECT_EQ(ReplaceContents(folder.At("none/file"), "new", 0600), ENOENT);
  Child full([&] {
    std::signal(SIGXFSZ, SIG_IGN);
    SetLimit(RLIMIT_FSIZE, 2);
    return ReplaceContents(file, "new", 0600);
  });
  EXPECT_EQ(full.Wait(), EFBIG);
  Child no_error_stream([&] {  // where the only free descriptor is 2, standard error
    close(STDERR_FILENO);
    SetLimit(RLIMIT_NOFILE, STDERR_FILENO + 1);
    return ReplaceContents(file, "new", 0600);
  });
  EXPECT_NE(no_error_stream.Wait(), 0);
  EXPECT_EQ(folder.Get("file"), "old");
  EXPECT_EQ(ReplaceContents(file, "new", 0640), 0);
  EXPECT_EQ(folder.Get("file"), "new");
  EXPECT_EQ(fs::status(file).permissions() & fs::perms{0137}, fs::perms{});
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.At("")), {}), 2);
}

}  // namespace
}  // namespace zenta::signing
