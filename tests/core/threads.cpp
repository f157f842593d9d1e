// Calls from several threads at once. A sanitizer sees here whether one of them writes what another one uses.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>
#include <utility>
#include <vector>
#include "support/paths.h"

namespace {

using Bytes = std::vector<Vel8u>;

// act(number) in as many threads, none of which begins before all are there.
void inThreads(int count, const std::function<void(int)>& act) {
  std::atomic<int> waiting{count};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back([&, i] {
      for (--waiting; waiting != 0;) std::this_thread::yield();
      act(i);
    });
  for (std::thread& thread : threads) thread.join();
}
constexpr int kThreads = 8;

// The first in this process, when nothing else has run: CTest gives each test its own.
TEST(Threads, FirstQueries) {
  std::array<std::pair<VelStatus, int>, kThreads> answers;
  std::array<Vel64u, kThreads> features{};
  inThreads(kThreads, [&](int i) {
    auto& [status, size] = answers[size_t(i)];
    status = velGetMaxCacheSizeB(&size);
    velGetCpuFeatures(&features[size_t(i)], nullptr);
  });
  std::pair<VelStatus, int> later;
  later.first = velGetMaxCacheSizeB(&later.second);
  for (const auto& answer : answers) EXPECT_EQ(answer, later);
  for (Vel64u each : features) EXPECT_EQ(each, processorFeatures());
}

// What all calls read: sources and tables. What a call writes is its own.
struct Shared {
  static constexpr int kWidth = 150, kHeight = 64, kPixels = kWidth * kHeight;
  static constexpr VeliSize kSize = {kWidth, kHeight};

  Shared() {
    for (size_t i = 0; i < source.size(); ++i) source[i] = Vel8u(i * 151 + (i >> 8) * 7);
    for (size_t i = 0; i < floats.size(); ++i) floats[i] = float(source[i]) * 1.25f;
    for (size_t i = 0; i < 64; ++i) block[i] = Vel16s(i % 5 ? 0 : 40 - int(i));
    // Eleven categories with codes of four bits; every symbol of one coefficient with codes of nine.
    Bytes dcBits(16), dcValues(11), acBits(16), acValues(162);
    dcBits[3] = 11, acBits[8] = 162;
    for (size_t i = 0; i < dcValues.size(); ++i) dcValues[i] = Vel8u(i);
    for (size_t i = 0; i < 160; ++i) acValues[i] = Vel8u(i / 10 << 4 | (i % 10 + 1));
    acValues[160] = 0, acValues[161] = 0xF0;
    EXPECT_EQ(orviEncodeHuffmanSpecInit_JPEG_8u(dcBits.data(), dcValues.data(), encoderOf(0)), 0);
    EXPECT_EQ(orviEncodeHuffmanSpecInit_JPEG_8u(acBits.data(), acValues.data(), encoderOf(1)), 0);
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(dcBits.data(), dcValues.data(), decoderOf(0)), 0);
    EXPECT_EQ(orviDecodeHuffmanSpecInit_JPEG_8u(acBits.data(), acValues.data(), decoderOf(1)), 0);
    EXPECT_EQ(orviQuantFwdTableInit_JPEG_8u16u(quality.data(), forward.data()), 0);
    EXPECT_EQ(orviQuantInvTableInit_JPEG_8u16u(quality.data(), inverse.data()), 0);
  }
  VeliEncodeHuffmanSpec* encoderOf(size_t n) { return reinterpret_cast<VeliEncodeHuffmanSpec*>(encoder[n].data()); }
  VeliDecodeHuffmanSpec* decoderOf(size_t n) { return reinterpret_cast<VeliDecodeHuffmanSpec*>(decoder[n].data()); }

