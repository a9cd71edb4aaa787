// RecordedTransport on folders made for the purpose.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "engine/cloud/recorded_transport.h"

namespace zenta::cloud {
namespace {

namespace fs = std::filesystem;
using tstl::Buffer;
using tstl::BufferRef;

class RecordedTransportTest : public testing::Test {
 protected:
  RecordedTransportTest() { fs::create_directories(folder_); }
  ~RecordedTransportTest() override { fs::remove_all(folder_); }

  void Put(const std::string& name, std::string_view bytes) const {
    std::ofstream(folder_ / name, std::ios::binary) << bytes;
  }
  // What comes back: the response, or the fault in brackets.
  static std::string Ask(const fs::path& folder, CloudEncoding encoding, std::string_view request) {
    RecordedTransport recorded(folder.string());
    Transport& transport = recorded;
    Buffer<unsigned char> response(BufferRef<unsigned char>("of the last exchange"));
    const ExchangeFault fault = transport.Exchange(encoding, request, response);
    if (fault == ExchangeFault::kNone) return std::string(response.std_view());
    EXPECT_TRUE(response.is_empty());
    return "[" + std::string(ExchangeFaultText(fault)) + "]";
  }
  std::string AskBinary(std::string_view request) const {
    return Ask(folder_, CloudEncoding::kBinary, request);
  }

  const fs::path folder_ = fs::path(testing::TempDir()) / ("recorded_" + std::to_string(getpid()));
};

constexpr char kNoAnswer[] = "[the service has no answer to this request]";
constexpr char kUnreachable[] = "[the service cannot be reached]";
constexpr char kBadAnswer[] = "[the answer is broken off or too long]";

TEST_F(RecordedTransportTest, AnswersTheRequestWithTheSameBytesInTheSameEncoding) {
  const std::string with_zero("a\0b", 3);
  Put("b.request.bin", with_zero);
  Put("b.response.bin", "of b");
  Put("c.request.bin", with_zero);
  Put("c.response.bin", "of c");
  Put("d.request.bin", "");
  Put("d.response.bin", "");
  Put("b.request.json", "{}");
  Put("b.response.json", "[]");
  Put(".request.bin", "nameless");
  Put(".response.bin", "nameless");
  fs::create_directory(folder_ / "folder.request.bin");
  ASSERT_EQ(mkfifo((folder_ / "a.request.bin").c_str(), 0600), 0);  // would be waited for for ever

  EXPECT_EQ(AskBinary(with_zero), "of b") << "the first name wins";
  EXPECT_EQ(AskBinary(""), "");
  EXPECT_EQ(Ask(folder_, CloudEncoding::kJson, "{}"), "[]");
  for (const char* request : {"a", "{}", "A", "nameless"}) EXPECT_EQ(AskBinary(request), kNoAnswer);
  Put("a2.request.bin", with_zero);
  Put("a2.response.bin", "of a2");
  EXPECT_EQ(AskBinary(with_zero), "of a2") << "what is new counts at once";
}

TEST_F(RecordedTransportTest, SaysWhatIsWrong) {
  Put("none.request.bin", "none");
  Put("folder.request.bin", "folder");
  fs::create_directory(folder_ / "folder.response.bin");
  for (const auto& [name, size] : {std::pair("most", RecordedTransport::kMaxResponse),
                                   std::pair("more", RecordedTransport::kMaxResponse + 1)}) {
    Put(std::string(name) + ".request.bin", name);
    Put(std::string(name) + ".response.bin", "");
    fs::resize_file(folder_ / (std::string(name) + ".response.bin"), size);
  }
  EXPECT_EQ(AskBinary("none"), kBadAnswer);
  EXPECT_EQ(AskBinary("folder"), kBadAnswer);
  EXPECT_EQ(AskBinary("more"), kBadAnswer);
  EXPECT_EQ(AskBinary("most").size(), RecordedTransport::kMaxResponse);
  EXPECT_EQ(Ask(folder_ / "missing", CloudEncoding::kBinary, "none"), kUnreachable);
  EXPECT_EQ(Ask(folder_ / "none.request.bin", CloudEncoding::kBinary, "none"), kUnreachable);
}

}  // namespace
}  // namespace zenta::cloud
