// The fixed vocabularies: pads, actions, packages.
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>

#include "engine/trace/actions.h"
#include "engine/trace/packages.h"
#include "engine/trace/pads.h"

namespace zenta::trace {
namespace {

TEST(PadsTest, CodesHaveTheirFirstNameAndOtherTextsNoCode) {
  std::string codes;
  for (const std::uint32_t code : {0u, 1u, 5u, 11u, 13u, 15u, 17u, 18u, 0xFFFFFFFFu}) {
    const std::string name(pad_name(code).std_view());
    EXPECT_EQ(pad_code(name), name.empty() ? 0 : code);
    EXPECT_EQ(pad_code(name + "x") + pad_code(name.substr(0, name.size() / 2)), 0u);
    codes += name + ",";
  }
  EXPECT_EQ(codes, ",BH,,PY26,,,CJ,,,");
  EXPECT_EQ(pad_code("SC"), 17u);
  EXPECT_EQ(pad_code("py9"), 0u);
}

TEST(ActionsTest, EveryCodeHasOneName) {
  for (std::uint32_t code = 0; code < kActionCount; ++code) {
    EXPECT_EQ(action_code(action_name(code)), code);
    if (code > 7) {
      EXPECT_EQ(action_name(code), "noused_xx" + std::to_string(code));
    }
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
    EXPECT_TRUE(std::regex_match(name, identifier) && names.insert(name).second) << name;
  }
  for (const unsigned index : {98u, 0xFFFFFFFFu}) EXPECT_TRUE(package_name(index).is_empty());
}

}  // namespace
}  // namespace zenta::trace
