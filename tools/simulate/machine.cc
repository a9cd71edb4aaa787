#include "tools/simulate/machine.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tools/common/failure.h"

namespace zenta::simulate {
namespace {

namespace fs = std::filesystem;
using tools::SystemFailure;

constexpr char kInputMethods[] = "/Library/Input Methods";
constexpr char kCounterName[] = "com.zenta.inputmethod.ZentaIM.update.plist";
constexpr uid_t kStrangerId = 65534;  // nobody

class Sum {  // FNV-1a, 64 bits
 public:
  void Add(const std::string& bytes) {
    for (const char byte : bytes) AddByte(static_cast<unsigned char>(byte));
    AddByte(0);
  }
  void Add(std::uint64_t number) { Add(std::to_string(number)); }
  [[nodiscard]] std::uint64_t value() const { return value_; }

 private:
  void AddByte(unsigned char byte) { value_ = (value_ ^ byte) * 0x100000001B3; }
  std::uint64_t value_ = 0xCBF29CE484222325;
};

void AddTree(const fs::path& path, const std::string& name, Sum& sum) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  sum.Add(name);
  sum.Add(status.st_mode);
  if (S_ISLNK(status.st_mode)) sum.Add(fs::read_symlink(path).string());
  if (S_ISREG(status.st_mode)) sum.Add(ReadFile(path));
  if (!S_ISDIR(status.st_mode)) return;
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(path)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  for (const std::string& below : names)
    AddTree(path / below, std::string(name).append("/").append(below), sum);
}

std::uint64_t CountLines(const std::string& text, const std::string& ending) {
  std::uint64_t count = 0;
  for (std::size_t at = text.find(ending); at != std::string::npos; at = text.find(ending, at + 1))
    ++count;
  return count;
}

// Reads the updater's preferences, which it writes as XML.
void ReadCounter(const std::string& text, Snapshot& seen) {
  const std::size_t key = text.find("<key>install_fail_num</key>");
  seen.has_leftover = text.find("<key>package_left_behind</key>") != std::string::npos;
  if (key == std::string::npos) return;
  const std::size_t value = text.find("<integer>", key);
  if (value != std::string::npos) seen.counter = std::atoll(text.c_str() + value + 9);
}

bool WriteAll(int descriptor, const std::string& bytes) {
  if (descriptor < 0) return false;
  const bool done =
      write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  close(descriptor);
  return done;
}

}  // namespace

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const std::string& path, const std::string& bytes) {
  fs::create_directories(fs::path(path).parent_path());
  if (!PutInPlace(path, bytes)) throw SystemFailure("cannot write " + path);
}

std::uint64_t TreeSum(const std::string& path) {
  if (fs::symlink_status(path).type() == fs::file_type::not_found) return 0;
  Sum sum;
  AddTree(path, "", sum);
  return sum.value();
}

void Machine::Reset(const Release* installed) {
  for (const char* part : {"/machine", "/canary", "/log"}) fs::remove_all(work_ + part);
  fs::create_directories(root_ + "/Library/Caches");
  fs::create_directories(root_ + "/usr/sbin");
  fs::create_symlink(installer_, root_ + "/usr/sbin/installer");
  WriteFile(root_ + kInputMethods + "/Other.app/Contents/Info.plist", "<plist/>\n");
  WriteFile(root_ + "/etc/passwd", "root:*:0:0\n");
  WriteFile(root_ + kByHand, "");
  WriteFile(work_ + "/canary/folder/file", "nobody's business\n");
  fs::create_symlink("folder", work_ + "/canary/link");
  if (installed != nullptr) {
    fs::copy(installed->bundle, root_ + kInputMethods + "/ZentaIM.app",
             fs::copy_options::recursive);
  }
}

void Machine::SetCachesMode(unsigned mode) const {
  if (chmod((root_ + "/Library/Caches").c_str(), mode) != 0)
    throw SystemFailure("cannot change the caches folder");
}

