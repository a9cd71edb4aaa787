#include "installer/platform/posix/downloaded_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstddef>
#include <utility>

namespace zenta::installer {
namespace {

// The wait is measured in polls, not by a clock, because clocks can jump.
constexpr timespec kPollInterval{0, 50'000'000};
constexpr int kPolls = 1200;  // a minute

// Owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  [[nodiscard]] int number() const { return number_; }  // -1: not open

 private:
  int number_;
};

struct FlockedFolder final : Lock {
  explicit FlockedFolder(Descriptor locked) : descriptor(std::move(locked)) {}
  const Descriptor descriptor;
};

timespec ModificationTime(const struct stat& status) {
#ifdef __APPLE__
  return status.st_mtimespec;
#else
  return status.st_mtim;
#endif
}

using Reason = std::optional<std::string>;

Reason ForeignOwner(const struct stat& status, const char* what) {
  if (status.st_uid == 0 || status.st_uid == geteuid()) return std::nullopt;
  return what + std::string(" belongs to user ") + std::to_string(static_cast<int>(status.st_uid));
}

// Checks the folder of `path` and all folders above it, up to and including the root: whoever may
// write a folder can replace what is in it. The sticky bit prevents that for files of other owners.
Reason ReplaceableByEverybody(const std::string& root, const std::string& path) {
  for (std::string folder = path; folder.size() > root.size();) {
    folder.erase(folder.rfind('/'));
    const std::string name = folder.empty() ? "/" : folder;
    struct stat status;
    if (stat(name.c_str(), &status) != 0) return "cannot look at " + name;
    if ((status.st_mode & (S_IWOTH | S_ISVTX)) == S_IWOTH) {
      return "everybody may replace files in " + name;
    }
  }
  return std::nullopt;
}

class PosixDownload final : public DownloadedFile {
 public:
  PosixDownload(Descriptor file, std::uint64_t size, DownloadPath path)
      : file_(std::move(file)), left_(size), path_(std::move(path)) {}

  // Ends where the file ended when it was opened: a file that is being appended to might never end.
  std::optional<std::size_t> Read(std::span<std::uint8_t> into) override {
    assert(!into.empty());
    const std::size_t asked = static_cast<std::size_t>(std::min<std::uint64_t>(into.size(), left_));
    ssize_t count = 0;
    do {
      count = read(file_.number(), into.data(), asked);
    } while (count < 0 && errno == EINTR);
    if (count < 0) return std::nullopt;
    left_ -= static_cast<std::uint64_t>(count);
    return static_cast<std::size_t>(count);
  }

  Reason WhyDistrusted() override {
    struct stat status;
    if (fstat(file_.number(), &status) != 0) return "cannot look at its owner";
    if (Reason foreign = ForeignOwner(status, "it")) return foreign;
    if ((status.st_mode & S_IWOTH) != 0) return "everybody may write it";
    // The owner of a symbolic link can replace it by one with another target.
    if (lstat(path_.named.c_str(), &status) != 0) return "it is gone";
    if (Reason foreign = ForeignOwner(status, "its name")) return foreign;
    if (Reason replaceable = ReplaceableByEverybody(path_.root, path_.named)) return replaceable;
    return ReplaceableByEverybody(path_.root, path_.target);
  }

  // FNV-1a, over 64-bit words instead of bytes: inode, size, and modification time.
  std::optional<std::int64_t> Stamp() override {
    struct stat status;
    if (fstat(file_.number(), &status) != 0) return std::nullopt;
    const timespec modified = ModificationTime(status);
    std::uint64_t stamp = 0xCBF29CE484222325;
    for (const auto word :
         {static_cast<std::uint64_t>(status.st_ino), static_cast<std::uint64_t>(status.st_size),
          static_cast<std::uint64_t>(modified.tv_sec),
          static_cast<std::uint64_t>(modified.tv_nsec)}) {
      stamp = (stamp ^ word) * 0x100000001B3;
    }
    return static_cast<std::int64_t>(stamp);
  }

 private:
  const Descriptor file_;
  std::uint64_t left_;  // bytes that can still be read
  const DownloadPath path_;
};

}  // namespace

std::unique_ptr<DownloadedFile> OpenDownload(DownloadPath path) {
  // Without O_NONBLOCK the open of a named pipe would wait. With a zero byte in the path it would
  // open another file.
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  if (path.target.find('\0') != std::string::npos) return nullptr;
  Descriptor file(open(path.target.c_str(), kFlags));
  struct stat status;
  if (fstat(file.number(), &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  return std::make_unique<PosixDownload>(std::move(file), size, std::move(path));
}

std::unique_ptr<Lock> LockFolder(const std::string& folder) {
  Descriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (int poll = 0; flock(descriptor.number(), LOCK_EX | LOCK_NB) != 0; ++poll) {
    // If the folder cannot be locked at all, the update goes on without a lock.
    if (errno != EWOULDBLOCK && errno != EINTR) break;
    if (poll == kPolls) return nullptr;
    nanosleep(&kPollInterval, nullptr);
  }
  return std::make_unique<FlockedFolder>(std::move(descriptor));
}

}  // namespace zenta::installer
