// The primitives of decoding and encoding one by one, on what a photo gives them.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include "box.h"
#include "photo.h"
#include "ycbcr.h"
#include "yuv.h"

namespace {

// ---- Inverse DCT

// Luma blocks of the photo whose number of coefficients other than zero is nearest to `coefficients`; as many as stay
// in the first-level cache.
constexpr size_t kSet = 128;
Words lumaBlocks(const Photo& photo, int coefficients) {
  std::vector<const Vel16s*> all;
  for (int i = 0; i < photo.mcus * 4; ++i) all.push_back(photo.block(i / 4, i % 4));
  const auto distance = [=](const Vel16s* block) {
    return std::abs(kSamples - int(std::count(block, block + kSamples, 0)) - coefficients);
  };
  std::stable_sort(all.begin(), all.end(), [=](auto a, auto b) { return distance(a) < distance(b); });
  Words set;
  for (size_t i = 0; i < std::min(kSet, all.size()); ++i) set.insert(set.end(), all[i], all[i] + kSamples);
  return set;
}

void benchmarkTransform(const char* operation, const Vel16u* quant, const Words& blocks,
                        decltype(orviDCTQuantInv8x8LS_JPEG_16s8u_C1R)* transform) {
  benchmarkOnEveryPath(operation, "block", int(blocks.size()) / kSamples, [=] {
    alignas(16) Vel8u samples[kSamples];
    VelStatus status = velStsNoErr;
    for (size_t i = 0; i < blocks.size(); i += kSamples) status |= transform(&blocks[i], samples, kSide, quant);
    return status;
  });
}

// ---- Forward DCT

// The kernel does not branch on samples; these come from real blocks, side by side in a plane.
void benchmarkForward(const Vel16u* steps, const Words& blocks) {
  const int count = int(blocks.size()) / kSamples, step = count * kSide;
  const auto plane = std::make_shared<Bytes>(blocks.size());
  for (int i = 0; i < count; ++i)
    orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(&blocks[size_t(i * kSamples)], plane->data() + i * kSide, step, steps);
  Vel8u raw[kSamples];
  for (int i = 0; i < kSamples; ++i) raw[i] = Vel8u(steps[own_pj_izigzag_index[i]]);
  const auto quant = std::make_shared<Words>(kSamples);
  auto* const reciprocals = reinterpret_cast<Vel16u*>(quant->data());
  orviQuantFwdTableInit_JPEG_8u16u(raw, reciprocals);
  benchmarkOnEveryPath("forward DCT", "block", count, [=] {
    alignas(16) Vel16s coefficients[kSamples];
    VelStatus status = velStsNoErr;
    for (int i = 0; i < count; ++i)
      status |= orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(plane->data() + i * kSide, step, coefficients, reciprocals);
    return status;
  });
}

// ---- Huffman encoding, with the best code for the photo

struct Free {
  void operator()(VeliEncodeHuffmanSpec* spec) const { orviEncodeHuffmanSpecFree_JPEG_8u(spec); }
};
struct Code {
  int statistics[256] = {};
  std::unique_ptr<VeliEncodeHuffmanSpec, Free> spec;

  void build() {
    Vel8u bits[16], values[256];
    VeliEncodeHuffmanSpec* memory = nullptr;
    if (orviEncodeHuffmanRawTableInit_JPEG_8u(statistics, bits, values) != velStsNoErr ||
        orviEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &memory) != velStsNoErr)
      throw jpeg::Error("no Huffman code for this photo");
    spec.reset(memory);
  }
};
struct Codes {
  Code dc, ac;
};

