// NSFileHandle as the portable code's open file.
#pragma once

#import <Foundation/Foundation.h>

#include "datahelpers/file_handle.h"

namespace zenta::signing {

// Retains the handle for its lifetime, and reads from the handle's current position. The file is
// closed when the last owner releases the handle, which need not be this object.
class FoundationFile final : public FileHandle {
 public:
  // REQUIRES: `handle` is not nil.
  explicit FoundationFile(NSFileHandle* handle);
  ~FoundationFile() override;
  FoundationFile(FoundationFile&&) = delete;

  // On a read error the handle's exception passes through, on purpose: it ends an Objective-C
  // caller as a read from the handle itself would.
  [[nodiscard]] std::optional<std::size_t> Read(std::span<std::uint8_t> into) override;

 private:
  NSFileHandle* const handle_;
};

}  // namespace zenta::signing
