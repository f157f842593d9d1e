// The public layer's forwarders to core functions. Those to primitives are made from the list, in entries.S.
#include "orv.h"

// Both names of a function have one type.
extern "C" decltype(velStaticInit) orvStaticInit;
extern "C" decltype(velGetStatusString) orvGetStatusString;

VelStatus orvStaticInit(void) { return velStaticInit(); }
const char* orvGetStatusString(VelStatus status) { return velGetStatusString(status); }
