#include "installer/platform/macos/activate_input_model_front.h"

#include "datahelpers/macos/foundation_text.h"
#include "installer/activate_input_model.h"
#include "installer/platform/macos/macos_platform.h"
#include "installer/platform/macos/text_input_source.h"

namespace {

// Made for each message, because the Objective-C class has no instance variables.
struct Model {
  std::unique_ptr<zenta::installer::InputSources> sources = zenta::installer::MacInputSources();
  std::unique_ptr<zenta::installer::Log> log = zenta::installer::MacLog();
  zenta::ZTActivateInputModel model{*sources, *log};
};

}  // namespace

@implementation ZTActivateInputModel

- (void)zt_activateInputSource {
  Model().model.zt_activateInputSource();
}

- (TISInputSourceRef)findZentaInputSource {
  const auto source = Model().model.findZentaInputSource();
  return (TISInputSourceRef)[
      [(id)zenta::installer::TextInputSource::RefOf(source.get()) retain] autorelease];
}

- (OSStatus)registerInput {
  return Model().model.registerInput();
}

- (void)activateInputSourceByMode:(NSString*)mode {
  const zenta::signing::Text text = zenta::signing::TextOfString(mode);
  if (text) Model().model.activateInputSourceByMode(*text);
}

- (void)activateInputSource:(TISInputSourceRef)source {
  if (source == nullptr) return Model().model.activateInputSource(nullptr);
  const zenta::installer::TextInputSource kept(source);
  Model().model.activateInputSource(&kept);
}

@end
