// One rung of the processor ladder: says what the library makes of the processor it finds itself on, then runs a small
// workload of every family there and prints a checksum of each. An argument forces a code path by processor-type code.
// Old 32-bit programs align their stack to 4 bytes only, so there the workload runs from every such offset.
#include <cpuid.h>
#include <dlfcn.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include "orv.h"

namespace {

// FNV-1a over everything that a family wrote.
uint32_t sum;
template <class T> void add(const T& data) {
  for (size_t i = 0; i < sizeof data; ++i) sum = (sum ^ reinterpret_cast<const Vel8u*>(&data)[i]) * 16777619u;
}

void expectDone(VelStatus status) {
  if (status != velStsNoErr) puts(orvGetStatusString(status)), exit(3);
}

// Numbers of either sign, smaller than `below`, the same in every run.
template <class T, size_t n> void scatter(T (&data)[n], int below, uint32_t seed) {
  for (T& x : data) {
    seed = seed * 1664525u + 1013904223u;
    const int number = int(seed >> 8) % below;
    x = T(T(-1) < T(0) && seed >> 31 ? -number : number);
  }
}

// Finite numbers only: emulators choose between two NaNs in ways of their own.
void arithmetic() {
  constexpr int kWidth = 19, kHeight = 3, kStep = kWidth * 16 + 4;  // vectors and every tail
  const VeliSize size = {kWidth, kHeight};
  Vel16s numbers[kStep / 4 * kHeight];
  Vel32f image[kStep / 4 * kHeight], other[kStep / 4 * kHeight];
  const Vel32f value[4] = {0.75f, -3, 1e-3f, 40};
  const auto run = [&](auto work) {
    for (size_t i = 0; i < sizeof image / sizeof *image; ++i) image[i] = Vel32f(numbers[i]) / 7;
    expectDone(work());
    add(image);
  };
  scatter(numbers, 30000, 12);
  for (size_t i = 0; i < sizeof other / sizeof *other; ++i) other[i] = Vel32f(numbers[i]) * 0.3f;
  decltype(orviAdd_32f_C1IR)* const withImage[] = {
      orviAdd_32f_C1IR, orviAdd_32f_C3IR,  orviAdd_32f_C4IR, orviAdd_32f_AC4IR, orviSub_32f_C1IR, orviSub_32f_C3IR,
      orviSub_32f_C4IR, orviSub_32f_AC4IR, orviMul_32f_C1IR, orviMul_32f_C3IR,  orviMul_32f_C4IR, orviMul_32f_AC4IR};
  for (const auto form : withImage) run([&] { return form(other, kStep, image, kStep, size); });
  decltype(orviAddC_32f_C1IR)* const withConstant[] = {orviAddC_32f_C1IR, orviSubC_32f_C1IR, orviMulC_32f_C1IR};
  for (const auto form : withConstant) run([&] { return form(value[2], image, kStep, size); });
  decltype(orviAddC_32f_C3IR)* const withConstants[] = {orviAddC_32f_C3IR, orviAddC_32f_C4IR, orviAddC_32f_AC4IR,
                                                        orviSubC_32f_C3IR, orviSubC_32f_C4IR, orviSubC_32f_AC4IR,
                                                        orviMulC_32f_C3IR, orviMulC_32f_C4IR, orviMulC_32f_AC4IR};
  for (const auto form : withConstants) run([&] { return form(value, image, kStep, size); });
}

void convert() {
  constexpr int kWidth = 19, kHeight = 3, kElements = kWidth * 4;
  const VeliSize size = {kWidth, kHeight};
  Vel8u bytes[kElements * kHeight];
  Vel32f floats[kElements * kHeight];
  decltype(orviConvert_8u32f_C1R)* const toFloats[] = {orviConvert_8u32f_C1R, orviConvert_8u32f_C3R,
                                                       orviConvert_8u32f_C4R, orviConvert_8u32f_AC4R};
  scatter(bytes, 256, 13);
  for (const auto form : toFloats) {
    memset(floats, 0, sizeof floats);
    expectDone(form(bytes, kElements, floats, kElements * 4, size));
    add(floats);
  }
  decltype(orviConvert_32f8u_C1R)* const toBytes[] = {orviConvert_32f8u_C1R, orviConvert_32f8u_C3R,
                                                      orviConvert_32f8u_C4R, orviConvert_32f8u_AC4R};
  for (Vel32f& x : floats) x = x * 1.5f - 20;
  for (const auto form : toBytes)
    for (int roundMode : {0, 1, 2}) {
      memset(bytes, 0, sizeof bytes);
      expectDone(form(floats, kElements * 4, bytes, kElements, size, roundMode));
      add(bytes);
    }
}

void inverseDct() {
  decltype(orviDCTQuantInv8x8LS_JPEG_16s8u_C1R)* const forms[] = {
      orviDCTQuantInv8x8LS_JPEG_16s8u_C1R, orviDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R,
      orviDCTQuantInv8x8LS_2x2_JPEG_16s8u_C1R, orviDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R};
  Vel16s coefs[64];
  Vel16u quant[64];
  scatter(coefs, 12, 1);
  scatter(quant, 30, 2);
  for (int filled : {64, 32}) {  // a lower half of zeros has a transform of its own
    memset(coefs + filled, 0, size_t(64 - filled) * sizeof *coefs);
    for (const auto form : forms) {
      Vel8u block[8 * 13] = {};
      expectDone(form(coefs, block, 13, quant));
      add(block);
    }
  }
}

void copy() {
  constexpr int kWidth = 70, kHeight = 3, kStep = kWidth * 16 + 5;  // blocks and a tail, and rows at odd addresses
  const VeliSize size = {kWidth, kHeight};
  Vel8u src[kStep * kHeight], dst[kStep * kHeight];
  scatter(src, 256, 12);
  const auto run = [&](auto work) {
    memset(dst, 0x5A, sizeof dst);
    expectDone(work());
    add(dst);
  };
  run([&] { return orviCopy_8u_C4R(src, kStep, dst, kStep, size); });
  const int order[4] = {2, 0, 1, 1}, withRest[4] = {2, 3, 4, 0};
  const auto swap = [&](auto c3, auto ac4) {
    run([&] { return c3(src, kStep, dst, kStep, size, order); });
    run([&] { return ac4(src, kStep, dst, kStep, size, order); });
  };
  const auto of = [](auto channel, auto form) {
    using T = decltype(channel);
    return [form](const Vel8u* from, int fromStep, Vel8u* to, int toStep, VeliSize roi, const int* dstOrder) {
      return form(reinterpret_cast<const T*>(from), fromStep, reinterpret_cast<T*>(to), toStep, roi, dstOrder);
    };
  };
  swap(orviSwapChannels_8u_C3R, orviSwapChannels_8u_AC4R);
  swap(of(Vel16u(), orviSwapChannels_16u_C3R), of(Vel16u(), orviSwapChannels_16u_AC4R));
  swap(of(Vel32s(), orviSwapChannels_32s_C3R), of(Vel32s(), orviSwapChannels_32s_AC4R));
  run([&] { return orviSwapChannels_8u_C4C3R(src, kStep, dst, kStep, size, order); });
  for (const int* entries : {order, withRest})
    run([&] { return orviSwapChannels_8u_C3C4R(src, kStep, dst, kStep, size, entries, 7); });
  expectDone(orviSwapChannels_8u_C3IR(src, kStep, size, order));
  expectDone(orviSwapChannels_8u_C4IR(src, kStep, size, order));
  for (int left : {1, 16, 40})
    expectDone(orviCopyReplicateBorder_8u_C1IR(src + kStep + left, kStep, {kWidth, 1}, {kWidth + left + 100, kHeight},
                                               1, left));
  add(src);
}

void huffman() {
  // Codes 0, 10, 110, 1110 for categories 0 to 3 of DC, and for two AC symbols, end of block and a run of sixteen.
  static const Vel8u bits[16] = {1, 1, 1, 1}, dcSymbols[4] = {0, 1, 2, 3}, acSymbols[4] = {0x00, 0x12, 0x03, 0xF0};
  // 1110 101 | 10 01 | 110 011 | 1110 | 10 11 | 0 ..., then the end of the image
  static const Vel8u stream[] = {0xEB, 0x39, 0xF5, 0xBF, 0xFF, 0xD9};
  alignas(8) static Vel8u dcTable[1644], acTable[1644];
  const auto dc = reinterpret_cast<VeliDecodeHuffmanSpec*>(dcTable),
             ac = reinterpret_cast<VeliDecodeHuffmanSpec*>(acTable);
  expectDone(orviDecodeHuffmanSpecInit_JPEG_8u(bits, dcSymbols, dc));
  expectDone(orviDecodeHuffmanSpecInit_JPEG_8u(bits, acSymbols, ac));
  int position = 0, marker = 0, valid = 0;
  Vel32u prefetched = 0;
  Vel16s last = 5, block[64] = {};
  expectDone(
      orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(stream, &position, block, &last, &marker, &prefetched, &valid, dc, ac));
  for (int x : {position, marker, valid, int(prefetched), int(last)}) add(x);
  add(block);
}

void encoding() {
  Vel8u samples[8 * 11], stream[512] = {};
  Vel16u reciprocals[64];
  Vel16s block[64], last = 0, counted = 0;
  int dc[256] = {}, ac[256] = {}, position = 3;
  scatter(samples, 256, 10);
  scatter(reciprocals, 6000, 11);
  expectDone(orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(samples, 11, block, reciprocals));
  expectDone(orviGetHuffmanStatistics8x8_JPEG_16s_C1(block, dc, ac, &counted));
  Vel8u bits[2][16], symbols[2][256] = {};
  VeliEncodeHuffmanSpec* tables[2];
  for (int i = 0; i < 2; ++i) {
    expectDone(orviEncodeHuffmanRawTableInit_JPEG_8u(i ? ac : dc, bits[i], symbols[i]));
    expectDone(orviEncodeHuffmanSpecInitAlloc_JPEG_8u(bits[i], symbols[i], &tables[i]));
  }
  expectDone(orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, stream, &position, &last, tables[0], tables[1]));
  for (VeliEncodeHuffmanSpec* table : tables) expectDone(orviEncodeHuffmanSpecFree_JPEG_8u(table));
  add(block), add(bits), add(symbols), add(stream), add(position);
}

