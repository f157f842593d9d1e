// The public layer's forwarders to core functions. Those to primitives are made from the list, in entries.S.
#include "orv.h"

VelStatus orvStaticInit(void) { return velStaticInit(); }
const char* orvGetStatusString(VelStatus status) { return velGetStatusString(status); }
