// Runs the program itself in machine folders, also several at once.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <functional>

#include "datahelpers/ztdh_class.h"
#include "installer/platform/host/host_platform.h"
#include "tests/child.h"
#include "tests/datahelpers/signing_key.h"
#include "tests/installer/machine_fixture.h"

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;
using Path = const std::string&;

class UpdateTest : public MachineTest {
 protected:
  // Puts a signed package in place, and an installer that records its run and then does `more`.
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
    for (const char* shared : {"", "/Library/Caches", "/Users", "/.."}) {
      EXPECT_EQ(chmod(At(shared).c_str(), 01777), 0);
    }
  }
  // Starts the program without a log, in a process that `ready` has prepared.
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
  [[nodiscard]] std::int64_t Failures() const {
    return HostUserDefaults(MachineFolder(root_))->Integer("install_fail_num");
  }
  // How often the installer ran, the failure counter, and what the package's path holds.
  [[nodiscard]] std::string State() const {
    return std::to_string(IsThere("/ran") ? Count("/ran") : 0) + " run, " +
           std::to_string(Failures()) + " counted, " +
           (IsThere(kPackage) ? Contents(kPackage) : "nothing") + " left";
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

void IgnoreSignals() {
  for (const int number : {SIGPIPE, SIGXFSZ, SIGCHLD}) std::signal(number, SIG_IGN);
}

void BecomeSomebodyElse() {
  if (setuid(65534) != 0) _exit(1);
}

const char kDone[] = "1 run, 1 counted, nothing left",
           kStays[] = "1 run, 1 counted, a package left",
           kCounted[] = "1 run, 2 counted, nothing left";

TEST_F(UpdateTest, WholeFlowFinishesHoweverTheProgramIsStarted) {
  const struct {
    void (*ready)();
    const char *installer, *state;
  } rows[] = {
      {NobodyReadsTheLog, "", kDone},
      {NobodyReadsTheLog, "exit 1", kCounted},
      {NoFileMayGrow, "", kDone},
      {NoFileMayGrow, "exit 1", kStays},
      {IgnoreSignals, "", kDone},
      {IgnoreSignals, "exit 1", kCounted},
      {IgnoreSignals, "sh -c 'kill -PIPE $$'; test $? = 141", kDone},
      {IgnoreSignals, "sh -c 'kill -XFSZ $$'; test $? -gt 128", kDone},
      {[] {}, "exit 75", kStays},
      {[] {}, "rm .$2; exit 1", kCounted},
      {[] {}, "echo new > n; mv n .$2", "1 run, 1 counted, new\n left"},
      {BecomeSomebodyElse, "", kStays},  // cannot remove root's package: sticky bit
  };
  for (const auto& [ready, installer, state] : rows) {
    SCOPED_TRACE(std::string(installer) + " / " + state);
    if (ready == BecomeSomebodyElse && geteuid() != 0) continue;
    Prepare(installer);
    EXPECT_EQ(Start(ready).Wait(), 0);
    EXPECT_EQ(State(), state);
    EXPECT_EQ(Count(MachineFolder::HomeFolder() + "/Library/Preferences"), 1);
  }
}

TEST_F(UpdateTest, OfSeveralAtOnceOneInstallsAndItsFailureIsCountedOnce) {
  for (int round = 0; round != 24; ++round) {
    const bool fails = round % 4 == 0;
    Prepare(fails ? "sleep 0.01; exit 1" : "sleep 0.01");
    Child first = Start(), second = Start(), third = Start();
    for (Child* each : {&first, &second, &third}) EXPECT_EQ(each->Wait(), 0);
    ASSERT_EQ(State(), fails ? kCounted : kDone);
  }
  // A held lock only delays an update.
  Prepare("");
  const auto files = HostFiles(MachineFolder(root_));
  auto lock = files->LockFolderOf(kPackage);
  Child delayed = Start();
  usleep(200'000);
  EXPECT_EQ(State(), "0 run, 1 counted, a package left");
  lock.reset();
  EXPECT_EQ(delayed.Wait(), 0);
  EXPECT_EQ(State(), kDone);
}

// Whatever the two paths hold, nothing is installed, counted or removed.
TEST_F(UpdateTest, RubbishWhereFilesShouldBeEndsQuietly) {
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
  Prepare("");
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
      EXPECT_EQ(Start().Wait(), 0);
      EXPECT_EQ(Count(caches), names);
      EXPECT_EQ(std::pair(IsThere("/ran"), Failures()), std::pair(false, std::int64_t{1}));
      EXPECT_THAT(Contents(journal),
                  testing::MatchesRegex("[^\n]* ZentaIMupdate_Run_Notification\n"));
    }
  }
  for (const std::string& machine : {At("/none"), At("/usr/sbin/installer"), std::string("none")}) {
    EXPECT_EQ(Start([&] { setenv("ZENTA_MACHINE", machine.c_str(), 1); }).Wait(), 0);
  }
}

}  // namespace
}  // namespace zenta::installer
