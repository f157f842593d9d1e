// orv swap against the channels themselves.
#include "run.h"
#include "support/paths.h"

namespace {

class Swap : public InDirectory {};

TEST_F(Swap, TakesEachChannelFromWhereItSays) {
  const int width = 37, height = 5;
  writePicture("picture", width, height, 3);
  const Bytes ppm = read("picture");
  const size_t head = ppm.size() - size_t(width * height * 3);
  for (const char* order : {"rgb", "bgr", "gbr", "bbg", "ggg"}) {
    Bytes expected = ppm;
    for (size_t i = head; i < ppm.size(); ++i) {
      const size_t channel = (i - head) % 3;
      expected[i] = ppm[i - channel + Bytes("rgb").find(order[channel])];
    }
    for (const Path& path : kPaths) {
      if (!processorHas(path)) continue;
      EXPECT_EQ(orv(std::string("swap picture out.ppm --order ") + order + " --path " + path.name).code, 0);
      EXPECT_TRUE(read("out.ppm") == expected) << order << " " << path;
    }
  }
}

}  // namespace
