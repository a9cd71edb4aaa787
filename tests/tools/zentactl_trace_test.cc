// zentactl trace: the summary, the table, and the picture as an XML parser sees it.
// tools/browser/check_pages.py checks the page in a browser.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <algorithm>
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
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using tools::Finished;
using tools::RunOptions;
using tools::RunProgram;

// The value of an XPath expression (a count, an attribute or a text) in the drawing in a file,
// which has to be well-formed XML.
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
      {"//s:g[s:circle][1]/s:title",
       "touch 1, input 1 今天下午: hit j, as meant, at 761, 1902, after 0.00 s"},
      {"//s:g[s:circle][6]/s:title",
       "touch 6, input 1 今天下午: hit no key, meant a, at 162, 1931, after 1.03 s"},
      {"//s:title[contains(., 'key a')]", "key a: hit by 6 touches, meant by 7"},
      {"//s:g[s:circle][1]/s:circle/@fill", "#1d4ed8"},
      {"//s:g[s:circle][47]/s:circle/@fill", "#ea7a15"},
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
  for (const char* heading :
       {"A pad without a name", "PY9, layout 1 of 2", "SYM", "PY9, layout 2 of 2"}) {
    EXPECT_EQ(Ask(At("out.svg"), "count(//s:text[.='" + std::string(heading) + "'])"), "1")
        << heading;
  }
}

// Only a part of such a trace is drawn.
TEST_F(ZentactlTraceTest, CountsAndTimesAreThoseOfTheWholeTrace) {
  std::string text =
      "{\"type\":\"setLayout\",\"key_array\":[{\"key_rect\":[0,0,9,9],\"id\":97}]}\n";
  constexpr int kInputs = 120'000;
  for (int i = 0; i < kInputs; ++i) {
    text += R"({"type":"inputSelection","code":"a","point":[[)" + std::to_string(i % 12) +
            R"(,1]],"time":[)" + std::to_string(i * 10) + "]}\n";
  }
  const Finished done =
      Do({Put("t", text), "--svg", At("svg"), "--html", At("html"), "--csv", At("csv")});
  EXPECT_THAT(done.out, AllOf(HasSubstr("touches    120000 in 120000 inputs\n"),
                              HasSubstr("from 0 to 1199990 ms: 1199.99 s\n")));
  const std::pair<const char*, const char*> rows[] = {
      {"count(//s:circle)", "0"},
      {"count(//s:path[@class='heat']) > 3", "true"},
      {"//s:text[@class='note'][1]", "120000 touches in 120000 inputs, in 1199.99 s"},
      {"//s:title[contains(., 'key a')]", "key a: hit by 90000 touches, meant by 120000"},
      {"//s:text[.='one in 1200 of 120000']/@class", "note end"},
      {"count(//s:text[@class='text']) > 90", "true"},
  };
  for (const auto& [what, answer] : rows) EXPECT_EQ(Ask(At("svg"), what), answer) << what;
  const std::string html = Get("html");
  for (const char* part : {R"("inputs":120000,"touches":120000,"length":1199990},"step":2,)",
                           R"([119999,"","a",0,1,0,[10,1,1199980,-1,0]]]}</script>)"}) {
    EXPECT_NE(html.find(part), html.npos) << part;
  }
  EXPECT_TRUE(Get("csv").ends_with("120000,1,1199990,11,1,,1,,a,1.444,,a\n"));
}

TEST_F(ZentactlTraceTest, TellsWhatWasIgnoredAndChecks) {
  const struct {
    const char *trace, *finding;
    int status = 1;
  } rows[] = {
      {R"({"type":"inputSelection","point":[[1,1]],"time":[7]})", "ignored    0 values\n", 0},
      {R"({"type":"lianSimulate","where_from":3})", "ignored    0 values\n", 0},
      {R"({"type":"lianSimulate"}
rubbish)",
       "bad lines  1, the first: line 2, byte 1: "},
      {R"({"type":"switchPad","pad_name":"PY26","pad":1})", "1 of \"pad\": an unknown key"},
      {R"({"type":"switchPad","pad_name":"PY27"})",
       "1 of \"pad_name\": no such pad, first in line 1\n"},
      {R"({"type":"wipe"})", "1 of \"type\": no such action, first in line 1\n"},
      {R"({"type":"inputSelection","point":[[1,1]],"time":[7,8]})",
       "1 of \"time\": not one for each touch"},
      {R"({"type":"setLayout","code":"a"})", "1 of \"code\": not of this type of record"},
  };
  for (const auto& row : rows) {
    const std::string trace = Put("t", row.trace);
    EXPECT_THAT(Do({trace}).out, HasSubstr(row.finding)) << row.trace;
    EXPECT_EQ(Do({trace}).status, 0);
    const Finished checked = Do({trace, "--check", "--quiet"});
    EXPECT_EQ(checked.status, row.status) << row.trace;
    EXPECT_EQ(checked.out + checked.err, "");
  }
  EXPECT_EQ(
      Do({Put("t", R"({"type":"wipe","a":"\u001b"})"), "--json"}).out,
      R"({"trace":")" + At("t") +
          R"(","lines":1,"records":{"switchPad":0,"setLayout":0,"inputSelection":0,)"
          R"("other":1},"pads":[],"layouts":0,"keys":0,"inputs":0,"touches":0,"times":0,"bad_lines":0,"ignored":2,)"
          R"("findings":[{"member":"a","why":"an unknown key","count":1,"line":1},)"
          R"({"member":"type","why":"no such action","count":1,"line":1}]})"
          "\n");
}