void yuv() {
  constexpr int kWidth = 66, kHeight = 6;  // two whole vectors of pixels and a tail
  Vel8u from[kWidth * kHeight * 3], to[kWidth * kHeight * 4];
  scatter(from, 256, 3);
  const VeliSize size = {kWidth, kHeight};
  const int pixels = kWidth * kHeight, steps[3] = {kWidth, kWidth / 2, kWidth / 2};
  const Vel8u* const src[3] = {from, from + pixels, from + pixels * 2};
  Vel8u* const dst[3] = {to, to + pixels, to + pixels * 2};
  const auto run = [&](VelStatus status) {
    expectDone(status);
    add(to);
    memset(to, 0x5A, sizeof to);
  };
  memset(to, 0x5A, sizeof to);
  run(orviYUV420ToRGB_8u_P3C3R(src, steps, to, 4 * kWidth, size));
  run(orviYUV420ToRGB_8u_P3AC4R(src, steps, to, 4 * kWidth, size));
  run(orviYUV420ToRGB_8u_P3R(src, steps, dst, kWidth, size));
  run(orviYUV420ToBGR565_8u16u_P3C3R(src, steps, reinterpret_cast<Vel16u*>(to), 4 * kWidth, size));
  run(orviYUV422ToRGB_8u_C2C3R(from, 3 * kWidth, to, 4 * kWidth, size));
  run(orviYUV422ToRGB_8u_P3R(src, steps, dst, kWidth, size));
  run(orviRGBToYUV420_8u_C3P3R(from, 3 * kWidth, dst, steps, size));
  run(orviRGBToYUV420_8u_P3R(src, kWidth, dst, steps, size));
  run(orviRGBToYUV422_8u_C3C2R(from, 3 * kWidth, to, 4 * kWidth, size));
}

