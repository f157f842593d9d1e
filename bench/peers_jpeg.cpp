// What works on the blocks of a JPEG, beside libjpeg-turbo's kernels for the same.
#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include "peers.h"
#include "photo.h"
#include "turbo.h"

namespace {

constexpr int kAcross = 40, kStep = kAcross * kSide;  // blocks side by side, and the bytes of a row of theirs
const Set* theSet;

// The luma blocks of a photo, whole rows of kAcross, and their samples.
struct Luma {
  explicit Luma(const Photo& photo) {
    for (int i = 0; i < photo.mcus; ++i) {
      const Vel16s* mcu = photo.block(i, 0);
      blocks.insert(blocks.end(), mcu, mcu + 4 * kSamples);
    }
    rows = int(blocks.size()) / kSamples / kAcross;
    samples.resize(size_t(rows * kAcross * kSamples));
    const Vel16u* const from = photo.component(0).quant;
    std::copy_n(from, kSamples, steps);
    for (int i = 0; i < kSamples; ++i) raw[i] = Vel8u(steps[own_pj_izigzag_index[i]]);
    forEach(samples.data(), [&](int i, Vel8u* at) {
      return orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(&blocks[size_t(i * kSamples)], at, kStep, steps);
    });
  }
  int count() const { return rows * kAcross; }
  // work(block, its place in the plane)
  template <class Work> VelStatus forEach(Vel8u* plane, const Work& work) const {
    VelStatus status = velStsNoErr;
    for (int i = 0; i < count(); ++i) status |= work(i, plane + i / kAcross * kStep * kSide + i % kAcross * kSide);
    return status;
  }
  // The same for libjpeg: work(block, rows, column)
  template <class Work> void forEachTurbo(Vel8u* plane, const Work& work) const {
    JSAMPROW lines[kSide];
    for (int y = 0; y < rows; ++y) {
      for (JSAMPROW& line : lines) line = plane, plane += kStep;
      for (int x = 0; x < kAcross; ++x) work(y * kAcross + x, lines, JDIMENSION(x * kSide));
    }
  }

  Words blocks;
  int rows;
  Bytes samples;
  alignas(16) Vel16u steps[kSamples];
  Vel8u raw[kSamples];
};

// A divisor as its quantiser takes it: reciprocal, correction, scale and shift, each for all coefficients.
void setDivisor(unsigned divisor, short* at) {
  const int bits = 31 - __builtin_clz(divisor);
  int shift = 16 + bits;
  unsigned quotient = (1u << shift) / divisor, correction = divisor / 2;
  const unsigned rest = (1u << shift) % divisor;
  if (rest == 0)
    quotient >>= 1, --shift;
  else if (rest <= divisor / 2)
    ++correction;
  else
    ++quotient;
  at[0] = short(quotient), at[kSamples] = short(correction);
  at[2 * kSamples] = short(1 << (32 - shift)), at[3 * kSamples] = short(shift - 16);
}

void compareTransforms(const std::shared_ptr<const Luma>& luma) {
  struct Tables {
    alignas(64) short divisors[4 * kSamples], steps[kSamples], work[kSamples];
    alignas(16) Vel16u reciprocals[kSamples];
  };
  const auto t = std::make_shared<Tables>();
  orviQuantFwdTableInit_JPEG_8u16u(luma->raw, t->reciprocals);
  for (int i = 0; i < kSamples; ++i) {
    setDivisor(luma->steps[i] * 8u, t->divisors + i);
    t->steps[i] = short(luma->steps[i]);
  }
  const size_t bytes = luma->samples.size();
  compare(*theSet, {"blocks/forward DCT and quantisation", "block", double(luma->count()), 0, bytes * 2},
          [=](Vel8u*, Vel8u* d) {
            return luma->forEach(const_cast<Vel8u*>(luma->samples.data()), [&](int i, const Vel8u* at) {
              return orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(at, kStep, reinterpret_cast<Vel16s*>(d) + i * kSamples,
                                                         t->reciprocals);
            });
          },
          {{"libjpeg-turbo", "islow; three kernels", [=](Vel8u*, Vel8u* d) {
              luma->forEachTurbo(const_cast<Vel8u*>(luma->samples.data()), [&](int i, JSAMPARRAY rows, JDIMENSION x) {
                TURBO(jsimd_convsamp)(rows, x, t->work);
                TURBO(jsimd_fdct_islow)(t->work);
                TURBO(jsimd_quantize)(reinterpret_cast<JCOEFPTR>(d) + i * kSamples, t->divisors, t->work);
              });
            }}});
  compare(*theSet, {"blocks/inverse DCT and dequantisation", "block", double(luma->count()), 0, bytes},
          [=](Vel8u*, Vel8u* d) {
            return luma->forEach(d, [&](int i, Vel8u* at) {
              return orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(&luma->blocks[size_t(i * kSamples)], at, kStep, luma->steps);
            });
          },
          {{"libjpeg-turbo", "islow; skips what has no AC", [=](Vel8u*, Vel8u* d) {
              luma->forEachTurbo(d, [&](int i, JSAMPARRAY rows, JDIMENSION x) {
                TURBO(jsimd_idct_islow)
                (t->steps, const_cast<JCOEFPTR>(&luma->blocks[size_t(i * kSamples)]), rows, x);
              });
            }}});
}

// The entropy decoder of a decompressor that has started, on the same data again and again.
class TurboDecoder {
 public:
  TurboDecoder(const Bytes& file, const Photo& photo)
      : data_(photo.scan.data), size_(size_t(photo.reader.limit() - photo.scan.data)), mcus_(photo.mcus) {
    info_.err = jpeg_std_error(&errors_);
    jpeg_create_decompress(&info_);
    jpeg_mem_src(&info_, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&info_, TRUE);
    jpeg_start_decompress(&info_);
  }
  TurboDecoder(const TurboDecoder&) = delete;
  ~TurboDecoder() { jpeg_destroy_decompress(&info_); }
  // `to` moves by `step` from one MCU to the next.
  void decode(Vel16s* to, int step) {
    info_.src->next_input_byte = data_;
    info_.src->bytes_in_buffer = size_;
    info_.unread_marker = 0;
    info_.entropy->start_pass(&info_);
    info_.entropy->insufficient_data = FALSE;
    for (int i = 0; i < mcus_; ++i, to += step) {
      JBLOCKROW rows[kBlocks];
      for (int n = 0; n < kBlocks; ++n) rows[n] = reinterpret_cast<JBLOCKROW>(to + n * kSamples);
      memset(to, 0, sizeof(Vel16s) * kBlocks * kSamples);
      info_.entropy->decode_mcu(&info_, rows);
    }
  }

