// The coefficients of a photo, for benchmarks of what works on blocks.
#pragma once
#include "codec/reader.h"
#include "run.h"

inline constexpr int kSide = 8, kSamples = 64, kBlocks = 6, kTile = 16;  // of a block; of an MCU of 4:2:0

using Words = std::vector<Vel16s>;

// A picture of 4:2:0 in one scan without restart markers.
struct Photo {
  explicit Photo(const Bytes& file) : reader(file.data(), file.size(), 1 << 26) {
    const bool found = reader.nextScan(&scan);
    const jpeg::Frame& frame = reader.frame();
    if (!found || !frame.is420() || scan.components.size() != 3 || scan.restartInterval != 0 ||
        jpeg::findMarker(scan.data, reader.limit()).code != jpeg::kEoi)
      throw jpeg::Error("the benchmarks take whole pictures of 4:2:0 only, in one scan without restart markers");
    mcus = ((frame.width + kTile - 1) / kTile) * ((frame.height + kTile - 1) / kTile);
    coefficients.resize(size_t(mcus * kBlocks * kSamples));
    if (decodeBlocks(coefficients.data(), kSamples) != velStsNoErr) throw jpeg::Error("the picture data are corrupt");
  }
  // The tables of the n-th block of an MCU.
  const jpeg::ScanComponent& component(int n) const { return scan.components[n < 4 ? 0 : size_t(n) - 3]; }
  const Vel16s* block(int mcu, int n) const { return &coefficients[size_t((mcu * kBlocks + n) * kSamples)]; }

  // Decodes all blocks; `to` moves by `step` from one to the next.
  VelStatus decodeBlocks(Vel16s* to, int step) const {
    const uint8_t* at = scan.data;
    Vel16s lastDC[3] = {};
    Vel32u store = 0;
    int stored = 0, met = 0;
    VelStatus status = velStsNoErr;
    for (int i = 0; i < mcus * kBlocks; ++i, to += step) {
      const jpeg::ScanComponent& c = component(i % kBlocks);
      int bits = 0;
      status |=
          orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(at, &bits, to, &lastDC[c.index], &met, &store, &stored, c.dc, c.ac);
      at += bits / 8;
    }
    return status;
  }

  jpeg::Reader reader;
  jpeg::Scan scan;
  int mcus;
  Words coefficients;
};
