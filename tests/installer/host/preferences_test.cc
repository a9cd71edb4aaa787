#include <gmock/gmock.h>
#include <sys/resource.h>

#include <csignal>
#include <limits>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/plist_file.h"
#include "tests/installer/host/machine_fixture.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

const char kDefaults[] = "/Library/Preferences/com.zenta.inputmethod.ZentaIM.update.plist";
const char kSources[] = "/Library/Preferences/com.apple.HIToolbox.plist";
const char kKey[] = "install_fail_num";

std::string Xml(const std::string& body) { return "<plist version=\"1.0\">" + body + "</plist>"; }
std::string Dict(const std::string& body) { return Xml("<dict>" + body + "</dict>"); }

std::string Binary(const std::string& xml) {
  plist_t root = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &root);
  char* bytes = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(root, &bytes, &size);
  const std::string binary(bytes, size);
  plist_to_bin_free(bytes);
  plist_free(root);
  return binary;
}

// A dictionary with `levels` arrays, each of which holds the next one twice; libplist would make
// 2^levels nodes of them.
std::string SharingPlist(char levels) {
  const char key = static_cast<char>(levels + 1);
  std::string bytes = "bplist00", offsets;
  const auto add = [&](const std::string& object) {
    offsets += static_cast<char>(bytes.size());
    bytes += object;
  };
  add({'\xD1', key, 1});
  for (char next = 2; next <= levels; ++next) add({'\xA2', next, next});
  add("\xA0");
  add("Qk");
  std::string trailer(32, '\0');
  trailer[6] = trailer[7] = 1;
  trailer[15] = static_cast<char>(offsets.size());
  trailer[31] = static_cast<char>(bytes.size());
  return bytes + offsets + trailer;
}

class PreferencesTest : public MachineTest {
 protected:
  PreferencesTest() : defaults_(HostUserDefaults(Machine())), file_(InHome(kDefaults)) {}

  std::unique_ptr<UserDefaults> defaults_;
  std::string file_;
};

TEST_F(PreferencesTest, IntegersSurviveAndOtherKeysStay) {
  EXPECT_FALSE(defaults_->HasObject(kKey));
  EXPECT_EQ(defaults_->Integer(kKey), 0);
  defaults_->Remove(kKey);
  EXPECT_FALSE(fs::exists(At("/Users")));  // asking makes nothing
  Put(file_, Binary(Dict("<key>other</key><array><date>2024-01-01T00:00:00Z</date></array>")));
  using Limits = std::numeric_limits<std::int64_t>;
  for (const std::int64_t value :
       {std::int64_t{1}, Limits::min(), Limits::max(), std::int64_t{-1}}) {
    defaults_->SetInteger(kKey, value);
    EXPECT_EQ(HostUserDefaults(Machine())->Integer(kKey), value);
  }
  defaults_->Remove(kKey);
  EXPECT_FALSE(defaults_->HasObject(kKey));
  EXPECT_THAT(Contents(file_), testing::AllOf(testing::StartsWith("<?xml"),
                                              testing::HasSubstr("2024-01-01T00:00:00Z")));
  EXPECT_EQ(std::distance(fs::directory_iterator(InHome("/Library/Preferences")), {}), 1);
}

TEST_F(PreferencesTest, ValuesOfEveryTypeReadAsOnTheMac) {
  const std::pair<const char*, std::int64_t> rows[] = {
      {"<integer>5</integer>", 5},
      {"<integer>-5</integer>", -5},
      {"<string>12abc</string>", 12},
      {"<string> -7 </string>", -7},
      {"<string>abc</string>", 0},
      {"<string></string>", 0},
      {"<string>99999999999999999999</string>", std::numeric_limits<std::int64_t>::max()},
      {"<true/>", 1},
      {"<false/>", 0},
      {"<real>-2.9</real>", -2},
      {"<real>1e300</real>", std::numeric_limits<std::int64_t>::max()},
      {"<array/>", 0},
      {"<data>MTI=</data>", 0},
      {"<date>2024-01-01T00:00:00Z</date>", 0}};
  for (const auto& [value, want] : rows) {
    const std::string xml = Dict("<key>install_fail_num</key>" + std::string(value));
    for (const std::string& bytes : {xml, Binary(xml)}) {
      Put(file_, bytes);
      EXPECT_TRUE(defaults_->HasObject(kKey)) << value;
      EXPECT_EQ(defaults_->Integer(kKey), want) << value;
    }
  }
}

