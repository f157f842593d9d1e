// The coefficients of a progressive JPEG, scan by scan (ITU-T T.81, annex G).
#pragma once
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>
#include "codec/bits.h"

namespace jpeg {

class Coefficients {
 public:
  // None is known yet, all are zero.
  explicit Coefficients(const Frame& frame);

  // Takes on a scan. False where it does not go on where those before it left off: it is to be skipped.
  bool begin(const Scan& scan);
  // How many MCUs the scan has, or blocks where it is of one component.
  int mcus() const { return wide_ * high_; }

  enum Outcome { kDone, kCutOff, kInvalid };
  // Decodes these MCUs of the scan, whose bits begin at `data`. What follows the damage, if there is any, is lost.
  Outcome decode(const uint8_t* data, const uint8_t* limit, int from, int to);
  const MarkerAt& marker() const { return marker_; }  // what ended the bits
  // These MCUs are missing in the scan.
  void lose(int from, int to);

  // Whether all components have been begun, or decoded to the last bit.
  bool areBegun() const;
  bool areComplete() const;

  const Vel16s* block(int component, int x, int y) const {
    const Plane& p = planes_[size_t(component)];
    return p.at(y * p.stride + x);
  }
  const Vel16u* quant(int component) const { return planes_[size_t(component)].quant; }

 private:
  static constexpr int kSize = 8, kSamples = 64;
  // A set of zigzag positions.
  using Mask = uint64_t;

  // MCUs of a scan that were lost in it, of some coefficients. What refines these cannot be decoded: which bits there
  // are depends on the coefficients.
  struct Lost {
    int from, to;
    Mask band;
  };
  struct Free {
    void operator()(void* memory) const { free(memory); }
  };

  struct Plane {
    static constexpr int kGroup = 32;

    int h, v;        // blocks in an MCU
    int wide, high;  // blocks that hold pixels
    int stride;      // blocks in a row, with those that only complete MCUs
    std::unique_ptr<Vel16s, Free> memory;
    Vel16s* coefficients;               // in it, from where a cache line begins
    std::vector<Mask> nonzero, groups;  // which AC coefficients are not zero, of each block and of any in kGroup blocks
    std::array<int8_t, kSamples> known;  // by zigzag position: the lowest bit that is known, or kUnknown
    std::vector<Lost> lost;
    alignas(16) Vel16u quant[kSamples] = {};

    Vel16s* at(int block) const { return coefficients + size_t(block) * kSamples; }
    // The first block from `block` on, and in front of `end`, that has a coefficient of the band; or `end`.
    int findNonzero(int block, int end, Mask band) const;
    void setNonzero(int block, Mask mask) {
      nonzero[size_t(block)] = mask;
      groups[size_t(block / kGroup)] |= mask;
    }
    // From `from` on, where nothing of the band was lost before `to`: up to where that is so.
    int intactUpTo(int from, int to, Mask band) const;
  };
  // Where a block of a scan of one component lies.
  struct Place {
    int block, x;

    Place(const Plane& plane, int n) : block(n / plane.wide * plane.stride + n % plane.wide), x(n % plane.wide) {}
    void advance(const Plane& plane, int count);
  };

  static constexpr int kUnknown = -1;

  Outcome failed(const BitStore& in) const { return in.left() < 16 ? kCutOff : kInvalid; }
  template <class Visit> Outcome decodeDc(int from, int to, const Visit& visit);
  Outcome decodeFirstDc(int from, int to);
  Outcome refineDc(int from, int to);
  template <bool kRefines> Outcome decodeAc(int from, int to);
  int decodeFirstAc(BitStore& in, Vel16s* block, Mask* mask) const;
  int refineAc(BitStore& in, Vel16s* block, Mask* mask) const;
  bool correctRun(BitStore& in, const Plane& plane, int block, int end, int* cut) const;
  void correct(BitStore& in, Vel16s* block, Mask mask) const;

  std::vector<Plane> planes_;
  int mcusWide_, mcusHigh_;
  // The scan at hand.
  std::vector<int> components_;
  int first_ = 0, last_ = 0, low_ = 0;
  bool refines_ = false;
  Mask band_ = 0;            // its coefficients
  int wide_ = 0, high_ = 0;  // MCUs
  int done_ = 0;             // of them
  std::array<Codes, 3> codes_;
  Bits bits_;
  MarkerAt marker_ = {nullptr, 0};
};

}  // namespace jpeg
