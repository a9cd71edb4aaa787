// The machine folder of a story: setting it up, changing it as a user would, and looking at it.
//
// Everything lies in one working folder:
//   WORK/machine   the machine folder
//   WORK/canary    a tree that no program may touch
//   WORK/log       standard output and error of the programs
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zenta::simulate {

// One version of the input method, and what is needed to recognise it.
struct Release {
  std::string name;
  std::string bundle;      // path of its tree
  std::string package;     // contents of the package
  std::string digest;      // contents of its digest file
  bool is_signed = false;  // by the key that the updater trusts
  std::uint64_t tree = 0;  // TreeSum of the bundle
};

// A hash over everything in a tree: names, kinds, permissions, contents, targets of links. 0 if
// nothing exists at the path.
[[nodiscard]] std::uint64_t TreeSum(const std::string& path);

[[nodiscard]] std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

// Who puts a file into the caches folder: the user who also runs the updater, or another user.
enum class Who { kUser, kStranger };

// What is in the machine, as far as the invariants need it.
struct Snapshot {
  std::uint64_t bundle = 0;              // TreeSum
  bool has_package = false;              // a file, link, folder or pipe
  std::string package;                   // contents, if it is a file
  std::optional<std::int64_t> counter;   // of failures
  bool has_leftover = false;             // the updater has noted a package that it could not remove
  bool state_is_whole = true;            // no preferences file is truncated
  std::uint64_t runs = 0, failures = 0;  // notifications posted
  bool has_staging = false;              // a staging folder is left
};

class Machine {
 public:
  // `updater` and `installer`: the programs that run on it. REQUIRES: `work` exists.
  Machine(std::string work, std::string updater, std::string installer)
      : work_(std::move(work)),
        root_(work_ + "/machine"),
        updater_(std::move(updater)),
        installer_(std::move(installer)) {}

  // A new machine; with `installed`, that release's bundle is in place.
  void Reset(const Release* installed);

  [[nodiscard]] const std::string& root() const { return root_; }
  [[nodiscard]] const std::string& updater() const { return updater_; }
  [[nodiscard]] const std::string& installer() const { return installer_; }
  [[nodiscard]] std::string log() const { return work_ + "/log"; }
  [[nodiscard]] std::string package() const { return root_ + "/Library/Caches/update.pkg"; }
  [[nodiscard]] std::string digest() const { return root_ + "/Library/Caches/inputPkg.txt"; }
  // A package that an administrator installs by hand, and its path on the machine.
  [[nodiscard]] std::string by_hand() const { return root_ + kByHand; }
  static constexpr char kByHand[] = "/Users/Shared/by-hand.pkg";

  void SetCachesMode(unsigned mode) const;
  [[nodiscard]] Snapshot Look() const;
  // A hash over everything that no program may touch: the canary, other people's files, other
  // bundles.
  [[nodiscard]] std::uint64_t Bystanders() const;
  // Whether the updater may trust a file in the caches folder: root or the user owns it, and others
  // can neither write nor replace it.
  [[nodiscard]] bool IsTrusted(const std::string& path) const;

 private:
  std::string work_, root_, updater_, installer_;
};

// Runs `action` with that user's rights. Returns false if the system refused. Only root can become
// another user; run by anybody else, a stranger's actions all fail.
[[nodiscard]] bool As(Who who, bool (*action)(const std::string&, const std::string&),
                      const std::string& path, const std::string& bytes);
// Actions for As. True if done.
// A new file of these bytes takes the name in one step.
bool PutInPlace(const std::string& path, const std::string& bytes);
// Replaces the contents of the existing file.
bool WriteOver(const std::string& path, const std::string& bytes);
bool Append(const std::string& path, const std::string& bytes);
bool Remove(const std::string& path, const std::string&);
bool PutLink(const std::string& path, const std::string& target);
bool PutPipe(const std::string& path, const std::string&);
bool PutFolder(const std::string& path, const std::string&);

}  // namespace zenta::simulate