void ycbcr() {
  constexpr int kWidth = 45, kHeight = 2;  // in rows and as one row: whole vectors, a group of eight and a tail
  Vel8u samples[kHeight * kWidth * 4], pixels[sizeof samples];
  scatter(samples, 256, 12);
  constexpr int kPlane = kWidth * kHeight;
  const Vel8u* const src[3] = {samples, samples + kPlane, samples + 2 * kPlane};
  Vel8u* const dst[3] = {pixels, pixels + kPlane, pixels + 2 * kPlane};
  const VeliSize size = {kWidth, kHeight};
  const auto run = [&](auto convert, auto from, int srcPixel, auto to, int dstPixel) {
    memset(pixels, 0x5A, sizeof pixels);
    expectDone(convert(from, srcPixel * kWidth, to, dstPixel * kWidth, size));
    add(pixels);
  };
  run(orviRGBToYCbCr_8u_C3R, samples, 3, pixels, 3);
  run(orviRGBToYCbCr_8u_AC4R, samples, 4, pixels, 4);
  run(orviRGBToYCbCr_8u_P3R, src, 1, dst, 1);
  run(orviYCbCrToRGB_8u_C3R, samples, 3, pixels, 3);
  run(orviYCbCrToRGB_8u_AC4R, samples, 4, pixels, 4);
  run(orviYCbCrToRGB_8u_P3R, src, 1, dst, 1);
  run(orviYCbCrToRGB_8u_P3C3R, src, 1, pixels, 3);
  for (const auto convert : {orviYCbCrToRGB565_8u16u_C3R, orviYCbCrToRGB555_8u16u_C3R, orviYCbCrToRGB444_8u16u_C3R,
                             orviYCbCrToBGR565_8u16u_C3R, orviYCbCrToBGR555_8u16u_C3R, orviYCbCrToBGR444_8u16u_C3R})
    run(convert, samples, 3, reinterpret_cast<Vel16u*>(pixels), 2);
}

