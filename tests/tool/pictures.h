// Pictures that two decoders make of a file.
#pragma once
#include <algorithm>
#include <cmath>
#include "run.h"
#include "support/paths.h"

class Pictures : public InDirectory {
 protected:
  // Both decoders' transforms are within a unit of the exact one, and on most samples the same. A unit in a component
  // is at most 1.772 in a colour, with luma's own 2.772, and rounding never makes 4 of that. A tiny picture
  // may have one or two of these.
  static constexpr int kLargest = 3;
  static constexpr double kMean = 0.2;

  static void expectClose(const Bytes& got, const Bytes& expected) {
    ASSERT_EQ(got.size(), expected.size());
    ASSERT_EQ(got.substr(0, 2), expected.substr(0, 2));
    int largest = 0;
    double sum = 0;
    for (size_t i = 0; i < got.size(); ++i) {
      const int difference = std::abs(int(uint8_t(got[i])) - int(uint8_t(expected[i])));
      largest = std::max(largest, difference);
      sum += difference;
    }
    EXPECT_LE(largest, kLargest);
    EXPECT_LT(sum, kMean * double(got.size()) + 2 * kLargest);
  }
  // What djpeg and the program make of a file.
  Bytes expectLikeDjpeg(const std::string& jpeg) const {
    must(ORV_DJPEG " -dct int -nosmooth -outfile expected " + jpeg);
    const Bytes picture = decoded(jpeg);
    expectClose(picture, read("expected"));
    return picture;
  }
  // The same, and on every path the same picture.
  void expectLikeDjpegOnEveryPath(const std::string& jpeg) const {
    const Bytes picture = expectLikeDjpeg(jpeg);
    for (const Path& path : kPaths) {
      if (!processorHas(path)) continue;
      EXPECT_TRUE(decoded(jpeg, std::string("--path ") + path.name) == picture) << path;
    }
  }
};
