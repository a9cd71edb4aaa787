// A platform in memory that records the calls and can fail at any of them.
#pragma once

#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "installer/platform.h"

namespace zenta::installer {

struct FakeMachine {
  struct Source {
    std::optional<std::string> id{}, mode{};
  };
  std::map<std::string, std::string, std::less<>> files, defaults;  // defaults: values as text
  std::vector<Source> sources;
  ScriptOutcome script;                           // the outcome of every script
  std::map<std::string, std::string> distrusted;  // files by path, each with its reason
  bool nothing_goes = false;                      // no file can be removed

  std::vector<std::string> effects;  // the calls that change something, in order
  std::size_t calls = 0;             // all calls
  std::size_t calls_before_script = 0;
  std::size_t fail_at = ~std::size_t{0};
  bool throws = false;                         // that call fails by throwing, not by its result
  std::size_t meddle_at = ~std::size_t{0};     // before that call ...
  std::function<void(FakeMachine&)> meddle{};  // ... somebody else does this

  // Counts a call, and records `effect` and `what` unless `effect` is empty. Returns whether the
  // call has to fail.
  bool Fails(std::string effect = {}, std::string_view what = {}) {
    if (!effect.empty()) effects.push_back(effect.append(what));
    if (calls == meddle_at) meddle(*this);
    if (calls++ != fail_at) return false;
    if (throws) throw std::runtime_error("this call fails");
    return true;
  }
  // Counts a call that changes nothing. Returns `answer`, or T() if the call has to fail.
  template <class T>
  T Answer(T answer) {
    return Fails() ? T() : answer;
  }
  Platform MakePlatform();
};

// Keeps the contents that the file had when it was opened, like a descriptor whose path is
// replaced.
struct FakeFile final : DownloadedFile {
  FakeMachine& m;
  const std::string path;
  std::string rest = m.files[path];
  const std::int64_t stamp = static_cast<std::int64_t>(std::hash<std::string>()(rest));
  FakeFile(FakeMachine& machine, std::string name) : m(machine), path(std::move(name)) {}
  std::optional<std::size_t> Read(std::span<std::uint8_t> into) override {
    if (m.Fails()) return std::nullopt;
    const std::size_t size = rest.copy(reinterpret_cast<char*>(into.data()), into.size());
    rest.erase(0, size);
    return size;
  }
  std::optional<std::string> WhyDistrusted() override {
    if (m.Fails()) return "unknown";
    return m.distrusted.contains(path) ? std::optional(m.distrusted[path]) : std::nullopt;
  }
  std::optional<std::int64_t> Stamp() override { return m.Answer(std::optional(stamp)); }
};

struct FakeSource final : InputSource {
  FakeMachine& m;
  std::size_t index;
  FakeSource(FakeMachine& machine, std::size_t at) : m(machine), index(at) {}
  std::optional<std::string> SourceId() const override { return m.Answer(m.sources[index].id); }
  std::optional<std::string> ModeId() const override { return m.Answer(m.sources[index].mode); }
  std::string Description() const override { return m.Answer(Name(this)); }
  static std::string Name(const InputSource* source) {
    if (source == nullptr) return "nothing";
    return "#" + std::to_string(static_cast<const FakeSource*>(source)->index);
  }
};

// Implements every part of the platform.
struct FakePart final : Notifications, ScriptRunner, UserDefaults, Files, InputSources, Log {
  FakeMachine& m;
  explicit FakePart(FakeMachine& machine) : m(machine) {}

  void Post(std::string_view name) override { m.Fails("post ", name); }
  void Line(std::string_view text) override { m.Fails("log ", text); }
  ScriptOutcome Run(const std::string& source) override {
    m.calls_before_script = m.calls;
    return m.Fails("run ", source) ? ScriptOutcome{} : m.script;
  }

  bool HasObject(std::string_view key) override { return m.Answer(m.defaults.contains(key)); }
  std::int64_t Integer(std::string_view key) override {
    return m.Answer(std::atoll(m.defaults[std::string(key)].c_str()));
  }
  bool SetInteger(std::string_view key, std::int64_t value) override {
    const std::string text = std::to_string(value);
    if (m.Fails(key == "install_fail_num" ? "set " : "note ", text)) return false;
    m.defaults[std::string(key)] = text;
    return true;
  }
  bool Remove(std::string_view key) override {
    if (m.Fails("unset ", key)) return false;
    m.defaults.erase(std::string(key));
    return true;
  }

  std::string StandardizePath(std::string_view path) override {
    return m.Answer("/Big Disk" + std::string(path));
  }
  bool Exists(const std::string& path) override { return m.Answer(m.files.contains(path)); }
  std::unique_ptr<DownloadedFile> OpenForReading(const std::string& path) override {
    if (m.Fails() || !m.files.contains(path)) return nullptr;
    return std::make_unique<FakeFile>(m, path);
  }
  std::unique_ptr<Lock> LockFolderOf(const std::string&) override {
    struct Held : Lock {};
    return m.Fails() ? nullptr : std::make_unique<Held>();
  }
  bool Remove(const std::string& path) override {
    if (m.Fails("remove ", path) || m.nothing_goes) return false;
    m.files.erase(path);
    return true;
  }

  std::vector<std::unique_ptr<InputSource>> List() override {
    std::vector<std::unique_ptr<InputSource>> list;
    const std::size_t count = m.Answer(m.sources.size());
    for (std::size_t i = 0; i != count; ++i) list.push_back(std::make_unique<FakeSource>(m, i));
    return list;
  }
  InputSourceStatus Register(const std::string& path) override {
    return m.Fails("register ", path) ? -1 : 0;
  }
  InputSourceStatus Enable(const InputSource* source) override { return Serve("enable ", source); }
  InputSourceStatus Disable(const InputSource* source) override {
    return Serve("disable ", source);
  }
  InputSourceStatus Select(const InputSource* source) override { return Serve("select ", source); }
  InputSourceStatus Serve(const char* what, const InputSource* source) {
    return m.Fails(what, FakeSource::Name(source)) ? -1 : source ? 0 : 7;
  }
};

inline Platform FakeMachine::MakePlatform() {
  const auto part = [this] { return std::make_unique<FakePart>(*this); };
  return {part(), part(), part(), part(), part(), part()};
}

}  // namespace zenta::installer
