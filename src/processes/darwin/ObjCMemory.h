// Lets the Objective-C++ sources build with or without automatic reference counting.
#pragma once

#if __has_feature(objc_arc)
#define QM_OBJC_RELEASE(object) ((void)0)
#define QM_OBJC_RETAIN(object) (object)
#else
#define QM_OBJC_RELEASE(object) [object release]
#define QM_OBJC_RETAIN(object) [object retain]
#endif
