// RecordedTransport with temporary folders, and whole exchanges.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

#include "engine/cloud/exchange.h"
#include "engine/cloud/recorded_transport.h"
#include "fuzz/io/wire_oracle.h"
#include "tests/temp_folder.h"

namespace zenta::cloud {
namespace {

namespace fs = std::filesystem;
using tstl::Buffer;
using tstl::BufferRef;

class RecordedTransportTest : public testing::Test, protected TempFolder {
 protected:
  // The response, or the fault in brackets.
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

  const fs::path folder_ = At("");
};

constexpr char kNoAnswer[] = "[the service has no answer to this request]";
constexpr char kUnreachable[] = "[the service cannot be reached]";
constexpr char kBadAnswer[] = "[the answer is broken off or too long]";

TEST_F(RecordedTransportTest, AnswersTheRequestWithTheSameBytesInTheSameEncoding) {
  const std::string with_zero("a\0b", 3);
  for (const auto& [name, request] :
       {std::pair("b", with_zero), {"c", with_zero}, {"d", ""}, {"", "nameless"}}) {
    Put(name + std::string(".request.bin"), request);
    Put(name + std::string(".response.bin"), request.empty() ? "" : std::string("of ") + name);
  }
  Put("b.request.json", "{}");
  Put("b.response.json", "[]");
  fs::create_directory(folder_ / "folder.request.bin");
  ASSERT_EQ(mkfifo((folder_ / "a.request.bin").c_str(), 0600), 0);  // must not be waited for

  EXPECT_EQ(AskBinary(with_zero), "of b") << "the first name wins";
  EXPECT_EQ(AskBinary(""), "");
  EXPECT_EQ(Ask(folder_, CloudEncoding::kJson, "{}"), "[]");
  for (const char* request : {"a", "{}", "A", "nameless"}) EXPECT_EQ(AskBinary(request), kNoAnswer);
  Put("a2.request.bin", with_zero);
  Put("a2.response.bin", "of a2");
  EXPECT_EQ(AskBinary(with_zero), "of a2") << "new recordings take effect at once";
}

TEST_F(RecordedTransportTest, SaysWhatIsWrong) {
  for (const char* name : {"none", "folder", "most", "more"})
    Put(name + std::string(".request.bin"), name);
  fs::create_directory(folder_ / "folder.response.bin");
  fs::resize_file(Put("most.response.bin", ""), RecordedTransport::kMaxResponse);
  fs::resize_file(Put("more.response.bin", ""), RecordedTransport::kMaxResponse + 1);
  for (const char* name : {"none", "folder", "more"}) EXPECT_EQ(AskBinary(name), kBadAnswer);
  EXPECT_EQ(AskBinary("most").size(), RecordedTransport::kMaxResponse);
  for (const char* no_folder : {"missing", "none.request.bin"}) {
    EXPECT_EQ(Ask(folder_ / no_folder, CloudEncoding::kBinary, "none"), kUnreachable);
  }
}

// Answers with what it is given.
struct FixedTransport final : Transport {
  ExchangeFault Exchange(CloudEncoding, BufferRef<unsigned char> asked,
                         Buffer<unsigned char>& response) override {
    request = asked.std_view();
    response = BufferRef<unsigned char>(answer);
    return fault;
  }
  std::string request, answer;
  ExchangeFault fault = ExchangeFault::kNone;
};

TEST(AskTest, ReadsTheAnswerOrTellsTheStepThatFailed) {
  CloudRequest request;
  request.ipt.context_id = 5;
  const struct {
    CloudEncoding encoding;
    const char *answer, *request, *step, *reason;
    std::uint32_t check_id, position;
    ExchangeFault fault = ExchangeFault::kNone;
  } rows[] = {
      {CloudEncoding::kBinary, "\x0A\x02\x08\x07", "\x12\x02\x18\x05", "nothing", "no fault", 7, 0},
      {CloudEncoding::kBinary, "\x0A\x03\x08\x07\x10", "\x12\x02\x18\x05", "the response",
       "the message ends inside a field", 7, 5},
      {CloudEncoding::kJson, R"({"serv_info":{"check_id":7}})", nullptr, "nothing", "no fault", 7,
       0},
      {CloudEncoding::kJson, R"({"serv_info":{"check_id":7)", nullptr, "the response",
       "the text ends before its value does", 7, 26},
      {CloudEncoding::kBinary, "", "\x12\x02\x18\x05", "the exchange",
       "the service has no answer to this request", 0, 0, ExchangeFault::kNoAnswer},
  };
  for (const auto& row : rows) {
    FixedTransport service;
    service.answer = row.answer, service.fault = row.fault;
    tstl::Chunk arena;
    CloudResponse response;
    response.serv_info.check_id = 9;
    const ExchangeResult result = Ask(service, row.encoding, request, response, arena);
    EXPECT_EQ(result.step() + std::string(": ") + result.reason,
              row.step + std::string(": ") + row.reason);
    EXPECT_EQ(bool(result), row.step == std::string("nothing"));
    EXPECT_EQ(result.position, row.position);
    EXPECT_EQ(response.serv_info.check_id, row.check_id);
    if (row.request != nullptr) {
      EXPECT_EQ(service.request, row.request);
    }
  }
}

TEST(AskTest, MemoryStaysInsideTheLimit) {
  FixedTransport service;
  for (int i = 0; i < 600000; ++i) service.answer += std::string("\x32\0\x3A\0", 4);
  for (const std::uint64_t limit : {tstl::Chunk::kNoLimit, std::uint64_t{1} << 20}) {
    tstl::Chunk arena;
    arena.set_limit(limit);
    CloudResponse response;
    const ExchangeResult result = Ask(service, CloudEncoding::kBinary, {}, response, arena);
    EXPECT_STREQ(result.reason, "no memory for what was read");
    EXPECT_LE(arena.total(), std::min(limit, kMaxResponseMemory));
    EXPECT_EQ(arena.limit(), limit);
  }
}

// docs/cloud-messages.md shows the bytes and the text of the recorded request, which the example
// sends.
TEST(CloudPageTest, ShowsTheRecordedRequestInBothForms) {
  std::ifstream page(ZENTA_SOURCE_DIR "/docs/cloud-messages.md");
  std::string kind, bytes, json;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("```")) {
      kind = line.substr(3);
    } else if (kind == "json") {
      json += line.substr(line.find_first_not_of(' '));
    } else if (kind == "hex") {  // pairs of digits, up to the first word that is none
      std::istringstream words(line);
      for (std::string word; words >> word && word.size() == 2 && std::isxdigit(word[0]) != 0;)
        bytes += static_cast<char>(std::stoi(word, nullptr, 16));
    }
  }
  RecordedTransport recorded(ZENTA_SOURCE_DIR "/examples/recorded");
  Buffer<unsigned char> response;
  EXPECT_EQ(recorded.Exchange(CloudEncoding::kBinary, bytes, response), ExchangeFault::kNone);
  EXPECT_EQ(recorded.Exchange(CloudEncoding::kJson, json, response), ExchangeFault::kNone);
}

}  // namespace
}  // namespace zenta::cloud