Snapshot Machine::Look() const {
  Snapshot seen;
  seen.bundle = TreeSum(root_ + kInputMethods + "/ZentaIM.app");
  const fs::file_type kind = fs::symlink_status(package()).type();
  seen.has_package = kind != fs::file_type::not_found;
  if (kind == fs::file_type::regular) seen.package = ReadFile(package());
  for (const auto& entry :
       fs::recursive_directory_iterator(root_, fs::directory_options::skip_permission_denied)) {
    const std::string name = entry.path().filename();
    if (entry.path().parent_path().filename() == "Preferences" && !name.starts_with(".")) {
      const std::string text = ReadFile(entry.path());
      seen.state_is_whole =
          seen.state_is_whole && (text.ends_with("</plist>\n") || text.ends_with("</plist>"));
    }
    if (name == kCounterName) ReadCounter(ReadFile(entry.path()), seen);
    if (name.starts_with(".zenta-installer-")) seen.has_staging = true;
  }
  const std::string journal = ReadFile(root_ + "/var/log/notifications.log");
  seen.runs = CountLines(journal, " ZentaIMupdate_Run_Notification\n");
  seen.failures = CountLines(journal, " ZentaIMupdate_Fail_Notification\n");
  return seen;
}

std::uint64_t Machine::Bystanders() const {
  Sum sum;
  for (const std::string& path :
       {work_ + "/canary", root_ + kInputMethods + std::string("/Other.app"), root_ + "/etc",
        root_ + "/usr", by_hand()}) {
    sum.Add(TreeSum(path));
  }
  struct stat status {};
  lstat((work_ + "/canary/folder/file").c_str(), &status);
  sum.Add(static_cast<std::uint64_t>(status.st_mtim.tv_nsec));
  sum.Add(status.st_ino);
  return sum.value();
}

bool Machine::IsTrusted(const std::string& path) const {
  struct stat file {
  }, folder{};
  if (stat(path.c_str(), &file) != 0 || !S_ISREG(file.st_mode)) return false;
  if (stat(fs::path(path).parent_path().c_str(), &folder) != 0) return false;
  const bool replaceable = (folder.st_mode & S_IWOTH) != 0 && (folder.st_mode & S_ISVTX) == 0;
  return !replaceable && (file.st_uid == 0 || file.st_uid == geteuid()) &&
         (file.st_mode & S_IWOTH) == 0;
}

bool As(Who who, bool (*action)(const std::string&, const std::string&), const std::string& path,
        const std::string& bytes) {
  if (who == Who::kUser) return action(path, bytes);
  if (geteuid() != 0) return false;
  if (setgroups(0, nullptr) != 0 || setegid(kStrangerId) != 0 || seteuid(kStrangerId) != 0) {
    throw SystemFailure("cannot be another user");
  }
  const bool done = action(path, bytes);
  if (seteuid(0) != 0 || setegid(0) != 0) throw SystemFailure("cannot be root again");
  return done;
}

bool PutInPlace(const std::string& path, const std::string& bytes) {
  const std::string fresh = path + ".new";
  if (!WriteAll(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644), bytes))
    return false;
  if (rename(fresh.c_str(), path.c_str()) == 0) return true;
  unlink(fresh.c_str());
  return false;
}

bool WriteOver(const std::string& path, const std::string& bytes) {
  return WriteAll(open(path.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK),
                  bytes);
}

bool Append(const std::string& path, const std::string& bytes) {
  return WriteAll(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK),
                  bytes);
}

bool Remove(const std::string& path, const std::string&) { return remove(path.c_str()) == 0; }

bool PutLink(const std::string& path, const std::string& target) {
  return (remove(path.c_str()) == 0 || errno == ENOENT) &&
         symlink(target.c_str(), path.c_str()) == 0;
}

bool PutPipe(const std::string& path, const std::string&) {
  return (remove(path.c_str()) == 0 || errno == ENOENT) && mkfifo(path.c_str(), 0644) == 0;
}

bool PutFolder(const std::string& path, const std::string&) {
  return (remove(path.c_str()) == 0 || errno == ENOENT) && mkdir(path.c_str(), 0755) == 0;
}

}  // namespace zenta::simulate
