// orv filter against means in whole numbers.
#include <algorithm>
#include "run.h"
#include "support/paths.h"

namespace {

class Filter : public InDirectory {};

// Means of a box whose place (width / 2, height / 2) lies on the pixel; beyond the edges the outermost pixels go on.
Bytes filtered(const Bytes& samples, int width, int height, int channels, int boxWidth, int boxHeight) {
  Bytes means;
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      for (int c = 0; c < channels; ++c) {
        int sum = 0;
        for (int j = 0; j < boxHeight; ++j)
          for (int i = 0; i < boxWidth; ++i) {
            const int fromX = std::min(std::max(x - boxWidth / 2 + i, 0), width - 1);
            const int fromY = std::min(std::max(y - boxHeight / 2 + j, 0), height - 1);
            sum += uint8_t(samples[size_t((fromY * width + fromX) * channels + c)]);
          }
        const int n = boxWidth * boxHeight, twice = 2 * (sum % n);  // a half goes to the even neighbour
        means += char(sum / n + (twice > n || (twice == n && sum / n % 2)));
      }
  return means;
}

TEST_F(Filter, IsTheMeanOfABox) {
  for (const int channels : {1, 3})
    for (const auto& box : {std::pair(1, 1), std::pair(2, 1), std::pair(3, 3), std::pair(4, 7), std::pair(31, 2)}) {
      const int width = 21, height = 9;
      writePicture("picture", width, height, channels);
      const Bytes ppm = read("picture");
      const size_t head = ppm.size() - size_t(width * height * channels);
      const Bytes means = filtered(ppm.substr(head), width, height, channels, box.first, box.second);
      for (const Path& path : kPaths) {
        if (!processorHas(path)) continue;
        const std::string options =
            "--box " + std::to_string(box.first) + "x" + std::to_string(box.second) + " --path " + path.name;
        EXPECT_EQ(orv("filter " + options + " picture out.ppm").code, 0);
        const Bytes out = read("out.ppm");
        // Sums of floats may round what lies next to a half the other way.
        ASSERT_EQ(out.size(), ppm.size());
        for (size_t i = 0; i < means.size(); ++i)
          ASSERT_LE(std::abs(int(uint8_t(out[head + i])) - int(uint8_t(means[i]))),
                    box.first * box.second % 2 == 0 ? 1 : 0)
              << options << ", sample " << i;
      }
    }
}

}  // namespace
