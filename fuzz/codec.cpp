// Any bytes as a JPEG file: decoded, what comes out encoded again with what is noted beside it, and that decoded.
//
// The last two bytes choose how to encode and whether to use the fused primitive: after a JPEG's end there may be any.
#include <string>
#include "codec/decoder.h"
#include "codec/encoder.h"
#include "fuzz/target.h"

namespace {

using jpeg::Damage;

// Larger pictures take too long here.
constexpr uint64_t kMostDecoded = 1 << 16;
// What a file's size allows its headers to announce: a block of 64 pixels takes a bit, of which an eighth must be there.
constexpr uint64_t kMostPixelsPerByte = 64 * 8 * 8;
// How far a sample of a grey picture may be off at the best quality, whose quantisation steps are 1. Each of its 64
// coefficients is up to 0.5 off. In the worst place that adds up to 3.5; the transforms and the last rounding add less
// than 1.5.
constexpr int kMostOff = 5;

struct Decoded {
  std::string error = {};  // or empty
  int width = 0, height = 0, channels = 0;
  Damage damage = Damage::kNone;
  FuzzBytes pixels = {};

  bool operator==(const Decoded& o) const {
    return error == o.error && width == o.width && height == o.height && channels == o.channels && damage == o.damage &&
           pixels == o.pixels;
  }
};

Decoded decode(const uint8_t* data, size_t size, const jpeg::Options& options) {
  static EdgeMemory memory;
  Decoded d;
  try {
    jpeg::Decoder decoder(data, size, options);
    d.width = decoder.width(), d.height = decoder.height(), d.channels = decoder.channels();
    const uint64_t pixels = uint64_t(d.width) * uint64_t(d.height);
    require(pixels <= kMostPixelsPerByte * size, "%d x %d pixels of a file of %zu bytes", d.width, d.height, size);
    if (pixels > kMostDecoded) {
      d.error = "too large";
      return d;
    }
    const size_t count = size_t(pixels) * size_t(d.channels);
    uint8_t* const to = memory.last(count);
    memset(to, 0x77, count);
    const bool whole = decodeTo(decoder, to, ptrdiff_t(d.width) * d.channels);
    d.damage = decoder.damage();
    require(whole == (d.damage == Damage::kNone), "decode() and damage() disagree");
    require(memory.intact(), "written in front of the picture");
    d.pixels.assign(to, to + count);
  } catch (const jpeg::Error& e) {
    d.error = e.what();
    require(!d.error.empty(), "an error without a word");
  }
  return d;
}

// On every path the same.
Decoded decodeEverywhere(const uint8_t* data, size_t size, const jpeg::Options& options) {
  Decoded all;
  onEveryPath([&](bool first) {
    Decoded here = decode(data, size, options);
    if (first)
      all = std::move(here);
    else
      require(here == all, "decoded differently: '%s' and '%s'", here.error.c_str(), all.error.c_str());
  });
  return all;
}

// A strict decoder refuses what is damaged, and nothing else.
void checkStrict(const uint8_t* data, size_t size, jpeg::Options options, const Decoded& lenient) {
  options.strict = true;
  const Decoded strict = decode(data, size, options);
  require(strict.error.empty() == (lenient.damage == Damage::kNone), "strict: '%s', else damage %d",
          strict.error.c_str(), int(lenient.damage));
}

FuzzBytes encodeEverywhere(const Decoded& picture, const jpeg::EncoderOptions& options) {
  static EdgeMemory memory;
  const uint8_t* const pixels = memory.copy(picture.pixels);
  FuzzBytes all;
  onEveryPath([&](bool first) {
    jpeg::Encoder encoder(picture.width, picture.height, picture.channels, options);
    FuzzBytes file;
    encodeFrom(encoder, pixels, ptrdiff_t(picture.width) * picture.channels, &file);
    if (first) all = file;
    require(file == all, "encoded differently");
  });
  return all;
}

// What is noted in a file makes sense, whatever its bytes are.
jpeg::Metadata checkMetadata(const uint8_t* data, size_t size) {
  jpeg::Metadata m = jpeg::readMetadata(data, size);
  const auto inWord = [](int value) { return value >= 1 && value <= 0xFFFF; };
  require(m.orientation >= 1 && m.orientation <= 8, "orientation %d", m.orientation);
  require(m.density.unit >= 0 && m.density.unit <= 2 && inWord(m.density.x) && inWord(m.density.y),
          "density %d, %d x %d", m.density.unit, m.density.x, m.density.y);
  require(m.profile.size() <= size, "a profile of %zu bytes", m.profile.size());
  return m;
}

void roundTrip(const Decoded& picture, const jpeg::EncoderOptions& options) {
  const FuzzBytes file = encodeEverywhere(picture, options);
  jpeg::Options strict;
  strict.strict = true;
  const Decoded again = decode(file.data(), file.size(), strict);
  require(again.error.empty(), "what was encoded is refused: %s", again.error.c_str());
  require(again.width == picture.width && again.height == picture.height, "%d x %d have become %d x %d", picture.width,
          picture.height, again.width, again.height);
  const bool grey = picture.channels == 1 || options.sampling == jpeg::Sampling::kGrey;
  require(again.channels == (grey ? 1 : 3), "%d channels have become %d", picture.channels, again.channels);
  const jpeg::Metadata noted = checkMetadata(file.data(), file.size());
  const jpeg::Density given = options.density, kept = noted.density;
  require(noted.orientation == 1 && kept.unit == given.unit && kept.x == given.x && kept.y == given.y,
          "another density or orientation");
  const bool fits = jpeg::profileChannels(options.profile) == again.channels;
  require(fits ? noted.profile == options.profile : noted.profile.empty(), "another profile");
  if (picture.channels != 1 || options.quality != 100) return;
  for (size_t i = 0; i < again.pixels.size(); ++i) {
    const int before = picture.pixels[i], after = again.pixels[i];
    require(abs(before - after) <= kMostOff, "sample %zu was %d and is %d", i, before, after);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static EdgeMemory memory;
  Input tail(data + size - std::min<size_t>(size, 2), std::min<size_t>(size, 2));
  const int quality = tail.byte(), choice = tail.byte();
  jpeg::Options options;
  options.fused = choice >> 5 & 1;
  const uint8_t* const file = memory.copy(data, size);
  jpeg::Metadata noted = checkMetadata(file, size);
  const Decoded picture = decodeEverywhere(file, size, options);
  if (!picture.error.empty()) return 0;
  checkStrict(file, size, options, picture);

  jpeg::EncoderOptions encoding;
  encoding.density = noted.density;
  encoding.profile = std::move(noted.profile);
  encoding.quality = 1 + quality % 100;
  encoding.sampling = jpeg::Sampling(choice & 3);
  encoding.optimize = choice >> 2 & 1;
  constexpr int kIntervals[] = {0, 1, 3, 100};
  encoding.restartInterval = kIntervals[choice >> 3 & 3];
  if (std::max(picture.width, picture.height) <= jpeg::kLargestSide) roundTrip(picture, encoding);
  return 0;
}
