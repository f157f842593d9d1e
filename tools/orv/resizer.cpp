#include "resizer.h"
#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <stdexcept>

namespace {

// Antialiasing needs memory for each row of the source. Pictures that would need more than this are resized in bands,
// of so many rows at least: a filter reaches up to three pixels of the destination beyond its band.
constexpr int kBuffer = 1 << 26, kBand = 8;

// Bands from top to bottom; the source's rows that the destination's rows [y, y + rows) are made of.
struct Bands {
  const Picture& from;
  VeliSize size;
  double factor;

  VeliRect destination(int y, int rows) const { return {0, y, size.width, std::min(rows, size.height - y)}; }
  VeliRect source(const VeliRect& to) const {
    const double reach = 3 * std::max(1.0, 1 / factor) + 2;
    const int top = int(std::max(to.y / factor - reach, 0.0));
    const int bottom = int(std::min((to.y + to.height) / factor + reach, double(from.height)));
    return {0, top, from.width, bottom - top};
  }
};

void must(VelStatus status) {
  if (status == velStsSizeErr) throw std::bad_alloc();  // a buffer's size that fits no int
  if (status != velStsNoErr) throw std::runtime_error(orvGetStatusString(status));
}

}  // namespace

Picture resized(const Picture& from, VeliSize size, int interpolation) {
  Picture to = {size.width, size.height, from.channels, {}};
  to.samples.resize(size_t(size.height) * to.step());
  const double xFactor = double(size.width) / from.width, yFactor = double(size.height) / from.height;
  const Bands bands = {from, size, yFactor};
  int needed = 0, rows = size.height;
  const auto need = [&] {
    const VeliRect middle = bands.destination((size.height - rows) / 2, rows);
    return orviResizeGetBufSize(bands.source(middle), middle, from.channels, interpolation, &needed);
  };
  VelStatus status = need();
  for (; rows > kBand && (status == velStsSizeErr || needed > kBuffer); status = need())
    rows = std::max(rows / 2, kBand);
  must(status);

  // Most of it may never be used, so nothing is written to it here.
  std::unique_ptr<Vel8u[]> buffer;
  int had = 0;
  const auto resize = from.channels == 1 ? orviResizeSqrPixel_8u_C1R : orviResizeSqrPixel_8u_C3R;
  for (int y = 0; y < size.height; y += rows) {
    const VeliRect destination = bands.destination(y, rows), source = bands.source(destination);
    must(orviResizeGetBufSize(source, destination, from.channels, interpolation, &needed));
    if (needed > had) buffer.reset(new Vel8u[size_t(had = needed)]);
    must(resize(from.samples.data(), {from.width, from.height}, int(from.step()), source, to.samples.data(),
                int(to.step()), destination, xFactor, yFactor, 0, 0, interpolation, buffer.get()));
  }
  return to;
}

VeliSize scaled(VeliSize size, double factor) {
  const auto side = [factor](int pixels) { return int(std::min(std::max(1.0, std::round(pixels * factor)), 1e9)); };
  return {side(size.width), side(size.height)};
}