void alaw() {
  constexpr int kLen = 77;
  Vel16s samples[kLen];
  Vel32f fractions[kLen];
  Vel8u codes[kLen];
  scatter(samples, 32768, 12);
  for (int i = 0; i < kLen; ++i) fractions[i] = Vel32f(samples[i]) / 30000;
  expectDone(orvsLinToALaw_32f8u(fractions, codes, kLen));
  add(codes);
  expectDone(orvsLinToALaw_16s8u(samples, codes, kLen));
  add(codes);
  expectDone(orvsALawToLin_8u16s(codes, samples, kLen));
  add(samples);
  expectDone(orvsALawToLin_8u32f(codes, fractions, kLen));
  add(fractions);
}

void quantisation() {
  Vel8u raw[64];
  Vel16u table[64];
  scatter(raw, 100, 6);
  expectDone(orviQuantFwdRawTableInit_JPEG_8u(raw, 35));
  add(raw);
  expectDone(orviQuantFwdTableInit_JPEG_8u16u(raw, table));
  add(table);
  expectDone(orviQuantInvTableInit_JPEG_8u16u(raw, table));
  add(table);
}

void mcu() {
  Vel16s luma[256], cb[64], cr[64];
  scatter(luma, 140, 7);
  for (int below : {128, 400}) {  // past a byte's range, chroma is converted in floats
    scatter(cb, below, 8);
    scatter(cr, below, 9);
    const Vel16s* const blocks[3] = {luma, cb, cr};
    Vel8u tile[16 * 50] = {};
    expectDone(orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(blocks, tile, 50));
    add(tile);
  }
}

