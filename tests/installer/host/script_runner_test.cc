#include <gmock/gmock.h>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/process.h"
#include "tests/installer/machine_fixture.h"

namespace zenta::installer {
namespace {

std::string Source(const std::string& command) {
  return "do shell script \"" + command + "\" with administrator privileges";
}

class ScriptRunnerTest : public MachineTest {
 protected:
  [[nodiscard]] ScriptOutcome Run(const std::string& source, const std::string& asking = "") const {
    return HostScriptRunner(MachineFolder(root_), {asking})->Run(source);
  }
  // "= RESULT" for a success, "NUMBER MESSAGE" for a failure.
  [[nodiscard]] std::string Told(const std::string& command, const std::string& asking = "") const {
    const ScriptOutcome outcome = Run(Source(command), asking);
    if (outcome.succeeded) return "= " + outcome.result.value_or("none");
    return std::to_string(outcome.error_number.value_or(0)) + " " +
           outcome.error_message.value_or("none");
  }
  // Creates a program in the machine and returns its path on the host.
  [[nodiscard]] std::string PutProgram(const std::string& path, const std::string& script) const {
    Put(path, "#!/bin/sh\n" + script);
    permissions(std::filesystem::path(At(path)), std::filesystem::perms{0755});
    return At(path);
  }
};

TEST_F(ScriptRunnerTest, OutcomeOfACommandIsMappedAsOnTheMac) {
  const std::pair<const char*, const char*> rows[] = {
      {"true", "= "},
      {R"(printf 'a\\nb\\n\\n')", "= a\rb\r"},
      {"echo done; echo noise >&2", "= done"},
      {R"(printf 'a\tb\rc\n')", "= a\tb\rc"},  // the script language's escapes
      {"cat", "= "},                           // standard input is empty
      {R"(echo \"a  b\" '$HOME' \\\\)", R"(= a  b $HOME \)"},
      {R"(echo lost; printf 'why\\nnot\\n' >&2; exit 3)", "3 why\rnot"},
      {"exit 1", "1 The command exited with a non-zero status."},
      {"kill -9 $$", "137 The command exited with a non-zero status."}};
  for (const auto& [command, told] : rows) EXPECT_EQ(Told(command), told) << command;
}

TEST_F(ScriptRunnerTest, OtherScriptsAreSyntaxErrors) {
  const std::string good = Source("true");
  for (const std::string& source :
       {std::string(), std::string("do shell script \"true\""), Source("echo \"x\""), Source("\\q"),
        Source("\\"), good + "\n", " " + good, good.substr(0, 21), good.substr(0, 17) + "\\"}) {
    EXPECT_EQ(Run(source).error_number, -2740) << source;
  }
}

TEST_F(ScriptRunnerTest, LongOutputOnBothStreamsIsReadAndItsBeginningKept) {
  const std::string both = "head -c 3000000 /dev/zero >&2; head -c 3000000 /dev/zero";
  EXPECT_EQ(Run(Source(both)).result->size(), kMaxKeptOutput);
  EXPECT_EQ(Run(Source(both + "; exit 1")).error_message->size(), kMaxKeptOutput);
}

// An absolute path in quotes names a program below the machine folder, and that gets ZENTA_MACHINE.
TEST_F(ScriptRunnerTest, ProgramsAreThoseOfTheMachine) {
  const std::string command = "'/usr/sbin/installer' -pkg /x.pkg -target /";
  EXPECT_EQ(Run(Source(command)).error_number, 127);
  const std::string program =
      PutProgram("/usr/sbin/installer", "echo \"$0|$*|$ZENTA_MACHINE\"; pwd");
  EXPECT_EQ(Told(command), "= " + program + "|-pkg /x.pkg -target /|" + root_ + "\r" +
                               std::filesystem::current_path().string());
}

TEST_F(ScriptRunnerTest, ThePersonIsAskedFirst) {
  const struct {
    const char *asking, *command, *told;
  } rows[] = {{"echo noise >&2; exec \"$@\"", "echo x", "= x"},
              {"echo noise >&2; exec \"$@\"", "echo bad >&2; exit 1", "1 bad"},
              {"exec \"$@\"", "exit 126", "126 The command exited with a non-zero status."},
              {"exec \"$@\"", "exit 127", "127 The command exited with a non-zero status."},
              {"exit 126", "exit 0", "-128 User canceled."},
              {"echo Not authorized >&2; exit 127", "exit 0", "-60005 Not authorized"},
              {"kill -9 $$", "exit 0", "-60005 "}};
  for (const auto& [asking, command, told] : rows) {
    EXPECT_EQ(Told(command, PutProgram("/ask", asking)), told) << asking;
  }
  EXPECT_EQ(Run(Source("true"), At("/no such program")).error_number, -60007);
}

}  // namespace
}  // namespace zenta::installer
