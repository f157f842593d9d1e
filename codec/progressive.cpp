#include "codec/progressive.h"
#include <algorithm>
#include <climits>
#include <new>

namespace jpeg {

namespace {

int divideUp(int a, int b) { return (a + b - 1) / b; }

// More places where data are lost count as one that reaches to the end.
constexpr size_t kMostLost = 64;

// The number of a set's lowest element, and the set without it.
int lowest(uint64_t set) { return __builtin_ctzll(set); }
uint64_t withoutLowest(uint64_t set) { return set & (set - 1); }

// Of a code for the end of blocks' bands: how many blocks there are after this one.
int endOfBand(BitStore& in, int category) {
  in.refill();
  return category == 0 ? 0 : (1 << category) - 1 + int(in.take(category));
}

}  // namespace

// ---- Planes

Coefficients::Coefficients(const Frame& frame)
    : mcusWide_(divideUp(frame.width, frame.hMax * kSize)), mcusHigh_(divideUp(frame.height, frame.vMax * kSize)) {
  constexpr size_t kCacheLine = 64;
  for (const Component& c : frame.components) {
    Plane p;
    p.h = c.h;
    p.v = c.v;
    p.wide = divideUp(divideUp(frame.width * c.h, frame.hMax), kSize);
    p.high = divideUp(divideUp(frame.height * c.v, frame.vMax), kSize);
    p.stride = mcusWide_ * c.h;
    const size_t blocks = size_t(p.stride) * size_t(mcusHigh_ * c.v);
    p.memory.reset(static_cast<Vel16s*>(calloc(blocks * kSamples * sizeof(Vel16s) + kCacheLine, 1)));
    if (!p.memory) throw std::bad_alloc();
    const auto address = reinterpret_cast<uintptr_t>(p.memory.get());
    p.coefficients = p.memory.get() + (kCacheLine - address % kCacheLine) % kCacheLine / sizeof(Vel16s);
    p.nonzero.resize(blocks);
    p.groups.resize(blocks / Plane::kGroup + 1);
    p.known.fill(kUnknown);
    planes_.push_back(std::move(p));
  }
}

int Coefficients::Plane::findNonzero(int block, int end, Mask band) const {
  while (block < end) {
    if (block % kGroup == 0 && !(groups[size_t(block / kGroup)] & band)) {
      block += kGroup;
      continue;
    }
    if (nonzero[size_t(block)] & band) return block;
    ++block;
  }
  return end;
}

int Coefficients::Plane::intactUpTo(int from, int to, Mask band) const {
  for (const Lost& l : lost)
    if ((l.band & band) && l.from < to && l.to > from) to = std::max(l.from, from);
  return to;
}

void Coefficients::Place::advance(const Plane& plane, int count) {
  x += count;
  block += count;
  if (x < plane.wide) return;
  const int rows = x / plane.wide;
  x -= rows * plane.wide;
  block += rows * (plane.stride - plane.wide);
}

bool Coefficients::areBegun() const {
  return std::all_of(planes_.begin(), planes_.end(), [](const Plane& p) { return p.known[0] != kUnknown; });
}

bool Coefficients::areComplete() const {
  return std::all_of(planes_.begin(), planes_.end(), [](const Plane& p) {
    return std::all_of(p.known.begin(), p.known.end(), [](int low) { return low == 0; });
  });
}

// ---- Scans

// What a coefficient is known to can only go down, so there are at most so many scans as coefficients have bits.
bool Coefficients::begin(const Scan& scan) {
  for (const ScanComponent& c : scan.components)
    for (int k = scan.first; k <= scan.last; ++k)
      if (planes_[size_t(c.index)].known[size_t(k)] != (scan.refines ? scan.low + 1 : kUnknown)) return false;

  components_.clear();
  first_ = scan.first;
  last_ = scan.last;
  low_ = scan.low;
  refines_ = scan.refines;
  band_ = ~Mask(0) >> (63 - last_) & ~Mask(0) << first_;
  for (const ScanComponent& c : scan.components) {
    Plane& plane = planes_[size_t(c.index)];
    // The quantisation table is the one that there was at the component's first scan.
    if (std::all_of(plane.known.begin(), plane.known.end(), [](int low) { return low == kUnknown; }))
      std::copy_n(c.quant, kSamples, plane.quant);
    std::fill(&plane.known[size_t(first_)], &plane.known[size_t(last_)] + 1, int8_t(low_));
    if (const HuffmanCodes* const codes = first_ > 0 ? c.ac.codes : c.dc.codes)
      codes_[components_.size()].build(*codes, low_);
    components_.push_back(c.index);
  }
  const bool single = components_.size() == 1;
  wide_ = single ? planes_[size_t(components_[0])].wide : mcusWide_;
  high_ = single ? planes_[size_t(components_[0])].high : mcusHigh_;
  return true;
}

Coefficients::Outcome Coefficients::decode(const uint8_t* data, const uint8_t* limit, int from, int to) {
  marker_ = bits_.load(data, limit);
  done_ = to;
  const Outcome outcome = first_ == 0 ? refines_ ? refineDc(from, to) : decodeFirstDc(from, to)
                          : refines_ ? decodeAc<true>(from, to)
                                      : decodeAc<false>(from, to);
  lose(done_, to);
  return outcome;
}

// What is lost of DC needs no record: its bits do not depend on the bits before.
void Coefficients::lose(int from, int to) {
  if (from == to || first_ == 0) return;
  std::vector<Lost>& lost = planes_[size_t(components_[0])].lost;
  if (lost.size() < kMostLost)
    lost.push_back({from, to, band_});
  else
    lost.back() = {std::min(lost.back().from, from), INT_MAX, ~Mask(0)};
}

// ---- DC

// visit(place among the scan's components, block) decodes a block, and says whether it could.
template <class Visit> Coefficients::Outcome Coefficients::decodeDc(int from, int to, const Visit& visit) {
  const bool single = components_.size() == 1;
  int x = from % wide_, y = from / wide_;
  for (done_ = from; done_ < to; ++done_) {
    for (size_t i = 0; i < components_.size(); ++i) {
      const Plane& plane = planes_[size_t(components_[i])];
      const int h = single ? 1 : plane.h, v = single ? 1 : plane.v;
      for (int row = y * v; row < (y + 1) * v; ++row)
        for (int column = x * h; column < (x + 1) * h; ++column)
          if (!visit(i, plane.at(row * plane.stride + column))) return failed(bits_.store());
    }
    if (++x == wide_) x = 0, ++y;
  }
  return kDone;
}

Coefficients::Outcome Coefficients::decodeFirstDc(int from, int to) {
  BitStore& in = bits_.store();
  Vel16s last[3] = {};
  return decodeDc(from, to, [&](size_t i, Vel16s* block) {
    in.refill();
    const Codes::Entry code = codes_[i].next(in);
    in.skip(code.length());
    if (code.length() == 0 || code.symbol() + low_ > 15) return false;
    int difference = code.value();
    if (difference == 0 && code.size() > 0) {
      in.refill();
      difference = extend(in.take(code.size()), code.size()) * (1 << low_);
    }
    if (in.isOver()) return false;
    *block = last[i] = Vel16s(last[i] + difference);
    return true;
  });
}

Coefficients::Outcome Coefficients::refineDc(int from, int to) {
  BitStore& in = bits_.store();
  return decodeDc(from, to, [&](size_t, Vel16s* block) {
    const uint32_t bit = in.bit();
    if (in.isOver()) return false;
    *block = Vel16s(*block | int(bit << low_));
    return true;
  });
}

// ---- AC

// The blocks that have codes, one by one, and after one of them a run of blocks without any.
template <bool kRefines> Coefficients::Outcome Coefficients::decodeAc(int from, int to) {
  Plane& plane = planes_[size_t(components_[0])];
  BitStore in = bits_.store();
  if (kRefines) to = plane.intactUpTo(from, to, band_);
  Place place(plane, from);
  for (done_ = from; done_ < to;) {
    Vel16s* const block = plane.at(place.block);
    const Mask before = plane.nonzero[size_t(place.block)];
    Mask mask = before;
    int run = kRefines ? refineAc(in, block, &mask) : decodeFirstAc(in, block, &mask);
    if (run < 0 || in.isOver()) {
      for (Mask lost = mask & ~before; lost; lost = withoutLowest(lost)) block[own_pj_izigzag_index[lowest(lost)]] = 0;
      return failed(in);
    }
    plane.setNonzero(place.block, mask);
    place.advance(plane, 1);
    ++done_;
    run = std::min(run, to - done_);
    const int start = place.block;
    place.advance(plane, run);
    if (kRefines && !correctRun(in, plane, start, place.block, &done_)) return kCutOff;
    done_ += run;
  }
  return kDone;
}

// How many blocks without codes follow, or -1 where a code is none.
int Coefficients::decodeFirstAc(BitStore& in, Vel16s* block, Mask* mask) const {
  const Codes& codes = codes_[0];
  for (int k = first_; k <= last_; ++k) {
    in.refill();
    const Codes::Entry code = codes.next(in);
    in.skip(code.length());
    int value = code.value();
    if (value == 0) {
      if (code.length() == 0 || code.size() + low_ > 15) return -1;
      if (BitStore::kMostTaken < 31) in.refill();
      if (code.size() == 0) {
        if (code.run() < 15) return endOfBand(in, code.run());
      } else {
        value = extend(in.take(code.size()), code.size()) * (1 << low_);
      }
    }
    k += code.run();
    if (code.size() == 0) continue;
    if (k > last_) return -1;
    block[own_pj_izigzag_index[k]] = Vel16s(value);
    *mask |= Mask(1) << k;
  }
  return 0;
}

// A further bit of coefficients that are not zero.
void Coefficients::correct(BitStore& in, Vel16s* block, Mask mask) const {
  for (; mask; mask = withoutLowest(mask)) {
    Vel16s& c = block[own_pj_izigzag_index[lowest(mask)]];
    const int sign = c >> 15, bit = int(in.bit() << low_);
    c = Vel16s(c + ((bit ^ sign) - sign));
  }
}

// ... for blocks [block, end) without codes. False where the data end first.
bool Coefficients::correctRun(BitStore& in, const Plane& plane, int block, int end, int* done) const {
  while ((block = plane.findNonzero(block, end, band_)) < end) {
    correct(in, plane.at(block), plane.nonzero[size_t(block)] & band_);
    if (in.isOver()) {
      *done = block / plane.stride * plane.wide + block % plane.stride;
      return false;
    }
    ++block;
  }
  return true;
}

int Coefficients::refineAc(BitStore& in, Vel16s* block, Mask* mask) const {
  const Codes& codes = codes_[0];
  Mask left = *mask & band_;  // not corrected yet
  for (int k = first_; k <= last_; ++k) {
    in.refill();
    const Codes::Entry code = codes.next(in);
    in.skip(code.length());
    if (code.size() == 0 && code.run() < 15) {
      if (code.length() == 0) return -1;
      const int run = endOfBand(in, code.run());
      correct(in, block, left);
      return run;
    }
    if (code.size() > 1) return -1;
    const int value = code.size() == 0 ? 0 : code.value() ? code.value() : in.bit() ? 1 << low_ : -(1 << low_);
    // Zeros are counted, the others are corrected on the way.
    int zeros = code.run();
    for (; left && lowest(left) - k <= zeros; left = withoutLowest(left)) {
      const int n = lowest(left);
      zeros -= n - k;
      k = n + 1;
      correct(in, block, Mask(1) << n);
    }
    k += zeros;
    if (value == 0) continue;
    if (k > last_) return -1;
    block[own_pj_izigzag_index[k]] = Vel16s(value);
    *mask |= Mask(1) << k;
  }
  return 0;
}

}  // namespace jpeg
