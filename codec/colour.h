// Rows of samples to interleaved RGB, and RGB to rows of samples.
#pragma once
#include <cstdint>

namespace jpeg {

// JFIF's colours: for each pixel what computeRGBFromYUV_JPEG_F32_U8 gives for the samples less 128.
void convertYcc(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, int width, uint8_t* rgb);
// The three planes as they are.
void interleave(const uint8_t* r, const uint8_t* g, const uint8_t* b, int width, uint8_t* rgb);
// Each sample twice, for pixels that share chroma. `count` is a multiple of 8.
void doubleSamples(const uint8_t* from, int count, uint8_t* to);

// JFIF's colours the other way (ITU-T T.871):
//   Y  = 0.299 R + 0.587 G + 0.114 B
//   Cb = (-0.299 R - 0.587 G + 0.886 B) / 1.772 + 128
//   Cr = (0.701 R - 0.587 G - 0.114 B) / 1.402 + 128
// exact, then rounded to the nearest integer, halves up, and clamped to 255. A chroma sample that serves several pixels
// is the mean of theirs, and is rounded only once. width is a multiple of kGroup; one byte after the pixels is read.
constexpr int kGroup = 16;
// How many columns are best converted at a time in many rows.
constexpr int kTileWidth = 256;
void convertRgbToGrey(const uint8_t* rgb, int width, uint8_t* y);
void convertRgbTo444(const uint8_t* rgb, int width, uint8_t* y, uint8_t* cb, uint8_t* cr);
void convertRgbTo422(const uint8_t* rgb, int width, uint8_t* y, uint8_t* cb, uint8_t* cr);
// Two rows of pixels, and of luma.
void convertRgbTo420(const uint8_t* const rgb[2], int width, uint8_t* y0, uint8_t* y1, uint8_t* cb, uint8_t* cr);

}  // namespace jpeg
