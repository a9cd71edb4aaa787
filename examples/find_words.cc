// Finds all words of a sentence in a dictionary image: find_words IMAGE SENTENCE
//
// For every character, one call looks up all prefixes of the rest of the sentence. Their memory
// accesses then overlap.
#include <cstdio>

#include "corelib/containers/dict/buffer_dict.h"

using Text = tstl::BufferRef<unsigned char>;
using Dict = tstl::BufferDict<unsigned char>;

// Whether the text may be cut before the byte at `pos`: not in the middle of a UTF-8 character.
bool is_boundary(Text text, unsigned pos) {
  return pos == text.len() || (text[pos] & 0xC0) != 0x80;
}

// Prints the words that `rest` starts with, the shortest first.
void print_words(const Dict& dict, Text rest) {
  constexpr unsigned kLongest = 64;  // bytes of the longest word that is looked for
  Text keys[kLongest];
  const Dict::Node* found[kLongest];
  unsigned n = 0;
  for (unsigned len = 1; len <= rest.len() && len <= kLongest; ++len) {
    if (is_boundary(rest, len)) keys[n++] = rest.sub_head(len);
  }
  dict.find_all(keys, n, found);
  for (unsigned i = 0; i < n; ++i) {
    if (found[i] == nullptr) continue;
    std::printf("%.*s\t%u\n", static_cast<int>(keys[i].len()),
                reinterpret_cast<const char*>(keys[i].cstr()), found[i]->value());
  }
}

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: find_words IMAGE SENTENCE\n");
    return 2;
  }
  Dict dict;
  if (dict.open(argv[1]) == tstl::FAILURE) {
    std::fprintf(stderr, "find_words: %s: no dictionary image, or not to be read\n", argv[1]);
    return 1;
  }
  // Look-ups in a damaged image are safe, but they find less. check() tells whether it is whole.
  if (!dict.check()) std::fprintf(stderr, "find_words: %s is damaged\n", argv[1]);

  const Text sentence(argv[2]);
  for (unsigned start = 0; start < sentence.len(); ++start) {
    if (is_boundary(sentence, start)) print_words(dict, sentence.sub_tail(start));
  }
}
