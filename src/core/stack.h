// The stack as a caller left it.
#pragma once

// For functions that run code which may expect the stack to be aligned to 16 bytes, as the C library does: 32-bit
// callers, the library's own bodies among them, may have aligned it to 4 bytes only. Such a function aligns it itself.
#define ALIGN_STACK __attribute__((force_align_arg_pointer))
