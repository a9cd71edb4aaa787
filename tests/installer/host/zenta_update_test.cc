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

class ZentaUpdateTest : public MachineTest {
 protected:
  [[nodiscard]] Finished Update(const std::string& machine) const {
    return RunProgram({ZENTA_UPDATE}, {.environment = {{"ZENTA_MACHINE", machine}}});
  }
};

// Whatever lies at its two paths: it ends with status 0, says nothing, installs nothing.
TEST_F(ZentaUpdateTest, RubbishAtItsPathsEndsQuietly) {
  const std::vector<std::pair<const char*, std::function<void(const std::string&)>>> rubbish = {
      {"nothing", [](const std::string&) {}},
      {"empty", [](const std::string& path) { Put(path, ""); }},
      {"text", [](const std::string& path) { Put(path, std::string(171, 'A')); }},
      {"folder", [](const std::string& path) { fs::create_directory(path); }},
      {"unreadable", [](const std::string& path) { Put(path, "x"), chmod(path.c_str(), 0); }},
      {"huge", [](const std::string& path) { Put(path, ""), fs::resize_file(path, 300 << 20); }},
      {"dangling", [](const std::string& path) { fs::create_symlink("/nowhere", path); }},
      {"loop", [](const std::string& path) { fs::create_symlink(path, path); }},
      {"pipe", [](const std::string& path) { mkfifo(path.c_str(), 0600); }},
      {"device", [](const std::string& path) { fs::create_symlink("/dev/zero", path); }},
  };
  Put(At("/usr/sbin/installer"), "#!/bin/sh\n: > \"$ZENTA_MACHINE/installed\"\n");
  fs::permissions(At("/usr/sbin/installer"), fs::perms{0755});
  for (const auto& [package, put_package] : rubbish) {
    for (const auto& [digest, put_digest] : rubbish) {
      SCOPED_TRACE(package + std::string(" / ") + digest);
      fs::remove_all(At("/Library/Caches"));
      fs::create_directories(At("/Library/Caches"));
      put_package(At("/Library/Caches/update.pkg"));
      put_digest(At("/Library/Caches/inputPkg.txt"));
      const auto names = std::distance(fs::directory_iterator(At("/Library/Caches")), {});
      const Finished finished = Update(root_);
      EXPECT_EQ(finished.status, 0);
      EXPECT_EQ(finished.out + finished.err, "");
      EXPECT_FALSE(fs::exists(At("/installed")));
      EXPECT_FALSE(fs::exists(At("/Users")));  // no failure counted
      EXPECT_EQ(std::distance(fs::directory_iterator(At("/Library/Caches")), {}), names);
      EXPECT_THAT(Contents(At("/var/log/notifications.log")),
                  testing::MatchesRegex("[^\n]* ZentaIMupdate_Run_Notification\n"));
      fs::remove_all(At("/var"));
    }
  }
}

TEST_F(ZentaUpdateTest, MachineThatIsNotThereEndsQuietly) {
  Put(At("/file"), "");
  for (const std::string& machine : {At("/missing"), At("/file"), std::string("missing")}) {
    const Finished finished = Update(machine);
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.out + finished.err, "");
    EXPECT_FALSE(fs::exists(At("/missing")));
  }
}

}  // namespace
}  // namespace zenta
