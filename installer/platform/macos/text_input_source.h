// One entry of the list that Text Input Sources returns.
#pragma once

#import <Carbon/Carbon.h>

#include "installer/platform.h"

namespace zenta::installer {

// Retains the system's object for its own lifetime, because the list owns it and is released.
class TextInputSource final : public InputSource {
 public:
  // REQUIRES: `source` is not null.
  explicit TextInputSource(TISInputSourceRef source);
  ~TextInputSource() override;
  TextInputSource(TextInputSource&&) = delete;

  [[nodiscard]] std::optional<std::string> SourceId() const override;
  [[nodiscard]] std::optional<std::string> ModeId() const override;
  [[nodiscard]] std::string Description() const override;

  // The system's object that `source`, a TextInputSource, holds; null for null.
  [[nodiscard]] static TISInputSourceRef RefOf(const InputSource* source);

 private:
  const TISInputSourceRef source_;
};

}  // namespace zenta::installer
