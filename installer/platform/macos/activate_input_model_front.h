// ZTActivateInputModel for Objective-C callers. What each message does is told in
// installer/activate_input_model.h, whose class of this name in `zenta` does the work.
//
// Main thread only, in the session of the person at the screen.
#pragma once

#import <Carbon/Carbon.h>
#import <Foundation/Foundation.h>

@interface ZTActivateInputModel : NSObject

- (void)zt_activateInputSource;

// Autoreleased; NULL if the bundle's own source is not listed.
- (TISInputSourceRef)findZentaInputSource;

- (OSStatus)registerInput;

// Nothing happens for nil.
- (void)activateInputSourceByMode:(NSString*)mode;

// NULL is for the services to judge.
- (void)activateInputSource:(TISInputSourceRef)source;

@end
