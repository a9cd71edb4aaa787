#include "datahelpers/macos/foundation_text.h"

namespace zenta::signing {

Text TextOfString(NSString* string) {
  // As data, because a zero character would end a C string.
  const DataArg bytes = BytesOfObject([string dataUsingEncoding:NSUTF8StringEncoding]);
  if (!bytes) return std::nullopt;
  return TextOf(*bytes);
}

NSString* StringOfText(TextArg text) {
  if (!text) return nil;
  return [[[NSString alloc] initWithBytes:text->data()
                                   length:text->size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

DataArg BytesOfObject(NSData* data) {
  if (data == nil) return std::nullopt;
  return ByteView(static_cast<const std::uint8_t*>([data bytes]), [data length]);
}

NSData* ObjectOfBytes(DataArg bytes) {
  if (!bytes) return nil;
  return [NSData dataWithBytes:bytes->data() length:bytes->size()];
}

}  // namespace zenta::signing
