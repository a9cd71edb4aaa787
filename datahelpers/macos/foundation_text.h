// Foundation's strings and data as the text and data of the portable code, and back.
//
// nil is nullopt in every direction. What is handed out as an object is autoreleased.
#pragma once

#import <Foundation/Foundation.h>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// nullopt also for a text that UTF-8 cannot say (half of a surrogate pair).
[[nodiscard]] Text TextOfString(NSString* string);

// nil also for bytes that are not UTF-8.
[[nodiscard]] NSString* StringOfText(TextArg text);

// The object's own bytes, for as long as it lives unchanged.
[[nodiscard]] DataArg BytesOfObject(NSData* data);

[[nodiscard]] NSData* ObjectOfBytes(DataArg bytes);

}  // namespace zenta::signing
