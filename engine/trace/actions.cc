#include "engine/trace/actions.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace zenta::trace {
namespace {

constexpr std::string_view kActions[] = {
    "noused_xx0",     "inputSelection", "setLayout",   "switchPad",   "lianSimulate",
    "otherSelection", "lianSelection",  "removeWord",  "noused_xx8",  "noused_xx9",
    "noused_xx10",    "noused_xx11",    "noused_xx12", "noused_xx13", "noused_xx14",
    "noused_xx15",    "noused_xx16",    "noused_xx17", "noused_xx18", "noused_xx19",
    "noused_xx20",    "noused_xx21",
};
static_assert(std::size(kActions) == kActionCount);

}  // namespace

tstl::BufferRef<unsigned char> action_name(std::uint32_t code) noexcept {
  return code < kActionCount ? kActions[code] : std::string_view();
}

std::uint32_t action_code(tstl::BufferRef<unsigned char> name) noexcept {
  const auto* const found = std::ranges::find(kActions, name.std_view());
  return static_cast<std::uint32_t>(found - kActions);
}

}  // namespace zenta::trace
