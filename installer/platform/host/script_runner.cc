#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/process.h"
#include "installer/platform/host/script_source.h"

namespace zenta::installer {
namespace {

// Error numbers of the Mac's script runner.
constexpr std::int64_t kSyntaxError = -2740;
constexpr std::int64_t kNotAuthorized = -60005;
constexpr std::int64_t kCannotAsk = -60007;

// Exit status of the elevation program if the user dismissed the prompt.
constexpr int kDismissed = 126;

// The shell prints this line to standard error first, once the user has authorized it. Without the
// line, the exit status is that of the elevation program and not of the command.
constexpr std::string_view kAuthorized = "zenta: authorized\n";

ScriptOutcome Failed(std::int64_t number, std::string message) {
  ScriptOutcome outcome;
  outcome.error_number = number;
  outcome.error_message = std::move(message);
  return outcome;
}

// Output in the script language's form: without its last line end, and with carriage returns for
// the others.
std::string ScriptText(std::string text) {
  if (text.ends_with('\n')) text.pop_back();
  std::replace(text.begin(), text.end(), '\n', '\r');
  return text;
}

// A command that fails without a message gets the Mac's message for that.
ScriptOutcome OutcomeOf(ProcessOutcome process) {
  ScriptOutcome outcome;
  if (process.status != 0) {
    const std::string message = ScriptText(std::move(process.error));
    return Failed(process.status,
                  message.empty() ? "The command exited with a non-zero status." : message);
  }
  outcome.succeeded = true;
  outcome.result = ScriptText(std::move(process.output));
  return outcome;
}

class ShellScriptRunner final : public ScriptRunner {
 public:
  ShellScriptRunner(const MachineFolder& machine, const Elevation& elevation)
      : machine_(machine), elevation_(elevation) {}

  ScriptOutcome Run(const std::string& source) override {
    const auto command = ShellCommandOf(source);
    if (!command) return Failed(kSyntaxError, "A syntax error: not a privileged shell script.");
    const std::string program_below = WithProgramBelow(machine_.root(), *command);
    return elevation_.program.empty() ? RunDirectly(program_below) : RunElevated(program_below);
  }

 private:
  // Sets ZENTA_MACHINE to an absolute path, so that it stays valid if the command changes folders.
  [[nodiscard]] ProcessOutcome RunHere(const std::vector<std::string>& arguments) const {
    return RunProcess(arguments, EnvironmentWith("ZENTA_MACHINE", machine_.HostPath("/")));
  }

  [[nodiscard]] ScriptOutcome RunDirectly(const std::string& command) const {
    ProcessOutcome process = RunHere({"/bin/sh", "-c", command});
    // 127 is a shell's exit status for a program that it cannot start.
    if (process.spawn_error != 0) return Failed(127, std::strerror(process.spawn_error));
    return OutcomeOf(std::move(process));
  }

  [[nodiscard]] ScriptOutcome RunElevated(const std::string& command) const {
    // On a line of its own, so that the shell runs it before it parses the command.
    const std::string script =
        "echo '" + std::string(kAuthorized.substr(0, kAuthorized.size() - 1)) + "' >&2\n" + command;
    ProcessOutcome process = RunHere({elevation_.program, "/bin/sh", "-c", script});
    if (process.spawn_error != 0) return Failed(kCannotAsk, std::strerror(process.spawn_error));
    const std::size_t said = process.error.find(kAuthorized);
    if (said == std::string::npos) {
      if (process.status == kDismissed) return Failed(kScriptCancelled, "User canceled.");
      return Failed(kNotAuthorized, ScriptText(std::move(process.error)));
    }
    process.error.erase(0, said + kAuthorized.size());
    return OutcomeOf(std::move(process));
  }

  const MachineFolder machine_;
  const Elevation elevation_;
};

}  // namespace

Elevation ElevationFor(const MachineFolder& machine) {
  return {machine.IsWholeSystem() && geteuid() != 0 ? "pkexec" : ""};
}

std::unique_ptr<ScriptRunner> HostScriptRunner(const MachineFolder& machine,
                                               const Elevation& elevation) {
  return std::make_unique<ShellScriptRunner>(machine, elevation);
}

}  // namespace zenta::installer
