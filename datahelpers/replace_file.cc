#include "datahelpers/replace_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>
#include <string>

namespace zenta::signing {
namespace {

namespace fs = std::filesystem;

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : ".";
}

}  // namespace

fs::path FreshNameBeside(const fs::path& target) {
  std::random_device random;
  return FolderOf(target) /
         ("." + target.filename().string() + "." + std::to_string(random()) + ".tmp");
}

int WriteBytes(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written == 0) return EIO;  // no system does that; one that did would be asked for ever
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int MoveInto(const fs::path& target, const fs::path& fresh, int descriptor) {
  if (fsync(descriptor) != 0 || rename(fresh.c_str(), target.c_str()) != 0) return errno;
  SyncFolder(FolderOf(target));
  return 0;
}

int ReplaceContents(const fs::path& target, std::string_view bytes, mode_t mode) {
  const fs::path fresh = FreshNameBeside(target);
  const int descriptor = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (descriptor < 0) return errno;
  int error = WriteBytes(descriptor, bytes);
  if (error == 0) error = MoveInto(target, fresh, descriptor);
  close(descriptor);
  if (error != 0) unlink(fresh.c_str());
  return error;
}

// A folder that cannot be opened or synced is no reason to give up a file that is whole.
void SyncFolder(const fs::path& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace zenta::signing
