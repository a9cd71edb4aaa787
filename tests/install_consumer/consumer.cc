// The README's sample, and proof that the installed headers stand on their own.
#include <cstdio>

#include "corelib/text/buffer.h"

int main() {
  tstl::Buffer<unsigned char> line;  // 8-bit text, UTF-8
  line.append_str("count: ").append_num(42);
  tstl::BufferRefMutable<unsigned char> rest = tstl::BufferRef<unsigned char>(line);
  const auto key = rest.fetch_before_chr(':');  // "count"; rest is " 42"
  const bool good = key == "count" && rest.sub_trim_all().to_num() == 42;
  std::printf("%s\n", good ? "consumer: works" : "consumer: wrong");
  return good ? 0 : 1;
}
