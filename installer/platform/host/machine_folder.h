// The folder that stands for a whole Mac.
//
// Paths of the machine are absolute; each names a file below this folder. Symbolic links inside are
// resolved as on the Mac: an absolute target starts at the folder, and ".." never leaves it. So no
// path of the machine leads out of the folder, whatever links it holds. Limit: links are read
// before the file is opened, so whoever can change the folder at that moment can redirect a path.
#pragma once

#include <string>
#include <string_view>

namespace zenta::installer {

class MachineFolder {
 public:
  // The folder that the environment variable ZENTA_MACHINE names; the whole system if that is unset
  // or empty. Throws std::system_error if there is no such folder; it is never created.
  [[nodiscard]] static MachineFolder FromEnvironment();
  // The folder at this host path, which may be relative or contain links. Throws std::system_error
  // if there is no such folder.
  explicit MachineFolder(const std::string& folder);

  // Host path of the folder: absolute, without links and without a slash at its end; "" for "/".
  [[nodiscard]] const std::string& root() const { return root_; }
  [[nodiscard]] bool IsWholeSystem() const { return root_.empty(); }

  enum class LastLink {
    kFollow,
    kKeep
  };  // what becomes of a link that is the path's last component
  // The host path of a path of the machine, whether or not anything exists there. Throws
  // std::system_error if the path contains more than 40 links, or a loop of them.
  [[nodiscard]] std::string HostPath(std::string_view path,
                                     LastLink last = LastLink::kFollow) const;
  // The same; creates missing folders above the path.
  [[nodiscard]] std::string HostPathForWriting(std::string_view path) const;

  // The home folder of the user who runs the program, as a path of the machine.
  [[nodiscard]] static std::string HomeFolder();

 private:
  std::string root_;
};

// The path in the form of the Mac's stringByStandardizingPath: a leading "~" becomes the home
// folder. Doubled slashes, "." and a slash at the end are removed. In an absolute path, ".." is
// removed with the component before it, without looking at links; and so is a leading "/private" if
// the rest names something that exists.
[[nodiscard]] std::string StandardizedPath(const MachineFolder& machine, std::string_view path);

}  // namespace zenta::installer
