#include "installer/platform/host/machine_folder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <system_error>

#include "installer/platform/host/host_platform.h"
#include "tests/installer/machine_fixture.h"

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;

TEST_F(MachineTest, FolderMayBeNamedInAnyWay) {
  fs::create_directory(At("/real"));
  fs::create_directory_symlink("real", At("/link"));
  const std::string relative = fs::relative(At("/real")).string();
  for (const std::string& name : {At("/real"), At("/real///"), At("/link/."), relative}) {
    EXPECT_EQ(MachineFolder(name).root(), At("/real")) << name;
  }
  EXPECT_EQ(MachineFolder("//").HostPath("/"), "/");
}

// A fuzz target compares paths that exist with the kernel's answers. These are the cases that the
// kernel does not answer.
TEST_F(MachineTest, MissingEndsAndLastLinksHaveHostPathsToo) {
  const MachineFolder machine(root_);
  fs::create_symlink("/nowhere/x", At("/dangling"));
  fs::create_symlink("loop", At("/loop"));
  for (int i = 0; i != 41; ++i) {  // one more than are followed
    fs::create_symlink(std::to_string(i + 1), At("/" + std::to_string(i)));
  }
  constexpr auto kKeep = MachineFolder::LastLink::kKeep;
  EXPECT_EQ(machine.HostPath("/1"), At("/41"));
  EXPECT_THROW((void)machine.HostPath("/0"), std::system_error);
  EXPECT_EQ(machine.HostPath("/dangling/y"), At("/nowhere/x/y"));
  EXPECT_EQ(machine.HostPath("/../none/../dangling", kKeep), At("/dangling"));
  EXPECT_EQ(machine.HostPath("relative"), At("/relative"));
  EXPECT_THROW((void)machine.HostPath("/loop/x"), std::system_error);
}

TEST_F(MachineTest, PathsAreStandardizedAsOnTheMac) {
  Put("/etc/hosts", "");
  const std::string home = MachineFolder::HomeFolder();
  const auto files = HostFiles(MachineFolder(root_));
  std::string standard;
  for (const char* path : {"//a///b/./c/", "/a/../../b", "/..", "", "a/../b/", "~", "~/x/", "~x",
                           "/private/etc/hosts", "/private/etc/none"}) {
    standard += files->StandardizePath(path) + " ";
  }
  EXPECT_EQ(standard,
            "/a/b/c /b /  a/../b " + home + " " + home + "/x ~x /etc/hosts /private/etc/none ");
}

TEST_F(MachineTest, OnlyRegularFilesAreOpenedAndNoFolderIsRemoved) {
  ExpectFilesAreKept(*HostFiles(MachineFolder(root_)), "");
}

TEST_F(MachineTest, OnlyFilesOfRootAndThisUserAreTrusted) {
  ExpectOnlyOursIsTrusted(*HostFiles(MachineFolder(root_)), "");
}

TEST_F(MachineTest, NotificationsAndLogAreStampedLines) {
  const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}[.][0-9]{3} ";
  const std::string journal = "/var/log/notifications.log";
  const auto notifications = HostNotifications(MachineFolder(root_));
  notifications->Post("Some_Notification");
  notifications->Post("two\n\x7Flines");
  EXPECT_THAT(Contents(journal),
              testing::MatchesRegex(time + "Some_Notification\n" + time + "two  lines\n"));
  fs::remove(At(journal));
  ASSERT_EQ(mkfifo(At(journal).c_str(), 0600), 0);  // a pipe without a reader
  EXPECT_THROW(notifications->Post("x"), std::system_error);
  testing::internal::CaptureStderr();
  HostLog()->Line("will register input");
  const std::string process = std::to_string(getpid());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::MatchesRegex(time + "zenta-update\\[" + process + ":" + process +
                                    "\\] will register input\n"));
}

}  // namespace
}  // namespace zenta::installer
