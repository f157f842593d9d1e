// Resizing: each method, up and down, on every path for a small picture; and for pictures of up to 64 megapixels on the
// path that the library selects, to see that a pixel costs the same in all.
#include <memory>
#include <new>
#include "run.h"

namespace {

using Resize = decltype(orviResizeSqrPixel_8u_C1R);

struct Kind {
  std::string name;
  int method, channels;
  double factor;

  VeliSize from(VeliSize to) const { return {int(to.width / factor), int(to.height / factor)}; }
  // 0 where it does not fit an int.
  int bufferSize(VeliSize from, VeliSize to) const {
    int size = 0;
    const VeliRect src = {0, 0, from.width, from.height}, dst = {0, 0, to.width, to.height};
    return orviResizeGetBufSize(src, dst, channels, method, &size) == velStsNoErr ? size : 0;
  }
};

// A call and its memory.
class Call {
 public:
  Call(const Kind& kind, VeliSize from, VeliSize to)
      : kind_(kind),
        src_{0, 0, from.width, from.height},
        dst_{0, 0, to.width, to.height},
        resize_(kind.channels == 1   ? orviResizeSqrPixel_8u_C1R
                : kind.channels == 3 ? orviResizeSqrPixel_8u_C3R
                                     : orviResizeSqrPixel_8u_C4R),
        from_(size_t(from.width) * size_t(from.height * kind.channels)),
        to_(size_t(to.width) * size_t(to.height * kind.channels)),
        buffer_(size_t(kind.bufferSize(from, to))) {
    for (size_t i = 0; i < from_.size(); ++i) from_[i] = uint8_t(i * i >> 7);
  }
  VelStatus operator()() {
    return resize_(from_.data(), {src_.width, src_.height}, src_.width * kind_.channels, src_, to_.data(),
                   dst_.width * kind_.channels, dst_, kind_.factor, kind_.factor, 0, 0, kind_.method, buffer_.data());
  }

 private:
  const Kind kind_;
  const VeliRect src_, dst_;
  Resize* const resize_;
  Bytes from_, to_, buffer_;
};

void benchmarkPaths(const Kind& kind) {
  constexpr VeliSize kFrom = {640, 480};
  const VeliSize to = {int(640 * kind.factor), int(480 * kind.factor)};
  const auto call = std::make_shared<Call>(kind, kFrom, to);
  benchmarkOnEveryPath(kind.name, "pixel", to.width * to.height, [call] { return (*call)(); });
}

void benchmarkSizes(const Kind& kind) {
  for (const int side : {1000, 2000, 4000, 8000}) {
    const VeliSize to = {side, side}, from = kind.from(to);
    if (kind.bufferSize(from, to) == 0) continue;
    const std::string size = std::to_string(side * side / 1000000) + " MP";
    benchmark::RegisterBenchmark((kind.name + '/' + size).c_str(), [=](benchmark::State& state) {
      velStaticInit();
      try {
        Call call(kind, from, to);
        int status = call();  // all its memory is there when time is taken
        for (auto _ : state) status |= call();
        if (status != velStsNoErr) state.SkipWithError("a primitive did not give velStsNoErr");
      } catch (const std::bad_alloc&) {
        state.SkipWithError("there is not enough memory");
      }
      state.SetItemsProcessed(int64_t(state.iterations()) * side * side);
      state.SetLabel("pixel");
    });
  }
}

}  // namespace

// The picture is not used: what is resized makes no difference.
void registerBenchmarks(const Bytes&) {
  static constexpr struct {
    const char* name;
    int code;
  } kMethods[] = {{"nearest", velInterNearest},
                  {"linear", velInterLinear},
                  {"cubic", velInterCubicCatmullRom},
                  {"Lanczos", velInterLanczos},
                  {"super", velInterSuper},
                  {"linear, antialiased", velInterLinear | velFlagAntialiasing},
                  {"cubic, antialiased", velInterCubicCatmullRom | velFlagAntialiasing},
                  {"Lanczos, antialiased", velInterLanczos | velFlagAntialiasing}};
  for (const auto& method : kMethods)
    for (const double factor : {0.5, 0.25, 0.37, 2.0, 1.7})
      for (const int channels : {1, 3, 4}) {
        if (method.code == velInterSuper && factor > 1) continue;
        const Kind kind = {std::string("resize ") + method.name + " C" + std::to_string(channels) + " by " +
                               std::to_string(factor).substr(0, 4),
                           method.code, channels, factor};
        benchmarkPaths(kind);
        if ((factor == 0.5 || factor == 2) && channels != 4) benchmarkSizes(kind);
      }
}