TEST_F(ZentactlTraceTest, TableHasARowForEachTouch) {
  const std::string trace = Put("t", R"({"type":"inputSelection","point":[[-1,5]]}
{"type":"switchPad","pad_name":"PY9"}
{"type":"setLayout","key_array":[{"key_rect":[0,0,10,10],"id":50},{"key_rect":[10,0,20,10],"id":51},{"key_rect":[20,0,30,10],"id":44}]}
{"type":"inputSelection","expect":"\"爸,\n","code":"b'a","point":[[5,5],[10,5]],"time":[7]}
{"type":"inputSelection","expect":"C,","point":[[9,9],[25,10]],"time":[8,9]}
{"type":"inputSelection","expect":"abc","code":"ab","point":[[1,1]]}
)");
  const Finished done = Do({trace, "--csv", "-"});
  EXPECT_EQ(done.out, R"(input,touch,time,x,y,pad,layout,hit,meant,from_middle,expect,code
1,1,,-1,5,,1,,,,,
2,1,7,5,5,PY9,2,2,2,0.000,"""爸,�",b'a
2,2,,10,5,PY9,2,3,2,1.000,"""爸,�",b'a
3,1,8,9,9,PY9,2,2,2,0.800,"C,",
3,2,9,25,10,PY9,2,,",",1.000,"C,",
4,1,,1,1,PY9,2,2,,0.800,abc,ab
)");
  EXPECT_THAT(done.err, HasSubstr("\ntable      standard output\n"));
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
  const Finished done = Do({Put("t", text), "--svg", At("out.svg"), "--html", At("out.html")});
  EXPECT_THAT(done.out, AllOf(HasSubstr("<b>&\"\uFFFD[31m\uFFFD\uFFFD (no known pad)"),
                              HasSubstr("bad lines  2, the first: line 1, byte 1: ")));
  EXPECT_THAT(done.out, HasSubstr(R"(
ignored    2 values
           1 of "pad_name": no such pad, first in line 2
           1 of "id": a number out of range, first in line 605
)"));
  const std::string svg = At("out.svg");
  EXPECT_LT(fs::file_size(svg), 2000000u);
  EXPECT_EQ(Ask(svg, "count(//s:svg/s:svg)"), "40");
  EXPECT_EQ(Ask(svg, "//s:text[@class='label'][1]"), "&");
  EXPECT_EQ(Ask(svg, "count(//s:text[contains(., '262 layouts more than')])"), "1");
  EXPECT_EQ(Ask(svg, "count(//s:text[.='#55296' or .='#4294967295'])"), "2");
  // Of the two scripts the first is the trace, in which no character can begin or end markup.
  std::string html = Get("out.html");
  html.erase(0, html.find("id=\"trace\">") + 11);
  const std::string data = html.substr(0, html.find("</script>"));
  EXPECT_EQ(data.find_first_of("<>&"), data.npos);
  EXPECT_THAT(
      data, AllOf(HasSubstr("\\u003cb\\u003e\\u0026\\\"\uFFFD[31m"), HasSubstr("]]\\u003e\uFFFD")));
  EXPECT_THAT(
      html, AllOf(StartsWith(data + "</script>\n<script>\n'use strict';"), EndsWith("</html>\n")));
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
      {{other, "--html", old}, "nothing to draw"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", old}, "cannot write", {.max_file_bytes = 1000}},
      {{ZENTA_EXAMPLE_TRACE, "--html", old}, "cannot write", {.max_file_bytes = 1000}},
      {{ZENTA_EXAMPLE_TRACE, "--csv", old}, "cannot write", {.max_file_bytes = 1000}},
      {{ZENTA_EXAMPLE_TRACE, "--svg", "/dev/full"}, "No space left"},
      {{ZENTA_EXAMPLE_TRACE, "--html", "/dev/full"}, "No space left"},
      {{ZENTA_EXAMPLE_TRACE, "--csv", "/dev/full"}, "No space left"},
      {{ZENTA_EXAMPLE_TRACE, "--csv", At("")}, "is a folder, not replaced"},
      {{ZENTA_EXAMPLE_TRACE, "--csv", At("none/csv")}, "No such file"},
      {{At("")}, "Is a directory"},
      {{other, "--csv", other}, "is an input, not replaced"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", "-", "--csv", "-"},
       "both the picture and the table would go to standard output"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", old, "--html", old}, "would go to " + old},
      {{ZENTA_EXAMPLE_TRACE, "--html"}, "--html"},
      {{ZENTA_EXAMPLE_TRACE, "--csv", ""}, "--csv: no name"},
      {{ZENTA_EXAMPLE_TRACE, "--hmtl", old}, "did you mean '--html'?"},
  };
  for (const auto& row : rows) {
    const Finished done = Do(row.arguments, row.run);
    EXPECT_EQ(done.status, 2) << row.error;
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(done.err, HasSubstr(row.error));
    EXPECT_EQ(std::ranges::count(done.err, '\n'), 1) << done.err;
  }
  EXPECT_EQ(fs::file_size(old), 3u);
  EXPECT_EQ(std::distance(fs::directory_iterator(At("")), {}), 4);  // and no temporary file
}

}  // namespace
}  // namespace zenta::zentactl
