// The classes as Objective-C callers know them, by name alone, and what is left of all objects.
#undef NDEBUG  // hides the counters of objects
#import <Foundation/Foundation.h>
#import <Foundation/NSDebug.h>
#include <fcntl.h>
#include <unistd.h>

#include <map>

#include "datahelpers/macos/foundation_text.h"
#include "datahelpers/macos/ztdh_class_front.h"
#include "installer/platform/macos/activate_input_model_front.h"
#include "tests/installer/macos/mac_test.h"

// As Foundation makes them on a Mac: a file by its number, and its path only when asked for.
@interface FileReferenceURL : NSURL
@end

@implementation FileReferenceURL
- (NSString*)absoluteString {
  return @"file:///.file/id=6571367.2773272/";
}
- (NSURL*)filePathURL {
  return [NSURL fileURLWithPath:[self path]];
}
@end

namespace zenta::installer {
namespace {

using signing::Bytes;
using signing::BytesOf;
using signing::BytesOfObject;
using signing::Data;
using signing::DataArg;
using signing::ObjectOfBytes;
using signing::StringOfText;
using signing::Text;
using signing::TextOf;
using signing::TextOfString;
using signing::kSignatureBytes;

// Sends the message of this name through the runtime.
template <class Result, class... Arguments>
Result Send(id target, const char* name, Arguments... arguments) {
  const SEL selector = NSSelectorFromString([NSString stringWithUTF8String:name]);
  EXPECT_TRUE([target respondsToSelector:selector]) << name;
  const auto method = reinterpret_cast<void (*)()>([target methodForSelector:selector]);
  return reinterpret_cast<Result (*)(id, SEL, Arguments...)>(method)(target, selector,
                                                                     arguments...);
}

template <class... Arguments>
Text TextFrom(const char* name, Arguments... arguments) {
  return TextOfString(Send<NSString*>([::ZTDHClass class], name, arguments...));
}

template <class Argument>
Data DataFrom(const char* name, Argument argument) {
  const DataArg bytes = BytesOfObject(Send<NSData*>([::ZTDHClass class], name, argument));
  return bytes ? Data(Bytes(bytes->begin(), bytes->end())) : std::nullopt;
}

class ObjectiveCTest : public MacTest {
 protected:
  ~ObjectiveCTest() override { [scope_ drain]; }
  NSAutoreleasePool* const scope_ = [[NSAutoreleasePool alloc] init];
};

const std::string kDigest = "900150983cd24fb0d6963f7d28e17f72", kZeros(96, '0');

TEST_F(ObjectiveCTest, DigestsAnswerToTheirSelectors) {
  NSString* const abc = @"abc";
  EXPECT_EQ(TextFrom("calcMD5:", abc), kDigest.substr(0, 16));
  for (const char* name : {"getMD5:ZTDHMethod001Arg2:", "ZTDHMethod002:ZTDHMethod001Arg2:"}) {
    EXPECT_EQ(TextFrom(name, abc, 16), kDigest);
    EXPECT_EQ(TextFrom(name, abc, 64), kDigest + kZeros);
  }
  for (const char* name : {"getMD5FromData:ZTDHMethod001Arg1:ZTDHMethod001Arg2:",
                           "ZTDHMethod001:ZTDHMethod001Arg1:ZTDHMethod001Arg2:"}) {
    EXPECT_EQ(TextFrom(name, "abcdef", 3u, 16), kDigest);
    EXPECT_EQ(TextFrom(name, "abcdef", 3u, 20), kDigest + kZeros);
    id text = Send<id>([::ZTDHClass class], name, "abcdef", 3u, 16);
    EXPECT_EQ([text isKindOfClass:[NSMutableString class]], name[0] == 'g') << name;
  }
  const char both[] = "ZTDHMethod020:ZTDHMethod020Arg1:";
  EXPECT_EQ(TextFrom(both, @"输入法输入法更新程序é", @"é\u07FF\u0080zABCDEFGHIJKLMNOPQRSTUVWXYZ"),
            "39cac0e1a037b98d1805799e66ab9c51" + kZeros);
  EXPECT_EQ(TextFrom(both, abc, abc), std::nullopt);
  const unichar half = 0xD800;  // of a pair
  EXPECT_EQ(TextFrom("calcMD5:", [NSString stringWithCharacters:&half length:1]), std::nullopt);
}

TEST_F(ObjectiveCTest, FileDigestsAnswerToTheirSelectors) {
  Put("/a file", "abc");
  NSString* const path = StringOfText(At("/a file"));
  NSFileHandle* const handle = [NSFileHandle fileHandleForReadingAtPath:path];
  const Data digest = DataFrom("MD5DataWithFileHandle:", handle);
  EXPECT_EQ(DataFrom("ZTDHMethod004:", path), digest);
  EXPECT_EQ(DataFrom("ZTDHMethod005:", [NSURL fileURLWithPath:path]), digest);
  NSURL* const reference = [[[FileReferenceURL alloc] initFileURLWithPath:path] autorelease];
  EXPECT_EQ(DataFrom("ZTDHMethod005:", reference), digest);
  EXPECT_EQ(TextFrom("ZTDHMethod006:", ObjectOfBytes(digest)), kDigest);
  EXPECT_EQ(TextFrom("ZTDHMethod003:", path), kDigest);
  EXPECT_EQ(TextFrom("calcMD5FromFile:", path), kDigest);
  EXPECT_EQ([[handle readDataToEndOfFile] length], 0u) << "still open, and read to its end";
}

TEST_F(ObjectiveCTest, SignedDigestIsOpened) {
  const std::string text = Contents(kDigestFile);
  const Data block = DataFrom("ZTDHMethod014:", ObjectOfBytes(BytesOf(text)));
  ASSERT_EQ(block.value().size(), kSignatureBytes);
  EXPECT_EQ(TextOf(DataFrom("ZTDHMethod021:", ObjectOfBytes(block)).value()),
            TextFrom("ZTDHMethod003:", StringOfText(At(kPackage))));
}

TEST_F(ObjectiveCTest, NilInGivesNilOut) {
  for (const char* name : {"MD5DataWithFileHandle:", "ZTDHMethod003:", "ZTDHMethod004:",
                           "ZTDHMethod005:", "ZTDHMethod006:", "ZTDHMethod014:", "ZTDHMethod017:",
                           "ZTDHMethod021:", "calcMD5:", "calcMD5FromFile:"}) {
    EXPECT_EQ(Send<id>([::ZTDHClass class], name, (id)nil), nil) << name;
  }
  EXPECT_EQ(TextFrom("ZTDHMethod006:", [NSData data]), std::nullopt);
  EXPECT_EQ(TextFrom("ZTDHMethod017:", @"a/b c"), "a%2Fb%20c");
}

TEST_F(ObjectiveCTest, HandleThatCannotReadRaises) {
  const int descriptor = ::open("/proc/self/mem", O_RDONLY);
  NSFileHandle* handle = [[[NSFileHandle alloc] initWithFileDescriptor:descriptor] autorelease];
  bool raised = false;
  @try {
    [::ZTDHClass MD5DataWithFileHandle:handle];
  } @catch (...) {  // the one form that both compilers know with this runtime
    raised = true;
  }
  ::close(descriptor);
  EXPECT_TRUE(raised);
}

id Model() { return [[[::ZTActivateInputModel alloc] init] autorelease]; }

TEST_F(ObjectiveCTest, ModelAnswersToItsSelectors) {
  EXPECT_EQ(Told([] {
              Send<void>(Model(), "activateInputSourceByMode:", (NSString*)nil);
              Send<void>(Model(), "activateInputSourceByMode:", @"com.zenta.inputmethod.pinyin");
            }),
            WithActivation({"list (null), all 1"}, "#4", "0"));
  EXPECT_EQ(Told([] {
              const auto source = Send<TISInputSourceRef>(Model(), "findZentaInputSource");
              Send<void>(Model(), "activateInputSource:", source);
              Send<void>(Model(), "activateInputSource:", (TISInputSourceRef) nullptr);
            }),
            WithActivation(WithActivation({"list (null), all 1"}, "#2", "0"), "(null)", "-50"));
  TheShimMac().status = -7;
  EXPECT_EQ(Told([] { EXPECT_EQ(Send<OSStatus>(Model(), "registerInput"), -7); }),
            Lines{"register file:///Library/Input%20Methods/ZentaIM.app"});
  const Lines lines = Told([] { Send<void>(Model(), "zt_activateInputSource"); });
  EXPECT_EQ(lines.size(), 16u);
  EXPECT_EQ(lines.back(), "log did select input: -7");
  TheShimMac().sources.clear();
  Told([] { EXPECT_EQ(Send<TISInputSourceRef>(Model(), "findZentaInputSource"), nullptr); });
}

TEST_F(ObjectiveCTest, ProgramMayAskForThePassword) {
  NSString* const folder = @ZENTA_MACOS_PACKAGING;
  const auto value = [&](NSString* file, NSString* key) {
    NSString* path = [folder stringByAppendingPathComponent:file];
    return [[NSDictionary dictionaryWithContentsOfFile:path] objectForKey:key];
  };
  EXPECT_EQ(TextOfString(value(@"Info.plist.in", @"CFBundleIdentifier")),
            "com.zenta.inputmethod.ZentaIM.update");
  EXPECT_GT([value(@"Info.plist.in", @"NSAppleEventsUsageDescription") length], 0u);
  EXPECT_TRUE([value(@"zenta-update.entitlements", @"com.apple.security.automation.apple-events")
      boolValue]);
}

// How many objects of each class there are.
std::map<std::string, int> LiveObjects() {
  std::map<std::string, int> objects;
  Class* const classes = GSDebugAllocationClassList();
  for (Class* each = classes; *each != nullptr; ++each) {
    objects[class_getName(*each)] = GSDebugAllocationCount(*each);
  }
  NSZoneFree(NSDefaultMallocZone(), classes);
  return objects;
}

TEST_F(MacTest, ThousandRunsLeaveNoObjectBehind) {
  const auto run = [this](int count) {
    for (int i = 0; i != count; ++i) {
      PutPackage();
      TheShimMac().script = {.succeeded = i % 2 == 0, .error_number = -128};
      TheShimMac().has_source_list = TheShimMac().makes_urls = i % 8 != 0;
      EXPECT_FALSE(Update().empty());
    }
  };
  GSDebugAllocationActive(YES);
  run(48);  // what is made once, and full turns of the failure counter
  const auto before = LiveObjects();
  const int made = GSDebugAllocationTotal(NSClassFromString(@"ShimInputSource"));
  run(960);
  EXPECT_EQ(LiveObjects(), before);
  EXPECT_GT(GSDebugAllocationTotal(NSClassFromString(@"ShimInputSource")), made + 960);
}

TEST_F(ObjectiveCTest, DigestHoldsOneChunkAtATime) {
  Put(kPackage, std::string(4 << 20, 'p'));
  GSDebugAllocationActive(YES);
  Send<id>([::ZTDHClass class], "MD5DataWithFileHandle:",
           [NSFileHandle fileHandleForReadingAtPath:StringOfText(At(kPackage))]);
  for (const auto& [name, count] : LiveObjects()) {
    if (name.find("Data") == std::string::npos) continue;
    EXPECT_LT(GSDebugAllocationPeak(NSClassFromString(StringOfText(name))), 100) << name;
  }
}

}  // namespace
}  // namespace zenta::installer
