#include "engine/trace/pads.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace zenta::trace {
namespace {

struct Pad {
  std::string_view name;
  std::uint32_t code;
};

// Searched in this order, so the first pad of a code gives the code its name.
constexpr Pad kPads[] = {
    {"PY9", 10},       {"PY26", 11},  {"WB9", 2},    {"WB26", 3}, {"BH", 1},
    {"HW", 12},        {"SYM", 14},   {"123_T9", 8}, {"EN9", 4},  {"EN26_UPPER", 7},
    {"EN26_LOWER", 6}, {"123_26", 9}, {"ZY", 16},    {"CJ", 17},  {"SC", 17},
};

}  // namespace

std::uint32_t pad_code(tstl::BufferRef<unsigned char> name) noexcept {
  const auto* const pad = std::ranges::find(kPads, name.std_view(), &Pad::name);
  return pad == std::end(kPads) ? 0 : pad->code;
}

tstl::BufferRef<unsigned char> pad_name(std::uint32_t code) noexcept {
  const auto* const pad = std::ranges::find(kPads, code, &Pad::code);
  return pad == std::end(kPads) ? std::string_view() : pad->name;
}

}  // namespace zenta::trace
