// Text Input Sources.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

using TISInputSourceRef = struct __TISInputSource*;

extern "C" {  // macOS 10.5
extern const CFStringRef kTISPropertyInputSourceID, kTISPropertyInputModeID;

OSStatus TISRegisterInputSource(CFURLRef location);
CFArrayRef TISCreateInputSourceList(CFDictionaryRef properties, Boolean include_all_installed);
void* TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef key);
OSStatus TISEnableInputSource(TISInputSourceRef source);
OSStatus TISDisableInputSource(TISInputSourceRef source);
OSStatus TISSelectInputSource(TISInputSourceRef source);
}
