#include <array>
#include <cassert>
#include <string>
#include <utility>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/input_method_bundle.h"
#include "installer/platform/host/plist_file.h"

namespace zenta::installer {
namespace {

constexpr InputSourceStatus kNoError = 0;
constexpr char kState[] = "/Library/Preferences/com.apple.HIToolbox.plist";
constexpr char kInputMethods[] = "/Library/Input Methods";

// Keys of the state. The first two are a Mac's own; a Mac keeps what the third holds in a cache.
constexpr char kEnabled[] = "AppleEnabledInputSources";
constexpr char kSelected[] = "AppleSelectedInputSources";
constexpr char kRegistered[] = "RegisteredInputMethods";  // paths of bundles, in order

// One entry of the list, with the properties that identify it in the state.
class Source final : public InputSource {
 public:
  std::string id;
  std::string kind;
  // These identify the source in the state. Each can be absent.
  std::optional<std::string> bundle, mode, layout;
  bool can_be_selected = true;

  std::optional<std::string> SourceId() const override { return id; }
  std::optional<std::string> ModeId() const override { return mode; }
  std::string Description() const override { return "<TSMInputSource " + kind + ": " + id + ">"; }
};

// The layout that every Mac has without an input method.
Source KeyboardLayout() {
  Source source;
  source.id = "com.apple.keylayout.ABC";
  source.kind = "Keyboard Layout";
  source.layout = "ABC";
  return source;
}

// The input method itself. If it has modes, it is only their parent and cannot be selected.
Source MethodSource(const InputMethodBundle& bundle) {
  Source source;
  source.id = bundle.source_id;
  source.kind = "Keyboard Input Method";
  source.bundle = bundle.identifier;
  source.can_be_selected = bundle.modes.empty();
  return source;
}

Source ModeSource(const InputMethodBundle& bundle, const InputMode& mode) {
  Source source;
  source.id = mode.source_id;
  source.kind = "Input Mode";
  source.bundle = bundle.identifier;
  source.mode = mode.mode_id;
  return source;
}

// In the state, a source is a dictionary of its kind and these keys.
struct Identity {
  const char* key;
  std::optional<std::string> Source::*value;
};
constexpr std::array<Identity, 3> kIdentities = {{{"Bundle ID", &Source::bundle},
                                                  {"Input Mode", &Source::mode},
                                                  {"KeyboardLayout Name", &Source::layout}}};

plist_t EntryFor(const Source& source) {
  plist_t entry = plist_new_dict();
  plist_dict_set_item(entry, "InputSourceKind", plist_new_string(source.kind.c_str()));
  for (const auto& [key, value] : kIdentities) {
    const auto& text = source.*value;
    if (text) plist_dict_set_item(entry, key, plist_new_string(text->c_str()));
  }
  return entry;
}

bool IsEntryFor(plist_t entry, const Source& source) {
  bool same = StringUnder(entry, "InputSourceKind") == source.kind;
  for (const auto& [key, value] : kIdentities)
    same = same && StringUnder(entry, key) == source.*value;
  return same;
}

// The state, read for one call. Its lists always exist: on a new machine the keyboard layout is
// enabled and selected. Entries that this program does not know are kept.
class State {
 public:
  explicit State(std::string path) : file_(std::move(path)) {
    List(kRegistered);
    for (const char* key : {kEnabled, kSelected}) {
      if (plist_array_get_size(List(key)) == 0) {
        plist_array_append_item(List(key), EntryFor(KeyboardLayout()));
      }
    }
  }

  // The list under the key. If that is missing or no array, it becomes an empty array.
  plist_t List(const char* key) {
    plist_t list = plist_dict_get_item(file_.root(), key);
    if (list != nullptr && plist_get_node_type(list) == PLIST_ARRAY) return list;
    list = plist_new_array();
    plist_dict_set_item(file_.root(), key, list);
    return list;
  }

  // The source's entry in a list; null if it has none.
  plist_t Find(const char* key, const Source& source) {
    plist_t list = List(key);
    for (std::uint32_t i = 0; i < plist_array_get_size(list); ++i) {
      plist_t entry = plist_array_get_item(list, i);
      if (IsEntryFor(entry, source)) return entry;
    }
    return nullptr;
  }

  void Enable(const Source& source) {
    if (Find(kEnabled, source) != nullptr) return;
    plist_array_append_item(List(kEnabled), EntryFor(source));
  }

