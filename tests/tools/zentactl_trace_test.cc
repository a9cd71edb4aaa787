// zentactl trace: the summary, and the picture as another program's XML reader sees it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/tools/subprocess.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

// A drawing, which has to be well-formed; asked by XPath, without namespaces.
class Drawing {
 public:
  explicit Drawing(const std::string& path)
      : document_(xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET), xmlFreeDoc) {
    EXPECT_NE(document_, nullptr);
  }
  // The text of the expression's result: a count, an attribute, a text.
  std::string Ask(const std::string& expression) {
    const std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> context(
        xmlXPathNewContext(document_.get()), xmlXPathFreeContext);
    xmlXPathRegisterNs(context.get(), Xml("s"), Xml("http://www.w3.org/2000/svg"));
    const std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> result(
        xmlXPathEvalExpression(Xml(("string(" + expression + ")").c_str()), context.get()),
        xmlXPathFreeObject);
    EXPECT_NE(result, nullptr) << expression;
    return result == nullptr ? "" : reinterpret_cast<const char*>(result->stringval);
  }

 private:
  static const xmlChar* Xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

  std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> document_;
};

class ZentactlTraceTest : public testing::Test {
 protected:
  ZentactlTraceTest() {
    std::string name = (fs::temp_directory_path() / "zentactl-trace-test-XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~ZentactlTraceTest() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string At(const std::string& name) const { return (folder_ / name).string(); }
  [[nodiscard]] std::string Put(const std::string& name, const std::string& contents) const {
    std::ofstream(At(name), std::ios::binary) << contents;
    return At(name);
  }
  static Finished Do(std::vector<std::string> arguments, const RunOptions& options = {}) {
    arguments.insert(arguments.begin(), {ZENTACTL, "trace"});
    return RunProgram(std::move(arguments), options);
  }

  fs::path folder_;
};

TEST_F(ZentactlTraceTest, TellsAndDrawsTheExample) {
  const Finished done = Do({ZENTA_EXAMPLE_TRACE, "--svg", At("out.svg")});
  EXPECT_EQ(done.status, 0) << done.err;
  for (const char* const row :
       {"(7 lines)\n", "records    7: 1 switchPad, 1 setLayout, 5 inputSelection, 0 of other",
        "pads       PY26\n", "keys       34 in 1 layout\n", "touches    47 in 5 inputs\n",
        "times      47, from 51205660 to 51217945 ms: 12.29 s\n", "bad lines  0\n"}) {
    EXPECT_THAT(done.out, HasSubstr(row));
  }
  Drawing drawing(At("out.svg"));
  const struct {
    const char *question, *answer;
  } rows[] = {
      {"count(//s:rect[@class='key'])", "34"},
      {"count(//s:svg/s:svg//s:circle)", "47"},
      {"count(//s:polyline)", "5"},
      {"//s:svg/s:svg/@viewBox", "-27 1623 1134 738"},
      {"//s:rect[@x='6' and @y='1656' and @width='96' and @height='159']/@class", "key"},
      {"//s:text[@class='label'][1]", "q"},
      {"count(//s:text[@class='label' and .='⌫'])", "1"},
      {"//s:text[@class='text'][1]", "今天下午"},
      {"//s:text[@class='code'][1]", "jintianxiawu"},
      {"//s:g[1]/s:title", "touch 1, input 1, at 761, 1902, after 0.00 s"},
      {"//s:g[1]/s:circle/@fill", "#1d4ed8"},
      {"//s:g[47]/s:circle/@fill", "#ea7a15"},
  };
  for (const auto& [question, answer] : rows) EXPECT_EQ(drawing.Ask(question), answer) << question;
}

TEST_F(ZentactlTraceTest, TouchesBelongToTheLayoutBeforeThem) {
  const std::string first = R"({"type":"setLayout","pad_rect":[0,0,9,9],"key_array":[]})";
  const std::string trace =
      Put("t", R"({"type":"inputSelection","point":[[5,5]]})"
               "\n"
               R"({"type":"switchPad","pad_name":"PY9"})"
               "\n" +
                   first +
                   "\n"
                   R"({"type":"inputSelection","point":[[1,1],[2,2]],"time":[7]})"
                   "\n"
                   R"({"type":"switchPad","pad_name":"SYM"})"
                   "\n"
                   R"({"type":"setLayout","pad_rect":[0,0,8,8],"key_array":[]})"
                   "\n"
                   R"({"type":"inputSelection","point":[[3,3],[99,3]]})"
                   "\n"
                   R"({"type":"switchPad","pad_name":"PY9"})"
                   "\n"
                   R"({"type":"inputSelection","point":[[4,4]]})"
                   "\n" +
                   first +
                   "\n"
                   R"({"type":"inputSelection","point":[[6,6]]})");
  EXPECT_EQ(Do({trace, "--svg", At("out.svg")}).status, 0);
  Drawing drawing(At("out.svg"));
  EXPECT_EQ(drawing.Ask("count(//s:svg/s:svg)"), "3");
  EXPECT_EQ(drawing.Ask("count(//s:svg/s:svg[1]//s:circle)"), "1");
  EXPECT_EQ(drawing.Ask("count(//s:svg/s:svg[2]//s:circle)"), "4");
  EXPECT_EQ(drawing.Ask("count(//s:svg/s:svg[3]//s:circle)"), "2");
  EXPECT_EQ(drawing.Ask("//s:text[.='no time']/@class"), "note");
  EXPECT_EQ(drawing.Ask("count(//s:text[contains(., '1 of them outside')])"), "1");
}

TEST_F(ZentactlTraceTest, SurvivesWhatIsNotMeantToBeDrawn) {
  std::string text = "rubbish\n";
  text += R"({"type":"switchPad","pad_name":"<b>&\"\u001b[31m\u202e)"
          "\xFF"
          R"("})"
          "\n";
  text += R"({"type":"setLayout","pad_rect":[9,9,-9,-9],"key_array":[{"id":60},)"
          R"({"key_rect":[-32768,-32768,32767,32767],"id":38},{"key_rect":[0,0,9,9],"id":1},)"
          R"({"key_rect":[0,0,9,9],"id":55296},{"key_rect":[0,0,9,9],"id":4294967295}]})"
          "\n";
  for (int i = 0; i < 300; ++i) {
    text += R"({"type":"setLayout","pad_rect":[0,0,1,)" + std::to_string(i) + "]}\n";
    text += R"({"type":"inputSelection","expect":"]]>\udc00)" + std::string(500, 'x') +
            R"(","point":[[1,1])";
    for (int k = 0; k < 100; ++k) text += ",[32767,-32768]";
    text += "]}\n";
  }
  const Finished done = Do({Put("t", text), "--svg", At("out.svg")});
  EXPECT_EQ(done.status, 0) << done.err;
  EXPECT_THAT(done.out, AllOf(HasSubstr("<b>&\"\uFFFD[31m\uFFFD\uFFFD (no known pad)"),
                              HasSubstr("bad lines  1, the first: line 1, byte 1: ")));
  EXPECT_LT(fs::file_size(At("out.svg")), 2000000u);
  Drawing drawing(At("out.svg"));
  EXPECT_EQ(drawing.Ask("count(//s:svg/s:svg)"), "12");
  EXPECT_EQ(drawing.Ask("count(//s:text[contains(., '289 layouts more than')])"), "1");
  EXPECT_EQ(drawing.Ask("//s:text[@class='label'][1]"), "&");
  EXPECT_EQ(drawing.Ask("count(//s:text[.='#55296' or .='#1' or .='#4294967295'])"), "3");
}

