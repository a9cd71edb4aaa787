#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"
#include "installer/platform/posix/downloaded_file.h"

namespace zenta::installer {
namespace {

using signing::StringOfText;
using signing::TextOfString;

NSFileManager* Manager() { return [NSFileManager defaultManager]; }

// Of what is there itself, links not followed; nil if nothing is.
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

  // By descriptor, because a file handle tells neither its file's owner nor its kind.
  std::unique_ptr<DownloadedFile> OpenForReading(const std::string& path) override {
    NSString* target = [StringOfText(path) stringByResolvingSymlinksInPath];
    return OpenDownload({"", path, TextOfString(target).value_or("")});
  }

  std::unique_ptr<Lock> LockFolderOf(const std::string& path) override {
    return LockFolder(path.substr(0, path.rfind('/') + 1));
  }

  bool Remove(const std::string& path) override {
    NSString* item = StringOfText(path);
    // The manager would take a directory away with everything in it.
    if ([KindOf(item) isEqualToString:NSFileTypeDirectory]) return false;
    return [Manager() removeItemAtPath:item error:nullptr] || KindOf(item) == nil;
  }
};

}  // namespace

std::unique_ptr<Files> MacFiles() { return std::make_unique<ManagedFiles>(); }

}  // namespace zenta::installer
