// Foundation reads the location of the user defaults from the environment before main runs. So the
// program sets the environment and executes itself a second time.
#include <cctype>
#include <sstream>

#include "tests/child.h"
#include "tests/installer/macos/mac_test.h"

zenta::installer::Lines zenta::installer::Told(void (*call)()) {
  testing::internal::CaptureStderr();
  call();
  std::istringstream told(testing::internal::GetCapturedStderr());
  Lines lines;
  for (std::string line; std::getline(told, line); lines.push_back(line)) {
    EXPECT_EQ(line.find("without pool"), line.npos) << line;
    if (std::isdigit(line[0]) != 0) line.replace(0, line.find("] ") + 1, "log");  // time, process
  }
  return lines;
}

int main(int argc, char** argv) {
  if (std::getenv("ZENTA_TEST_DEFAULTS") == nullptr) {
    const zenta::TempFolder folder;
    const std::string settings = "GNUSTEP_USER_DEFAULTS_DIR=" + folder.At("Defaults") + "\n";
    setenv("GNUSTEP_CONFIG_FILE", folder.Put("mac.conf", settings).c_str(), 1);
    setenv("ZENTA_TEST_DEFAULTS", folder.At("Defaults").c_str(), 1);
    return zenta::Child([argv] { return execv("/proc/self/exe", argv); }).Wait();
  }
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
