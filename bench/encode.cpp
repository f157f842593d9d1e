// The whole photo from memory to memory, beside libjpeg-turbo: 4:2:0 of quality 85.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <jpeglib.h>
#include "codec/decoder.h"
#include "codec/encoder.h"
#include "run.h"

namespace {

constexpr int kQuality = 85;

struct Picture {
  int width, height;
  Bytes rgb;
};

VelStatus encode(const Picture& picture, bool optimize, Bytes* to) {
  jpeg::EncoderOptions options;
  options.quality = kQuality;
  options.optimize = optimize;
  jpeg::Encoder encoder(picture.width, picture.height, 3, options);
  encodeFrom(encoder, picture.rgb.data(), picture.width * 3, to);
  return velStsNoErr;
}

struct Settings {
  const char* name;
  J_DCT_METHOD dct;
  boolean optimize;
};
constexpr Settings kFastest = {"fastest settings", JDCT_IFAST, FALSE}, kSameWork = {"same work", JDCT_ISLOW, FALSE},
                   kOptimized = {"same, optimised", JDCT_ISLOW, TRUE};

// Gives the file's size; `to` has room for it.
size_t encodeTurbo(const Picture& picture, const Settings& settings, Bytes* to) {
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* data = to->data();
  unsigned long size = static_cast<unsigned long>(to->size());
  jpeg_mem_dest(&info, &data, &size);
  info.image_width = JDIMENSION(picture.width);
  info.image_height = JDIMENSION(picture.height);
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, kQuality, TRUE);
  info.dct_method = settings.dct;
  info.optimize_coding = settings.optimize;
  jpeg_start_compress(&info, TRUE);
  while (info.next_scanline < info.image_height) {
    JSAMPROW rows[16];
    JDIMENSION count = 0;
    for (; count < 16 && info.next_scanline + count < info.image_height; ++count)
      rows[count] = const_cast<JSAMPROW>(&picture.rgb[size_t(info.next_scanline + count) * size_t(picture.width) * 3]);
    jpeg_write_scanlines(&info, rows, count);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  if (data != to->data()) throw std::runtime_error("libjpeg-turbo found too little room for its file");
  return size;
}

Picture decoded(const Bytes& file) {
  jpeg::Decoder decoder(file.data(), file.size(), {});
  Picture picture{decoder.width(), decoder.height(), {}};
  picture.rgb.resize(size_t(picture.width) * size_t(picture.height) * 3);
  if (decoder.channels() != 3 || !decodeTo(decoder, picture.rgb.data(), picture.width * 3))
    throw std::runtime_error("the benchmarks take whole pictures in colour only");
  return picture;
}

// Times are worth comparing only where the files are: of about the same size.
void requireSameFile(const Picture& picture) {
  Bytes ours;
  encode(picture, false, &ours);
  Bytes room(picture.rgb.size() + 4096);
  const size_t theirs = encodeTurbo(picture, kSameWork, &room);
  if (std::abs(double(ours.size()) / double(theirs) - 1) > 0.02)
    throw std::runtime_error("libjpeg-turbo makes a file of another size");
}

}  // namespace

void registerBenchmarks(const Bytes& file) {
  const auto picture = std::make_shared<const Picture>(decoded(file));
  const int pixels = picture->width * picture->height;
  requireSameFile(*picture);

  const auto made = std::make_shared<Bytes>();
  for (const bool optimize : {false, true})
    benchmarkOnEveryPath(optimize ? "optimised" : "usual tables", "pixel", pixels,
                         [=] { return encode(*picture, optimize, made.get()); });
  const auto room = std::make_shared<Bytes>(picture->rgb.size() + 4096);
  for (const Settings& settings : {kFastest, kSameWork, kOptimized})
    benchmark::RegisterBenchmark((std::string("libjpeg-turbo/") + settings.name).c_str(), [=](benchmark::State& state) {
      for (auto _ : state) encodeTurbo(*picture, settings, room.get());
      state.SetItemsProcessed(state.iterations() * pixels);
    });
}
