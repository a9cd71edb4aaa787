// The program itself, in machine folders, as many at once as it takes.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <functional>

#include "datahelpers/ztdh_class.h"
#include "installer/platform/host/host_platform.h"
#include "tests/child.h"
#include "tests/datahelpers/signing_key.h"
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
  for (const std::string& machine : {At("/none"), At("/usr/sbin/installer"), std::string("none")}) {
    ExpectQuietRun(machine);
  }
  EXPECT_EQ(Count(""), 3);
}

class UpdateTest : public MachineTest {
 protected:
  // A signed package waits. The installer does nothing but leave a line, then `more`.
  void Prepare(const std::string& more) const {
    fs::remove_all(root_);
    Put(kPackage, "a package");
    const std::string digest = ZTDHClass::calcMD5FromFile(At(kPackage)).value();
    Put("/Library/Caches/inputPkg.txt",
        signing::SignDigest(digest, signing::BuiltInSigningConfig(), signing::TestSigner())
            .value());
    Put("/usr/sbin/installer",
        "#!/bin/sh\ncd \"$ZENTA_MACHINE\"; mkdir -p ran/$$; test -f \".$2\" || exit 1\n" + more);
    fs::permissions(At("/usr/sbin/installer"), fs::perms{0755});
    EXPECT_TRUE(HostUserDefaults(MachineFolder(root_))->SetInteger("install_fail_num", 1));
  }
  // The program, in a process that `ready` has made ready for it, without a log.
  [[nodiscard]] Child Start(const std::function<void()>& ready = [] {}) const {
    return Child([&] {
      const int program = open(ZENTA_UPDATE, O_PATH | O_CLOEXEC);
      setenv("ZENTA_MACHINE", root_.c_str(), 1);
      dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
      ready();
      char name[] = "zenta-update", *arguments[] = {name, nullptr};
      return fexecve(program, arguments, environ);
    });
  }
  // How often the installer ran, the counter, and what lies where the package was.
  [[nodiscard]] std::string State() const {
    return std::to_string(IsThere("/ran") ? Count("/ran") : 0) + " run, " +
           std::to_string(HostUserDefaults(MachineFolder(root_))->Integer("install_fail_num")) +
           " counted, " + (IsThere(kPackage) ? Contents(kPackage) : "nothing") + " left";
  }
  static constexpr char kPackage[] = "/Library/Caches/update.pkg";
};

void NobodyReadsTheLog() {
  int ends[2];
  if (pipe(ends) == 0) dup2(ends[1], STDERR_FILENO);
  close(ends[0]);
}

void NoFileMayGrow() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_FSIZE, &none);
}

TEST_F(UpdateTest, WholeFlowFinishesHoweverTheProgramIsStarted) {
  const struct {
    const char* how;
    std::function<void()> ready;
    const char *installer, *state;
  } rows[] = {
      {"as ever", [] {}, "", "1 run, 1 counted, nothing left"},
      {"log unread", NobodyReadsTheLog, "", "1 run, 1 counted, nothing left"},
      {"log unread, failing", NobodyReadsTheLog, "exit 1", "1 run, 2 counted, nothing left"},
      {"disk full", NoFileMayGrow, "", "1 run, 1 counted, nothing left"},
      {"disk full, failing", NoFileMayGrow, "exit 1", "1 run, 1 counted, a package left"},
      {"children unseen", [] { std::signal(SIGCHLD, SIG_IGN); }, "",
       "1 run, 1 counted, nothing left"},
      {"children unseen, failing", [] { std::signal(SIGCHLD, SIG_IGN); }, "exit 1",
       "1 run, 2 counted, nothing left"},
      {"signals ignored", [] { std::signal(SIGPIPE, SIG_IGN); },
       "sh -c 'kill -PIPE $$'; test $? = 141", "1 run, 1 counted, nothing left"},
      {"limited", [] { std::signal(SIGXFSZ, SIG_IGN); }, "sh -c 'kill -XFSZ $$'; test $? -gt 128",
       "1 run, 1 counted, nothing left"},
      {"another installs", [] {}, "exit 75", "1 run, 1 counted, a package left"},
      {"gone meanwhile", [] {}, "rm .$2; exit 1", "1 run, 2 counted, nothing left"},
      {"newer meanwhile", [] {}, "echo new > n; mv n .$2", "1 run, 1 counted, new\n left"},
  };
  for (const auto& [how, ready, installer, state] : rows) {
    Prepare(installer);
    EXPECT_EQ(Start(ready).Wait(), 0) << how;
    EXPECT_EQ(State(), state) << how;
    EXPECT_EQ(Count(MachineFolder::HomeFolder() + "/Library/Preferences"), 1) << how;
  }
}

TEST_F(UpdateTest, OfSeveralAtOnceOneInstallsAndItsFailureIsCountedOnce) {
  for (int round = 0; round != 40; ++round) {
    const bool fails = round % 4 == 0;
    Prepare(fails ? "sleep 0.01; exit 1" : "sleep 0.01");
    Child first = Start(), second = Start(), third = Start();
    for (Child* each : {&first, &second, &third}) EXPECT_EQ(each->Wait(), 0);
    ASSERT_EQ(State(), fails ? "1 run, 2 counted, nothing left" : "1 run, 1 counted, nothing left");
  }
  // Whoever holds the lock only delays, and the lock goes with its holder.
  Prepare("");
  const auto files = HostFiles(MachineFolder(root_));
  auto lock = files->LockFolderOf(kPackage);
  Child delayed = Start();
  usleep(200'000);
  EXPECT_EQ(State(), "0 run, 1 counted, a package left");
  lock.reset();
  EXPECT_EQ(delayed.Wait(), 0);
  EXPECT_EQ(State(), "1 run, 1 counted, nothing left");
}

// A package of root's in a folder with the sticky bit is not the user's to remove.
TEST_F(UpdateTest, PackageThatCannotBeRemovedIsInstalledOnce) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
  Prepare("");
  fs::create_directories(At("/var/log"));
  for (const char* writable : {"", "/Library/Caches", "/var/log", "/Users", "/.."}) {
    ASSERT_EQ(chmod(At(writable).c_str(), 01777), 0);
  }
  for (int run = 0; run != 3; ++run) {
    EXPECT_EQ(Start([] { ASSERT_EQ(setuid(65534), 0); }).Wait(), 0);
  }
  EXPECT_EQ(State(), "1 run, 1 counted, a package left") << "counted by the other user alone";
  EXPECT_THAT(Contents("/var/log/notifications.log"),
              testing::ContainsRegex("Fail_Notification\n$"))
      << "of the third";
}

}  // namespace
}  // namespace zenta::installer