  // One of every family, with the result behind one another.
  Bytes callAll() {
    Bytes result(kPixels * 40), scratch(1 << 18);
    Vel8u *to = result.data(), *const from = source.data();
    const auto took = [&](VelStatus status, int bytes) {
      EXPECT_EQ(status, velStsNoErr);
      to += bytes;
    };
    const Vel8u* const planes[3] = {from, from + kPixels, from + 2 * kPixels};
    const int steps[3] = {kWidth, kWidth / 2, kWidth / 2}, order[3] = {2, 0, 1};
    const auto words = [&] { return reinterpret_cast<Vel16s*>(to); };
    took(orviYUV420ToRGB_8u_P3C3R(planes, steps, to, 3 * kWidth, kSize), 3 * kPixels);
    took(orviYCbCrToRGB_8u_P3C3R(planes, kWidth, to, 3 * kWidth, kSize), 3 * kPixels);
    took(orviRGBToYCbCr_8u_C3R(from, 3 * kWidth, to, 3 * kWidth, kSize), 3 * kPixels);
    took(orviSwapChannels_8u_C3R(from, 3 * kWidth, to, 3 * kWidth, kSize, order), 3 * kPixels);
    took(orviCopy_8u_C1R(from, kWidth, to, kWidth, kSize), kPixels);
    took(orviConvert_32f8u_C1R(floats.data(), 4 * kWidth, to, kWidth, kSize, 1), kPixels);
    took(orvsALawToLin_8u16s(from, words(), kPixels), 2 * kPixels);
    took(orvsAnd_8u(from, from + 1, to, kPixels), kPixels);
    for (int method : {velInterNearest, velInterLinear, velInterCubic, velInterLanczos, velInterSuper})
      took(orviResizeSqrPixel_8u_C3R(from, kSize, 3 * kWidth, {0, 0, kWidth, kHeight}, to, 3 * kWidth, {0, 0, 75, 32},
                                     0.5, 0.5, 0, 0, method, scratch.data()),
           3 * kPixels);
    took(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(from, kWidth, words(), forward.data()), 128);
    took(orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(block.data(), to, 8, inverse.data()), 64);
    return code(result, to);
  }
  // And a block, encoded and decoded.
  Bytes code(Bytes& result, Vel8u* to) {
    int written = 0, read = 0, marker = 0, stored = 0;
    Vel16s last = 0;
    Vel32u store = 0;
    const auto decoded = reinterpret_cast<Vel16s*>(to + 256);
    EXPECT_EQ(orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block.data(), to, &written, &last, encoderOf(0), encoderOf(1)),
              0);
    to[written / 8 + 1] = 0xFF, to[written / 8 + 2] = 0xD9;
    EXPECT_EQ(orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(to, &read, decoded, &(last = 0), &marker, &store, &stored,
                                                        decoderOf(0), decoderOf(1)),
              0);
    EXPECT_EQ(memcmp(decoded, block.data(), sizeof block), 0);
    return result;
  }

  Bytes source = Bytes(kPixels * 4), quality = Bytes(64, 7);
  std::vector<Vel32f> floats = std::vector<Vel32f>(kPixels);
  std::array<Vel16s, 64> block;
  alignas(16) std::array<Vel16u, 64> forward, inverse;
  std::array<std::array<Vel32u, 256>, 2> encoder;
  std::array<std::array<Vel32u, 411>, 2> decoder;
};

class ThreadsOnPath : public OnEveryPath {};
ORV_ON_EVERY_PATH(ThreadsOnPath);

TEST_P(ThreadsOnPath, ShareSourcesAndTables) {
  Shared shared;
  const Bytes expected = shared.callAll();
  std::array<Bytes, kThreads> results;
  inThreads(kThreads, [&](int i) { results[size_t(i)] = shared.callAll(); });
  for (const Bytes& result : results) EXPECT_EQ(result == expected, true);
}

// Who loads a library may select, whatever other threads do: they all select the same.
TEST(Threads, SelectAtTheSameTime) {
  const Vel32s index = velJumpIndexForMergedLibs;
  const Vel64u enabled = velGetEnabledCpuFeatures();
  Shared shared;
  const Bytes expected = shared.callAll();
  inThreads(kThreads, [&](int i) {
    for (int round = 0; round < 50; ++round) {
      velStaticInit();
      EXPECT_EQ(velGetEnabledCpuFeatures(), enabled);
    }
    EXPECT_EQ(shared.callAll() == expected, true) << "thread " << i;
  });
  EXPECT_EQ(velJumpIndexForMergedLibs, index);
}

}  // namespace