TEST_F(ZentactlTraceTest, FailureLeavesTheOldPictureAndSaysWhy) {
  const std::string empty = Put("empty", "\n\r\n"), bad = Put("bad", "\n {\"a\":\n"),
                    other = Put("other", R"({"type":"removeWord"})"), old = Put("old.svg", "old");
  fs::create_directory(At("folder"));
  const struct {
    std::vector<std::string> arguments;
    std::string error;
    RunOptions run = {};
    int status = 1;
  } rows[] = {
      {{}, "FILE is required", {}, 2},
      {{At("none")}, "none: No such file"},
      {{At("folder")}, "Is a directory"},
      {{empty}, "it is empty"},
      {{bad}, "line 2, byte 7: the text ends before its value does"},
      {{other, "--svg", old}, "nothing to draw"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", old}, "cannot write", {.max_file_bytes = 1000}},
      {{other, "--svg", other}, "is the trace, not replaced"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", "/dev/null"}, "not a regular file"},
      {{ZENTA_EXAMPLE_TRACE, "--svg", At("folder") + "/none/out.svg"}, "cannot create"},
      {{other}, "cannot write to standard output", {.out = "/dev/full"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.error);
    const Finished done = Do(row.arguments, row.run);
    EXPECT_EQ(done.status, row.status);
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(done.err, HasSubstr(row.error));
  }
  std::ifstream file(old);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 5);  // and nothing half done
}

}  // namespace
}  // namespace zenta
