// The stack as a caller left it.
#pragma once

// For functions that need the stack aligned to 16 bytes, or run code which may expect it so, as the C library does: 32-bit
// callers, the library's own bodies among them, may have aligned it to 4 bytes only. Such a function aligns it itself.
#define ALIGN_STACK __attribute__((force_align_arg_pointer))
