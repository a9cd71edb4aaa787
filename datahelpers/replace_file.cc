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

// Repeats a call that a signal interrupted.
template <class Call>
int Uninterrupted(Call call) {
  int result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

// The descriptor is closed by exec and is never 0, 1 or 2: in a process that was started without
// standard streams, printed text must not end up in the file.
int OpenFile(const fs::path& path, int flags, mode_t mode) {
  const int descriptor = Uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, mode); });
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int other = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  close(descriptor);
  if (other < 0 && (flags & O_EXCL) != 0) unlink(path.c_str());  // this call created it
  errno = error;
  return other;
}

// Flushes the file. On macOS fsync alone leaves data in the drive's cache; F_FULLFSYNC does not.
int Sync(int descriptor) {
#ifdef F_FULLFSYNC
  if (Uninterrupted([=] { return fcntl(descriptor, F_FULLFSYNC); }) == 0) return 0;
    // Not every file system supports it.
#endif
  return Uninterrupted([=] { return fsync(descriptor); });
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
    if (written == 0) return EIO;  // does not happen; the loop would not end
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int MoveInto(const fs::path& target, const fs::path& fresh, int descriptor) {
  if (Sync(descriptor) != 0 || rename(fresh.c_str(), target.c_str()) != 0) return errno;
  SyncFolder(FolderOf(target));
  return 0;
}

int ReplaceContents(const fs::path& target, std::string_view bytes, mode_t mode) {
  const fs::path fresh = FreshNameBeside(target);
  const int descriptor = OpenFile(fresh, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (descriptor < 0) return errno;
  int error = WriteBytes(descriptor, bytes);
  if (error == 0) error = MoveInto(target, fresh, descriptor);
  close(descriptor);
  if (error != 0) unlink(fresh.c_str());
  return error;
}

// Ignores errors: the file itself is complete and in place.
void SyncFolder(const fs::path& folder) {
  const int descriptor = OpenFile(folder, O_RDONLY | O_DIRECTORY, 0);
  if (descriptor < 0) return;
  (void)Sync(descriptor);
  close(descriptor);
}

}  // namespace zenta::signing
