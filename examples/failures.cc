// Reads a word list, saves it in two forms, and reports what failed and why: failures LIST COPY
// IMAGE
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/dict/buffer_dict.h"
#include "corelib/io/files/buffer_write.h"
#include "corelib/io/files/text_read.h"

using Text = tstl::BufferRef<unsigned char>;
using Words = tstl::BufferHash<unsigned char>;

int fail(const char* path, const char* why) {
  std::fprintf(stderr, "failures: %s: %s\n", path, why);
  return 1;
}

// Readers and writers of files keep the errno value of a failure: error(). At the end of a file a
// reader's is 0, which distinguishes the end from a failure.
int read_list(const char* path, Words& words) {
  tstl::TextRead<unsigned char> list;
  if (list.open(path) == tstl::FAILURE) return fail(path, std::strerror(list.error()));
  Text word;
  long long count = 0;
  while (list.read_pair('\t', word, count)) {
    Words::Node* const node = words.insert(word);
    if (node == nullptr) return fail(path, "out of memory");
    node->set_value(static_cast<std::uint64_t>(count));
  }
  return list.error() != 0 ? fail(path, std::strerror(list.error())) : 0;
}

// Ask a writer once, after close(): it keeps its first failure and writes nothing more after that.
int write_copy(const char* path, const Words& words) {
  tstl::BufferWrite<unsigned char> out;
  if (out.open(path, false) == tstl::FAILURE) return fail(path, std::strerror(out.error()));
  words.for_each([&](Text word, std::uint64_t value) { out.write_pair(word, '\t', value, false); });
  out.close();
  return out.error() != 0 ? fail(path, std::strerror(out.error())) : 0;
}

// Classes without error() leave the reason in errno. Set it to 0 before, because not every failure
// is the system's. A failed save() leaves the old file as it was: a new image takes its name when
// whole.
int save_image(const char* path, const Words& words) {
  tstl::BufferDict<unsigned char> dict;
  errno = 0;
  if (dict.open(words) == tstl::FAILURE || dict.save(path) == tstl::FAILURE) {
    return fail(path, errno != 0 ? std::strerror(errno) : "more than an image can hold");
  }
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: failures LIST COPY IMAGE\n");
    return 2;
  }
  Words words(1000);
  int status = read_list(argv[1], words);
  if (status == 0) status = write_copy(argv[2], words);
  if (status == 0) status = save_image(argv[3], words);
  if (status == 0) std::printf("%u words read, copied and saved\n", words.itemcnt());
  return status;
}
