// The fixed vocabularies: pads, actions, packages.
#include <gtest/gtest.h>

#include <cstring>
#include <regex>
#include <set>
#include <string>
#include <string_view>

#include "engine/trace/actions.h"
#include "engine/trace/packages.h"
#include "engine/trace/pads.h"

namespace zenta {
namespace {

TEST(PadsTest, NamesHaveTheirCodesAndCodesTheirFirstNames) {
  const struct {
    const char* name;
    std::uint32_t code;
  } rows[] = {{"BH", 1},         {"WB9", 2},    {"WB26", 3},   {"EN9", 4},  {"EN26_LOWER", 6},
              {"EN26_UPPER", 7}, {"123_T9", 8}, {"123_26", 9}, {"PY9", 10}, {"PY26", 11},
              {"HW", 12},        {"SYM", 14},   {"ZY", 16},    {"CJ", 17}};
  std::set<std::uint32_t> named;
  for (const auto& [name, code] : rows) {
    EXPECT_EQ(pad_code(name), code) << name;
    EXPECT_EQ(pad_name(code), name);
    EXPECT_EQ(pad_code(std::string(name) + "x"), 0u);
    EXPECT_EQ(pad_code(std::string_view(name, std::strlen(name) - 1)), 0u) << name;
    named.insert(code);
  }
  EXPECT_EQ(pad_code("SC"), 17u);
  for (std::uint32_t code = 0; code < 40; ++code) {
    EXPECT_NE(pad_name(code).is_empty(), named.contains(code)) << code;
  }
  for (const char* const unknown : {"", "py9", "PY9 ", "5"}) EXPECT_EQ(pad_code(unknown), 0u);
  EXPECT_TRUE(pad_name(0xFFFFFFFF).is_empty());
}

TEST(ActionsTest, EveryCodeHasOneName) {
  const char* const used[] = {"inputSelection", "setLayout",     "switchPad", "lianSimulate",
                              "otherSelection", "lianSelection", "removeWord"};
  for (std::uint32_t code = 0; code < kActionCount; ++code) {
    const bool is_used = code >= 1 && code <= 7;
    EXPECT_EQ(action_name(code), is_used ? used[code - 1] : "noused_xx" + std::to_string(code));
    EXPECT_EQ(action_code(action_name(code)), code);
  }
  for (const std::uint32_t code : {22u, 23u, 0xFFFFFFFFu})
    EXPECT_TRUE(action_name(code).is_empty());
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
  for (const std::uint32_t index : {98u, 99u, 0xFFFFFFFFu})
    EXPECT_TRUE(package_name(index).is_empty());
}

}  // namespace
}  // namespace zenta
