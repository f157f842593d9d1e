#include "orientation.h"
#include <algorithm>
#include <cstring>
#include <utility>
#include "commands.h"

namespace {

// The distances in bytes between neighbours of a row, and of a column.
struct Steps {
  ptrdiff_t x, y;
};

// Pixels whose neighbours of a row are, or become, those of a column are placed in blocks, so that what is fetched into
// the caches for one of them is there for the next.
constexpr int kBlock = 16;

template <int kChannels>
void placePixels(const uint8_t* from, ptrdiff_t fromStep, VeliSize size, uint8_t* to, Steps steps) {
  for (int left = 0; left < size.width; left += kBlock)
    for (int y = 0; y < size.height; ++y) {
      const uint8_t* pixel = from + y * fromStep + left * kChannels;
      uint8_t* place = to + y * steps.y + left * steps.x;
      for (int n = std::min(kBlock, size.width - left); n > 0; --n, pixel += kChannels, place += steps.x)
        for (int c = 0; c < kChannels; ++c) place[c] = pixel[c];
    }
}

}  // namespace

VeliRect Orientation::stored(const VeliRect& upright, VeliSize size) const {
  VeliRect r = upright;
  if (transposes()) r = {r.y, r.x, r.height, r.width};
  if (mirrorsColumns()) r.x = size.width - r.x - r.width;
  if (mirrorsRows()) r.y = size.height - r.y - r.height;
  return r;
}

void Orientation::place(jpeg::ConstRows from, int y, int count, Picture* upright) const {
  const VeliSize stored = other({upright->width, upright->height});
  const ptrdiff_t step = ptrdiff_t(upright->step()), pixel = upright->channels;
  Steps steps = transposes() ? Steps{step, pixel} : Steps{pixel, step};
  uint8_t* to = upright->samples.data();
  if (mirrorsColumns()) to += (stored.width - 1) * steps.x, steps.x = -steps.x;
  if (mirrorsRows()) to += (stored.height - 1) * steps.y, steps.y = -steps.y;
  to += y * steps.y;
  if (steps.x == pixel)  // rows stay whole
    must(orviCopy_8u_C1R(from.data, int(from.step), to, int(steps.y), {stored.width * upright->channels, count}));
  else
    (upright->channels == 1 ? placePixels<1> : placePixels<3>)(from.data, from.step, {stored.width, count}, to, steps);
}

Picture Orientation::upright(Picture stored) const {
  if (isUpright()) return stored;
  const VeliSize size = other({stored.width, stored.height});
  Picture picture = {size.width, size.height, stored.channels, std::vector<uint8_t>(stored.samples.size())};
  place({stored.samples.data(), ptrdiff_t(stored.step())}, 0, stored.height, &picture);
  return picture;
}
