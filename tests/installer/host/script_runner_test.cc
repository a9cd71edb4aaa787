#include <gmock/gmock.h>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/process.h"
#include "tests/installer/host/machine_fixture.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using Number = std::optional<std::int64_t>;
using Message = std::optional<std::string>;

std::string Source(const std::string& command) {
  return "do shell script \"" + command + "\" with administrator privileges";
}

class ScriptRunnerTest : public MachineTest {
 protected:
  [[nodiscard]] ScriptOutcome Run(const std::string& source, const std::string& asking = "") const {
    return HostScriptRunner(Machine(), {asking})->Run(source);
  }
  // A program of the machine, or of the host if given a whole path.
  [[nodiscard]] std::string PutProgram(const std::string& path, const std::string& script) const {
    Put(At(path), "#!/bin/sh\n" + script);
    fs::permissions(At(path), fs::perms{0755});
    return At(path);
  }
};

TEST_F(ScriptRunnerTest, OutcomeOfACommandIsMappedAsOnTheMac) {
  const struct {
    const char* command;  // as it stands in the source
    Message result;
    Number number = {};
    Message message = {};
  } rows[] = {
      {"true", ""},
      {"printf 'a\\\\nb\\\\n\\\\n'", "a\rb\r"},
      {"echo done; echo noise >&2", "done"},
      {"cat", ""},  // there is nothing to read
      {"echo \\\"a  b\\\" '$HOME' \\\\\\\\", "a  b $HOME \\"},
      {"echo lost; printf 'why\\\\nnot\\\\n' >&2; exit 3", {}, 3, "why\rnot"},
      {"exit 1", {}, 1, "The command exited with a non-zero status."},
      {"kill -9 $$", {}, 137, "The command exited with a non-zero status."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.command);
    const ScriptOutcome outcome = Run(Source(row.command));
    EXPECT_EQ(outcome.succeeded, row.result.has_value());
    EXPECT_EQ(outcome.result, row.result);
    EXPECT_EQ(outcome.error_number, row.number);
    EXPECT_EQ(outcome.error_message, row.message);
  }
}

TEST_F(ScriptRunnerTest, OtherScriptsAreSyntaxErrors) {
  for (const std::string& source :
       {std::string(), std::string("do shell script \"true\""), Source("echo \"x\""), Source("\\q"),
        Source("\\"), Source("true") + "\n", " " + Source("true"),
        std::string("do shell script \"true"), std::string("do shell script \"true\\")}) {
    const ScriptOutcome outcome = Run(source);
    EXPECT_FALSE(outcome.succeeded) << source;
    EXPECT_EQ(outcome.error_number, -2740) << source;
  }
}

TEST_F(ScriptRunnerTest, LongOutputOnBothStreamsIsReadAndItsBeginningKept) {
  const std::string both = "head -c 3000000 /dev/zero >&2; head -c 3000000 /dev/zero";
  EXPECT_EQ(Run(Source(both)).result->size(), kMaxKeptOutput);
  EXPECT_EQ(Run(Source(both + "; exit 1")).error_message->size(), kMaxKeptOutput);
}

// What an absolute path in quotes names is below the machine folder, and told where that is.
TEST_F(ScriptRunnerTest, ProgramsAreThoseOfTheMachine) {
  const std::string source = Source("'/usr/sbin/installer' -pkg /x.pkg -target /");
  EXPECT_EQ(Run(source).error_number, 127);
  const std::string program =
      PutProgram("/usr/sbin/installer", "echo \"$0|$*|$ZENTA_MACHINE\"; pwd");
  EXPECT_EQ(Run(source).result,
            program + "|-pkg /x.pkg -target /|" + root_ + "\r" + fs::current_path().string());
}

TEST_F(ScriptRunnerTest, ThePersonIsAskedFirst) {
  const struct {
    const char* asking;
    const char* command;
    Number number;
    Message message;
  } rows[] = {
      {"exec \"$@\"", "exit 0", {}, {}},
      {"echo noise >&2; exec \"$@\"", "echo bad >&2; exit 1", 1, "bad"},
      {"exec \"$@\"", "exit 126", 126, "The command exited with a non-zero status."},
      {"exec \"$@\"", "exit 127", 127, "The command exited with a non-zero status."},
      {"exec \"$@\"", "if", 2, {}},
      {"exit 126", "exit 0", kScriptCancelled, "User canceled."},
      {"echo Not authorized >&2; exit 127", "exit 0", -60005, "Not authorized"},
      {"kill -9 $$", "exit 0", -60005, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.asking + std::string(" / ") + row.command);
    const ScriptOutcome outcome = Run(Source(row.command), PutProgram("/ask", row.asking));
    EXPECT_EQ(outcome.succeeded, !row.number);
    EXPECT_EQ(outcome.error_number, row.number);
    if (row.message) {
      EXPECT_EQ(outcome.error_message, row.message);
    }
  }
  EXPECT_EQ(Run(Source("true"), At("/no such program")).error_number, -60007);
}

}  // namespace
}  // namespace zenta
