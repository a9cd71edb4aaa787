#include "installer/run_as_administrator.h"

#include <utility>

#include "installer/attempt.h"

namespace zenta::installer {
namespace {

using signing::Text;

constexpr char kPasswordRequired[] = "The administrator password is required to do this.";

std::string ScriptSource(const std::string& path, std::span<const std::string> arguments) {
  std::string joined;
  for (const std::string& argument : arguments) {
    if (&argument != arguments.data()) joined += ' ';
    joined += argument;
  }
  const std::string command = "'" + path + "' " + joined;
  return "do shell script \"" + command + "\" with administrator privileges";
}

// A dismissed password prompt has a fixed text, whatever message the script language gives.
Text ErrorText(ScriptOutcome failure) {
  if (failure.error_number == kScriptCancelled) return kPasswordRequired;
  return std::move(failure.error_message);
}

}  // namespace

bool RunAsAdministrator(ScriptRunner& scripts, const std::string& path,
                        std::span<const std::string> arguments, Text* output, Text* error,
                        std::optional<std::int64_t>* number) {
  ScriptOutcome outcome = AttemptOr({}, [&] { return scripts.Run(ScriptSource(path, arguments)); });
  if (!outcome.succeeded) {
    if (number != nullptr) *number = outcome.error_number;
    if (error != nullptr) *error = ErrorText(std::move(outcome));
    return false;
  }
  if (output != nullptr) *output = std::move(outcome.result);
  return true;
}

}  // namespace zenta::installer