  // A selected source has to be enabled, so disabling it selects the keyboard layout.
  void Disable(const Source& source) {
    while (plist_t entry = Find(kEnabled, source)) plist_array_item_remove(entry);
    if (Find(kSelected, source) != nullptr) Select(KeyboardLayout());
  }

  void Select(const Source& source) {
    plist_dict_remove_item(file_.root(), kSelected);
    plist_array_append_item(List(kSelected), EntryFor(source));
  }

  std::vector<std::string> RegisteredPaths() {
    std::vector<std::string> paths;
    plist_t list = List(kRegistered);
    for (std::uint32_t i = 0; i < plist_array_get_size(list); ++i) {
      paths.push_back(StringOf(plist_array_get_item(list, i)).value_or(""));
    }
    return paths;
  }

  void Save() { file_.Save(); }

 private:
  PlistFile file_;
};

class HostSources final : public InputSources {
 public:
  explicit HostSources(const MachineFolder& machine) : machine_(machine) {}

  InputSourceStatus Register(const std::string& bundle_path) override {
    const std::string path = StandardizedPath(machine_, bundle_path);
    const std::string folder = path.substr(0, path.rfind('/'));
    if (folder != kInputMethods && folder != MachineFolder::HomeFolder() + kInputMethods) {
      return kBadParameter;
    }
    // A package that did not install its bundle is noticed here.
    const auto bundle = ReadBundle(path);
    if (!bundle) return kBadParameter;
    if (!NamesInputMethod(bundle->identifier)) return kNoError;  // accepted and ignored
    State state = OpenForChange();
    for (const std::string& known : state.RegisteredPaths()) {
      if (known == path) return kNoError;
    }
    plist_array_append_item(state.List(kRegistered), plist_new_string(path.c_str()));
    return Saved(state);
  }

  // Reads the bundles each time, so that one that was removed is not listed.
  std::vector<std::unique_ptr<InputSource>> List() override {
    std::vector<std::unique_ptr<InputSource>> sources;
    const auto add = [&](Source source) {
      sources.push_back(std::make_unique<Source>(std::move(source)));
    };
    add(KeyboardLayout());
    for (const std::string& path : State(machine_.HostPath(StatePath())).RegisteredPaths()) {
      const auto bundle = ReadBundle(path);
      if (!bundle) continue;
      add(MethodSource(*bundle));
      for (const InputMode& mode : bundle->modes) add(ModeSource(*bundle, mode));
    }
    return sources;
  }

  InputSourceStatus Enable(const InputSource* source) override {
    return Change(source, [](State& state, const Source& known) {
      state.Enable(known);
      return true;
    });
  }

  // Refuses to disable the keyboard layout: something always has to be selectable.
  InputSourceStatus Disable(const InputSource* source) override {
    return Change(source, [](State& state, const Source& known) {
      state.Disable(known);
      return !known.layout;
    });
  }

  InputSourceStatus Select(const InputSource* source) override {
    return Change(source, [](State& state, const Source& known) {
      state.Select(known);
      return known.can_be_selected && state.Find(kEnabled, known) != nullptr;
    });
  }

 private:
  // Applies `change` to the state, and saves it if `change` returns true: the change is allowed.
  template <class Action>
  InputSourceStatus Change(const InputSource* source, Action change) {
    if (source == nullptr) return kBadParameter;
    assert(dynamic_cast<const Source*>(source) != nullptr);
    State state = OpenForChange();
    if (!change(state, static_cast<const Source&>(*source))) return kBadParameter;
    return Saved(state);
  }

  static InputSourceStatus Saved(State& state) {
    state.Save();
    return kNoError;
  }

  static std::string StatePath() { return MachineFolder::HomeFolder() + kState; }

  [[nodiscard]] State OpenForChange() const {
    return State(machine_.HostPathForWriting(StatePath()));
  }

  [[nodiscard]] std::optional<InputMethodBundle> ReadBundle(const std::string& path) const {
    const PlistFile info(machine_.HostPath(path + "/Contents/Info.plist"));
    return ReadInputMethodBundle(info.root());
  }

  const MachineFolder machine_;
};

}  // namespace

std::unique_ptr<InputSources> HostInputSources(const MachineFolder& machine) {
  return std::make_unique<HostSources>(machine);
}

}  // namespace zenta::installer
