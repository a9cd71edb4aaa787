#include <gmock/gmock.h>
#include <sys/stat.h>

#include <functional>

#include "tests/installer/machine_fixture.h"
#include "tests/tools/subprocess.h"

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;
using tools::RunProgram;
using Path = const std::string&;

void ExpectQuietRun(const std::string& machine) {
  const auto done = RunProgram({ZENTA_UPDATE}, {.environment = {{"ZENTA_MACHINE", machine}}});
  EXPECT_EQ(std::to_string(done.status) + done.out + done.err, "0");
}

// Whatever lies at its two paths, nothing is installed, counted or removed.
TEST_F(MachineTest, RubbishWhereFilesShouldBeEndsQuietly) {
  const std::pair<const char*, std::function<void(Path)>> rubbish[] = {
      {"nothing", [](Path) {}},
      {"empty", [&](Path path) { folder_.Put(path, ""); }},
      {"text", [&](Path path) { folder_.Put(path, std::string(171, 'A')); }},
      {"folder", [](Path path) { fs::create_directory(path); }},
      {"unreadable", [&](Path path) { chmod(folder_.Put(path, "x").c_str(), 0); }},
      {"huge", [&](Path path) { fs::resize_file(folder_.Put(path, ""), 300 << 20); }},
      {"dangling", [](Path path) { fs::create_symlink("/nowhere", path); }},
      {"loop", [](Path path) { fs::create_symlink(path, path); }},
      {"pipe", [](Path path) { mkfifo(path.c_str(), 0600); }}};
  Put("/usr/sbin/installer", "#!/bin/sh\n: > \"$ZENTA_MACHINE/installed\"\n");
  fs::permissions(At("/usr/sbin/installer"), fs::perms{0755});
  const std::string caches = "/Library/Caches", journal = "/var/log/notifications.log";
  for (const auto& [package, put_package] : rubbish) {
    for (const auto& [digest, put_digest] : rubbish) {
      SCOPED_TRACE(package + std::string(" / ") + digest);
      fs::remove_all(At(caches));
      fs::remove(At(journal));
      fs::create_directories(At(caches));
      put_package(At(caches + "/update.pkg"));
      put_digest(At(caches + "/inputPkg.txt"));
      const std::ptrdiff_t names = Count(caches);
      ExpectQuietRun(root_);
      EXPECT_EQ(Count(caches), names);
      EXPECT_EQ(Count(""), 3);  // no failure counted, nothing installed
      EXPECT_THAT(Contents(journal),
                  testing::MatchesRegex("[^\n]* ZentaIMupdate_Run_Notification\n"));
    }
  }
}

TEST_F(MachineTest, MachineThatIsNotThereEndsQuietly) {
  Put("/file", "");
  for (const std::string& name : {At("/missing"), At("/file"), std::string("missing")}) {
    ExpectQuietRun(name);
  }
  EXPECT_EQ(Count(""), 1);
}

}  // namespace
}  // namespace zenta::installer
