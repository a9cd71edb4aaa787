#include <gmock/gmock.h>

#include <limits>
#include <regex>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/plist_file.h"
#include "tests/installer/machine_fixture.h"

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;
using signing::Bytes;
using testing::ElementsAre;

const std::string kFolder = MachineFolder::HomeFolder() + "/Library/Preferences";
const std::string kFile = kFolder + "/com.zenta.inputmethod.ZentaIM.update.plist";
const char kKey[] = "install_fail_num";

std::string Dict(const std::string& body) { return "<plist><dict>" + body + "</dict></plist>"; }

std::string Binary(const std::string& xml) {
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(ParsePlist(Bytes(xml.begin(), xml.end())).get(), &bytes, &size);
  const std::unique_ptr<char, decltype(&std::free)> owner(bytes, std::free);
  return {bytes, size};
}

class PreferencesTest : public MachineTest {
 protected:
  const std::unique_ptr<UserDefaults> defaults_ = HostUserDefaults(MachineFolder(root_));
};

TEST_F(PreferencesTest, IntegersSurviveAndOtherKeysStay) {
  EXPECT_FALSE(defaults_->HasObject(kKey));
  EXPECT_EQ(defaults_->Integer(kKey), 0);
  EXPECT_TRUE(defaults_->Remove(kKey));
  EXPECT_EQ(Count(""), 0);  // reading creates nothing
  std::string dates;
  while (dates.size() < 10000) dates += "<date>2024-01-01T00:00:00Z</date>";
  Put(kFile, Binary(Dict("<key>other</key><array>" + dates + "</array>")));
  using Limits = std::numeric_limits<std::int64_t>;
  for (const std::int64_t value : {Limits::min(), Limits::max(), std::int64_t{-1}}) {
    EXPECT_TRUE(defaults_->SetInteger(kKey, value));
    EXPECT_EQ(defaults_->Integer(kKey), value);
  }
  EXPECT_TRUE(defaults_->Remove(kKey));
  EXPECT_FALSE(defaults_->HasObject(kKey));
  EXPECT_THAT(Contents(kFile), testing::HasSubstr("<date>2024-01-01T00:00:00Z</date>"));
  EXPECT_EQ(Count(kFolder), 1);
  EXPECT_EQ(fs::status(At(kFile)).permissions(), fs::perms{0600});
}

// Each key begins with the number that its value has to be read as.
TEST_F(PreferencesTest, ValuesOfEveryTypeReadAsOnTheMac) {
  const std::string xml = Dict(
      "<key>5</key><integer>5</integer><key>-5</key><integer>-5</integer>"
      "<key>12 text</key><string>12abc</string><key>-7 text</key><string> -7 </string>"
      "<key>0 word</key><string>abc</string><key>0 text</key><string></string>"
      "<key>9223372036854775807 text</key><string>99999999999999999999</string>"
      "<key>1 yes</key><true/><key>0 no</key><false/><key>-2 real</key><real>-2.9</real>"
      "<key>9223372036854775807 real</key><real>9223372036854775808</real><key>0 "
      "array</key><array/>"
      "<key>0 data</key><data>MTI=</data><key>0 date</key><date>2024-01-01T00:00:00Z</date>");
  for (const std::string& bytes : {xml, Binary(xml)}) {
    Put(kFile, bytes);
    for (std::size_t at = xml.find("<key>"); at != xml.npos; at = xml.find("<key>", at + 1)) {
      const std::string key = xml.substr(at + 5, xml.find('<', at + 5) - at - 5);
      EXPECT_TRUE(defaults_->HasObject(key)) << key;
      EXPECT_EQ(defaults_->Integer(key), std::stoll(key)) << key;
    }
  }
  // A dictionary that ends where the table of offsets begins.
  const auto number = [](char value) { return std::string(7, '\0') + value; };
  Put(kFile, "bplist00\x5F\x10\x10" + std::string(kKey) + "\x10\x02\xD1" + std::string("\0\1", 2) +
                 "\x08\x1B\x1D" + std::string(6, '\0') + "\1\1" + number(3) + number(2) +
                 number(32));
  EXPECT_EQ(defaults_->Integer(kKey), 2);
}

