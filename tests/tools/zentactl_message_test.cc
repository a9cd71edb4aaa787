// zentactl message: the examples of the page, and every command with bad input for each argument.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
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
using std::string_literals::operator""s;

struct ZentactlMessageTest : testing::Test {
  static Finished Do(std::vector<std::string> arguments, const RunOptions& options = {}) {
    arguments.insert(arguments.begin(), {ZENTACTL, "message"});
    return RunProgram(std::move(arguments), options);
  }
  // Expects success and no notes.
  static std::string Out(std::vector<std::string> arguments) {
    const Finished done = Do(std::move(arguments));
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.err, "");
    return done.out;
  }
  static std::string Recorded(const char* name) { return ZENTA_RECORDED + "/"s + name; }

  TempFolder folder;
};

TEST_F(ZentactlMessageTest, FormsTurnIntoEachOther) {
  for (const std::string type : {"request", "response"}) {
    const std::string binary = Recorded(("nihao." + type + ".bin").c_str());
    const std::string json = Recorded(("nihao." + type + ".json").c_str());
    Out({"encode", json, "--type", type, "--out", folder.At("made.bin")});
    EXPECT_EQ(Out({"diff", binary, json, "--type", type}), "");
    EXPECT_EQ(RunProgram({"/usr/bin/cmp", binary, folder.At("made.bin")}).status, 0);
    const std::string pretty = Out({"decode", binary, "--type", type});
    EXPECT_THAT(pretty, HasSubstr("\n      \""));
    folder.Put("pretty.json", pretty);
    EXPECT_THAT(Out({"check", folder.At("pretty.json"), "--type", type}), HasSubstr("good"));
    EXPECT_EQ(Out({"encode", folder.At("pretty.json"), "--type", type}), folder.Get("made.bin"));
  }
}

TEST_F(ZentactlMessageTest, RawShowsEveryFieldOfAnyBytes) {
  EXPECT_EQ(Out({"decode", "--raw", Recorded("nihao.request.bin"), "--type", "request"}),
            R"(       0  1 req: bytes 4
       2    1 req_type: varint 1
       4    2 word_num: varint 5
       6  2 ipt: bytes 7
       8    1 input: bytes 5  "nihao"
      15  5 attach: bytes 22
      17    1 suglogs: bytes 20
      19      5 sug_word: bytes 6  "你好"
      27      6 input_inline: bytes 10  "nihao"
)");
  // A fixed value, a negative one, groups, bytes that are neither text nor message, a terminal's
  // escape sequence, bytes that parse as a message, an empty field.
  const std::string bytes = "\x0D\1\0\0\0"s + "\x10\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01" +
                            "\x1B\x20\x05\x1C" + "\x2A\2\xFF\0"s + "\x32\3\x1B[m" +
                            "\x42\2\x08\x07" + "\x3A\0"s;
  const Finished done = Do({"decode", "--raw", folder.Put("any", bytes)});
  EXPECT_EQ(done.out, R"(       0  1: fixed32 1
       5  2: varint 18446744073709551615 (-1)
      16  3: group
      17    4: varint 5
      19  3: end of group
      20  5: bytes 2  FF 00
      24  6: bytes 3  1B 5B 6D
      29  8: bytes 2
      31    1: varint 7
      33  7: bytes 0
)");
  EXPECT_EQ(done.status, 0);
  folder.Put("broken", bytes + "\x1B\x0A\5");
  const Finished broken = Do({"decode", "--raw", folder.At("broken")});
  EXPECT_EQ(broken.status, 1);
  EXPECT_THAT(broken.out, AllOf(HasSubstr("\n      33  7: bytes 0\n"), HasSubstr("broken: ")));
  EXPECT_THAT(broken.err, HasSubstr("byte 38: "));
  EXPECT_EQ(Out({"decode", "--raw", "--json", "--compact", folder.Put("two", "\x0A\2\x08\7")}),
            "[{\"offset\":0,\"number\":1,\"type\":\"bytes\",\"length\":2,\"fields\":"
            "[{\"offset\":2,\"number\":1,\"type\":\"varint\",\"value\":7}]}]\n");
}

