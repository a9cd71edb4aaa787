#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"

namespace zenta::installer {
namespace {

using signing::StringOfText;

class SystemLog final : public Log {
 public:
  void Line(std::string_view text) override { NSLog(@"%@", StringOfText(text)); }
};

}  // namespace

std::unique_ptr<Log> MacLog() { return std::make_unique<SystemLog>(); }

}  // namespace zenta::installer
