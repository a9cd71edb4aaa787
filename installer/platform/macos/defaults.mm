#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"

namespace zenta::installer {
namespace {

using signing::StringOfText;

static_assert(sizeof(NSInteger) == sizeof(std::int64_t));

class StandardUserDefaults final : public UserDefaults {
 public:
  bool HasObject(std::string_view key) override {
    return [Store() objectForKey:StringOfText(key)] != nil;
  }

  std::int64_t Integer(std::string_view key) override {
    return [Store() integerForKey:StringOfText(key)];
  }

  // Synchronizes at once, because the program ends soon after a change.
  bool SetInteger(std::string_view key, std::int64_t value) override {
    [Store() setInteger:static_cast<NSInteger>(value) forKey:StringOfText(key)];
    return [Store() synchronize];
  }

  bool Remove(std::string_view key) override {
    [Store() removeObjectForKey:StringOfText(key)];
    return [Store() synchronize];
  }

 private:
  static NSUserDefaults* Store() { return [NSUserDefaults standardUserDefaults]; }
};

}  // namespace

std::unique_ptr<UserDefaults> MacUserDefaults() { return std::make_unique<StandardUserDefaults>(); }

}  // namespace zenta::installer
