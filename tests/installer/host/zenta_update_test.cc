#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <vector>

#include "tests/installer/host/machine_fixture.h"
#include "tests/tools/subprocess.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;

using Path = const std::string&;

using ZentaUpdateTest = MachineTest;

// Runs it, expects status 0 and silence.
void UpdateQuietly(const std::string& machine) {
  const auto done = RunProgram({ZENTA_UPDATE}, {.environment = {{"ZENTA_MACHINE", machine}}});
  EXPECT_EQ(std::to_string(done.status) + done.out + done.err, "0");
}

// Whatever lies at its two paths, nothing is installed, counted or removed.
TEST_F(ZentaUpdateTest, RubbishAtItsPathsEndsQuietly) {
  const std::pair<const char*, std::function<void(Path)>> rubbish[] = {
      {"nothing", [](Path) {}},
      {"empty", [](Path path) { Put(path, ""); }},
      {"text", [](Path path) { Put(path, std::string(171, 'A')); }},
      {"folder", [](Path path) { fs::create_directory(path); }},
      {"unreadable", [](Path path) { Put(path, "x"), chmod(path.c_str(), 0); }},
      {"huge", [](Path path) { Put(path, ""), fs::resize_file(path, 300 << 20); }},
      {"dangling", [](Path path) { fs::create_symlink("/nowhere", path); }},
      {"loop", [](Path path) { fs::create_symlink(path, path); }},
      {"pipe", [](Path path) { mkfifo(path.c_str(), 0600); }}};
  Put(At("/usr/sbin/installer"), "#!/bin/sh\n: > \"$ZENTA_MACHINE/installed\"\n");
  fs::permissions(At("/usr/sbin/installer"), fs::perms{0755});
  const std::string caches = At("/Library/Caches"), journal = At("/var/log/notifications.log");
  for (const auto& [package, put_package] : rubbish) {
    for (const auto& [digest, put_digest] : rubbish) {
      SCOPED_TRACE(package + std::string(" / ") + digest);
      fs::remove_all(caches);
      fs::remove(journal);
      fs::create_directories(caches);
      put_package(caches + "/update.pkg");
      put_digest(caches + "/inputPkg.txt");
      const std::ptrdiff_t names = Count(caches);
      UpdateQuietly(root_);
      EXPECT_EQ(Count(caches), names);
      EXPECT_EQ(Count(root_), 3);  // no failure counted, nothing installed
      EXPECT_THAT(Contents(journal),
                  testing::MatchesRegex("[^\n]* ZentaIMupdate_Run_Notification\n"));
    }
  }
}

TEST_F(ZentaUpdateTest, MachineThatIsNotThereEndsQuietly) {
  Put(At("/file"), "");
  for (const char* name : {"/missing", "/file"}) UpdateQuietly(At(name));
  UpdateQuietly("missing");
  EXPECT_EQ(Count(root_), 1);
}

}  // namespace
}  // namespace zenta