TEST_F(PreferencesTest, BrokenFilesCountAsEmptyAndAreKept) {
  const std::string good = Dict("<key>install_fail_num</key><integer>2</integer>");
  for (const std::string& bytes :
       {std::string("garbage"), std::string(), Xml("<array/>"), good.substr(0, good.size() / 2),
        Binary(good).substr(0, 50), SharingPlist(30), good + std::string(kMaxPlistBytes, ' ')}) {
    SCOPED_TRACE(bytes.substr(0, 60));
    Put(file_, bytes);
    EXPECT_FALSE(defaults_->HasObject(kKey));
    defaults_->SetInteger(kKey, 1);
    EXPECT_EQ(defaults_->Integer(kKey), 1);
    EXPECT_EQ(Contents(file_ + ".broken"), bytes);
  }
  fs::remove(file_);
  fs::create_directory(file_);
  EXPECT_THROW(defaults_->SetInteger(kKey, 1), std::system_error);
  EXPECT_TRUE(fs::is_directory(file_));
}

TEST_F(PreferencesTest, AFullDiskLeavesTheOldFile) {
  defaults_->SetInteger(kKey, 1);
  const auto old_handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit old_limit{};
  getrlimit(RLIMIT_FSIZE, &old_limit);
  const rlimit full{0, old_limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full);
  EXPECT_THROW(defaults_->SetInteger(kKey, 2), std::system_error);
  setrlimit(RLIMIT_FSIZE, &old_limit);
  std::signal(SIGXFSZ, old_handler);
  EXPECT_EQ(defaults_->Integer(kKey), 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(InHome("/Library/Preferences")), {}), 1);
}

TEST(PlistTest, BytesOfABinaryListMayBeAnything) {
  const std::string good = Binary(Dict(
      "<key>a</key><array><string>b</string><dict><key>b</key><string>b</string></dict></array>"));
  const auto parses = [](const std::string& bytes) {
    return ParsePlist(Bytes(bytes.begin(), bytes.end())) != nullptr;
  };
  EXPECT_TRUE(parses(good));
  EXPECT_TRUE(parses(SharingPlist(1)));
  EXPECT_FALSE(parses(SharingPlist(2)));
  for (std::size_t i = 0; i < good.size(); ++i) {
    EXPECT_FALSE(parses(good.substr(0, i))) << i;
    for (const char change : {'\x01', '\x10', '\x7F', '\xFF'}) {
      std::string changed = good;
      changed[i] = static_cast<char>(changed[i] ^ change);
      (void)parses(changed);  // must end, and touch nothing outside
    }
  }
}

class InputSourcesTest : public MachineTest {
 protected:
  InputSourcesTest() : sources_(HostInputSources(Machine())) {}

  static constexpr char kBundle[] = "/Library/Input Methods/ZentaIM.app";

  void PutInfo(const std::string& xml, const std::string& bundle = kBundle) const {
    Put(At(bundle + "/Contents/Info.plist"), xml);
  }
  void PutExample() const { PutInfo(Contents(ZENTA_EXAMPLE_APP "/Contents/Info.plist")); }

  // "ID" or "ID/mode ID", in the order of the list.
  [[nodiscard]] std::vector<std::string> Listed() const {
    std::vector<std::string> ids;
    for (const auto& source : sources_->List()) {
      ids.push_back(*source->SourceId() + (source->ModeId() ? "/" + *source->ModeId() : ""));
    }
    return ids;
  }

  // The state's list under the key: the last thing that each entry says.
  [[nodiscard]] std::vector<std::string> State(const char* key) const {
    const PlistFile file(InHome(kSources));
    const plist_t list = plist_dict_get_item(file.root(), key);
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < plist_array_get_size(list); ++i) {
      const plist_t entry = plist_array_get_item(list, i);
      std::optional<std::string> name;
      for (const char* known : {"Input Mode", "Bundle ID", "KeyboardLayout Name"}) {
        if (!name) name = TextUnder(entry, known);
      }
      names.push_back(name.value_or("?"));
    }
    return names;
  }

  std::unique_ptr<InputSources> sources_;
};

TEST_F(InputSourcesTest, BundleIsRegisteredFromWhatIsOnDisk) {
  const std::string keyboard = "com.apple.keylayout.ABC";
  EXPECT_EQ(sources_->Register(kBundle), kBadParameter);
  EXPECT_FALSE(fs::exists(At("/Users")));
  PutExample();
  EXPECT_THAT(Listed(), ElementsAre(keyboard));
  EXPECT_EQ(sources_->Register(kBundle), 0);
  EXPECT_EQ(sources_->Register(kBundle), 0);
  EXPECT_THAT(Listed(),
              ElementsAre(keyboard, "com.zenta.inputmethod.ZentaIM",
                          "com.zenta.inputmethod.ZentaIM.pinyin/com.zenta.inputmethod.pinyin"));
  fs::remove_all(At(kBundle));
  EXPECT_THAT(Listed(), ElementsAre(keyboard));
}

