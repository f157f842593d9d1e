// The entry points and the tables they jump through: which body a call reaches.
#include <dlfcn.h>
#include <string>
#include "core/stepping.h"
#include "support/paths.h"

namespace {

const struct {
  std::string name, pattern;
} kPrimitives[] = {
#define ORV_PRIMITIVE(name, pattern) {#name, #pattern},
#include "core/primitives.def"
};

void* symbol(const std::string& name) { return dlsym(RTLD_DEFAULT, name.c_str()); }

TEST(Dispatch, CallsReachTheBodyOfTheirSlot) {
  for (const auto& [name, pattern] : kPrimitives) {
    const char* const slots[] = {"w7", "w7", pattern == "A" ? "s8" : "v8", pattern == "B" ? "v8" : "s8", "p8", "g9"};
    const auto table = static_cast<void* const*>(symbol("vel" + name + "_arraddr"));
    ASSERT_NE(table, nullptr) << name;
    for (int i = 0; i < 6; ++i) EXPECT_EQ(table[i], symbol(slots[i] + ("_vel" + name))) << name << " slot " << i;
    EXPECT_EQ(symbol("v8_vel" + name) == nullptr, pattern == "A") << name;
    EXPECT_EQ(symbol("s8_vel" + name) == nullptr, pattern == "B") << name;
    for (const Path& path : kPaths) {
      velStaticInitCpu(path.code);
      for (const char* layer : {"vel", "orv"})
        EXPECT_EQ(bodyReached(symbol(layer + name), table), table[path.index]) << layer << name << ' ' << path;
    }
  }
  velStaticInit();
}

}  // namespace
