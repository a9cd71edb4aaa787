// The folder that stands for a whole Mac.
//
// Paths of the machine are absolute; each names a file below this folder. Symbolic links inside
// mean what they would mean on the Mac: an absolute target starts at the folder, and ".." never
// climbs above it. So no path of the machine leads out of it, whatever links it holds. (Links are
// read before the file is opened: who may change the folder at the same moment may redirect a path,
// but then the folder is theirs anyway.)
#pragma once

#include <string>
#include <string_view>

namespace zenta::installer {

class MachineFolder {
 public:
  // The folder named by the environment variable ZENTA_MACHINE, the whole system if that is unset
  // or empty. Throws std::system_error if there is no such folder; it is never created.
  [[nodiscard]] static MachineFolder FromEnvironment();
  // The folder at this host path, which may be relative or lead through links. Throws like the
  // above.
  explicit MachineFolder(const std::string& folder);

  // Host path of the folder: absolute, without links, without a slash at its end; so "" for "/".
  [[nodiscard]] const std::string& root() const { return root_; }
  [[nodiscard]] bool IsWholeSystem() const { return root_.empty(); }

  enum class LastLink {
    kFollow,
    kKeep
  };  // what becomes of a link that is the path's last component
  // Host path of a machine's path, whether or not there is something. Throws std::system_error on a
  // circle of links.
  [[nodiscard]] std::string HostPath(std::string_view path,
                                     LastLink last = LastLink::kFollow) const;
  // The same, after having made the folders above the path that are missing.
  [[nodiscard]] std::string HostPathForWriting(std::string_view path) const;

  // The home folder, a path of the machine, of the user who runs the program.
  [[nodiscard]] static std::string HomeFolder();

 private:
  std::string root_;
};

// A path in the form that the Mac's stringByStandardizingPath gives it: a leading "~" is the home
// folder; doubled slashes, "." and a slash at the end vanish; in an absolute path so does ".." with
// what is before it (by the text, links are not looked at); and "/private" at its front if the rest
// names something that exists.
[[nodiscard]] std::string StandardizedPath(const MachineFolder& machine, std::string_view path);

}  // namespace zenta::installer
