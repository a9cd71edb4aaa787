#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#ifdef __linux__
#include <linux/openat2.h>
#include <sys/syscall.h>
#endif

#include <random>
#include <system_error>

#include "installer/platform/host/host_platform.h"
#include "tests/installer/host/machine_fixture.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;

TEST_F(MachineTest, FolderMayBeNamedInAnyWay) {
  fs::create_directory(At("/real"));
  fs::create_directory_symlink("real", At("/link"));
  const fs::path here = fs::current_path();
  fs::current_path(root_);
  for (const std::string& name :
       {At("/real"), At("/real///"), At("/link"), std::string("link/.")}) {
    EXPECT_EQ(MachineFolder(name).root(), At("/real")) << name;
  }
  fs::current_path(here);
  Put(At("/file"), "");
  for (const char* name : {"/missing", "/file", "/missing/../real"}) {
    EXPECT_THROW(MachineFolder{At(name)}, std::system_error) << name;
  }
  EXPECT_FALSE(fs::exists(At("/missing")));
  EXPECT_EQ(MachineFolder("/").HostPath("/"), "/");
  EXPECT_TRUE(MachineFolder("//").IsWholeSystem());
}

TEST_F(MachineTest, LinksMeanWhatTheyMeanOnTheMachine) {
  fs::create_directories(At("/dir/sub"));
  for (const auto& [link, target] : {std::pair("/absolute", "/dir/sub"),
                                     {"/dir/up", "../../.."},
                                     {"/dangling", "/nowhere/x"},
                                     {"/chain", "absolute/../up/dir"},
                                     {"/loop", "loop"}}) {
    fs::create_symlink(target, At(link));
  }
  constexpr auto kKeep = MachineFolder::LastLink::kKeep;
  constexpr auto kFollow = MachineFolder::LastLink::kFollow;
  const struct {
    const char *path, *want;
    MachineFolder::LastLink last = kFollow;
  } rows[] = {{"/", ""},
              {"//dir/./sub//", "/dir/sub"},
              {"relative", "/relative"},
              {"/../../dir/../etc", "/etc"},
              {"/absolute/x", "/dir/sub/x"},
              {"/dir/up/dir", "/dir"},
              {"/chain", "/dir"},
              {"/dangling", "/nowhere/x"},
              {"/dangling", "/dangling", kKeep},
              {"/absolute/../up", "/dir/up", kKeep},
              {"/loop", "/loop", kKeep}};
  for (const auto& row : rows) {
    EXPECT_EQ(Machine().HostPath(row.path, row.last), root_ + row.want) << row.path;
  }
  EXPECT_THROW((void)Machine().HostPath("/loop/x"), std::system_error);
}

#ifdef __linux__
// The kernel, told to treat the folder as the root, is the judge.
TEST_F(MachineTest, RandomLinksLeadWhereTheKernelGoes) {
  const int root = open(root_.c_str(), O_PATH | O_CLOEXEC);
  const open_how how{O_PATH | O_CLOEXEC, 0, RESOLVE_IN_ROOT};
  const auto judge = [&](const std::string& path) {
    return static_cast<int>(syscall(SYS_openat2, root, path.c_str(), &how, sizeof how));
  };
  if (const int probe = judge("/"); probe < 0) {
    GTEST_SKIP() << "no openat2 here";
  } else {
    close(probe);
  }
  std::mt19937 random(20240229);
  const auto path = [&](bool absolute) {
    std::string text = absolute ? "/" : "";
    for (unsigned left = 1 + random() % 4; left > 0; --left) {
      text += std::array{"a", "b", "c", "..", "."}[random() % 5];
      if (left > 1) text += "/";
    }
    return text;
  };
  int agreed = 0;
  for (int i = 0; i < 4000; ++i) {
    std::error_code taken;
    const fs::path place = At("/" + path(false));
    if (i % 8 == 0 && place.native().find("..") == std::string::npos) {
      fs::create_directories(place, taken);
    } else if (i % 8 == 1 && place.native().find("..") == std::string::npos) {
      fs::create_symlink(path(random() % 2 == 0), place, taken);
    }
    const std::string asked = path(true);
    const int found = judge(asked);
    if (found < 0) continue;
    EXPECT_EQ(Machine().HostPath(asked),
              fs::read_symlink("/proc/self/fd/" + std::to_string(found)).string())
        << asked;
    close(found);
    ++agreed;
  }
  close(root);
  EXPECT_GT(agreed, 400);
}
#endif

TEST_F(MachineTest, PathsAreStandardizedAsOnTheMac) {
  Put(At("/etc/hosts"), "");
  const auto files = HostFiles(Machine());
  const std::string home = MachineFolder::HomeFolder();
  const std::pair<const char*, std::string> rows[] = {
      {"/Library/Caches/update.pkg", "/Library/Caches/update.pkg"},
      {"//a///b/./c/", "/a/b/c"},
      {"/a/../../b", "/b"},
      {"/..", "/"},
      {"/", "/"},
      {"", ""},
      {"a/../b/", "a/../b"},
      {"~", home},
      {"~/x/", home + "/x"},
      {"~x", "~x"},
      {"/private/etc/hosts", "/etc/hosts"},
      {"/private/etc/none", "/private/etc/none"},
      {"/private", "/private"}};
  for (const auto& [path, want] : rows) EXPECT_EQ(files->StandardizePath(path), want) << path;
}

TEST_F(MachineTest, OnlyFilesAreReadAndOnlyFilesAndLinksRemoved) {
  Put(At("/file"), "text");
  fs::create_directory(At("/folder"));
  fs::create_symlink("/file", At("/link"));
  fs::create_symlink("/nowhere", At("/dangling"));
  ASSERT_EQ(mkfifo(At("/pipe").c_str(), 0600), 0);
  const struct {
    const char* path;
    bool exists, readable, removable;
  } rows[] = {{"/link", true, true, true},         {"/dangling", false, false, true},
              {"/file", true, true, true},         {"/folder", true, false, false},
              {"/pipe", true, false, true},        {"/missing", false, false, false},
              {"/file/below", false, false, false}};
  const auto files = HostFiles(Machine());
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(files->Exists(row.path), row.exists);
    EXPECT_EQ(files->OpenForReading(row.path) != nullptr, row.readable);
    const bool before = fs::exists(fs::symlink_status(At(row.path)));
    files->Remove(row.path);
    EXPECT_EQ(fs::exists(fs::symlink_status(At(row.path))), before && !row.removable);
  }
}

TEST_F(MachineTest, NotificationsAreLinesOfAJournal) {
  const auto notifications = HostNotifications(Machine());
  notifications->Post("Some_Notification");
  notifications->Post("two\nlines");
  const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}[.][0-9]{3} ";
  EXPECT_THAT(Contents(At("/var/log/notifications.log")),
              testing::MatchesRegex(time + "Some_Notification\n" + time + "two lines\n"));
  fs::remove(At("/var/log/notifications.log"));
  ASSERT_EQ(mkfifo(At("/var/log/notifications.log").c_str(), 0600), 0);
  EXPECT_THROW(notifications->Post("nobody reads the pipe"), std::system_error);
}

TEST(HostLogTest, LinesAreStamped) {
  testing::internal::CaptureStderr();
  HostLog()->Line("will register input");
  const std::string process = std::to_string(getpid());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::MatchesRegex("[-0-9]{10} [0-9:]{8}[.][0-9]{3} zenta-update\\[" + process +
                                    ":" + process + "\\] will register input\n"));
}

}  // namespace
}  // namespace zenta
