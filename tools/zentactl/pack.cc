#include <iostream>
#include <memory>

#include "tools/common/output_file.h"
#include "tools/packaging/flat_package.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/progress.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

using packaging::PackageOptions;
using packaging::PackageSummary;
using packaging::WriteFlatPackage;
using tools::IsStandard;
using tools::OutputName;

// The progress line is wiped when this returns, before the result is printed.
PackageSummary PackWithProgress(PackageOptions options, bool quiet) {
  Progress progress("packing", quiet);
  options.progress = [&progress](std::uint64_t done, std::uint64_t all) {
    progress.Show(done, all);
  };
  return WriteFlatPackage(options);
}

struct PackOptions : PackageOptions {
  Speech speech;
};

void Pack(const PackOptions& options) {
  const PackageSummary package = PackWithProgress(options, options.speech.quiet);
  Report()
      .Add("packed", options.bundle.string())
      .Add("identifier", package.identifier)
      .Add("version", package.version)
      .Add("place", options.install_location)
      .Add("written", OutputName(options.out))
      .Add("entries", package.entries)
      .Add("content bytes", package.content_bytes)
      .Add("package bytes", package.package_bytes)
      .Print(options.speech, IsStandard(options.out) ? std::cerr : std::cout);
}

}  // namespace

void DefinePack(CLI::App& command) {
  const auto options = std::make_shared<PackOptions>();
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
  AddSpeechOptions(command, options->speech);
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
