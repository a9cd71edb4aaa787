#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"

namespace zenta::installer {
namespace {

using signing::StringOfText;
using signing::TextOfString;

// The dictionary can be nil, and each of its keys can be missing.
ScriptOutcome FailureOf(NSDictionary* error) {
  ScriptOutcome outcome;
  NSNumber* number = [error objectForKey:NSAppleScriptErrorNumber];
  if (number != nil) outcome.error_number = [number integerValue];
  outcome.error_message = TextOfString([error objectForKey:NSAppleScriptErrorMessage]);
  return outcome;
}

class AppleScriptRunner final : public ScriptRunner {
 public:
  ScriptOutcome Run(const std::string& source) override {
    NSAppleScript* script =
        [[[NSAppleScript alloc] initWithSource:StringOfText(source)] autorelease];
    NSDictionary* error = nil;
    NSAppleEventDescriptor* result = [script executeAndReturnError:&error];
    if (result == nil) return FailureOf(error);
    return {.succeeded = true, .result = TextOfString([result stringValue])};
  }
};

}  // namespace

std::unique_ptr<ScriptRunner> MacScriptRunner() { return std::make_unique<AppleScriptRunner>(); }

}  // namespace zenta::installer
