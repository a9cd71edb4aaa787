// Calls the class by name, as Objective-C callers do.
#undef NDEBUG  // with it, GNUstep does not declare its object counters
#include "datahelpers/macos/ztdh_class_front.h"

#include <fcntl.h>
#include <unistd.h>

#include "datahelpers/macos/foundation_text.h"
#include "tests/installer/macos/objective_c.h"

// A file reference URL as Foundation makes it on a Mac: it names a file by number, and gives the
// path only through filePathURL.
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

namespace zenta::signing {
namespace {

using installer::LiveObjects;
using installer::ObjectiveCTest;
using installer::Send;

template <class... Arguments>
Text TextFrom(const char* name, Arguments... arguments) {
  return TextOfString(Send<NSString*>([::ZTDHClass class], name, arguments...));
}

template <class Argument>
Data DataFrom(const char* name, Argument argument) {
  const DataArg bytes = BytesOfObject(Send<NSData*>([::ZTDHClass class], name, argument));
  return bytes ? Data(Bytes(bytes->begin(), bytes->end())) : std::nullopt;
}

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
  const unichar half = 0xD800;  // an unpaired surrogate
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
  } @catch (...) {  // both compilers support only this form with this runtime
    raised = true;
  }
  ::close(descriptor);
  EXPECT_TRUE(raised);
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
}  // namespace zenta::signing