TEST_F(ZentactlMessageTest, CheckNamesWhatIsNotTakenInAndWhere) {
  const struct {
    std::string bytes, found;
  } rows[] = {
      {"\x0A\4\x08\x01\x10\x05", "good"},
      {"\x4A\1x", ": byte 0: unknown field 9 (bytes), ignored\n"},
      {"\x0A\3\x08\xAC\2",
       ": byte 2: req.req_type: 300 has more than 8 bits, the lowest are taken: 44\n"},
      {"\x0A\2\x20\2", ": byte 2: req.need_zj_forcast: 2 is taken as true\n"},
      {"\x08\1", ": byte 0: req: of the wire type varint, not bytes, ignored\n"},
      {"\x12\6\x0A\1a\x0A\1b", ": byte 5: ipt.input: comes again"},
      {"\x2A\5\x0A\3\x2A\1\xFF", ": byte 6: attach.suglogs[0].sug_word: a byte that is no part"},
      {"\x2A\5\x0A\3\x32\1a", ": byte 6: attach.suglogs[0].input_inline: a last byte that is no"},
      {"\x0B\x08\1\x0C\x4A\0"s, ": byte 0: req: of the wire type group, not bytes, ignored\n"},
      {"\x0A\1\x08\x12\0"s, ": byte 3: req: "},
      {"\x0A\5\x08", ": byte 2: "},
      {"{\"req\":\n {\"你\":1,\n \"is_ft\":1,\"word_num\":-1}}",
       ": line 2, column 4: 你: an unknown key"},
      {"{\"req\":\n {\"你\":1,\n \"is_ft\":1,\"word_num\":-1}}",
       ": line 3, column 3: is_ft: a value of an"},
      {"{\"req\":\n {\"你\":1,\n \"is_ft\":1,\"word_num\":-1}}",
       ": line 3, column 13: word_num: a number out"},
      {"{\"req\":\r\n {\"你\" 1}}", ": line 2, column 7: a byte that cannot stand here\n"},
  };
  for (const auto& [bytes, found] : rows) {
    const Finished done = Do({"check", folder.Put("m", bytes), "--type", "request"});
    EXPECT_THAT(done.out, HasSubstr(found));
    EXPECT_EQ(done.status, found == "good" ? 0 : 1) << found;
    EXPECT_EQ(done.err, "");
  }
  EXPECT_EQ(Do({"check", folder.Put("m", "\x4A\1x"), "--type", "request", "--quiet"}).out, "");
  EXPECT_THAT(Do({"check", folder.Put("j", "{\"x\":1}"), "--type", "request", "--json"}).out,
              HasSubstr(R"("good":false,"count":1,"findings":[{"offset":2,"line":1,"column":3,)"
                        R"("member":"x","what":"an unknown key, ignored"}]})"));
}

TEST_F(ZentactlMessageTest, DiffNamesTheMembers) {
  const std::string before = folder.Put("before", R"({"ai_cloud":"x","cand_list":[{"unis":"a"},{}],
    "serv_info":{"check_id":1}})");
  const std::string after = folder.Put("after", R"({"cand_list":[{"unis":"b","freq":2}],
    "serv_info":{"check_id":1,"input_type":0},"sug_action":{"action_type":3}})");
  const Finished done = Do({"diff", before, after, "--type", "response"});
  EXPECT_EQ(done.status, 1);
  EXPECT_EQ(done.out, R"(+ sug_action.action_type: 3
- ai_cloud: "x"
  cand_list[0].unis: "a" -> "b"
+ cand_list[0].freq: 2
- cand_list[1]: {}
)");
  EXPECT_THAT(Do({"diff", before, after, "--type", "response", "--json"}).out,
              HasSubstr(R"({"member":"cand_list[0].unis","first":"a","second":"b"})"));
}

