#import <Carbon/Carbon.h>
#import <Foundation/Foundation.h>

#include <cassert>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"
#include "installer/platform/macos/text_input_source.h"

namespace zenta::installer {
namespace {

using signing::Text;
using signing::TextOfString;

Text Property(TISInputSourceRef source, CFStringRef key) {
  return TextOfString((NSString*)TISGetInputSourceProperty(source, key));
}

class TextInputSources final : public InputSources {
 public:
  InputSourceStatus Register(const std::string& bundle_path) override {
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        nullptr, reinterpret_cast<const UInt8*>(bundle_path.data()),
        static_cast<CFIndex>(bundle_path.size()), false);
    if (url == nullptr) return kBadParameter;
    const InputSourceStatus status = TISRegisterInputSource(url);
    CFRelease(url);
    return status;
  }

  std::vector<std::unique_ptr<InputSource>> List() override {
    NSArray* list = [(NSArray*)TISCreateInputSourceList(nullptr, true) autorelease];
    std::vector<std::unique_ptr<InputSource>> sources;
    for (NSUInteger i = 0; i < [list count]; ++i) {
      sources.push_back(
          std::make_unique<TextInputSource>((TISInputSourceRef)[list objectAtIndex:i]));
    }
    return sources;
  }

  InputSourceStatus Enable(const InputSource* source) override {
    return TISEnableInputSource(TextInputSource::RefOf(source));
  }
  InputSourceStatus Disable(const InputSource* source) override {
    return TISDisableInputSource(TextInputSource::RefOf(source));
  }
  InputSourceStatus Select(const InputSource* source) override {
    return TISSelectInputSource(TextInputSource::RefOf(source));
  }
};

}  // namespace

TextInputSource::TextInputSource(TISInputSourceRef source)
    : source_((TISInputSourceRef)CFRetain(source)) {}

TextInputSource::~TextInputSource() { CFRelease(source_); }

std::optional<std::string> TextInputSource::SourceId() const {
  return Property(source_, kTISPropertyInputSourceID);
}

std::optional<std::string> TextInputSource::ModeId() const {
  return Property(source_, kTISPropertyInputModeID);
}

std::string TextInputSource::Description() const {
  return TextOfString([NSString stringWithFormat:@"%@", (id)source_]).value_or("");
}

TISInputSourceRef TextInputSource::RefOf(const InputSource* source) {
  return source != nullptr ? static_cast<const TextInputSource*>(source)->source_ : nullptr;
}

std::unique_ptr<InputSources> MacInputSources() { return std::make_unique<TextInputSources>(); }

}  // namespace zenta::installer
