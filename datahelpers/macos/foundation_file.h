// NSFileHandle as the portable code's open file.
#pragma once

#import <Foundation/Foundation.h>

#include "datahelpers/file_handle.h"

namespace zenta::signing {

// Keeps the handle for its own life and reads on from where the handle stands. Whether the file is
// closed when this goes depends on whether somebody else keeps the handle too.
class FoundationFile final : public FileHandle {
 public:
  // REQUIRES: `handle` is not nil.
  explicit FoundationFile(NSFileHandle* handle);
  ~FoundationFile() override;
  FoundationFile(FoundationFile&&) = delete;

  // Lets the handle's exception pass at a read error, on purpose: it ends an Objective-C caller of
  // the digests as the handle itself would.
  [[nodiscard]] std::optional<std::size_t> Read(std::span<std::uint8_t> into) override;

 private:
  NSFileHandle* const handle_;
};

}  // namespace zenta::signing
