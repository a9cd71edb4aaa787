#include "corelib/base/bytes.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace tstl::base {
namespace {

// Runs in heap blocks of exactly their size: the address sanitizer sees every access past their ends.
std::unique_ptr<char[]> Block(const std::string& text) {
  std::unique_ptr<char[]> block(new char[text.size()]);
  text.copy(block.get(), text.size());
  return block;
}

std::string Text(std::size_t n) {
  std::string text(n, 0);
  for (std::size_t i = 0; i < n; ++i) text[i] = static_cast<char>('A' + i % 53);
  return text;
}

TEST(BytesTest, CopyMovesEveryLengthWhole) {
  for (std::size_t n = 0; n < 200; ++n) {
    const std::string text = Text(n);
    const auto from = Block(text), to = Block(std::string(n, '-'));
    copy_bytes(to.get(), from.get(), n);
    EXPECT_EQ(std::string(to.get(), n), text) << n;
  }
  copy_bytes(nullptr, nullptr, 0);
}

TEST(BytesTest, EqualSeesADifferenceAtEveryPlaceOfEveryLength) {
  EXPECT_TRUE(equal_bytes(nullptr, nullptr, 0));
  for (std::size_t n = 1; n < 100; ++n) {
    const std::string text = Text(n);
    const auto a = Block(text), b = Block(text);
    EXPECT_TRUE(equal_bytes(a.get(), b.get(), n)) << n;
    for (std::size_t i = 0; i < n; ++i) {
      b[i] ^= 0x20;
      EXPECT_FALSE(equal_bytes(a.get(), b.get(), n)) << n << " at " << i;
      b[i] ^= 0x20;
    }
  }
}

}  // namespace
}  // namespace tstl::base
