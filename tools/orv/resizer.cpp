#include "resizer.h"
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

namespace {

// Antialiasing needs memory for each row of the source. Pictures that would need more than this are resized in bands,
// of so many rows at least: a filter reaches up to three pixels of the destination beyond its band.
constexpr int kBuffer = 1 << 26, kBand = 8;

// Bands from top to bottom; the source's rows that the destination's rows [y, y + rows) are made of.
struct Bands {
  VeliSize from, to;
  double factor, reach;

  Bands(VeliSize source, VeliSize size, int interpolation)
      : from(source), to(size), factor(double(size.height) / source.height) {
    reach = interpolation == velInterSuper ? 2 : 3 * std::max(1.0, 1 / factor) + 2;
  }
  VeliRect destination(int y, int rows) const { return {0, y, to.width, std::min(rows, to.height - y)}; }
  VeliRect source(const VeliRect& band) const {
    const int top = int(std::max(band.y / factor - reach, 0.0));
    const int bottom = int(std::min((band.y + band.height) / factor + reach, double(from.height)));
    return {0, top, from.width, bottom - top};
  }
};

void must(VelStatus status) {
  if (status == velStsSizeErr) throw std::bad_alloc();  // a buffer's size that fits no int
  if (status != velStsNoErr) throw std::runtime_error(orvGetStatusString(status));
}

// Resizes bands of a picture.
class BandResizer {
 public:
  BandResizer(const Bands& bands, int interpolation) : bands_(bands), interpolation_(interpolation) {}
  // `rows` are those from the band's first source row on.
  void resize(const uint8_t* rows, size_t step, const VeliRect& band, Picture* to) {
    const VeliRect source = bands_.source(band);
    int needed = 0;
    must(orviResizeGetBufSize(source, band, to->channels, interpolation_, &needed));
    if (needed > had_) buffer_.reset(new Vel8u[size_t(had_ = needed)]);
    const auto run = to->channels == 1 ? orviResizeSqrPixel_8u_C1R : orviResizeSqrPixel_8u_C3R;
    // The library takes a picture's first row, from which it goes to those of the source alone.
    const auto first = reinterpret_cast<uintptr_t>(rows) - size_t(source.y) * step;
    must(run(reinterpret_cast<const Vel8u*>(first), bands_.from, int(step), source, to->samples.data(), int(to->step()),
             band, double(bands_.to.width) / bands_.from.width, bands_.factor, 0, 0, interpolation_, buffer_.get()));
  }

 private:
  const Bands bands_;
  const int interpolation_;
  // Most of it may never be used, so nothing is written to it here.
  std::unique_ptr<Vel8u[]> buffer_;
  int had_ = 0;
};

}  // namespace

Picture resized(const Picture& from, VeliSize size, int interpolation) {
  Picture to = {size.width, size.height, from.channels, {}};
  to.samples.resize(size_t(size.height) * to.step());
  const Bands bands({from.width, from.height}, size, interpolation);
  int needed = 0, rows = size.height;
  const auto need = [&] {
    const VeliRect middle = bands.destination((size.height - rows) / 2, rows);
    return orviResizeGetBufSize(bands.source(middle), middle, from.channels, interpolation, &needed);
  };
  VelStatus status = need();
  for (; rows > kBand && (status == velStsSizeErr || needed > kBuffer); status = need())
    rows = std::max(rows / 2, kBand);
  must(status);
  BandResizer resizer(bands, interpolation);
  for (int y = 0; y < size.height; y += rows) {
    const VeliRect band = bands.destination(y, rows);
    resizer.resize(from.row(bands.source(band).y), from.step(), band, &to);
  }
  return to;
}

// ---- Rows as they come

struct ReducingSink::Work {
  Bands bands;
  BandResizer resizer;
  int rows;      // of the destination in a band
  int next = 0;  // of the destination, which is not made yet

  Work(VeliSize from, VeliSize to)
      : bands(from, to, velInterSuper),
        resizer(bands, velInterSuper),
        rows(std::max(int(kSourceRows * bands.factor), 1)) {}
  VeliRect band() const { return bands.destination(next, rows); }
};

ReducingSink::ReducingSink(VeliSize from, int channels, VeliSize to)
    : work_(std::make_unique<Work>(from, to)), step_(size_t(from.width) * size_t(channels)) {
  picture_ = {to.width, to.height, channels, {}};
  picture_.samples.resize(size_t(to.height) * picture_.step());
  // Two bands, so that rows move seldom.
  capacity_ = 2 * work_->bands.source(work_->bands.destination(to.height / 2, work_->rows)).height + 4 * kMostRows;
  window_.reset(new uint8_t[size_t(capacity_) * step_]);
}
ReducingSink::~ReducingSink() = default;

jpeg::Rows ReducingSink::rows(int y, int count) {
  if (y + count - first_ > capacity_) {
    const int top = std::min(work_->bands.source(work_->band()).y, y);
    memmove(window_.get(), row(top), size_t(y - top) * step_);
    first_ = top;
  }
  return {row(y), ptrdiff_t(step_)};
}

void ReducingSink::done(int y, int count) {
  for (Work& w = *work_; w.next < picture_.height;) {
    const VeliRect band = w.band(), source = w.bands.source(band);
    if (source.y + source.height > y + count) return;
    w.resizer.resize(row(source.y), step_, band, &picture_);
    w.next += band.height;
  }
}

VeliSize scaled(VeliSize size, double factor) {
  const auto side = [factor](int pixels) { return int(std::min(std::max(1.0, std::round(pixels * factor)), 1e9)); };
  return {side(size.width), side(size.height)};
}
