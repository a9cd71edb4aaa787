// Everything that the updater asks of the system it runs on.
//
// Six small interfaces that know nothing of each other, bundled by `Platform`. All are used from
// one thread. Texts are UTF-8. No call has to succeed: besides the failure results named below
// every call may throw, which the updater takes for the same failure, so a backend needs no error
// path of its own that the result does not offer. (A backend whose language cannot throw here
// returns the result.)
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "datahelpers/file_handle.h"

namespace zenta::installer {

// System-wide notifications: a name that any process can wait for, without object or user info.
class Notifications {
 public:
  virtual ~Notifications() = default;
  // Posts `name` for immediate delivery.
  virtual void Post(std::string_view name) = 0;
};

// What became of a script. A failed one may say its error number, a message, both or neither.
struct ScriptOutcome {
  bool succeeded = false;
  std::optional<std::string> result{};  // of a success: the result's text value, if it has one
  std::optional<std::int64_t>
      error_number{};  // of a failure; kScriptCancelled, a shell's status ...
  std::optional<std::string> error_message{};  // of a failure
};

// The error number when the person dismissed the password prompt.
inline constexpr std::int64_t kScriptCancelled = -128;

// The error number, an exit status (EX_TEMPFAIL of sysexits.h), when another installation kept the
// installer program waiting until it gave up: it has changed nothing.
inline constexpr std::int64_t kInstallerBusy = 75;

// The system's script language; it asks the person for the administrator password by itself.
class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  // Runs the script with this source text to its end.
  [[nodiscard]] virtual ScriptOutcome Run(const std::string& source) = 0;
};

// Integers in the defaults of the user who runs the program.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  // Whether anything is stored under `key`, of whatever type.
  [[nodiscard]] virtual bool HasObject(std::string_view key) = 0;
  // The value as an integer; of a text the number it begins with; 0 if it is no number or absent.
  [[nodiscard]] virtual std::int64_t Integer(std::string_view key) = 0;
  // False if the change could not be stored; what was stored before still is.
  [[nodiscard]] virtual bool SetInteger(std::string_view key, std::int64_t value) = 0;
  [[nodiscard]] virtual bool Remove(std::string_view key) = 0;
};

// A file of the caches folder, opened once: what is judged is what is read, whatever its path comes to
// name meanwhile.
class DownloadedFile : public signing::FileHandle {
 public:
  // Who else may decide what the file holds, in words for the log; nullopt if only root and the user
  // who runs the program may: one of them owns it, everybody may neither write it nor replace it in
  // its folder.
  [[nodiscard]] virtual std::optional<std::string> WhyDistrusted() = 0;
  // A number that tells the file as it is now from others and from itself once it is written to; the
  // same in every run. nullopt if the system does not say.
  [[nodiscard]] virtual std::optional<std::int64_t> Stamp() = 0;
};

// Released by its destructor and by the end of the process.
class Lock {
 public:
  virtual ~Lock() = default;
};

// Files under absolute paths.
class Files {
 public:
  virtual ~Files() = default;
  // The path in the platform's standard form, still as the platform's programs know it: it is what
  // the other calls and the installer program are given.
  [[nodiscard]] virtual std::string StandardizePath(std::string_view path) = 0;
  // Whether something is there, links followed: a dangling link is not.
  [[nodiscard]] virtual bool Exists(const std::string& path) = 0;
  // The file, links followed; null if there is none that can be read. Only a regular file is opened:
  // a directory cannot be read, a named pipe or a device might never end.
  [[nodiscard]] virtual std::unique_ptr<DownloadedFile> OpenForReading(const std::string& path) = 0;
  // Lets one process at a time deal with what lies in the folder of `path`. Waits up to a minute for
  // the one that does; null if it still does then. Where the file system has no locks everybody gets
  // one.
  [[nodiscard]] virtual std::unique_ptr<Lock> LockFolderOf(const std::string& path) = 0;
  // Removes one file, or a link itself; a directory stays. Whether nothing is there any more.
  [[nodiscard]] virtual bool Remove(const std::string& path) = 0;
};

// A keyboard layout, an input method or one of its modes, as listed by InputSources. It stays valid
// after the list that it came with is gone.
class InputSource {
 public:
  virtual ~InputSource() = default;
  [[nodiscard]] virtual std::optional<std::string> SourceId() const = 0;
  [[nodiscard]] virtual std::optional<std::string> ModeId() const = 0;
  // How the system's log prints the source.
  [[nodiscard]] virtual std::string Description() const = 0;
};

// The status of an input source service: 0 is success, everything else is the system's own number.
using InputSourceStatus = std::int32_t;
// What the updater logs for a call that threw, and what Register gives for a path that makes no
// URL.
inline constexpr InputSourceStatus kBadParameter = -50;

// The system's list of input sources.
class InputSources {
 public:
  virtual ~InputSources() = default;
  // Makes the bundle at this path known.
  virtual InputSourceStatus Register(const std::string& bundle_path) = 0;
  // All installed sources, the disabled ones too, in the system's order, none of them null; empty
  // if there is no list.
  [[nodiscard]] virtual std::vector<std::unique_ptr<InputSource>> List() = 0;
  // `source` comes from this object's List, or is null: "no source", which is the service's to
  // judge.
  virtual InputSourceStatus Enable(const InputSource* source) = 0;
  virtual InputSourceStatus Disable(const InputSource* source) = 0;
  virtual InputSourceStatus Select(const InputSource* source) = 0;
};

// The system log.
class Log {
 public:
  virtual ~Log() = default;
  // One line, without its end; the log puts its own prefix (time, program) in front. A log that
  // nobody reads any more must not end the program (a closed pipe's signal).
  virtual void Line(std::string_view text) = 0;
};

// The bundle. REQUIRES, wherever one is passed: no part is null.
struct Platform {
  std::unique_ptr<Notifications> notifications;
  std::unique_ptr<ScriptRunner> scripts;
  std::unique_ptr<UserDefaults> defaults;
  std::unique_ptr<Files> files;
  std::unique_ptr<InputSources> input_sources;
  std::unique_ptr<Log> log;
};

// Calls `body` once with the platform of the running system, inside whatever scope that system
// wants around its calls (an autorelease scope on the Mac). Every build links one definition of it.
// May throw when the platform cannot be made; `body` has not run then.
void WithSystemPlatform(void (*body)(Platform&) noexcept);

}  // namespace zenta::installer
