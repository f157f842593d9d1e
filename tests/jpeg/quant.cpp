// Quantisation tables, the zigzag order and the constant tables.
#include "jpeg/support.h"

namespace {

class JpegQuant : public OnEveryPath {};
ORV_ON_EVERY_PATH(JpegQuant);

TEST_P(JpegQuant, ScalesByQuality) {
  for (int q = 1; q <= 102; ++q)
    for (int first = 0; first < 256; first += 64) {
      const int quality = q <= 101 ? q : INT32_MAX;
      Guarded raw(64, first & 64 ? Guard::kBefore : Guard::kBehind);
      for (int i = 0; i < 64; ++i) raw[size_t(i)] = Vel8u(first + i);
      ASSERT_EQ(orviQuantFwdRawTableInit_JPEG_8u(raw.data(), quality), velStsNoErr);
      const Vel64u scale = quality < 50 ? 5000u / unsigned(quality) : quality < 100 ? 200u - 2u * unsigned(quality) : 0;
      for (int i = 0; i < 64; ++i)
        ASSERT_EQ(raw[size_t(i)], std::clamp<Vel64u>((Vel64u(first + i) * scale + 50) / 100, 1, 255))
            << first + i << " at quality " << quality;
      ASSERT_TRUE(raw.intact());
    }
}

// The nearest integer to 32768 / step; 65535 for no step.
int reciprocal(int step) { return step == 0 ? 65535 : 32768 / step + (2 * (32768 % step) >= step); }

TEST_P(JpegQuant, BuildsTablesInNaturalOrder) {
  const auto zigzag = zigzagOrder();
  for (Vel32u rounding = 0; rounding <= 0x6000; rounding += 0x2000)
    for (int first = 0; first < 256; first += 32) {
      const Guard guard = first & 32 ? Guard::kBefore : Guard::kBehind;
      Guarded raw(64, guard), forward(128, guard), inverse(128, guard);
      for (int i = 0; i < 64; ++i) raw[size_t(i)] = Vel8u(first + i);
      const Vel32u control = vel_set_rc_ssx(rounding);
      const VelStatus status = orviQuantFwdTableInit_JPEG_8u16u(raw.data(), forward.as<Vel16u>());
      vel_set_cw_ssx(control);
      // From 224 the bytes wrap, so that a zero stands in the middle.
      ASSERT_EQ(status, first == 0 || first > 192 ? velStsDivByZero : velStsNoErr);
      ASSERT_EQ(orvizkQuantInvTableInit_JPEG_8u16u(raw.data(), inverse.as<Vel16u>()), velStsNoErr);
      for (size_t k = 0; k < 64; ++k) {
        ASSERT_EQ(forward.as<Vel16u>()[zigzag[k]], reciprocal(raw[k])) << "rounding " << rounding;
        ASSERT_EQ(inverse.as<Vel16u>()[zigzag[k]], raw[k]);
      }
      ASSERT_TRUE(forward.intact() && inverse.intact());
    }
}

TEST_P(JpegQuant, ReordersWords) {
  using Reorder = VelStatus(const Vel16s*, Vel16s*);
  const auto reorder = kernelOf<Reorder>(GetParam(), "veliZigzagInv8x8_16s_C1");
  const bool hasOne = GetParam().name != std::string("v8");  // whose table builders are those of s8
  ASSERT_EQ(reorder != nullptr, hasOne);
  if (!hasOne) return;
  const auto zigzag = zigzagOrder();
  Guarded src(128, Guard::kBehind), dst(130, Guard::kBehind);
  for (int k = 0; k < 64; ++k) src.as<Vel16s>()[k] = Vel16s(k * 1009 - 32768);
  EXPECT_EQ(reorder(src.as<Vel16s>(), dst.as<Vel16s>()), velStsNoErr);
  for (int k = 0; k < 64; ++k) EXPECT_EQ(memcmp(src.as<Vel16s>() + k, dst.as<Vel16s>() + zigzag[size_t(k)], 2), 0) << k;
  EXPECT_TRUE(dst.intact() && dst[128] == 0 && dst[129] == 0);
  EXPECT_EQ(reorder(nullptr, dst.as<Vel16s>()), velStsNullPtrErr);
  EXPECT_EQ(reorder(src.as<Vel16s>(), nullptr), velStsNullPtrErr);
}

TEST_P(JpegQuant, ChecksItsArgumentsInOrder) {
  Vel8u raw[64] = {};
  Vel16u table[64] = {};
  EXPECT_EQ(orviQuantFwdRawTableInit_JPEG_8u(nullptr, 0), velStsNullPtrErr);
  for (int quality : {0, -1}) EXPECT_EQ(orviQuantFwdRawTableInit_JPEG_8u(raw, quality), velStsBadArgErr);
  for (const auto init : {orviQuantFwdTableInit_JPEG_8u16u, orviQuantInvTableInit_JPEG_8u16u}) {
    EXPECT_EQ(init(nullptr, table), velStsNullPtrErr);
    EXPECT_EQ(init(raw, nullptr), velStsNullPtrErr);
  }
  EXPECT_EQ(std::count(raw, raw + 64, 0) + std::count(table, table + 64, 0), 128) << "an error wrote";
}

TEST(JpegConstants, AreWhatTheirDefinitionsSay) {
  const auto zigzag = zigzagOrder();
  for (size_t k = 0; k < 72; ++k) EXPECT_EQ(own_pj_izigzag_index[k], k < 64 ? zigzag[k] : 63);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(own_pj_csize[i], i ? std::ilogb(i) + 1 : 0);
  for (int i = 0; i < 512; ++i) EXPECT_EQ(own_pj_eobsize[i], i ? std::ilogb(i) : 0);
  for (int n = 0; n < 16; ++n) {
    EXPECT_EQ(own_pj_extend_test[n], n ? std::exp2(n - 1) : 0);
    EXPECT_EQ(own_pj_extend_offset[n], 1 - std::exp2(n));
    EXPECT_EQ(own_pj_twoexpnminusone[n], own_pj_extend_test[n]);
    EXPECT_EQ(own_pj_lowest_coef[n], own_pj_extend_offset[n]);
  }
}

}  // namespace