void benchmarkHuffmanEncoding(const std::shared_ptr<const Photo>& photo) {
  // visit(block, its place in the MCU's components, the component's last DC) for each block.
  const auto walk = [photo](const auto& visit) {
    Vel16s lastDC[3] = {};
    VelStatus status = velStsNoErr;
    for (int i = 0; i < photo->mcus * kBlocks; ++i) {
      const int n = i % kBlocks, component = n < 4 ? 0 : n - 3;
      status |= visit(photo->block(i / kBlocks, n), component, &lastDC[component]);
    }
    return status;
  };
  const auto codes = std::make_shared<std::array<Codes, 2>>();
  const auto count = [=](const Vel16s* block, int component, Vel16s* lastDC) {
    Codes& c = (*codes)[component > 0];
    return orviGetHuffmanStatistics8x8_JPEG_16s_C1(block, c.dc.statistics, c.ac.statistics, lastDC);
  };
  walk(count);
  for (Codes& c : *codes) c.dc.build(), c.ac.build();
  benchmarkOnEveryPath("Huffman statistics", "block", photo->mcus * kBlocks, [=] {
    for (Codes& c : *codes)
      for (Code* code : {&c.dc, &c.ac}) std::fill_n(code->statistics, 256, 0);
    return walk(count);
  });
  const auto stream = std::make_shared<Bytes>(photo->coefficients.size() * sizeof(Vel16s) * 2 + 64);
  benchmarkOnEveryPath("Huffman encode", "block", photo->mcus * kBlocks, [=] {
    int bits = 0;
    return walk([&](const Vel16s* block, int component, Vel16s* lastDC) {
      const Codes& c = (*codes)[component > 0];
      return orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, stream->data(), &bits, lastDC, c.dc.spec.get(),
                                                       c.ac.spec.get());
    });
  });
}

// ---- MCUs

void benchmarkMcus(const std::shared_ptr<const Photo>& photo) {
  constexpr int kMcus = 32;  // from all over the photo, so few that their coefficients stay near
  std::vector<const Vel16s*> mcus;
  for (int i = 0; i < kMcus; ++i) mcus.push_back(photo->block(photo->mcus * i / kMcus, 0));
  const Vel16u* quant[kBlocks];
  for (int n = 0; n < kBlocks; ++n) quant[n] = photo->component(n).quant;
  benchmarkOnEveryPath("MCU to RGB, fused", "MCU", kMcus, [=] {
    alignas(16) Vel8u scratch[kBlocks * kSamples], tile[3 * kTile * kTile];
    VelStatus status = velStsNoErr;
    for (const Vel16s* mcu : mcus)
      status |=
          orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R(mcu, scratch, quant, tile, 3 * kTile, {kTile, kTile});
    return status;
  });

  Words centred;
  for (const Vel16s* mcu : mcus)
    for (int n = 0; n < kBlocks; ++n) {
      Vel8u samples[kSamples];
      orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(mcu + n * kSamples, samples, kSide, quant[n]);
      for (Vel8u sample : samples) centred.push_back(Vel16s(sample - 128));
    }
  benchmarkOnEveryPath("MCU samples to RGB, true colours", "MCU", kMcus, [=] {
    Vel8u tile[3 * kTile * kTile];
    VelStatus status = velStsNoErr;
    for (size_t i = 0; i < centred.size(); i += kBlocks * kSamples) {
      const Vel16s* const blocks[3] = {&centred[i], &centred[i + 4 * kSamples], &centred[i + 5 * kSamples]};
      status |= orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(blocks, tile, 3 * kTile);
    }
    return status;
  });
}

}  // namespace

void registerBenchmarks(const Bytes& file) {
  const auto photo = std::make_shared<const Photo>(file);
  const Vel16u* const quant = photo->component(0).quant;
  const Words dense = lumaBlocks(*photo, 64), sparse = lumaBlocks(*photo, 6);
  benchmarkTransform("inverse DCT, dense blocks", quant, dense, orviDCTQuantInv8x8LS_JPEG_16s8u_C1R);
  benchmarkTransform("inverse DCT, blocks of 6", quant, sparse, orviDCTQuantInv8x8LS_JPEG_16s8u_C1R);
  benchmarkTransform("inverse DCT, 4x4", quant, dense, orviDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R);
  benchmarkTransform("inverse DCT, 2x2", quant, dense, orviDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R);
  benchmarkTransform("inverse DCT, 1x1", quant, dense, orviDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R);
  benchmarkOnEveryPath("Huffman decode", "block", photo->mcus * kBlocks, [photo] {
    alignas(16) Vel16s block[kSamples];
    return photo->decodeBlocks(block, 0);
  });
  benchmarkForward(quant, dense);
  benchmarkHuffmanEncoding(photo);
  benchmarkMcus(photo);
  benchmarkYuv("320x240", {320, 240});
  benchmarkYuv("4096x3072", {4096, 3072});
  benchmarkYcbcr("320x240", {320, 240});
  benchmarkYcbcr("4096x3072", {4096, 3072});
  benchmarkBox();
}
