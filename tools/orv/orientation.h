// Pictures as they are stored, and upright.
#pragma once
#include "codec/encoder.h"
#include "orv.h"

// A whole picture in memory, without padding between rows.
struct Picture {
  int width, height, channels;
  std::vector<uint8_t> samples;

  size_t step() const { return size_t(width) * size_t(channels); }
  const uint8_t* row(int y) const { return &samples[size_t(y) * step()]; }
  uint8_t* row(int y) { return &samples[size_t(y) * step()]; }
};

// How a stored picture becomes upright: by one of EXIF's numbers, 1 to 8 (codec/metadata.h).
class Orientation {
 public:
  explicit Orientation(int number) : number_(number) {}

  bool isUpright() const { return number_ == 1; }
  // Rows become columns.
  bool transposes() const { return number_ >= 5; }

  // A size as it is the other way round: of the upright picture for the stored one, and of the stored one for it.
  VeliSize other(VeliSize size) const { return transposes() ? VeliSize{size.height, size.width} : size; }
  // The part of the stored picture, of this size, that is a part of the upright one.
  VeliRect stored(const VeliRect& upright, VeliSize size) const;

  // Puts `count` rows of the stored picture, from row y on, where they belong in the upright one.
  void place(jpeg::ConstRows from, int y, int count, Picture* upright) const;
  Picture upright(Picture stored) const;

 private:
  // Whether the stored picture's columns, and its rows, go from the far end of the upright one.
  bool mirrorsColumns() const { return number_ == 2 || number_ == 3 || number_ == 7 || number_ == 8; }
  bool mirrorsRows() const { return number_ == 3 || number_ == 4 || number_ == 6 || number_ == 7; }

  int number_;
};
