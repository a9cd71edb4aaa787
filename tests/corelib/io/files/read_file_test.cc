#include "corelib/io/files/read_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "corelib/io/files/descriptor.h"
#include "tests/corelib/io/files/system_calls.h"
#include "tests/temp_folder.h"

namespace tstl::detail {
namespace {

struct ReadFileTest : testing::Test {
  // The text that is read, or "-" for a refusal, which must leave the buffer empty.
  static std::string Read(const char* path, std::uint64_t limit, IfLonger if_longer) {
    Buffer<unsigned char> bytes;
    bytes.append_str("before");
    if (read_file(path, bytes, limit, if_longer)) return std::string(bytes.std_view());
    return bytes.is_empty() ? "-" : "left over";
  }
  const zenta::TempFolder folder;
};

TEST_F(ReadFileTest, OnlyARegularFileIsReadAndTheLimitRefusesOrCuts) {
  const std::string four = folder.Put("four", "four"), none = folder.Put("none", "");
  const std::string pipe = folder.At("pipe"), absent = folder.At("absent");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  struct Row {
    const char* path;
    std::uint64_t limit;
    const char *refused, *cut;
  };
  for (const auto& [path, limit, refused, cut] :
       {Row{four.c_str(), UINT64_MAX, "four", "four"}, Row{four.c_str(), 4, "four", "four"},
        Row{four.c_str(), 3, "-", "fou"}, Row{four.c_str(), 0, "-", ""},
        Row{none.c_str(), 0, "", ""}, Row{pipe.c_str(), 4, "-", "-"}, Row{"/dev/zero", 4, "-", "-"},
        Row{"/", 4, "-", "-"}, Row{absent.c_str(), 4, "-", "-"}, Row{"", 4, "-", "-"},
        Row{nullptr, 4, "-", "-"}}) {
    SCOPED_TRACE(testing::Message() << (path == nullptr ? "null" : path) << ' ' << limit);
    EXPECT_EQ(Read(path, limit, IfLonger::kRefuse), refused);
    EXPECT_EQ(Read(path, limit, IfLonger::kCut), cut);
  }
}

TEST_F(ReadFileTest, InterruptedAndShortReadsGoOnAndAnErrorLeavesNothing) {
  const std::string path = folder.Put("file", "abcdef");
  for (const int error : {EINTR, EIO}) {
    int calls = 0;
    const Answering answering(reads, [&](std::uint64_t) { return ++calls % 2 == 0 ? -error : 2; });
    EXPECT_EQ(Read(path.c_str(), 6, IfLonger::kRefuse), error == EINTR ? "abcdef" : "-");
  }
}

TEST_F(ReadFileTest, NoFileGetsTheNumberOfAStandardStreamOrOutlivesExec) {
  const int input = duplicate_file(STDIN_FILENO);
  ASSERT_GT(input, STDERR_FILENO);
  ::close(STDIN_FILENO);
  const Descriptor file(open_file(folder.At("new").c_str(), O_WRONLY | O_CREAT, 0600));
  const int copy = duplicate_file(file.fd());
  EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);  // neither call has kept this number
  EXPECT_EQ(::dup2(input, STDIN_FILENO), STDIN_FILENO);
  for (const int fd : {file.fd(), copy}) {
    EXPECT_GT(fd, STDERR_FILENO);
    EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
  }
  EXPECT_EQ(close_file(copy), 0);
  EXPECT_EQ(close_file(copy), EBADF);
  EXPECT_EQ(close_file(input), 0);
}

}  // namespace
}  // namespace tstl::detail
