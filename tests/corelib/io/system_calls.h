// The test program's own read() and write(), which the library under test calls: they keep the sizes
// that they are asked for, and can take less, or fail.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {

struct SystemCalls {
  // Answers a call for so many bytes: how many are transferred at most, or a negated errno value.
  // While there is none, calls go through and are not counted.
  std::function<std::int64_t(std::uint64_t)> answer;
  std::vector<std::uint64_t> sizes;
};
extern SystemCalls reads, writes;

// Installs an answer for as long as it lives.
class Answering {
 public:
  Answering(SystemCalls& calls, auto answer) : calls_(calls) { calls_ = {answer, {}}; }
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;
  ~Answering() { calls_ = {}; }

 private:
  SystemCalls& calls_;
};

// A file of the running test's own, gone at its end.
class TempFile {
 public:
  explicit TempFile(std::string_view bytes = {});
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() { ::unlink(path()); }

  const char* path() const { return path_.c_str(); }
  std::string bytes() const;

 private:
  std::string path_ = testing::TempDir() + "/io_test_" + std::to_string(::getpid());
};

// The bytes of units as they lie in memory.
template <class C>
std::string BytesOf(const std::basic_string<C>& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(C)};
}

}  // namespace tstl
