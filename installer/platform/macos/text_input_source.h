// One entry of the list that Text Input Sources gives.
#pragma once

#import <Carbon/Carbon.h>

#include "installer/platform.h"

namespace zenta::installer {

// Keeps the system's object for its own life: the list that it came with only lends it.
class TextInputSource final : public InputSource {
 public:
  // REQUIRES: `source` is not null.
  explicit TextInputSource(TISInputSourceRef source);
  ~TextInputSource() override;
  TextInputSource(TextInputSource&&) = delete;

  [[nodiscard]] std::optional<std::string> SourceId() const override;
  [[nodiscard]] std::optional<std::string> ModeId() const override;
  [[nodiscard]] std::string Description() const override;

  // The system's object behind one of these; null for null.
  [[nodiscard]] static TISInputSourceRef RefOf(const InputSource* source);

 private:
  const TISInputSourceRef source_;
};

}  // namespace zenta::installer
