// The example of docs/cloud-messages.md: its bytes and its JSON text are taken out of the page.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"

namespace zenta::cloud {
namespace {

std::string FileText(const char* path) {
  std::ifstream file(std::string(ZENTA_SOURCE_DIR "/") + path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

// The lines of the page's first block of that kind, each handed to `take`.
template <class Take>
void ForEachLineOf(const std::string& kind, Take take) {
  std::istringstream page(FileText("docs/cloud-messages.md"));
  std::string line;
  while (std::getline(page, line) && line != "```" + kind) {
  }
  while (std::getline(page, line) && line != "```") take(line);
}

// The pairs of digits that a line begins with, up to the first word that is none.
std::string PageBytes() {
  std::string bytes;
  ForEachLineOf("hex", [&](const std::string& line) {
    std::istringstream words(line);
    for (std::string word; words >> word && word.size() == 2 &&
                           std::isxdigit(static_cast<unsigned char>(word[0])) != 0;) {
      bytes += static_cast<char>(std::stoi(word, nullptr, 16));
    }
  });
  return bytes;
}

std::string PageJson() {
  std::string text;
  ForEachLineOf("json",
                [&](const std::string& line) { text += line.substr(line.find_first_not_of(' ')); });
  return text;
}

TEST(CloudPageTest, ShowsTheRequestInBothForms) {
  CloudRequest request;
  request.req.req_type = 1;
  request.req.word_num = 5;
  request.ipt.input = "nihao";
  SugLog picked;
  picked.sug_word = u"你好";
  picked.input_inline = u"nihao";
  request.attach.suglogs = {&picked, 1};
  tstl::Buffer<unsigned char> message;
  ASSERT_TRUE(write_binary(request, message));
  EXPECT_EQ(message.std_view(), PageBytes());
  EXPECT_EQ(message.std_view(), FileText("examples/recorded/nihao.request.bin"));
  ASSERT_TRUE(write_json(request, message));
  EXPECT_EQ(message.std_view(), PageJson());
  EXPECT_EQ(message.std_view(), FileText("examples/recorded/nihao.request.json"));

  tstl::Chunk arena;
  CloudRequest read;
  ASSERT_TRUE(read_binary(read, PageBytes(), arena));
  ASSERT_TRUE(write_json(read, message));
  EXPECT_EQ(message.std_view(), PageJson());
}

}  // namespace
}  // namespace zenta::cloud
