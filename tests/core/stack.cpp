// Calls from a stack that is aligned to 4 bytes only, as old 32-bit programs make them.
#include <dlfcn.h>
#include <functional>
#include <string>
#include <vector>
#include "support/paths.h"

// Calls fn with `count` words of arguments, which lie at an address of 16 k + offset.
extern "C" int callFromOffset(const void* fn, int offset, const Vel32u* words, int count);
__asm__(
    ".text\n"
    "callFromOffset:\n\t"
    "push %ebp\n\tmov %esp, %ebp\n\tpush %esi\n\tpush %edi\n\t"
    "mov 16(%ebp), %esi\n\tmov 20(%ebp), %ecx\n\t"
    "lea 16(,%ecx,4), %eax\n\tsub %eax, %esp\n\tand $-16, %esp\n\tadd 12(%ebp), %esp\n\t"
    "mov %esp, %edi\n\tcld\n\trep movsl\n\t"
    "call *8(%ebp)\n\t"
    "lea -8(%ebp), %esp\n\tpop %edi\n\tpop %esi\n\tpop %ebp\n\tret\n");

namespace {

// A way to call: plainly for offset 0.
struct Caller {
  int offset;
  template <class R, class... P, class... A> R operator()(R (*fn)(P...), A... a) const {
    return go(fn, static_cast<P>(a)...);
  }
  template <class R, class... P> R go(R (*fn)(P...), P... a) const {
    if (offset == 0) return fn(a...);
    std::vector<Vel32u> words;
    (append(words, a), ...);
    return R(callFromOffset(reinterpret_cast<const void*>(fn), offset, words.data(), int(words.size())));
  }
  template <class T> static void append(std::vector<Vel32u>& words, const T& a) {
    Vel32u w[sizeof(T) / 4];
    memcpy(w, &a, sizeof a);
    words.insert(words.end(), std::begin(w), std::end(w));
  }
};

alignas(32) Vel8u bytes[1024], huffman[2][1644];
Vel8u stream[202];
Vel16s blocks[6 * 64];
Vel16u steps[64];
// A code of every length; but for sixteen ones in a row, any bits are codes.
const Vel8u kBits[16] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1},
            kDc[16] = {3, 1, 2, 0, 4, 5, 6, 7, 8, 9, 10, 11, 0, 0, 0, 0},
            kAc[16] = {0x01, 0x02, 0x13, 0x00, 0x21, 0x05, 0x11, 0xF0};

void prepare() {
  for (int i = 0; i < 1024; ++i) bytes[i] = Vel8u(i * 37 % 251 + 1);
  for (int i = 0; i < 200; ++i) stream[i] = Vel8u(i * 91 & 0x7F);
  stream[200] = 0xFF, stream[201] = 0xD9;
  for (int i = 0; i < 384; ++i) blocks[i] = Vel16s(i * i % 61 - 30);
  for (int i = 0; i < 64; ++i) steps[i] = Vel16u(i % 7 + 1);
}

class Stack : public OnEveryPath {
 protected:
  template <class F> F* kernel(const char* name) const {
    return reinterpret_cast<F*>(dlsym(RTLD_DEFAULT, (std::string(GetParam().name) + "_" + name).c_str()));
  }
};
ORV_ON_EVERY_PATH(Stack);

