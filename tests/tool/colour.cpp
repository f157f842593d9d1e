// The tables of the decoder's own colour conversion against the library's definition of a pixel.
#include <gtest/gtest.h>
#include <algorithm>
#include <vector>
#include "colour.h"
#include "orv.h"

TEST(Colour, EveryChromaPairGivesTheLibrarysPixel) {
  std::vector<Vel8u> y(256), cb(256), cr(256), rgb(3 * 256);
  for (int b = 0; b < 256; ++b)
    for (const int offset : {0, 85, 170}) {  // luma that meets each pair differently
      for (int r = 0; r < 256; ++r) cb[r] = Vel8u(b), cr[r] = Vel8u(r), y[r] = Vel8u(r * 7 + b + offset);
      jpeg::convertYcc(y.data(), cb.data(), cr.data(), 256, rgb.data());
      for (int r = 0; r < 256; ++r) {
        Vel8u p[3];
        computeRGBFromYUV_JPEG_F32_U8(float(y[r] - 128), float(b - 128), float(r - 128), p, p + 1, p + 2);
        ASSERT_TRUE(std::equal(p, p + 3, &rgb[3 * r])) << "y " << int(y[r]) << " cb " << b << " cr " << r;
      }
    }
}
