#include "datahelpers/macos/foundation_file.h"

#include <algorithm>
#include <cassert>

namespace zenta::signing {

FoundationFile::FoundationFile(NSFileHandle* handle) : handle_([handle retain]) {
  assert(handle != nil);
}

FoundationFile::~FoundationFile() { [handle_ release]; }

std::optional<std::size_t> FoundationFile::Read(std::span<std::uint8_t> into) {
  // Every chunk is an autoreleased object. Without a pool of its own it would stay until the whole
  // file was read. (If the read raises, the outer pool drains this one.)
  NSAutoreleasePool* scope = [[NSAutoreleasePool alloc] init];
  const std::size_t asked = std::min<std::size_t>(into.size(), 1 << 30);
  NSData* chunk = [handle_ readDataOfLength:static_cast<unsigned int>(asked)];
  const std::size_t count = [chunk length];
  assert(count <= asked);
  [chunk getBytes:into.data() length:asked];
  [scope drain];
  return count;
}

}  // namespace zenta::signing