void box() {
  constexpr int kWidth = 13, kHeight = 11;  // whole vectors, a whole band of rows, and what is left over
  static Vel32f src[(kWidth + 4) * (kHeight + 4) * 4], dst[kWidth * kHeight * 4];
  scatter(src, 1000, 12);
  const struct {
    decltype(orviFilterBox_32f_C1R)* filter;
    int pixel;
  } forms[] = {{orviFilterBox_32f_C1R, 4},
               {orviFilterBox_32f_C3R, 12},
               {orviFilterBox_32f_C4R, 16},
               {orviFilterBox_32f_AC4R, 16}};
  for (const auto& form : forms)
    for (int side : {3, 5}) {
      memset(dst, 0x5A, sizeof dst);
      expectDone(form.filter(src, (kWidth + 4) * form.pixel, dst, kWidth * form.pixel, {kWidth, kHeight}, {side, side},
                             {0, 0}));
      add(dst);
    }
}

void resize() {
  constexpr VeliRect kFrom = {1, 0, 40, 9};
  Vel8u src[41 * 9 * 4];
  scatter(src, 256, 12);
  for (int method : {1, 2, 4, 5, 6, 7, 8, 16})
    for (int flag : {0, int(velFlagAntialiasing), int(velFlagSmoothEdge)})
      for (double factor : {1.7, 0.7, 0.5}) {
        if (method == velInterSuper && factor > 1) continue;
        const int width = int(40 * factor), height = int(9 * factor), interpolation = method | flag;
        const bool isPlain = flag == velFlagAntialiasing && (method == velInterNearest || method == velInterSuper);
        alignas(16) static Vel8u buffer[1 << 17];
        Vel8u dst[68 * 16 * 4] = {};
        const auto run = [&](auto call, int channels) {
          const VelStatus status = call(src, {41, 9}, 41 * channels, kFrom, dst, width * channels,
                                        {0, 0, width, height}, factor, factor, -factor, 0, interpolation, buffer);
          if (!isPlain || status != velStsNoAntialiasing) expectDone(status);
          add(dst);
        };
        int size;
        orviResizeGetBufSize(kFrom, {0, 0, width, height}, 4, interpolation, &size);
        if (size > int(sizeof buffer)) exit(4);
        run(orviResizeSqrPixel_8u_C1R, 1);
        run(orviResizeSqrPixel_8u_C3R, 3);
        run(orviResizeSqrPixel_8u_C4R, 4);
        run(orviResizeSqrPixel_8u_AC4R, 4);
      }
}

void vectors() {
  static Vel8u src[150000], dst[sizeof src];
  static Vel16s words[75000];
  scatter(src, 256, 12);
  memset(dst, 0, sizeof dst);
  for (int bytes : {16, 60, 300, int(sizeof src)}) {  // each length class has code of its own
    const Vel16s* const src16 = reinterpret_cast<Vel16s*>(src);
    const Vel32u* const src32 = reinterpret_cast<Vel32u*>(src);
    const auto dst16 = reinterpret_cast<Vel16s*>(dst);
    expectDone(orvsAnd_8u(src, src + 1, dst, bytes - 1));
    add(dst);
    expectDone(orvsXor_32u_I(src32, reinterpret_cast<Vel32u*>(dst), bytes / 4));
    add(dst);
    expectDone(orvsOrC_16u(reinterpret_cast<Vel16u*>(src), 0x5A01, reinterpret_cast<Vel16u*>(dst), bytes / 2));
    add(dst);
    expectDone(orvsLShiftC_8u(src, 3, dst, bytes));
    add(dst);
    expectDone(orvsRShiftC_16s(src16, 3, dst16, bytes / 2));
    add(dst);
    expectDone(orvsRShiftC_32s_I(3, reinterpret_cast<Vel32s*>(dst), bytes / 4));
    add(dst);
    for (int scale : {-3, 0, 3}) {
      memcpy(words, src, sizeof words);
      expectDone(orvsMulC_16s_ISfs(57, words, bytes / 2, scale));
      add(words);
    }
    Vel32f norm;
    expectDone(orvsNorm_L2_16s32f(src16, bytes / 2, &norm));
    add(norm);
    expectDone(orvsAndC_8u_I(0, dst, bytes));
    add(dst);
  }
}

