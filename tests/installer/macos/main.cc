// Foundation reads where it keeps the user defaults before main does anything, so the program
// starts itself a second time, with that told.
#include <unistd.h>

#include <cstdlib>
#include <regex>
#include <sstream>

#include "tests/installer/macos/mac_test.h"

zenta::Lines zenta::Told(void (*call)()) {
  static const std::regex prefix(
      R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} macos_platform_test\[\d+:\d+\] )");
  testing::internal::CaptureStderr();
  call();
  std::istringstream told(testing::internal::GetCapturedStderr());
  Lines lines;
  for (std::string line; std::getline(told, line);) {
    EXPECT_EQ(line.find("without pool"), std::string::npos) << line;
    lines.push_back(std::regex_replace(line, prefix, "log "));
  }
  return lines;
}

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
