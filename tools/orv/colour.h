// Rows of samples to interleaved RGB.
#pragma once
#include <cstdint>

namespace jpeg {

// JFIF's colours: for each pixel what computeRGBFromYUV_JPEG_F32_U8 gives for the samples less 128.
void convertYcc(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int width, uint8_t* rgb);
// The three planes as they are.
void interleave(const uint8_t* r, const uint8_t* g, const uint8_t* b, int width, uint8_t* rgb);

}  // namespace jpeg
