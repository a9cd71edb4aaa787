// ZTActivateInputModel for Objective-C callers. Each method forwards to the member of
// zenta::ZTActivateInputModel with the same name; installer/activate_input_model.h describes them.
//
// Main thread only, in the session of the user at the screen.
#pragma once

#import <Carbon/Carbon.h>
#import <Foundation/Foundation.h>

@interface ZTActivateInputModel : NSObject

- (void)zt_activateInputSource;

// Autoreleased; NULL if the bundle's own source is not listed.
- (TISInputSourceRef)findZentaInputSource;

- (OSStatus)registerInput;

// Does nothing for nil.
- (void)activateInputSourceByMode:(NSString*)mode;

// NULL is passed on to the services.
- (void)activateInputSource:(TISInputSourceRef)source;

@end
