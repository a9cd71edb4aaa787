// zenta-host-installer: plays /usr/sbin/installer for a machine folder.

#include <sys/resource.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <clocale>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "installer/platform/host/machine_folder.h"
#include "tools/common/terminal_text.h"
#include "tools/host_installer/install.h"

namespace {

constexpr std::string_view kUsage =
    R"(usage: zenta-host-installer -pkg PATH -target /

Installs a flat installer package as a Mac's installer does.

  -pkg PATH    the package, a path of the machine
  -target /    the volume to install on; there is only this one
  -wait N      seconds to wait for another installation to end, 60 unless given
  -help        this text

Exit status: 0 if everything is in place, 75 if another installation did not end in time, else 1.

The machine is the folder named by the environment variable ZENTA_MACHINE, or else the whole system.
)";

struct Arguments {
  std::string package;
  std::string target;
  std::chrono::seconds wait = zenta::host_installer::kPatience;
  bool help = false;
};

// A number of seconds from 0 to 9999; nullopt if the text is none.
std::optional<std::chrono::seconds> SecondsIn(std::string_view text) {
  unsigned seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || seconds > 9999) {
    return std::nullopt;
  }
  return std::chrono::seconds(seconds);
}

// nullopt if the arguments are wrong.
std::optional<Arguments> Parse(int count, char** values) {
  Arguments arguments;
  for (int i = 1; i < count; ++i) {
    const std::string_view name = values[i];
    if (name == "-help" || name == "--help") {
      arguments.help = true;
    } else if ((name == "-pkg" || name == "-target") && i + 1 < count) {
      (name == "-pkg" ? arguments.package : arguments.target) = values[++i];
    } else if (name == "-wait" && i + 1 < count) {
      const auto seconds = SecondsIn(values[++i]);
      if (!seconds) return std::nullopt;
      arguments.wait = *seconds;
    } else {
      return std::nullopt;
    }
  }
  if (arguments.help || (!arguments.package.empty() && !arguments.target.empty())) return arguments;
  return std::nullopt;
}

int Fail(const std::string& reason, int status = 1) {
  std::cerr << "installer: Error - " << zenta::tools::ForTerminal(reason) << std::endl;
  return status;
}

// Limits of a whole run, in addition to those of each part of a package. An input method's package
// takes a few seconds and megabytes.
constexpr rlim_t kMaxProcessorSeconds = 600;
#ifndef ZENTA_SANITIZED  // the address sanitizer reserves terabytes
constexpr rlim_t kMaxMemoryBytes = rlim_t{512} << 20;
#else
constexpr rlim_t kMaxMemoryBytes = RLIM_INFINITY;
#endif

// The handler of SIGXCPU. Ends the program like a crash: the next installation cleans up. Makes
// only async-signal-safe calls.
void EndRun(int) {
  constexpr std::string_view kReason = "installer: Error - it takes too much processor time\n";
  if (write(STDERR_FILENO, kReason.data(), kReason.size()) < 0) _exit(2);
  _exit(1);
}

// Lowers the soft limit to `most`; never raises it.
void Limit(auto resource, rlim_t most) {
  rlimit limit{};
  getrlimit(resource, &limit);
  limit.rlim_cur = std::min(limit.rlim_cur, most);
  setrlimit(resource, &limit);
}

// Also ignores SIGPIPE and SIGXFSZ: if nobody reads the output, or its file is at the size limit,
// the output is lost but the installation goes on.
void LimitRun() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  std::signal(SIGXCPU, EndRun);
  Limit(RLIMIT_CPU, kMaxProcessorSeconds);
  Limit(RLIMIT_AS, kMaxMemoryBytes);
}

int Run(const Arguments& arguments) {
  if (arguments.target != "/") return Fail("the target is not /: " + arguments.target);
  const zenta::installer::MachineFolder machine =
      zenta::installer::MachineFolder::FromEnvironment();
  const zenta::host_installer::PackageFile package(machine.HostPath(arguments.package),
                                                   arguments.package);
  zenta::host_installer::Renamer renamer;
  zenta::host_installer::Install({.package = package,
                                  .name = std::filesystem::path(arguments.package).stem().string(),
                                  .target = machine.HostPath("/"),
                                  .patience = arguments.wait},
                                 renamer, std::cout);
  std::cout << "installer: The install was successful." << std::endl;
  return 0;
}

}  // namespace

int main(int count, char** values) try {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // names in payloads are UTF-8
  const std::optional<Arguments> arguments = Parse(count, values);
  if (!arguments) {
    std::cerr << "installer: Error - bad arguments\n" << kUsage;
    return 1;
  }
  if (arguments->help) {
    std::cout << kUsage;
    return 0;
  }
  LimitRun();
  return Run(*arguments);
} catch (const zenta::host_installer::StillBusy& failure) {
  return Fail(failure.what(), EX_TEMPFAIL);
} catch (const std::exception& failure) {
  return Fail(failure.what());
}
