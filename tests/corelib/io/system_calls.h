// The test program's own read() and write(), which the library under test calls: they can take less
// than they are asked for, or fail. And files to call them on.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "tests/corelib/text/units.h"

namespace tstl {

// Answers a call for so many bytes: how many are transferred at most, or a negated errno value.
// While there is none, calls go through.
using SystemCall = std::function<std::int64_t(std::uint64_t)>;
extern SystemCall reads, writes;

// Installs an answer for as long as it lives.
class Answering {
 public:
  Answering(SystemCall& call, SystemCall answer) : call_(call) { call_ = std::move(answer); }
  ~Answering() { call_ = nullptr; }

 private:
  SystemCall& call_;
};

// A file of the running test's own, gone at its end.
class TempFile {
 public:
  explicit TempFile(std::string_view bytes = {});
  ~TempFile() { ::unlink(path()); }
  const char* path() const { return path_.c_str(); }
  std::string bytes() const;

 private:
  std::string path_;
};

// The bytes of units as they lie in memory.
template <class C>
std::string BytesOf(const std::basic_string<C>& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(C)};
}

}  // namespace tstl
