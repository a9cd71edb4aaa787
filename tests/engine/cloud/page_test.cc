// The example of docs/cloud-messages.md: the page shows the bytes and the text that are recorded, which
// the program examples/cloud_exchange sends.
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace zenta::cloud {
namespace {

std::string FileText(const char* path) {
  std::ifstream file(std::string(ZENTA_SOURCE_DIR "/") + path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(CloudPageTest, ShowsTheRecordedRequestInBothForms) {
  std::istringstream page(FileText("docs/cloud-messages.md"));
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
  EXPECT_EQ(bytes, FileText("examples/recorded/nihao.request.bin"));
  EXPECT_EQ(json, FileText("examples/recorded/nihao.request.json"));
}

}  // namespace
}  // namespace zenta::cloud