 private:
  const Vel8u* const data_;
  const size_t size_;
  const int mcus_;
  jpeg_decompress_struct info_;
  jpeg_error_mgr errors_;
};

void compareDecoding(const Bytes& file, const std::shared_ptr<const Photo>& photo) {
  const auto turbo = std::make_shared<TurboDecoder>(file, *photo);
  Words theirs(photo->coefficients.size());
  turbo->decode(theirs.data(), kBlocks * kSamples);
  if (theirs != photo->coefficients) throw std::runtime_error("libjpeg-turbo decodes other coefficients");
  const auto words = [](Vel8u* d) { return reinterpret_cast<Vel16s*>(d); };
  compare(*theSet,
          {"blocks/Huffman decoding", "block", double(photo->mcus) * kBlocks, 0, sizeof(Vel16s) * kBlocks * kSamples},
          [=](Vel8u*, Vel8u* d) { return photo->decodeBlocks(words(d), 0); },
          {{"libjpeg-turbo", "", [=](Vel8u*, Vel8u* d) { turbo->decode(words(d), 0); }}});
}

// Both encode with the codes of annex K, as a compressor sets them.
struct Codes {
  Codes() {
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    info.image_width = info.image_height = kTile;
    info.input_components = 3;
    info.in_color_space = JCS_RGB;
    jpeg_set_defaults(&info);
    for (int kind = 0; kind < 2; ++kind)
      for (int ac = 0; ac < 2; ++ac) {
        const JHUFF_TBL& table = *(ac ? info.ac_huff_tbl_ptrs : info.dc_huff_tbl_ptrs)[kind];
        orviEncodeHuffmanSpecInitAlloc_JPEG_8u(table.bits + 1, table.huffval, &ours[kind][ac]);
        jpeg_make_c_derived_tbl(&info, !ac, kind, &theirs[kind][ac]);
      }
  }
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  VeliEncodeHuffmanSpec* ours[2][2];
  c_derived_tbl* theirs[2][2] = {};
};

void compareEncoding(const std::shared_ptr<const Photo>& photo) {
  const auto codes = std::make_shared<Codes>();
  // visit(block, 1 for chroma, the component's last DC) for each block.
  const auto walk = [photo](const auto& visit) {
    Vel16s lastDC[3] = {};
    for (int i = 0; i < photo->mcus * kBlocks; ++i) {
      const int n = i % kBlocks, component = n < 4 ? 0 : n - 3;
      visit(photo->block(i / kBlocks, n), component > 0, &lastDC[component]);
    }
  };
  const auto ours = [=](Vel8u*, Vel8u* d) {
    int bits = 0;
    VelStatus status = velStsNoErr;
    walk([&](const Vel16s* block, bool chroma, Vel16s* lastDC) {
      status |= orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(block, d, &bits, lastDC, codes->ours[chroma][0],
                                                          codes->ours[chroma][1]);
    });
    return status;
  };
  const auto theirs = [=](Vel8u*, Vel8u* d) {
    TurboStream stream = {};
    stream.freeBits = 64;
    stream.simd = 1;
    walk([&](const Vel16s* block, bool chroma, Vel16s* lastDC) {
      d = jsimd_huff_encode_one_block_sse2(&stream, d, const_cast<JCOEFPTR>(block), *lastDC, codes->theirs[chroma][0],
                                           codes->theirs[chroma][1]);
      *lastDC = block[0];
    });
  };
  const size_t room = photo->coefficients.size() * 4;
  Bytes a(room), b(room);
  ours(nullptr, a.data());
  theirs(nullptr, b.data());
  if (!std::equal(a.begin(), a.begin() + photo->mcus * kBlocks / 4, b.begin()))
    throw std::runtime_error("libjpeg-turbo encodes other bits");
  compare(*theSet, {"blocks/Huffman encoding", "block", double(photo->mcus) * kBlocks, 0, room}, ours,
          {{"libjpeg-turbo", "", theirs}});
}

}  // namespace

void compareBlocks(const Set& set, const Bytes& file) {
  theSet = &set;
  const auto photo = std::make_shared<const Photo>(file);
  compareTransforms(std::make_shared<const Luma>(*photo));
  compareDecoding(file, photo);
  compareEncoding(photo);
}
