// The whole photo from memory to memory, beside libjpeg-turbo.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <jpeglib.h>
#include "codec/decoder.h"
#include "run.h"

namespace {

struct Picture {
  int width, height;
  Bytes rgb;
};

VelStatus decode(const Bytes& file, bool fused, Picture* to) {
  jpeg::Options options;
  options.fused = fused;
  jpeg::Decoder decoder(file.data(), file.size(), options);
  return jpeg::decodeTo(decoder, to->rgb.data(), to->width * 3) ? velStsNoErr : velStsErr;
}

struct Settings {
  const char* name;
  J_DCT_METHOD dct;
  boolean smooth;  // chroma interpolated, not repeated
};
constexpr Settings kFastest = {"fastest settings", JDCT_IFAST, FALSE}, kSameWork = {"same work", JDCT_ISLOW, FALSE},
                   kDefaults = {"defaults", JDCT_ISLOW, TRUE};

void decodeTurbo(const Bytes& file, const Settings& settings, Picture* to) {
  jpeg_decompress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, file.data(), static_cast<unsigned long>(file.size()));
  jpeg_read_header(&info, TRUE);
  info.out_color_space = JCS_RGB;
  info.dct_method = settings.dct;
  info.do_fancy_upsampling = settings.smooth;
  jpeg_start_decompress(&info);
  while (info.output_scanline < info.output_height) {
    JSAMPROW rows[16];
    JDIMENSION count = 0;
    for (; count < 16 && info.output_scanline + count < info.output_height; ++count)
      rows[count] = &to->rgb[size_t(info.output_scanline + count) * size_t(to->width) * 3];
    jpeg_read_scanlines(&info, rows, count);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
}

// Times are worth comparing only where the pictures are the same but for rounding.
void requireSamePicture(const Bytes& file, const Picture& empty) {
  Picture ours = empty, theirs = empty;
  decode(file, false, &ours);
  decodeTurbo(file, kSameWork, &theirs);
  for (size_t i = 0; i < ours.rgb.size(); ++i)
    if (std::abs(ours.rgb[i] - theirs.rgb[i]) > 8) throw std::runtime_error("libjpeg-turbo decodes another picture");
}

}  // namespace

void registerBenchmarks(const Bytes& file) {
  const jpeg::Decoder header(file.data(), file.size(), {});
  const auto picture = std::make_shared<Picture>(Picture{header.width(), header.height(), {}});
  const int pixels = picture->width * picture->height;
  picture->rgb.resize(size_t(pixels) * 3);
  requireSamePicture(file, *picture);

  for (const bool fused : {true, false})
    benchmarkOnEveryPath(fused ? "fused" : "true colours", "pixel", pixels,
                         [=, &file] { return decode(file, fused, picture.get()); });
  for (const Settings& settings : {kFastest, kSameWork, kDefaults})
    benchmark::RegisterBenchmark((std::string("libjpeg-turbo/") + settings.name).c_str(),
                                 [=, &file](benchmark::State& state) {
                                   for (auto _ : state) decodeTurbo(file, settings, picture.get());
                                   state.SetItemsProcessed(state.iterations() * pixels);
                                 });
}
