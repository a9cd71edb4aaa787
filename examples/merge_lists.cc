// Merges word lists into one dictionary image: merge_lists IMAGE LIST ...
//
// A list has a word, a TAB and a count on each line. The counts of a word in several lists are
// added.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "corelib/io/files/text_read.h"

using Text = tstl::BufferRef<unsigned char>;
using Words = tstl::BufferHash<unsigned char>;

// Adds the counts of a list to the table. False, with a message, if not all of it could be read.
bool add_list(const char* path, Words& words) {
  // In units. Of a longer key the table keeps only the first (length modulo 65,536) units.
  constexpr unsigned kLongest = 65535;
  tstl::TextRead<unsigned char> list;
  bool whole = list.open(path) != tstl::FAILURE;
  whole = whole && list.for_each_pair('\t', [&](Text word, long long count) {
    if (word.is_empty() || word.len() > kLongest) return true;
    Words::Node* const node = words.insert(word);  // the word's own, or a new one with value 0
    if (node != nullptr) node->set_value(node->value() + static_cast<std::uint64_t>(count));
    return node != nullptr;  // null when out of memory
  });
  if (!whole) {
    const int error = list.error() != 0 ? list.error() : ENOMEM;
    std::fprintf(stderr, "merge_lists: %s: %s\n", path, std::strerror(error));
  } else if (const auto odd = list.pair_faults().sum(); odd != 0) {
    std::fprintf(stderr, "merge_lists: %s: lines that are no pair: %llu\n", path,
                 static_cast<unsigned long long>(odd));
  }
  return whole;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: merge_lists IMAGE LIST ...\n");
    return 2;
  }
  Words words(100000);  // about as many buckets as there will be words
  for (int i = 2; i < argc; ++i) {
    if (!add_list(argv[i], words)) return 1;
  }
  tstl::BufferDict<unsigned char> dict;
  std::uint32_t cut = 0;  // the number of values that do not fit the 31 bits of an image
  errno = 0;
  if (dict.open(words, &cut) == tstl::FAILURE || dict.save(argv[1]) == tstl::FAILURE) {
    std::fprintf(stderr, "merge_lists: %s: %s\n", argv[1],
                 errno != 0 ? std::strerror(errno) : "more than an image can hold");
    return 1;
  }
  std::printf("%u words, %u bytes, %u values cut\n", words.itemcnt(),
              dict.ref_internal_data().len(), cut);
}
