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

TEST(VocabularyTest, CodesAndNamesBelongTogether) {
  unsigned pads = 0;
  for (const std::uint32_t code : {0u,  1u,  2u,  3u,  4u,  5u,  6u,  7u,  8u,  9u,
                                   10u, 11u, 12u, 13u, 14u, 15u, 16u, 17u, 18u, 0xFFFFFFFFu}) {
    const std::string name(pad_name(code).std_view());
    EXPECT_EQ(pad_code(name), name.empty() ? 0 : code);
    EXPECT_EQ(pad_code(name + "x") + pad_code(name.substr(0, name.size() / 2)), 0u);
    pads += !name.empty();
  }
  EXPECT_EQ(pads, 14u);
  EXPECT_EQ(pad_code("SC") + pad_code("py9"), 17u)
      << "a code's second name, and a text that is none";
  for (std::uint32_t code = 0; code < kActionCount; ++code) {
    EXPECT_EQ(action_code(action_name(code)), code);
  }
  for (const unsigned code : {22u, 0xFFFFFFFFu}) EXPECT_TRUE(action_name(code).is_empty());
  for (const char* const name : {"", "setLayou", "setLayouts", "noused_xx"})
    EXPECT_EQ(action_code(name), kActionCount);
}

TEST(VocabularyTest, PackagesAreDistinctApplicationIdentifiers) {
  // Android's rule: two segments or more, each a letter and then letters, digits and '_'.
  const std::regex identifier("[a-zA-Z][a-zA-Z0-9_]*(\\.[a-zA-Z][a-zA-Z0-9_]*)+");
  std::set<std::string> names{""};
  for (const std::uint32_t index : {98u, 0xFFFFFFFFu}) EXPECT_TRUE(package_name(index).is_empty());
  for (std::uint32_t index = 0; index < 98; ++index) {
    const std::string name(package_name(index).std_view());
    EXPECT_TRUE(std::regex_match(name, identifier) && names.insert(name).second) << name;
  }
}

}  // namespace
}  // namespace zenta::trace
