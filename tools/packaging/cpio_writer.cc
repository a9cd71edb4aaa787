#include "tools/packaging/cpio_writer.h"

#include <array>
#include <cassert>
#include <cstdio>

namespace zenta::packaging {

void CpioWriter::Begin(const CpioEntry& entry) {
  assert(left_ == 0);
  // A link's target is its contents.
  const std::uint64_t size = entry.link_target.empty() ? entry.size : entry.link_target.size();
  const auto modified = static_cast<std::uint64_t>(entry.modified);
  assert(size <= kMaxCpioNumber && modified <= kMaxCpioNumber);
  std::array<char, 77> header;  // 76 characters and snprintf's zero
  // Magic, device, inode, mode, owner, group, link count, device number, time, two sizes.
  std::snprintf(header.data(), header.size(), "070707%06o%06o%06o%06o%06o%06o%06o%011jo%06zo%011jo",
                0u, 0u, static_cast<unsigned>(entry.mode), 0u, 0u, 1u, 0u,
                static_cast<std::uintmax_t>(modified), entry.name.size() + 1,
                static_cast<std::uintmax_t>(size));
  sink_({header.data(), header.size() - 1});
  sink_({entry.name.c_str(), entry.name.size() + 1});
  sink_(entry.link_target);
  left_ = entry.size;
}

void CpioWriter::Write(std::string_view bytes) {
  assert(bytes.size() <= left_);
  left_ -= bytes.size();
  sink_(bytes);
}

void CpioWriter::Finish() { Begin({.name = "TRAILER!!!"}); }

}  // namespace zenta::packaging
