// GNUstep's headers expect the blocks runtime of libobjc2; Debian's GNUstep is built
// on GCC's runtime, which has none. Two declarations are all a syntax check needs.
#pragma once
extern "C" {
void* _Block_copy(const void* block);
void _Block_release(const void* block);
}
