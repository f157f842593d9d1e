#include "codec/decoder.h"
#include <algorithm>
#include <cstring>
#include "codec/colour.h"

namespace jpeg {

namespace {

int divideUp(int a, int b) { return (a + b - 1) / b; }
bool isRestart(int code) { return code >= kRst0 && code < kRst0 + 8; }

}  // namespace

// ---- The entropy-coded data

void Decoder::Interval::load(const uint8_t* data, const uint8_t* limit) {
  marker_ = findMarker(data, limit);
  bytes_.assign(data, marker_.at);
  for (int i = 0; i < kPadding; ++i) bytes_.insert(bytes_.end(), {0xFF, 0x00});
  bytes_.insert(bytes_.end(), {0xFF, kEoi});
  at_ = bytes_.data();
  end_ = at_ + (marker_.at - data);
  store_ = 0;
  stored_ = met_ = 0;
}

Decoder::Interval::Outcome Decoder::Interval::block(const ScanComponent& component, Vel16s* lastDC,
                                                    Vel16s* coefficients) {
  int bits = 0;
  const VelStatus status = orviDecodeHuffman8x8_Direct_JPEG_1u16s_C1(at_, &bits, coefficients, lastDC, &met_, &store_,
                                                                     &stored_, component.dc.spec, component.ac.spec);
  at_ += bits / 8;
  const bool reached = at_ >= end_;
  if (status == velStsNoErr && !reached) return kDone;
  // Of the bits in store, the last ones are padding: eight from each two bytes of it. A code has up to 16 bits.
  const int left = reached ? stored_ - int(at_ - end_) * 4 : stored_;
  if (status == velStsNoErr) return left >= 0 ? kDone : kCutOff;
  return reached && left < 16 ? kCutOff : kInvalid;
}

void Decoder::layOutMcu() {
  blocks_.clear();
  const bool single = scan_.components.size() == 1;
  for (int i = 0; i < int(scan_.components.size()); ++i) {
    const Component& c = frame_.components[size_t(scan_.components[size_t(i)].index)];
    for (int y = 0; y < (single ? 1 : c.v); ++y)
      for (int x = 0; x < (single ? 1 : c.h); ++x) blocks_.push_back({i, x, y});
  }
}

void Decoder::startScan() {
  layOutMcu();
  interval_.load(scan_.data, reader_.limit());
  next_ = interval_.marker();
  lost_ = false;
  lastDC_.fill(0);
  mcusLeft_ = scan_.restartInterval;
  nextRestart_ = 0;
}

// Called where the next MCU comes after a restart marker.
void Decoder::nextInterval() {
  lost_ = !findRestart(nextRestart_);
  nextRestart_ = (nextRestart_ + 1) % 8;
  mcusLeft_ = scan_.restartInterval;
  lastDC_.fill(0);
  if (lost_) return;
  interval_.load(next_.at + 2, reader_.limit());
  next_ = interval_.marker();
}

// Whether next_ is the restart marker of this number; without damage it is. Otherwise next_ goes over what can be none of
// the coming ones. Where the marker after it is the right one for the next interval, only this number is damaged.
bool Decoder::findRestart(int number) {
  const auto following = [this] { return findMarker(next_.at + 2, reader_.limit()); };
  for (;; next_ = following()) {
    if (next_.code == kRst0 + number) return true;
    endsAt(next_.code);
    if (next_.code == 0 || next_.code == kEoi) return false;
    if (!isRestart(next_.code)) {
      if (!isLastScan()) return false;
      continue;
    }
    if (following().code == kRst0 + (number + 1) % 8) return true;
    const int ahead = (next_.code - kRst0 - number + 8) % 8;
    if (ahead <= 4) return false;
  }
}

// Up to the next restart marker, or all the rest.
void Decoder::lose(Damage damage, const char* what) {
  if (options_.strict) throw Error(what);
  damage_ = std::max(damage_, damage);
  lost_ = true;
}

// Data end before their MCUs do. At the end of all data that is a file cut short; elsewhere, damage.
void Decoder::endsAt(int code) {
  if (code == 0 || code == kEoi)
    lose(Damage::kCut, "the picture is cut short");
  else
    lose(Damage::kCorrupt, "the picture data are corrupt: a marker stands where it must not");
}

// An MCU that is not whole becomes mid-grey, as what follows it.
void Decoder::readMcu() {
  if (scan_.restartInterval && mcusLeft_-- == 0) {
    nextInterval();
    --mcusLeft_;
  }
  Vel16s* coefficients = coefficients_;
  for (const Block& block : blocks_) {
    if (lost_) break;
    const size_t i = size_t(block.component);
    const auto outcome = interval_.block(scan_.components[i], &lastDC_[i], coefficients);
    if (outcome == Interval::kInvalid) lose(Damage::kCorrupt, "the picture data are corrupt: a code that is none");
    if (outcome == Interval::kCutOff) endsAt(interval_.marker().code);
    coefficients += kSamples;
  }
  if (lost_) std::fill_n(coefficients_, blocks_.size() * kSamples, Vel16s(0));
}

// ---- Progressive pictures

void Decoder::readScan() {
  const int all = whole_->mcus(), interval = scan_.restartInterval ? scan_.restartInterval : all;
  const uint8_t* data = scan_.data;
  nextRestart_ = 0;
  for (int from = 0; from < all; from += std::min(interval, all - from)) {
    const int to = from + std::min(interval, all - from);
    if (from > 0) {
      lost_ = !findRestart(nextRestart_);
      nextRestart_ = (nextRestart_ + 1) % 8;
      if (!isRestart(next_.code)) return whole_->lose(from, all);
      if (lost_) {
        whole_->lose(from, to);
        continue;
      }
      data = next_.at + 2;
    }
    const auto outcome = whole_->decode(data, reader_.limit(), from, to);
    next_ = whole_->marker();
    if (outcome == Coefficients::kInvalid) lose(Damage::kCorrupt, "the picture data are corrupt: a code that is none");
    if (outcome == Coefficients::kCutOff) endsAt(next_.code);
  }
}

// As many as there are: a picture that is cut short is less sharp.
void Decoder::readScans() {
  whole_ = std::make_unique<Coefficients>(frame_);
  try {
    do {
      if (whole_->begin(scan_)) {
        readScan();
      } else {
        lose(Damage::kCorrupt, "the picture data are corrupt: a scan does not go on where those before it end");
        next_ = findMarker(scan_.data, reader_.limit());
      }
      while (isRestart(next_.code)) next_ = findMarker(next_.at + 2, reader_.limit());
      reader_.resume(next_.at);
    } while (reader_.nextScan(&scan_));
  } catch (const Error& e) {
    lose(Damage::kCorrupt, e.what());
  }
  if (!whole_->areBegun() || (!reader_.sawEnd() && !whole_->areComplete())) endsAt(kEoi);
  scan_.components.clear();
  for (int i = 0; i < channels(); ++i) scan_.components.push_back({i, whole_->quant(i), {}, {}});
  layOutMcu();
}

// The next MCU, in column x and row y.
void Decoder::takeMcu(int x, int y) {
  if (!whole_) return readMcu();
  Vel16s* coefficients = coefficients_;
  for (const Block& block : blocks_) {
    const Component& c = frame_.components[size_t(block.component)];
    const Vel16s* const from = whole_->block(block.component, x * c.h + block.x, y * c.v + block.y);
    memcpy(coefficients, from, kSamples * sizeof *from);
    coefficients += kSamples;
  }
}

// ---- Any sampling: component planes first

// The MCU in column x and row y of the planes.
void Decoder::transformMcu(int x, int y) {
  const bool single = blocks_.size() == 1;
  const Vel16s* coefficients = coefficients_;
  for (const Block& block : blocks_) {
    const ScanComponent& c = scan_.components[size_t(block.component)];
    const Component& component = frame_.components[size_t(c.index)];
    Plane& plane = planes_[size_t(c.index)];
    const int column = x * (single ? 1 : component.h) + block.x, row = y * (single ? 1 : component.v) + block.y;
    Vel8u* const samples = plane.samples.data() + size_t(row) * kSize * size_t(plane.step) + column * kSize;
    orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(coefficients, samples, plane.step, c.quant);
    coefficients += kSamples;
  }
}

// Rows y and following of the picture, from the planes' rows that start at `top` of the largest component.
void Decoder::convert(RowSink& sink, int y, int count, int top) {
  const Rows out = sink.rows(y, count);
  for (int i = 0; i < count; ++i) {
    const uint8_t* row[3];
    for (size_t c = 0; c < planes_.size(); ++c) {
      const Component& component = frame_.components[c];
      row[c] = planes_[c].samples.data() + size_t((top + i) * component.v / frame_.vMax) * size_t(planes_[c].step);
      if (component.h == frame_.hMax) continue;
      widened_[c].resize(2 * size_t(planes_[c].step));
      doubleSamples(row[c], planes_[c].step, widened_[c].data());
      row[c] = widened_[c].data();
    }
    uint8_t* const pixels = out.data + i * out.step;
    if (channels() == 1)
      memcpy(pixels, row[0], size_t(width()));
    else
      (frame_.rgb ? interleave : convertYcc)(row[0], row[1], row[2], width(), pixels);
  }
  sink.done(y, count);
}

void Decoder::makePlanes(int mcuRows) {
  for (const Component& c : frame_.components) {
    Plane plane;
    plane.step = mcusWide_ * c.h * kSize;
    plane.samples.assign(size_t(plane.step) * size_t(mcuRows * c.v * kSize), 128);
    planes_.push_back(std::move(plane));
  }
}

void Decoder::decodeByRows(RowSink& sink) {
  makePlanes(1);
  for (int y = 0; y < height(); y += mcuHeight_) {
    for (int x = 0; x < mcusWide_; ++x) {
      takeMcu(x, y / mcuHeight_);
      transformMcu(x, 0);
    }
    convert(sink, y, std::min(mcuHeight_, height() - y), 0);
  }
}

// The components come in several scans, of one or two each.
void Decoder::decodeWhole(RowSink& sink) {
  makePlanes(divideUp(height(), mcuHeight_));
  std::array<bool, 3> seen{};
  for (size_t missing = planes_.size(); missing > 0;) {
    for (const ScanComponent& c : scan_.components) {
      if (seen[size_t(c.index)]) throw Error("a component comes in two scans");
      seen[size_t(c.index)] = true;
      --missing;
    }
    // A scan of one component has its blocks, not MCUs of several, and only those that hold pixels.
    int wide = mcusWide_, high = divideUp(height(), mcuHeight_);
    if (scan_.components.size() == 1) {
      const Component& c = frame_.components[size_t(scan_.components[0].index)];
      wide = divideUp(divideUp(width() * c.h, frame_.hMax), kSize);
      high = divideUp(divideUp(height() * c.v, frame_.vMax), kSize);
    }
    for (int y = 0; y < high; ++y)
      for (int x = 0; x < wide; ++x) {
        readMcu();
        transformMcu(x, y);
      }
    while (isRestart(next_.code)) next_ = findMarker(next_.at + 2, reader_.limit());
    reader_.resume(next_.at);
    if (missing == 0) break;
    if (!reader_.nextScan(&scan_)) {
      endsAt(kEoi);
      break;
    }
    startScan();
  }
  for (int y = 0; y < height(); y += mcuHeight_) convert(sink, y, std::min(mcuHeight_, height() - y), y);
}

// ---- 4:2:0 in one scan: MCU by MCU

void Decoder::convert420(uint8_t* rgb, int step) {
  const Vel16u* quant[6];
  for (int i = 0; i < 6; ++i) quant[i] = scan_.components[size_t(blocks_[size_t(i)].component)].quant;
  alignas(16) Vel8u samples[6 * kSamples];
  if (options_.fused) {
    orvizkDCTQuantInv8x8LS_JPEG_16s8u_YUV420ToRGB_8u_P3C3R(coefficients_, samples, quant, rgb, step, {16, 16});
    return;
  }
  for (int i = 0; i < 6; ++i)
    orviDCTQuantInv8x8LS_JPEG_16s8u_C1R(coefficients_ + i * kSamples, samples + i * kSamples, kSize, quant[i]);
  alignas(16) Vel16s centred[6 * kSamples];
  for (int i = 0; i < 6 * kSamples; ++i) centred[i] = Vel16s(samples[i] - 128);
  const Vel16s* const blocks[3] = {centred, centred + 4 * kSamples, centred + 5 * kSamples};
  orvizkYUV420ToRGB888LS_MCU_S16_U8_P3C3(blocks, rgb, step);
}

void Decoder::decode420(RowSink& sink) {
  constexpr int kTile = 16;
  for (int y = 0; y < height(); y += kTile) {
    const int rows = std::min(kTile, height() - y);
    const Rows out = sink.rows(y, rows);
    for (int x = 0; x < width(); x += kTile) {
      takeMcu(x / kTile, y / kTile);
      uint8_t* const pixels = out.data + 3 * x;
      const int columns = std::min(kTile, width() - x);
      if (rows == kTile && columns == kTile) {
        convert420(pixels, int(out.step));
        continue;
      }
      uint8_t tile[kTile * kTile * 3];
      convert420(tile, kTile * 3);
      for (int i = 0; i < rows; ++i) memcpy(pixels + i * out.step, tile + i * kTile * 3, size_t(columns) * 3);
    }
    sink.done(y, rows);
  }
}

// ---- The whole

Decoder::Decoder(const uint8_t* data, size_t size, const Options& options)
    : reader_(data, size, std::min(options.maxPixels, kMostPixels)), frame_(reader_.frame()), options_(options) {
  if (!reader_.nextScan(&scan_)) throw Error("there is no picture in the file");
  mcuHeight_ = frame_.vMax * kSize;
  mcusWide_ = divideUp(width(), frame_.hMax * kSize);
  if (options_.fused && !isInterleaved420())
    throw Error("the fused primitive takes pictures of 4:2:0 in one scan only");
  requireData();
}

// Each block has two codes, of a bit at least, or one in a progressive picture, where a code may end the bands of many.
// Of a file that is cut an eighth of the least is enough.
void Decoder::requireData() const {
  int blocks = 0;
  for (const Component& c : frame_.components) blocks += c.h * c.v;
  const uint64_t bits =
      uint64_t(mcusWide_) * uint64_t(divideUp(height(), mcuHeight_)) * uint64_t(blocks) * (frame_.progressive ? 1 : 2);
  const auto bytes = uint64_t(reader_.limit() - scan_.data);
  if (bytes * 8 * 8 < bits)
    throw Error(std::to_string(width()) + " x " + std::to_string(height()) +
                " is more than a file of this size can hold");
}

bool Decoder::isInterleaved420() const {
  return frame_.is420() && (frame_.progressive || scan_.components.size() == 3);
}

bool Decoder::decode(RowSink& sink) {
  if (frame_.progressive)
    readScans();
  else
    startScan();
  if (isInterleaved420())
    decode420(sink);
  else if (whole_ || isLastScan())
    decodeByRows(sink);
  else
    decodeWhole(sink);
  return damage_ == Damage::kNone;
}

bool decodeTo(Decoder& decoder, uint8_t* pixels, ptrdiff_t step) {
  struct Memory : RowSink {
    uint8_t* pixels;
    ptrdiff_t step;
    Rows rows(int y, int) override { return {pixels + y * step, step}; }
    void done(int, int) override {}
  } memory;
  memory.pixels = pixels;
  memory.step = step;
  return decoder.decode(memory);
}

}  // namespace jpeg
