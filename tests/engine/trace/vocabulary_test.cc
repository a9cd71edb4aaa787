// The fixed vocabularies: pads, actions, packages.
#include <gtest/gtest.h>

#include <iterator>
#include <regex>
#include <set>
#include <string>

#include "engine/trace/actions.h"
#include "engine/trace/packages.h"
#include "engine/trace/pads.h"

namespace zenta::trace {
namespace {

TEST(PadsTest, NamesHaveTheirCodesAndCodesTheirFirstNames) {
  const char* const names[] = {"",           "BH",     "WB9",    "WB26", "EN9",  "",   "EN26_LOWER",
                               "EN26_UPPER", "123_T9", "123_26", "PY9",  "PY26", "HW", "",
                               "SYM",        "",       "ZY",     "CJ",   ""};
  for (std::uint32_t code = 0; code < std::size(names); ++code) {
    const std::string name = names[code];
    EXPECT_EQ(pad_name(code), name);
    EXPECT_EQ(pad_code(name), name.empty() ? 0 : code);
    EXPECT_EQ(pad_code(name + "x"), 0u);
    EXPECT_EQ(pad_code(name.substr(0, name.size() / 2)), 0u) << name;
  }
  EXPECT_EQ(pad_code("SC"), 17u);
  EXPECT_EQ(pad_code("py9"), 0u);
  EXPECT_TRUE(pad_name(0xFFFFFFFF).is_empty());
}

TEST(ActionsTest, EveryCodeHasOneName) {
  const char* const used[] = {"noused_xx0",   "inputSelection", "setLayout",     "switchPad",
                              "lianSimulate", "otherSelection", "lianSelection", "removeWord"};
  for (std::uint32_t code = 0; code < kActionCount; ++code) {
    EXPECT_EQ(action_name(code), code < 8 ? used[code] : "noused_xx" + std::to_string(code));
    EXPECT_EQ(action_code(action_name(code)), code);
  }
  for (const unsigned code : {22u, 0xFFFFFFFFu}) EXPECT_TRUE(action_name(code).is_empty());
  for (const char* const name : {"", "setLayou", "setLayouts", "noused_xx"})
    EXPECT_EQ(action_code(name), kActionCount);
}

TEST(PackagesTest, AreDistinctApplicationIdentifiers) {
  // As Android takes them: two segments or more, each a letter and then letters, digits and '_'.
  const std::regex identifier("[a-zA-Z][a-zA-Z0-9_]*(\\.[a-zA-Z][a-zA-Z0-9_]*)+");
  std::set<std::string> names;
  for (std::uint32_t index = 0; index < 98; ++index) {
    const std::string name(package_name(index).std_view());
    EXPECT_TRUE(std::regex_match(name, identifier)) << index << ' ' << name;
    EXPECT_TRUE(names.insert(name).second) << name;
  }
  for (const unsigned index : {98u, 0xFFFFFFFFu}) EXPECT_TRUE(package_name(index).is_empty());
}

}  // namespace
}  // namespace zenta::trace
