#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_file.h"
#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"

namespace zenta::installer {
namespace {

using signing::FileHandle;
using signing::FoundationFile;
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

  std::unique_ptr<FileHandle> OpenForReading(const std::string& path) override {
    // A file handle also opens a directory, and waits at a named pipe.
    NSString* target = [StringOfText(path) stringByResolvingSymlinksInPath];
    if (![KindOf(target) isEqualToString:NSFileTypeRegular]) return nullptr;
    // In a scope of its own, so that the file is closed when its only keeper goes.
    NSAutoreleasePool* scope = [[NSAutoreleasePool alloc] init];
    NSFileHandle* handle = [NSFileHandle fileHandleForReadingAtPath:target];
    auto file = handle != nil ? std::make_unique<FoundationFile>(handle) : nullptr;
    [scope drain];
    return file;
  }

  void Remove(const std::string& path) override {
    NSString* item = StringOfText(path);
    // The manager would take a directory away with everything in it.
    if ([KindOf(item) isEqualToString:NSFileTypeDirectory]) return;
    [Manager() removeItemAtPath:item error:nullptr];
  }
};

}  // namespace

std::unique_ptr<Files> MacFiles() { return std::make_unique<ManagedFiles>(); }

}  // namespace zenta::installer
