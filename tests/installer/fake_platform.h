// A machine in memory that records what is asked of it and can fail at any call.
#pragma once

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "installer/platform.h"

namespace zenta {

struct FakeMachine {
  struct Source {
    std::optional<std::string> id, mode;
    bool enabled = true;  // as is a source that an older version left behind
  };

  std::map<std::string, std::string> files;
  std::map<std::string, std::string> defaults;  // any value, as text
  std::vector<Source> sources;
  std::string selected;        // description of the selected source
  ScriptOutcome script;        // what every script comes to
  std::string standard_place;  // stands in front of every standardized path

  std::vector<std::string> effects;  // calls that ask for a change, in order
  std::size_t calls = 0;             // all calls
  std::size_t fail_at = ~std::size_t{0};
  bool throws = false;  // how a call fails: by its result, or by throwing

  // Counts a call; whether it is to fail.
  bool Fails() {
    if (calls++ != fail_at) return false;
    if (throws) throw std::runtime_error("this call fails");
    return true;
  }
  bool Fails(std::string effect) {
    effects.push_back(std::move(effect));
    return Fails();
  }

  Platform MakePlatform();
};

class FakeFile final : public FileHandle {
 public:
  FakeFile(FakeMachine& machine, std::string content)
      : machine_(machine), rest_(std::move(content)) {}
  std::optional<std::size_t> Read(std::span<std::uint8_t> into) override {
    if (machine_.Fails()) return std::nullopt;
    const std::size_t size = std::min(into.size(), rest_.size());
    std::copy_n(rest_.begin(), size, into.begin());
    rest_.erase(0, size);
    return size;
  }

 private:
  FakeMachine& machine_;
  std::string rest_;
};

class FakeSource final : public InputSource {
 public:
  FakeSource(FakeMachine& machine, std::size_t index) : machine_(machine), index_(index) {}
  std::optional<std::string> SourceId() const override {
    return machine_.Fails() ? std::nullopt : source().id;
  }
  std::optional<std::string> ModeId() const override {
    return machine_.Fails() ? std::nullopt : source().mode;
  }
  std::string Description() const override { return machine_.Fails() ? "" : Name(); }

  FakeMachine::Source& source() const { return machine_.sources[index_]; }
  std::string Name() const { return "#" + std::to_string(index_); }

 private:
  FakeMachine& machine_;
  std::size_t index_;
};

// Each part of the platform is one of these.
class FakePart final : public Notifications,
                       public ScriptRunner,
                       public UserDefaults,
                       public Files,
                       public InputSources,
                       public Log {
 public:
  explicit FakePart(FakeMachine& machine) : machine_(machine) {}

  void Post(std::string_view name) override { Fails("post ", name); }
  void Line(std::string_view text) override { Fails("log ", text); }
  ScriptOutcome Run(const std::string& source) override {
    return Fails("run ", source) ? ScriptOutcome{} : machine_.script;
  }

  bool HasObject(std::string_view key) override {
    return !machine_.Fails() && machine_.defaults.contains(std::string(key));
  }
  std::int64_t Integer(std::string_view key) override {
    return machine_.Fails() ? 0 : std::atoll(machine_.defaults[std::string(key)].c_str());
  }
  void SetInteger(std::string_view key, std::int64_t value) override {
    if (!Fails("set ", std::to_string(value)))
      machine_.defaults[std::string(key)] = std::to_string(value);
  }
  void Remove(std::string_view key) override {
    if (!Fails("unset ", key)) machine_.defaults.erase(std::string(key));
  }

  std::string StandardizePath(std::string_view path) override {
    return machine_.Fails() ? "" : machine_.standard_place + std::string(path);
  }
  bool Exists(const std::string& path) override {
    return !machine_.Fails() && machine_.files.contains(path);
  }
  std::unique_ptr<FileHandle> OpenForReading(const std::string& path) override {
    if (machine_.Fails() || !machine_.files.contains(path)) return nullptr;
    return std::make_unique<FakeFile>(machine_, machine_.files[path]);
  }
  void Remove(const std::string& path) override {
    if (!Fails("remove ", path)) machine_.files.erase(path);
  }

  InputSourceStatus Register(const std::string& path) override {
    return Fails("register ", path) ? -1 : 0;
  }
  std::vector<std::unique_ptr<InputSource>> List() override {
    std::vector<std::unique_ptr<InputSource>> list;
    if (machine_.Fails()) return list;
    for (std::size_t i = 0; i != machine_.sources.size(); ++i) {
      list.push_back(std::make_unique<FakeSource>(machine_, i));
    }
    return list;
  }
  InputSourceStatus Enable(const InputSource* source) override {
    return Serve("enable ", source, [](FakeSource& s) { s.source().enabled = true; });
  }
  InputSourceStatus Disable(const InputSource* source) override {
    return Serve("disable ", source, [](FakeSource& s) { s.source().enabled = false; });
  }
  InputSourceStatus Select(const InputSource* source) override {
    return Serve("select ", source, [this](FakeSource& s) { machine_.selected = s.Name(); });
  }

 private:
  bool Fails(std::string effect, std::string_view what) {
    return machine_.Fails(effect.append(what));
  }

  template <class Change>
  InputSourceStatus Serve(const char* what, const InputSource* source, Change change) {
    auto* mine = static_cast<const FakeSource*>(source);
    if (Fails(what, mine ? mine->Name() : "nothing")) return -1;
    if (mine == nullptr) return kBadParameter;
    FakeSource copy = *mine;
    change(copy);
    return 0;
  }

  FakeMachine& machine_;
};

inline Platform FakeMachine::MakePlatform() {
  const auto part = [this] { return std::make_unique<FakePart>(*this); };
  return {part(), part(), part(), part(), part(), part()};
}

}  // namespace zenta
