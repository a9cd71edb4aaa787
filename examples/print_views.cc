// Prints views. They have a length and no zero at their end, and 16-bit text is converted to UTF-8.
#include <cstdio>
#include <iostream>
#include <string>

#include "corelib/text/buffer.h"

using Text = tstl::BufferRef<unsigned char>;
using Text16 = tstl::BufferRef<unsigned short>;

int main() {
  const Text line("你好=1894");
  const Text word = line.sub_head(line.find_chr('='));  // "你好", in the middle of a text

  // With printf: pass the length, since no zero follows the text.
  std::printf("%.*s\n", static_cast<int>(word.len()), reinterpret_cast<const char*>(word.cstr()));
  std::fflush(stdout);

  // With streams and with everything else that takes a std::string_view.
  std::cout << word.std_view() << '\n';
  const std::string copy(word.std_view());

  // 16-bit text: a buffer of the other width is the text in UTF-8.
  const Text16 wide(u"世界");
  const tstl::Buffer<unsigned char> utf8(wide);
  std::cout << Text(utf8).std_view() << '\n';

  // For messages to developers: 16-bit units that are not ASCII are printed as \uXXXX.
  std::cout << wide << '\n';

  // For functions that need a zero: a buffer has one after its text. c_str() is null only if the
  // buffer ran out of memory.
  const tstl::Buffer<unsigned char> with_zero(word);
  std::printf("%s, %zu bytes\n", reinterpret_cast<const char*>(with_zero.c_str()), copy.size());
}
