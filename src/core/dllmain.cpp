// What runs when the library is loaded.
#include "dispatch.h"

extern "C" __attribute__((visibility("hidden"))) void orvDeInit(void);

void orvInit(void) { orvStaticInit(); }  // its status does not matter: a path is selected in any case
void orvDeInit(void) {}

// The two run in this order when the library is loaded; nothing runs when it is unloaded. The alignment is a pointer's,
// because the loader calls whatever stands between two entries of the section, padding too.
__attribute__((section(".init_array"), used, aligned(sizeof(void*)))) static void (*const kLoadRoutines[])(void) = {
    orvInit, orvDeInit};
