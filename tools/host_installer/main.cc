// zenta-host-installer: what /usr/sbin/installer is on a Mac, for a machine in a folder.

#include <clocale>
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
  -help        this text

The machine is the folder named by the environment variable ZENTA_MACHINE, or else the whole system.
)";

struct Arguments {
  std::string package;
  std::string target;
  bool help = false;
};

// nullopt if they make no sense.
std::optional<Arguments> Parse(int count, char** values) {
  Arguments arguments;
  for (int i = 1; i < count; ++i) {
    const std::string_view name = values[i];
    if (name == "-help" || name == "--help") {
      arguments.help = true;
    } else if ((name == "-pkg" || name == "-target") && i + 1 < count) {
      (name == "-pkg" ? arguments.package : arguments.target) = values[++i];
    } else {
      return std::nullopt;
    }
  }
  if (arguments.help || (!arguments.package.empty() && !arguments.target.empty())) return arguments;
  return std::nullopt;
}

int Fail(const std::string& reason) {
  std::cerr << "installer: Error - " << zenta::tools::ForTerminal(reason) << std::endl;
  return 1;
}

int Run(const Arguments& arguments) {
  if (arguments.target != "/") return Fail("the target is not /: " + arguments.target);
  const zenta::installer::MachineFolder machine =
      zenta::installer::MachineFolder::FromEnvironment();
  zenta::host_installer::InstallRequest request;
  request.package = machine.HostPath(arguments.package);
  request.name = std::filesystem::path(arguments.package).stem().string();
  request.target = machine.HostPath("/");
  if (!std::filesystem::is_regular_file(request.package)) {
    return Fail("the package path specified was invalid: '" + arguments.package + "'.");
  }
  zenta::host_installer::Renamer renamer;
  zenta::host_installer::Install(request, renamer, std::cout);
  std::cout << "installer: The install was successful." << std::endl;
  return 0;
}

}  // namespace

int main(int count, char** values) try {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // names inside XAR archives are UTF-8
  const std::optional<Arguments> arguments = Parse(count, values);
  if (!arguments) {
    std::cerr << "installer: Error - bad arguments\n" << kUsage;
    return 1;
  }
  if (arguments->help) {
    std::cout << kUsage;
    return 0;
  }
  return Run(*arguments);
} catch (const std::exception& failure) {
  return Fail(failure.what());
}