TEST_F(InputSourcesTest, OnlyInputMethodsInTheirFoldersAreRegistered) {
  const std::string mine = MachineFolder::HomeFolder() + "/Library/Input Methods/Mine.app";
  const std::string id = "<key>CFBundleIdentifier</key><string>org.inputmethod.x</string>";
  const struct {
    std::string bundle, info;
    InputSourceStatus status;
    std::size_t listed;  // besides the keyboard layout
  } rows[] = {
      {"/Applications/X.app", Dict(id), kBadParameter, 0},
      {"/Library/Input Methods/Sub/X.app", Dict(id), kBadParameter, 0},
      {"/Library/Input Methods/../X.app", Dict(id), kBadParameter, 0},
      {kBundle, "broken", kBadParameter, 0},
      {kBundle, Dict(""), kBadParameter, 0},
      {kBundle, Dict("<key>CFBundleIdentifier</key><true/>"), kBadParameter, 0},
      {kBundle, Dict("<key>CFBundleIdentifier</key><string>a.inputmethods</string>"), 0, 0},
      {mine, Dict(id), 0, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bundle + row.info);
    PutInfo(row.info, row.bundle);
    EXPECT_EQ(sources_->Register(row.bundle), row.status);
    EXPECT_EQ(Listed().size(), 1 + row.listed);
  }
}

TEST_F(InputSourcesTest, ModesAreListedInTheirOrderUnderTheirIds) {
  PutInfo(
      Dict("<key>CFBundleIdentifier</key><string>c.inputmethod.Z</string>"
           "<key>TISInputSourceID</key><string>own</string>"
           "<key>ComponentInputModeDict</key><dict><key>tsInputModeListKey</key><dict>"
           "<key>c.inputmethod.a</key><dict/>"
           "<key>c.inputmethod.Z.b</key><true/>"
           "<key>plain</key><dict/>"
           "<key>named</key><dict><key>TISInputSourceID</key><string>name</string></dict>"
           "</dict><key>tsVisibleInputModeOrderedArrayKey</key><array><string>named</string>"
           "<string>missing</string><integer>1</integer><string>plain</string>"
           "<string>named</string></array></dict>"));
  EXPECT_EQ(sources_->Register(kBundle), 0);
  EXPECT_THAT(
      Listed(),
      ElementsAre("com.apple.keylayout.ABC", "own", "name/named", "c.inputmethod.Z.plain/plain",
                  "c.inputmethod.Z.a/c.inputmethod.a", "c.inputmethod.Z.b/c.inputmethod.Z.b"));
}

TEST_F(InputSourcesTest, OnlyWhatIsEnabledAndSelectableIsSelected) {
  PutExample();
  ASSERT_EQ(sources_->Register(kBundle), 0);
  auto listed = sources_->List();
  const InputSource *keyboard = listed[0].get(), *method = listed[1].get(), *mode = listed[2].get();
  const struct {
    InputSourceStatus (InputSources::*call)(const InputSource*);
    const InputSource* source;
    InputSourceStatus status;
    std::vector<std::string> enabled;
    const char* selected;
  } steps[] = {
      {&InputSources::Select, mode, kBadParameter, {"ABC"}, "ABC"},
      {&InputSources::Enable, nullptr, kBadParameter, {"ABC"}, "ABC"},
      {&InputSources::Disable, mode, 0, {"ABC"}, "ABC"},
      {&InputSources::Enable, method, 0, {"ABC", "com.zenta.inputmethod.ZentaIM"}, "ABC"},
      {&InputSources::Select,
       method,
       kBadParameter,
       {"ABC", "com.zenta.inputmethod.ZentaIM"},
       "ABC"},
      {&InputSources::Disable, method, 0, {"ABC"}, "ABC"},
      {&InputSources::Enable, mode, 0, {"ABC", "com.zenta.inputmethod.pinyin"}, "ABC"},
      {&InputSources::Enable, mode, 0, {"ABC", "com.zenta.inputmethod.pinyin"}, "ABC"},
      {&InputSources::Select,
       mode,
       0,
       {"ABC", "com.zenta.inputmethod.pinyin"},
       "com.zenta.inputmethod.pinyin"},
      {&InputSources::Select, keyboard, 0, {"ABC", "com.zenta.inputmethod.pinyin"}, "ABC"},
      {&InputSources::Select,
       mode,
       0,
       {"ABC", "com.zenta.inputmethod.pinyin"},
       "com.zenta.inputmethod.pinyin"},
      {&InputSources::Disable,
       keyboard,
       kBadParameter,
       {"ABC", "com.zenta.inputmethod.pinyin"},
       "com.zenta.inputmethod.pinyin"},
      {&InputSources::Disable, mode, 0, {"ABC"}, "ABC"},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(&step - steps);
    EXPECT_EQ((sources_.get()->*step.call)(step.source), step.status);
    if (&step < steps + 2) continue;  // nothing is written yet
    EXPECT_EQ(State("AppleEnabledInputSources"), step.enabled);
    EXPECT_THAT(State("AppleSelectedInputSources"), ElementsAre(step.selected));
  }
}

}  // namespace
}  // namespace zenta
