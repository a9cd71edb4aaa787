// Everything that the updater asks of the system it runs on.
//
// Six small interfaces that do not depend on each other, bundled by `Platform`. All are used from
// one thread. Texts are UTF-8. Every call can fail, by the result named below or by throwing any
// exception; the updater treats both alike. So a backend may throw where a result has no failure
// value.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "datahelpers/file_handle.h"

namespace zenta::installer {

// System-wide notifications: names that any process can wait for, without object or user info.
class Notifications {
 public:
  virtual ~Notifications() = default;
  // Posts `name` for immediate delivery.
  virtual void Post(std::string_view name) = 0;
};

// The outcome of a script. A failure has an error number, a message, both or neither.
struct ScriptOutcome {
  bool succeeded = false;
  std::optional<std::string> result{};  // of a success: the result's text value, if it has one
  std::optional<std::int64_t>
      error_number{};  // of a failure; kScriptCancelled, a shell's status ...
  std::optional<std::string> error_message{};  // of a failure
};

// The error number if the user dismissed the password prompt.
inline constexpr std::int64_t kScriptCancelled = -128;

// The error number if the installer program gave up waiting for another installation. It is the
// program's exit status (EX_TEMPFAIL of sysexits.h). Nothing was changed.
inline constexpr std::int64_t kInstallerBusy = 75;

// The system's script language, which asks the user for the administrator password by itself.
class ScriptRunner {
 public:
  virtual ~ScriptRunner() = default;
  // Runs the script with this source text, and returns when it has ended.
  [[nodiscard]] virtual ScriptOutcome Run(const std::string& source) = 0;
};

// Integers in the user defaults (preferences) of the user who runs the program.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  // Whether anything is stored under `key`, of whatever type.
  [[nodiscard]] virtual bool HasObject(std::string_view key) = 0;
  // The value as an integer; for a text, the number that it begins with; 0 if the value is absent
  // or no number.
  [[nodiscard]] virtual std::int64_t Integer(std::string_view key) = 0;
  // Both return false if the change could not be stored; the stored value is then unchanged.
  [[nodiscard]] virtual bool SetInteger(std::string_view key, std::int64_t value) = 0;
  [[nodiscard]] virtual bool Remove(std::string_view key) = 0;
};

// A file of the caches folder, opened once: owner, stamp and contents are all taken from this open
// file, even if its path names another file by then.
class DownloadedFile : public signing::FileHandle {
 public:
  // Why somebody other than root and the user who runs the program can decide what the file holds,
  // as words for the log. nullopt if nobody else can: root or the user owns the file and its name,
  // and not everybody may write it or replace it in its folder.
  [[nodiscard]] virtual std::optional<std::string> WhyDistrusted() = 0;
  // A hash that identifies the file in its present state. It differs for other files, and once this
  // file is written to, and it is the same in every run. nullopt if the system does not report the
  // file's status.
  [[nodiscard]] virtual std::optional<std::int64_t> Stamp() = 0;
};

// A lock that is held until its destructor runs or the process ends.
class Lock {
 public:
  virtual ~Lock() = default;
};

// Files under absolute paths.
class Files {
 public:
  virtual ~Files() = default;
  // The path in the platform's standard form. The other calls and the installer program take paths
  // in this form.
  [[nodiscard]] virtual std::string StandardizePath(std::string_view path) = 0;
  // Whether something exists at the path, links followed: false for a dangling link.
  [[nodiscard]] virtual bool Exists(const std::string& path) = 0;
  // Opens the file, following links. Null if it cannot be opened, or is not a regular file: a
  // directory cannot be read, and a named pipe or a device might never end.
  [[nodiscard]] virtual std::unique_ptr<DownloadedFile> OpenForReading(const std::string& path) = 0;
  // Locks the folder of `path` against other updaters. Waits up to a minute for another holder;
  // null if it still holds the lock then. Where the file system does not support locks, returns a
  // lock that excludes nobody.
  [[nodiscard]] virtual std::unique_ptr<Lock> LockFolderOf(const std::string& path) = 0;
  // Removes one file, or a link itself, but no directory. True if nothing exists at the path any
  // more.
  [[nodiscard]] virtual bool Remove(const std::string& path) = 0;
};

// A keyboard layout, an input method or one of its modes, as listed by InputSources. It stays valid
// without the list that it came from.
class InputSource {
 public:
  virtual ~InputSource() = default;
  [[nodiscard]] virtual std::optional<std::string> SourceId() const = 0;
  [[nodiscard]] virtual std::optional<std::string> ModeId() const = 0;
  // How the system's log prints the source.
  [[nodiscard]] virtual std::string Description() const = 0;
};

// The status of an input source service: 0 for success, otherwise a number of the system's.
using InputSourceStatus = std::int32_t;
// paramErr of the Mac: the status that is logged for a call that threw, and that Register returns
// for a path that it cannot make a URL of.
inline constexpr InputSourceStatus kBadParameter = -50;

// The system's list of input sources.
class InputSources {
 public:
  virtual ~InputSources() = default;
  // Makes the bundle at this path known to the system.
  virtual InputSourceStatus Register(const std::string& bundle_path) = 0;
  // All installed sources, also the disabled ones, in the system's order. None is null. Empty if
  // the system has no list.
  [[nodiscard]] virtual std::vector<std::unique_ptr<InputSource>> List() = 0;
  // `source` comes from this object's List, or is null, for which the service returns a status of
  // its own.
  virtual InputSourceStatus Enable(const InputSource* source) = 0;
  virtual InputSourceStatus Disable(const InputSource* source) = 0;
  virtual InputSourceStatus Select(const InputSource* source) = 0;
};

// The system log.
class Log {
 public:
  virtual ~Log() = default;
  // Writes one line; `text` has no line end. The log puts its own prefix (time, program) before it.
  // A log that nobody reads must not end the program: main() catches SIGPIPE.
  virtual void Line(std::string_view text) = 0;
};

// The six parts. REQUIRES, wherever one is passed: no part is null.
struct Platform {
  std::unique_ptr<Notifications> notifications;
  std::unique_ptr<ScriptRunner> scripts;
  std::unique_ptr<UserDefaults> defaults;
  std::unique_ptr<Files> files;
  std::unique_ptr<InputSources> input_sources;
  std::unique_ptr<Log> log;
};

// Calls `body` once with the platform of the running system, inside the scope that the system needs
// around its calls (an autorelease pool on the Mac). Every build links one definition. Throws if
// the platform cannot be made; `body` has not run then.
void WithSystemPlatform(void (*body)(Platform&) noexcept);

}  // namespace zenta::installer
