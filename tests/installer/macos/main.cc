// Foundation reads where it keeps the user defaults before main does anything, so the program
// starts itself a second time, with that told.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/installer/macos/mac_folder.h"

int main(int argc, char** argv) {
  namespace fs = std::filesystem;
  const char* settings = std::getenv("GNUSTEP_CONFIG_FILE");
  if (settings == nullptr || fs::path(settings).filename() != "mac.conf") {
    std::string folder = fs::canonical(fs::temp_directory_path()) / "mac-XXXXXX";
    if (::mkdtemp(folder.data()) == nullptr) return 1;
    std::ofstream(folder + "/mac.conf") << "GNUSTEP_USER_DEFAULTS_DIR=" << folder << "/Defaults\n";
    ::setenv("GNUSTEP_CONFIG_FILE", (folder + "/mac.conf").c_str(), 1);
    ::execv("/proc/self/exe", argv);
    return 1;
  }
  zenta::MacFolder() = fs::path(settings).parent_path();
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  fs::remove_all(zenta::MacFolder());
  return result;
}
