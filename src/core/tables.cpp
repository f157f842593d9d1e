// The six-slot dispatch tables, one for each primitive, named as the primitive with _arraddr added.
#include "orv.h"

#define ORV_SLOTS_A(name) \
  { w7_##name, w7_##name, s8_##name, s8_##name, p8_##name, g9_##name }
#define ORV_SLOTS_B(name) \
  { w7_##name, w7_##name, v8_##name, v8_##name, p8_##name, g9_##name }
#define ORV_SLOTS_C(name) \
  { w7_##name, w7_##name, v8_##name, s8_##name, p8_##name, g9_##name }

// The forwarder and the bodies have their primitive's type. Of the five bodies declared here, a pattern uses four or five.
#define ORV_PRIMITIVE(name, pattern)                                                                              \
  extern "C" decltype(vel##name) orv##name, w7_vel##name, v8_vel##name, s8_vel##name, p8_vel##name, g9_vel##name; \
  extern "C" ORV_API decltype(vel##name)* const vel##name##_arraddr[6];                                           \
  decltype(vel##name)* const vel##name##_arraddr[6] = ORV_SLOTS_##pattern(vel##name);                             \
  extern "C" __attribute__((visibility("hidden"),                                                                 \
                            alias("vel" #name "_arraddr"))) decltype(vel##name)* const own_##name##_slots[6];
#include "primitives.def"