TEST_F(ZentactlMessageTest, NotesWhatIsLostOnTheWay) {
  const std::string card = folder.Put("card.json", R"({"sug_card_list":[{"akp_name":"p"}],"é":1})");
  const Finished done = Do({"encode", card, "--type", "response", "--out", folder.At("card.bin")});
  EXPECT_EQ(done.status, 0);
  EXPECT_THAT(done.err, AllOf(HasSubstr("line 1, column 21: \"akp_name\": an unknown key"),
                              HasSubstr("line 1, column 38: \"é\"")));
  folder.Put("more.bin", folder.Get("card.bin") + "\x4A\1x");
  const std::string more = folder.At("more.bin");
  EXPECT_THAT(Do({"decode", more, "--type", "response"}).err, HasSubstr("note: 1 of "));
  EXPECT_THAT(Do({"diff", card, more, "--type", "response"}).err, HasSubstr("not compared"));
  EXPECT_EQ(Do({"decode", more, "--type", "response", "--quiet"}).err, "");
}

TEST_F(ZentactlMessageTest, RubbishIsOneLineAndChangesNothing) {
  const std::string good = Recorded("nihao.request.bin"), json = Recorded("nihao.request.json");
  const std::string huge = folder.Put("huge", ""), out = folder.Put("out", "old");
  const std::string broken = folder.Put("broken.bin", "\x12\3\x0A\1a\x0A\5\x08");
  fs::resize_file(huge, std::uintmax_t{5} << 30);
  fs::create_symlink("secret", folder.At("unreadable"));
  const struct {
    std::vector<std::string> arguments;
    std::string error;
    RunOptions run = {};
  } rows[] = {
      {{"decode", good}, "--type is missing"},
      {{"decode", good, "--type", "card"}, "card not in"},
      {{"decode", folder.At("none"), "--type", "request"}, "none: No such file"},
      {{"decode", folder.At("unreadable"), "--type", "request"}, "unreadable: No such file"},
      {{"decode", folder.At(""), "--type", "request"}, "not a regular file"},
      {{"decode", huge, "--type", "request"}, "huge is too long"},
      {{"decode", json, "--type", "request"}, "looks like JSON already"},
      {{"decode", broken, "--type", "request"}, "broken.bin is broken: byte 7: "},
      {{"decode", good, "--type", "request", "--out", folder.At("")}, "is a folder"},
      {{"decode", good, "--type", "request", "--out", "/dev/full"}, "No space left"},
      {{"decode", good, "--type", "request"},
       "cannot write to standard output",
       {.out = "/dev/full"}},
      {{"decode", good, "--type", "request", "--out", out},
       "cannot write " + out + ": ",
       {.max_file_bytes = 10}},
      {{"decode", good, "--type", "request", "--out", folder.At("no/out")},
       "cannot create " + folder.At("no/out")},
      {{"encode", good, "--type", "request", "--out", out}, "line 2, column 1"},
      {{"encode", folder.Put("empty", ""), "--type", "request", "--out", out}, "the text ends"},
      {{"encode", folder.Put("list", "[]"), "--type", "request", "--out", out},
       "cannot stand here"},
      {{"encode", json, "--type", "request", "--out", json}, "is an input"},
      {{"check", huge, "--type", "request"}, "huge is too long"},
      {{"check", good}, "--type is required"},
      {{"diff", good, broken, "--type", "request"}, "broken.bin is broken"},
      {{"diff", "-", "-", "--type", "request"}, "both messages"},
      {{"diff", good, "--type", "request"}, "SECOND is required"},
      {{"decode", good, "--tpye", "request"}, "did you mean '--type'?"},
      {{}, "subcommand is required"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.arguments));
    const Finished done = Do(row.arguments, row.run);
    EXPECT_EQ(done.status, 2);
    EXPECT_EQ(done.out, "");
    EXPECT_THAT(done.err, AllOf(HasSubstr(row.error), testing::StartsWith("zentactl message")));
    EXPECT_EQ(done.err.find('\n') + 1, done.err.size());
  }
  EXPECT_EQ(folder.Get("out"), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.At("")), {}), 6);
  const Finished partial = Do({"decode", broken, "--type", "request", "--partial", "--compact"});
  EXPECT_EQ(partial.status, 1);
  EXPECT_THAT(partial.out, HasSubstr("\"ipt\":{\"input\":\"a\"}"));
  EXPECT_EQ(Out({"decode", folder.At("empty"), "--type", "response", "--compact"}),
            "{\"serv_info\":{},\"sug_action\":{},\"muti_lian\":{}}\n");
}

}  // namespace
}  // namespace zenta::zentactl
