#include "installer/activate_input_model.h"

#include <string>

#include "installer/attempt.h"

namespace zenta {
namespace {

using installer::Attempt;
using installer::AttemptOr;
using installer::InputSource;
using installer::InputSources;
using installer::InputSourceStatus;
using installer::kBadParameter;

constexpr char kBundlePath[] = "/Library/Input Methods/ZentaIM.app";
constexpr std::string_view kSourceId = "com.zenta.inputmethod.ZentaIM";
constexpr std::string_view kModeId = "com.zenta.inputmethod.pinyin";

std::string Describe(const InputSource* source) {
  return source != nullptr ? source->Description() : "(null)";
}

}  // namespace

void ZTActivateInputModel::zt_activateInputSource() {
  LogLine("will register input");
  registerInput();
  const auto source = findZentaInputSource();
  // Also if no source was found: the service then returns a status of its own for "no source".
  Step("will activate zenta input ", source.get(), &InputSources::Enable, "did enable input: ");
  activateInputSourceByMode(kModeId);
}

std::unique_ptr<InputSource> ZTActivateInputModel::findZentaInputSource() {
  return AttemptOr(nullptr, [this]() -> std::unique_ptr<InputSource> {
    for (auto& source : sources_.List()) {
      if (!source->ModeId() && source->SourceId() == kSourceId) return std::move(source);
    }
    return nullptr;
  });
}

InputSourceStatus ZTActivateInputModel::registerInput() {
  return AttemptOr(kBadParameter, [this] { return sources_.Register(kBundlePath); });
}

void ZTActivateInputModel::activateInputSourceByMode(std::string_view mode_id) {
  Attempt([&] {
    for (const auto& source : sources_.List()) {
      if (source->ModeId() == mode_id) return activateInputSource(source.get());
    }
  });
}

void ZTActivateInputModel::activateInputSource(const InputSource* source) {
  Step("will disableResult input ", source, &InputSources::Disable, "disableResult input: ");
  Step("will enable input ", source, &InputSources::Enable, "did enable input: ");
  Step("will select input ", source, &InputSources::Select, "did select input: ");
}

// Logs a line, calls a service, and logs its status. A line that cannot be written, or a source
// that cannot be described, does not stop the call: otherwise a source could stay disabled.
void ZTActivateInputModel::Step(std::string_view before, const InputSource* source, Service service,
                                std::string_view after) {
  LogLine(before, AttemptOr("", [&] { return Describe(source); }));
  const InputSourceStatus status =
      AttemptOr(kBadParameter, [&] { return (sources_.*service)(source); });
  LogLine(after, std::to_string(status));
}

void ZTActivateInputModel::LogLine(std::string_view text, std::string_view value) {
  Attempt([&] { log_.Line(std::string(text).append(value)); });
}

}  // namespace zenta