TEST_F(PreferencesTest, BrokenFilesCountAsEmptyAndAreKept) {
  const std::string good = Dict("<key>install_fail_num</key><integer>2</integer>");
  for (const std::string& bytes :
       {std::string(), std::string("<plist><array/></plist>"), good.substr(0, good.size() / 2),
        Binary(good).substr(0, 50), good + std::string(kMaxPlistBytes, ' ')}) {
    SCOPED_TRACE(bytes.substr(0, 60));
    Put(kFile, bytes);
    EXPECT_FALSE(defaults_->HasObject(kKey));
    EXPECT_TRUE(defaults_->SetInteger(kKey, 1));
    EXPECT_EQ(defaults_->Integer(kKey), 1);
    EXPECT_EQ(Contents(kFile + ".broken"), bytes);
  }
  fs::remove(At(kFile));
  ASSERT_EQ(mkfifo(At(kFile).c_str(), 0600), 0);
  EXPECT_THROW((void)defaults_->SetInteger(kKey, 1), std::system_error);
  EXPECT_THROW((void)defaults_->HasObject(kKey), std::system_error);
  EXPECT_TRUE(fs::is_fifo(At(kFile)));
  EXPECT_TRUE(PlistFile("/proc/self/mem").unreadable()) << "its first byte is a read error";
}

const char kBundle[] = "/Library/Input Methods/ZentaIM.app";

class InputSourcesTest : public MachineTest {
 protected:
  void PutInfo(const std::string& xml, const std::string& bundle = kBundle) const {
    Put(bundle + "/Contents/Info.plist", xml);
  }

  // "ID" or "ID/mode ID" of each source in the list, in order, without the keyboard layout at its
  // start.
  [[nodiscard]] std::vector<std::string> Listed() const {
    std::vector<std::string> ids;
    for (const auto& source : sources_->List()) {
      ids.push_back(*source->SourceId() + (source->ModeId() ? "/" + *source->ModeId() : ""));
    }
    EXPECT_EQ(ids.at(0), "com.apple.keylayout.ABC");
    return {ids.begin() + 1, ids.end()};
  }

  // "STATUS: ENABLED: SELECTED:". Each source is named by the last component of its ID.
  [[nodiscard]] std::string After(InputSourceStatus status) const {
    const std::string state = Contents(kFolder + "/com.apple.HIToolbox.plist");
    static const std::regex last("([^<>.]+)</string>\\s*</dict>|</array>");
    std::string told = std::to_string(status);
    for (std::sregex_iterator i(state.begin(), state.end(), last), end; i != end; ++i) {
      told += (*i)[1].matched ? " " + i->str(1) : ":";
    }
    return told;
  }

  const std::unique_ptr<InputSources> sources_ = HostInputSources(MachineFolder(root_));
};

TEST_F(InputSourcesTest, OnlyInputMethodsInTheirFoldersAreRegistered) {
  const std::string mine = MachineFolder::HomeFolder() + "/Library/Input Methods/Mine.app";
  const std::string id = "<key>CFBundleIdentifier</key><string>org.inputmethod.x</string>";
  const std::pair<std::string, std::string> refused[] = {
      {"/Applications/X.app", Dict(id)},
      {"/Library/Input Methods/../X.app", Dict(id)},
      {kBundle, "broken"},
      {kBundle, Dict("<key>CFBundleIdentifier</key><true/>")}};
  for (const auto& [bundle, info] : refused) {
    PutInfo(info, bundle);
    EXPECT_EQ(sources_->Register(bundle), kBadParameter) << bundle << info;
  }
  PutInfo(Dict("<key>CFBundleIdentifier</key><string>a.inputmethods</string>"));
  EXPECT_EQ(sources_->Register(kBundle), 0);  // and passed over
  PutInfo(Dict(id), mine);
  EXPECT_EQ(sources_->Register(mine), 0);
  EXPECT_THAT(Listed(), ElementsAre("org.inputmethod.x"));
}