void control() { add(vel_tst_daz_ssx()); }

// What CPUID and XGETBV say, asked without the library, and what the library makes of it.
void printSelection() {
  unsigned a, b, c = 0, d = 0, xcr = 0;
  __get_cpuid(1, &a, &b, &c, &d);
  if (c >> 27 & 1) __asm__ volatile(".byte 0x0F, 0x01, 0xD0" /* xgetbv */ : "=a"(xcr) : "c"(0) : "edx");
  printf("ecx=%u\nedx=%u\nxcr=%u\n", c, d, xcr);

  const VelStatus status = velStaticInit();
  Vel64u features = 0;
  velGetCpuFeatures(&features, nullptr);
  int cache = -1;
  const VelStatus cacheStatus = velGetMaxCacheSizeB(&cache);
  printf("index=%d\nlp=%d\nfeatures=%llu\nenabled=%llu\nstatus=%d\nstring=%s\ncache=%d %d\n", velJumpIndexForMergedLibs,
         velJumpIndexForMergedLibsLP, static_cast<unsigned long long>(features),
         static_cast<unsigned long long>(velGetEnabledCpuFeatures()), status, orvGetStatusString(status), cacheStatus,
         cache);
  fflush(stdout);
}

// The hidden index of variants lies so far from velStaticInit. What it is as selected, with the bit of AVX taken from the
// mask of enabled features, and selected again.
void printVariants(const char* distance) {
  const auto variant = reinterpret_cast<const volatile Vel32s*>(
      reinterpret_cast<intptr_t>(dlsym(RTLD_DEFAULT, "velStaticInit")) + atol(distance));
  printf("variant=%d", *variant);
  velSetCpuFeaturesMask(velGetEnabledCpuFeatures() & ~Vel64u(velCpuidAVX));
  printf(" %d", *variant);
  velStaticInit();
  printf(" %d\n", *variant);
}

}  // namespace

// Calls run with the stack so many bytes below a multiple of 16.
extern "C" void callBelow(int offset, void (*run)());
#ifdef __i386__
constexpr int kOffsets[] = {0, 4, 8, 12};
__asm__(
    ".text\n"
    "callBelow:\n\t"
    "push %ebp\n\tmov %esp, %ebp\n\tand $-16, %esp\n\tsub 8(%ebp), %esp\n\tcall *12(%ebp)\n\tleave\n\tret\n");
#else
constexpr int kOffsets[] = {0};
void callBelow(int, void (*run)()) { run(); }
#endif

int main(int argc, char** argv) {
  printSelection();
  if (argc > 2) printVariants(argv[2]);
  if (argc > 1 && velStaticInitCpu(atoi(argv[1])) != velStsNoErr) return 1;
  if (argc == 1 && velJumpIndexForMergedLibs == 0) return 0;

  static const struct {
    const char* name;
    void (*run)();
  } kFamilies[] = {
      {"inverseDct", inverseDct},
      {"huffman", huffman},
      {"encoding", encoding},
      {"yuv", yuv},
      {"ycbcr", ycbcr},
      {"quantisation", quantisation},
      {"box", box},
      {"alaw", alaw},
      {"arithmetic", arithmetic},
      {"convert", convert},
      {"resize", resize},
      {"vectors", vectors},
      {"copy", copy},
      {"mcu", mcu},
      {"control", control},
  };
  for (const auto& family : kFamilies)
    for (int offset : kOffsets) {
      sum = 2166136261u;
      callBelow(offset, family.run);
      printf("sum.%s.%d=%08x\n", family.name, offset, unsigned(sum));
    }
}
