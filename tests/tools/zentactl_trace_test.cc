// zentactl trace: the summary, and the picture as another program's XML reader sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using tools::Finished;
using tools::RunOptions;
using tools::RunProgram;

// Asks the drawing in a file, which has to be well-formed XML: the text of an XPath expression's
// result, a count, an attribute or a text.
std::string Ask(const std::string& path, const std::string& expression) {
  xmlDoc* const document = xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET);
  xmlXPathContext* const context = xmlXPathNewContext(document);
  xmlXPathRegisterNs(context, BAD_CAST "s", BAD_CAST "http://www.w3.org/2000/svg");
  xmlXPathObject* const result =
      xmlXPathEvalExpression(BAD_CAST("string(" + expression + ")").c_str(), context);
  const std::string text =
      result == nullptr ? "not well-formed" : reinterpret_cast<const char*>(result->stringval);
  xmlXPathFreeObject(result);
  xmlXPathFreeContext(context);
  xmlFreeDoc(document);
  return text;
}

class ZentactlTraceTest : public testing::Test, protected TempFolder {
 protected:
  static Finished Do(std::vector<std::string> arguments, const RunOptions& options = {}) {
    arguments.insert(arguments.begin(), {ZENTACTL, "trace"});
    return RunProgram(std::move(arguments), options);
  }
};

TEST_F(ZentactlTraceTest, TellsAndDrawsTheExample) {
  const Finished done = Do({ZENTA_EXAMPLE_TRACE, "--svg", At("out.svg")});
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_THAT(done.out, HasSubstr(R"((7 lines)
records    7: 1 switchPad, 1 setLayout, 5 inputSelection, 0 of other types
pads       PY26
keys       34 in 1 layout
touches    47 in 5 inputs
times      47, from 51205660 to 51217945 ms: 12.29 s
bad lines  0
ignored    0 values
)"));
  const std::pair<const char*, const char*> rows[] = {
      {"count(//s:rect[@class='key'])", "34"},
      {"count(//s:svg/s:svg//s:circle)", "47"},
      {"count(//s:polyline)", "5"},
      {"//s:svg/s:svg/@viewBox", "-27 1623 1134 738"},
      {"//s:rect[@x='6' and @y='1656' and @width='96' and @height='159']/@class", "key"},
      {"//s:text[@class='label'][1]", "q"},
      {"//s:text[@class='text'][1]", "今天下午"},
      {"//s:g[1]/s:title", "touch 1, input 1, at 761, 1902, after 0.00 s"},
      {"//s:g[1]/s:circle/@fill", "#1d4ed8"},
      {"//s:g[47]/s:circle/@fill", "#ea7a15"},
  };
  for (const auto& [what, answer] : rows) EXPECT_EQ(Ask(At("out.svg"), what), answer) << what;
}

TEST_F(ZentactlTraceTest, TouchesBelongToTheLayoutBeforeThem) {
  const std::string trace = Put("t", R"({"type":"inputSelection","point":[[5,5]]}
{"type":"switchPad","pad_name":"PY9"}
{"type":"setLayout","pad_rect":[0,0,9,9]}
{"type":"inputSelection","point":[[1,1],[99,3]],"time":[7]}
{"type":"switchPad","pad_name":"SYM"}
{"type":"setLayout","pad_rect":[0,0,9,9]}
{"type":"inputSelection","point":[[1,1],[99,3]]}
{"type":"switchPad","pad_name":"PY9"}
{"type":"inputSelection","point":[[5,5]]}
{"type":"setLayout","pad_rect":[0,0,8,8]}
{"type":"setLayout","pad_rect":[0,0,9,9]}
{"type":"switchPad","pad_name":"PY9"}
{"type":"inputSelection","point":[[5,5]]})");
  EXPECT_EQ(Do({trace, "--svg", At("out.svg")}).status, 0);
  const char* const touches[] = {"1", "4", "2", "0"};
  for (int i = 0; i < 4; ++i) {
    const std::string circles = "count(//s:svg/s:svg[" + std::to_string(i + 1) + "]//s:circle)";
    EXPECT_EQ(Ask(At("out.svg"), circles), touches[i]);
  }
  EXPECT_EQ(Ask(At("out.svg"), "count(//s:text[contains(., ', 1 of them outside')])"), "2");
}

TEST_F(ZentactlTraceTest, BoundsAndEscapesWhatIsNotMeantToBeDrawn) {
  std::string text = R"(rubbish
{"type":"switchPad","pad_name":"<b>&\"\u001b[31m\u202e\udcff"}
{"type":"setLayout","pad_rect":[9,9,-9,-9],"key_array":[{"id":60},
{"type":"setLayout","key_array":[{"id":60},{"key_rect":[-32768,-32768,32767,32767],"id":38},)"
                     R"({"key_rect":[0,0,9,9],"id":55296},{"key_rect":[0,0,9,9],"id":4294967295}]}
)";
  std::string points = "[1,1]";
  for (int k = 0; k < 100; ++k) points += ",[32767,-32768]";
  for (int i = 0; i < 300; ++i) {
    text += R"({"type":"setLayout","pad_rect":[0,0,1,)" + std::to_string(i) + "]}\n" +
            R"({"type":"inputSelection","expect":"]]>\udc00","point":[)" + points + "]}\n";
  }
  text += R"({"type":"setLayout","key_array":[{"id":4294967296}]})";
  const Finished done = Do({Put("t", text), "--svg", At("out.svg")});
  EXPECT_THAT(done.out, AllOf(HasSubstr("<b>&\"\uFFFD[31m\uFFFD\uFFFD (no known pad)"),
                              HasSubstr("bad lines  2, the first: line 1, byte 1: ")));
  EXPECT_THAT(done.out, HasSubstr(R"(
ignored    1 value
           1 of "id": a number out of range, first in line 605
)"));
  const std::string svg = At("out.svg");
  EXPECT_LT(fs::file_size(svg), 2000000u);
  EXPECT_EQ(Ask(svg, "count(//s:svg/s:svg)"), "12");
  EXPECT_EQ(Ask(svg, "//s:text[@class='label'][1]"), "&");
  EXPECT_EQ(Ask(svg, "count(//s:text[contains(., '290 layouts more than')])"), "1");
  EXPECT_EQ(Ask(svg, "count(//s:text[.='#55296' or .='#4294967295'])"), "2");
}

TEST_F(ZentactlTraceTest, FailureLeavesTheOldPictureAndSaysWhy) {
  const std::string old = Put("old.svg", "old"), other = Put("other", R"({"type":"removeWord"})");
  const struct {
    std::vector<std::string> arguments;
    std::string error;
    RunOptions run = {};
  } rows[] = {
      {{}, "FILE is required"},
      {{At("none")}, "none: No such file"},
      {{Put("empty", "\n\r\n")}, "it is empty"},
      {{Put("bad", "\n {\"a\":\n")}, "line 2, byte 7: the text ends before its value does"},
      {{other, "--svg", old}, "nothing to draw"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", old}, "cannot write", {.max_file_bytes = 1000}},
      {{ZENTA_EXAMPLE_TRACE, "--svg", "/dev/full"}, "No space left"},
  };
  for (const auto& row : rows) {
    const Finished done = Do(row.arguments, row.run);
    EXPECT_EQ(done.status, 2) << row.error;
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(done.err, HasSubstr(row.error));
  }
  EXPECT_EQ(fs::file_size(old), 3u);
  EXPECT_EQ(std::distance(fs::directory_iterator(At("")), {}), 4);  // and nothing half done
}

}  // namespace
}  // namespace zenta::zentactl