TEST_F(InputSourcesTest, ModesAreListedInTheirOrderUnderTheirIds) {
  PutInfo(
      Dict("<key>CFBundleIdentifier</key><string>c.inputmethod.Z</string>"
           "<key>TISInputSourceID</key><string>own</string>"
           "<key>ComponentInputModeDict</key><dict><key>tsInputModeListKey</key><dict>"
           "<key>c.inputmethod.a</key><dict/><key>c.inputmethod.Z.b</key><true/>"
           "<key>plain</key><dict/>"
           "<key>named</key><dict><key>TISInputSourceID</key><string>name</string></dict>"
           "</dict><key>tsVisibleInputModeOrderedArrayKey</key><array><string>named</string>"
           "<string>missing</string><integer>1</integer><string>plain</string>"
           "<string>named</string></array></dict>"));
  EXPECT_EQ(sources_->Register(kBundle), 0);
  EXPECT_THAT(Listed(), ElementsAre("own", "name/named", "c.inputmethod.Z.plain/plain",
                                    "c.inputmethod.Z.a/c.inputmethod.a",
                                    "c.inputmethod.Z.b/c.inputmethod.Z.b"));
}

TEST_F(InputSourcesTest, WhatIsOnDiskIsListedAndOnlyWhatIsEnabledIsSelected) {
  EXPECT_EQ(sources_->Register(kBundle), kBadParameter);
  EXPECT_EQ(Count(""), 0);
  PutInfo(folder_.Get(ZENTA_EXAMPLE_APP "/Contents/Info.plist"));
  for (int twice = 0; twice < 2; ++twice) EXPECT_EQ(sources_->Register(kBundle), 0);
  ASSERT_THAT(Listed(),
              ElementsAre("com.zenta.inputmethod.ZentaIM",
                          "com.zenta.inputmethod.ZentaIM.pinyin/com.zenta.inputmethod.pinyin"));
  const auto listed = sources_->List();
  fs::remove_all(At(kBundle));
  EXPECT_THAT(Listed(), ElementsAre());

  const InputSource *abc = listed[0].get(), *method = listed[1].get(), *mode = listed[2].get();
  EXPECT_EQ(After(sources_->Enable(nullptr)), "-50: ABC: ABC:");
  EXPECT_EQ(After(sources_->Select(mode)), "-50: ABC: ABC:");
  EXPECT_EQ(After(sources_->Disable(mode)), "0: ABC: ABC:");
  EXPECT_EQ(After(sources_->Enable(method)), "0: ABC ZentaIM: ABC:");
  EXPECT_EQ(After(sources_->Select(method)), "-50: ABC ZentaIM: ABC:");
  EXPECT_EQ(After(sources_->Disable(method)), "0: ABC: ABC:");
  EXPECT_EQ(After(sources_->Enable(mode)), "0: ABC pinyin: ABC:");
  EXPECT_EQ(After(sources_->Enable(mode)), "0: ABC pinyin: ABC:");
  EXPECT_EQ(After(sources_->Select(mode)), "0: ABC pinyin: pinyin:");
  EXPECT_EQ(After(sources_->Select(abc)), "0: ABC pinyin: ABC:");
  EXPECT_EQ(After(sources_->Select(mode)), "0: ABC pinyin: pinyin:");
  EXPECT_EQ(After(sources_->Disable(abc)), "-50: ABC pinyin: pinyin:");
  EXPECT_EQ(After(sources_->Disable(mode)), "0: ABC: ABC:");
}

}  // namespace
}  // namespace zenta::installer