TEST_P(Stack, ResultsDoNotDependOnItsAlignment) {
  prepare();
  const Vel8u* const yuv[3] = {bytes, bytes + 256, bytes + 320};
  const int yuvSteps[3] = {16, 8, 8};
  const Vel16u* const tables[6] = {steps, steps, steps, steps, steps, steps};
  const Vel16s* const mcu[3] = {blocks, blocks + 256, blocks + 320};
  const VeliSize size = {16, 16};
  auto* const dc = reinterpret_cast<VeliDecodeHuffmanSpec*>(huffman[0]);
  auto* const ac = reinterpret_cast<VeliDecodeHuffmanSpec*>(huffman[1]);
  using Out = Vel8u*;
  const auto words = [](Out out) { return reinterpret_cast<Vel16u*>(out); };
  const auto planes = [](Out out) { return std::vector<Vel8u*>{out, out + 256, out + 512}; };

  const std::function<VelStatus(const Caller&, Out)> kCalls[] = {
      [&](auto& call, Out out) { return call(orviDCTQuantInv8x8LS_JPEG_16s8u_C1R, blocks, out, 9, steps); },
      [&](auto& call, Out out) { return call(orviDCTQuantInv8x8LS_4x4_JPEG_16s8u_C1R, blocks, out, 9, steps); },
      [&](auto& call, Out out) { return call(orviDCTQuantInv8x8LS_1x1_JPEG_16s8u_C1R, blocks, out, 9, steps); },
      [&](auto& call, Out out) { return call(orviYUV420ToRGB_8u_P3C3R, yuv, yuvSteps, out, 50, size); },
      [&](auto& call, Out out) { return call(orviYUV420ToBGR_8u_P3C3R, yuv, yuvSteps, out, 50, size); },
      [&](auto& call, Out out) { return call(orviYUV420ToRGB_8u_P3AC4R, yuv, yuvSteps, out, 64, size); },
      [&](auto& call, Out out) { return call(orviYUV420ToRGB_8u_P3R, yuv, yuvSteps, planes(out).data(), 16, size); },
      [&](auto& call, Out out) { return call(orviQuantFwdTableInit_JPEG_8u16u, bytes, words(out)); },
      [&](auto& call, Out out) { return call(orviQuantInvTableInit_JPEG_8u16u, bytes, words(out)); },
      [&](auto& call, Out out) {
        memcpy(out, bytes, 64);
        return call(orviQuantFwdRawTableInit_JPEG_8u, out, 71);
      },
      [&](auto& call, Out out) {
        return call(orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R, blocks, out + 1024, tables, out, 50, size);
      },
      [&](auto& call, Out out) { return call(orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3, mcu, out, 50); },
      [&](auto& call, Out out) { return call(computeRGBFromYUV_JPEG_F32_U8, 3.5f, 17.f, -9.f, out, out + 1, out + 2); },
      [&](auto& call, Out out) {
        int position = 0, marker = 0, valid = 0;
        Vel32u store = 0;
        Vel16s last = 0;
        VelStatus status = call(orviDecodeHuffmanSpecInit_JPEG_8u, kBits, kDc, dc);
        if (status == 0) status = call(orviDecodeHuffmanSpecInit_JPEG_8u, kBits, kAc, ac);
        for (int i = 0; i < 12 && status == 0; ++i)
          status = call(orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1, stream, &position,
                        reinterpret_cast<Vel16s*>(out + 128 * i), &last, &marker, &store, &valid, dc, ac);
        memcpy(out + 1536, &position, sizeof position);
        return status;
      },
      [&](auto& call, Out out) {
        return call(kernel<VelStatus(const Vel8u*, Vel8u*, int)>("velsCopy_8u"), bytes, out + 3, 777);
      },
      [&](auto& call, Out out) { return call(kernel<VelStatus(Vel8u*, int)>("velsZero_8u"), out + 3, 777); },
      [&](auto& call, Out out) {
        using Widen = VelStatus(const Vel8u*, int, Vel16u*, int, VeliSize);
        return call(kernel<Widen>("veliConvert_8u16u_C1R"), bytes, 16, words(out), 50, size);
      },
  };
  int n = 0;
  for (const auto& run : kCalls) {
    std::vector<Vel8u> plain(2048, 0xEE);
    EXPECT_EQ(run(Caller{0}, plain.data()), 0) << "call " << n;
    for (int offset : {4, 8, 12}) {
      std::vector<Vel8u> shifted(2048, 0xEE);
      EXPECT_EQ(run(Caller{offset}, shifted.data()), 0) << "call " << n << " from " << offset;
      EXPECT_EQ(shifted, plain) << "call " << n << " from " << offset;
    }
    ++n;
  }
}

}  // namespace
