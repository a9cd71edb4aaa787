// System calls that the test program replaces for the library under test: they can transfer less
// than they are asked for, or fail.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "fuzz/io/temp_file.h"
#include "tests/corelib/text/units.h"

namespace tstl {

// Answers a call for that many bytes: the most bytes to transfer, or a negated errno value. While
// no answer is installed, calls go through.
using SystemCall = std::function<std::int64_t(std::uint64_t)>;
extern SystemCall opens, reads, writes, listings, closes;  // closes: of descriptors and streams

// Installs an answer for the lifetime of this object.
class Answering {
 public:
  Answering(SystemCall& call, SystemCall answer) : call_(call) { call_ = std::move(answer); }
  ~Answering() { call_ = nullptr; }

 private:
  SystemCall& call_;
};

// The bytes of units as they lie in memory.
template <class C>
std::string BytesOf(const std::basic_string<C>& units) {
  return {reinterpret_cast<const char*>(units.data()), units.size() * sizeof(C)};
}

}  // namespace tstl
