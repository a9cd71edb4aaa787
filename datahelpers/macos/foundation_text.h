// Converts Foundation's strings and data to the text and data of the portable code, and back.
//
// nil is nullopt in both directions. Returned objects are autoreleased.
#pragma once

#import <Foundation/Foundation.h>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// nullopt also for a text that UTF-8 cannot encode (it has a lone surrogate).
[[nodiscard]] Text TextOfString(NSString* string);

// nil also for bytes that are not UTF-8.
[[nodiscard]] NSString* StringOfText(TextArg text);

// A view of the object's own bytes, valid until it is changed or released.
[[nodiscard]] DataArg BytesOfObject(NSData* data);

[[nodiscard]] NSData* ObjectOfBytes(DataArg bytes);

}  // namespace zenta::signing
