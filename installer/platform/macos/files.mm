#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"
#include "installer/platform/posix/downloaded_file.h"

namespace zenta::installer {
namespace {

using signing::StringOfText;
using signing::TextOfString;

NSFileManager* Manager() { return [NSFileManager defaultManager]; }

// The type of the item at the path, links not followed; nil if nothing exists there.
NSString* KindOf(NSString* path) {
  return [[Manager() attributesOfItemAtPath:path error:nullptr] fileType];
}

class ManagedFiles final : public Files {
 public:
  std::string StandardizePath(std::string_view path) override {
    return TextOfString([StringOfText(path) stringByStandardizingPath]).value_or("");
  }

  bool Exists(const std::string& path) override {
    return [Manager() fileExistsAtPath:StringOfText(path)];
  }

  // Opens a descriptor, because NSFileHandle gives neither the owner nor the type of its file.
  std::unique_ptr<DownloadedFile> OpenForReading(const std::string& path) override {
    NSString* target = [StringOfText(path) stringByResolvingSymlinksInPath];
    return OpenDownload({"", path, TextOfString(target).value_or("")});
  }

  std::unique_ptr<Lock> LockFolderOf(const std::string& path) override {
    return LockFolder(path.substr(0, path.rfind('/') + 1));
  }

  bool Remove(const std::string& path) override {
    NSString* item = StringOfText(path);
    // removeItemAtPath: would remove a directory with everything in it.
    if ([KindOf(item) isEqualToString:NSFileTypeDirectory]) return false;
    return [Manager() removeItemAtPath:item error:nullptr] || KindOf(item) == nil;
  }
};

}  // namespace

std::unique_ptr<Files> MacFiles() { return std::make_unique<ManagedFiles>(); }

}  // namespace zenta::installer
