#include <iostream>
#include <memory>

#include "tools/common/terminal_text.h"
#include "tools/packaging/flat_package.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/progress.h"

namespace zenta::zentactl {
namespace {

using packaging::PackageOptions;
using packaging::PackageSummary;
using packaging::WriteFlatPackage;
using tools::ForTerminal;

// The line of progress is gone when this returns, so that the result does not stand behind it.
PackageSummary PackWithProgress(PackageOptions options) {
  Progress progress("packing");
  options.progress = [&progress](std::uint64_t done, std::uint64_t all) {
    progress.Show(done, all);
  };
  return WriteFlatPackage(options);
}

void Pack(const PackageOptions& options) {
  const PackageSummary package = PackWithProgress(options);
  std::cout << "packed      " << ForTerminal(options.bundle.string()) << "\nidentifier  "
            << ForTerminal(package.identifier) << "\nversion     " << ForTerminal(package.version)
            << "\nplace       " << options.install_location << "\nwritten     "
            << options.out.string() << "  (" << package.entries << " entries, "
            << package.content_bytes << " bytes; package " << package.package_bytes << " bytes)\n";
}

}  // namespace

void DefinePack(CLI::App& command) {
  const auto options = std::make_shared<PackageOptions>();
  command.add_option("BUNDLE", options->bundle, "The bundle, a folder with Contents/Info.plist")
      ->type_name("")
      ->required();
  command.add_option("--out", options->out, "The package; replaced if it exists")
      ->type_name("FILE")
      ->required();
  command.add_option("--identifier", options->identifier, "Identifier; the bundle's if not given")
      ->type_name("ID");
  command.add_option("--version", options->version, "Version; the bundle's if not given")
      ->type_name("V");
  command.add_option("--install-location", options->install_location, "Folder to install into")
      ->type_name("DIR")
      ->capture_default_str();
  command.footer(
      "Makes a flat component package: an XAR archive with Bom, PackageInfo and Payload. Files\n"
      "belong to root in it, links stay links, permissions stay. Equal files with equal "
      "permissions\n"
      "and times make equal packages, bit for bit; SOURCE_DATE_EPOCH, if set, stands for every\n"
      "time. What the installer would refuse, a link that leads out of the bundle say, is refused\n"
      "here.\n"
      "\n"
      "The Bom is empty: the host installer does not read it, macOS's does. Packages for real\n"
      "Macs are made there, with pkgbuild, and signed with 'zentactl sign' like any other.\n"
      "\n"
      "Examples:\n"
      "  zentactl pack ZentaIM.app --out update.pkg\n"
      "  SOURCE_DATE_EPOCH=$(git log -1 --format=%ct) zentactl pack ZentaIM.app --out update.pkg");
  command.callback([options] { Pack(*options); });
}

}  // namespace zenta::zentactl
