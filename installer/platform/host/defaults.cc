#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>
#include <system_error>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/plist_file.h"

namespace zenta::installer {
namespace {

// Below the home folder. The file is named after the program's bundle identifier.
constexpr char kDomain[] = "/Library/Preferences/com.zenta.inputmethod.ZentaIM.update.plist";

// Truncates towards zero. A number out of range becomes the nearest in range; NaN becomes 0.
std::int64_t Truncated(double number) {
  constexpr double kBound = 9223372036854775808.0;  // 2^63
  if (std::isnan(number)) return 0;
  if (number >= kBound) return std::numeric_limits<std::int64_t>::max();
  if (number < -kBound) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(number);
}

// The value as the Mac's integerForKey: returns it: a number of any kind, or the number that a text
// begins with (after blanks and a sign; out of range, the nearest in range).
std::int64_t AsInteger(plist_t node) {
  std::uint64_t integer = 0;
  std::uint8_t truth = 0;
  double real = 0;
  switch (node == nullptr ? PLIST_NONE : plist_get_node_type(node)) {
    case PLIST_UINT:
      plist_get_uint_val(node, &integer);
      return static_cast<std::int64_t>(integer);  // negative ones are in two's complement
    case PLIST_BOOLEAN:
      plist_get_bool_val(node, &truth);
      return truth != 0 ? 1 : 0;
    case PLIST_REAL:
      plist_get_real_val(node, &real);
      return Truncated(real);
    case PLIST_STRING:
      return std::strtoll(StringOf(node).value_or("").c_str(), nullptr, 10);
    default:
      return 0;
  }
}

// Reads the file for each call, because another process may have changed it. Throws if the file
// cannot be read or stored.
class PlistDefaults final : public UserDefaults {
 public:
  explicit PlistDefaults(const MachineFolder& machine) : machine_(machine) {}

  bool HasObject(std::string_view key) override { return Find(Open(), key) != nullptr; }

  std::int64_t Integer(std::string_view key) override {
    const PlistFile file = Open();
    return AsInteger(Find(file, key));
  }

  bool SetInteger(std::string_view key, std::int64_t value) override {
    PlistFile file(machine_.HostPathForWriting(Path()));
    plist_dict_set_item(file.root(), std::string(key).c_str(),
                        plist_new_uint(static_cast<std::uint64_t>(value)));
    file.Save();
    return true;
  }

  bool Remove(std::string_view key) override {
    PlistFile file = Open();
    if (Find(file, key) == nullptr) return true;
    plist_dict_remove_item(file.root(), std::string(key).c_str());
    file.Save();
    return true;
  }

 private:
  static std::string Path() { return MachineFolder::HomeFolder() + kDomain; }
  // Throws if the file cannot be read: taken for empty, the counter would start again.
  [[nodiscard]] PlistFile Open() const {
    PlistFile file(machine_.HostPath(Path()));
    if (file.unreadable()) throw std::system_error(EIO, std::generic_category(), Path());
    return file;
  }
  static plist_t Find(const PlistFile& file, std::string_view key) {
    return plist_dict_get_item(file.root(), std::string(key).c_str());
  }

  const MachineFolder machine_;
};

}  // namespace

std::unique_ptr<UserDefaults> HostUserDefaults(const MachineFolder& machine) {
  return std::make_unique<PlistDefaults>(machine);
}

}  // namespace zenta::installer
