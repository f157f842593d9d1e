// Resizing, up and down by 1.7: no library has a special case for that ratio.
#include <zimg.h>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include "peers.h"

namespace {

struct Method {
  const char* name;
  int code, cv;
  const char* cvNote;
  int yuv;  // libyuv's filter, or -1
  const char* yuvNote;
  zimg_resample_filter_e zimg;
  double a, b;
  bool enlarges, hasZimg;  // what it is compared for
};
#ifdef __x86_64__
constexpr int kLinear = cv::INTER_LINEAR, kCubic = cv::INTER_CUBIC, kLanczos = cv::INTER_LANCZOS4,
              kArea = cv::INTER_AREA;
#else
constexpr int kLinear = 0, kCubic = 0, kLanczos = 0, kArea = 0;
#endif
constexpr int kBilinear = 2, kBox = 3;  // libyuv's
const Method kMethods[] = {
    {"linear", velInterLinear, kLinear, "", kBilinear, "weights of 8 bits", ZIMG_RESIZE_BILINEAR, NAN, NAN, true, true},
    {"cubic", velInterCubicCatmullRom, kCubic, "another cubic", -1, "", ZIMG_RESIZE_BICUBIC, 0, 0.5, true, true},
    {"Lanczos", velInterLanczos, kLanczos, "8 taps, not 6", -1, "", ZIMG_RESIZE_LANCZOS, 3, NAN, true, true},
    {"area", velInterSuper, kArea, "", kBox, "whole pixels only", ZIMG_RESIZE_POINT, NAN, NAN, false, false},
};

// zimg's resizing of a plane. Rows are aligned to 64 bytes.
class Graph {
 public:
  Graph(VeliSize from, VeliSize to, const Method& method) {
    zimg_image_format src, dst;
    zimg_image_format_default(&src, ZIMG_API_VERSION);
    src.pixel_type = ZIMG_PIXEL_BYTE;
    src.pixel_range = ZIMG_RANGE_FULL;
    src.width = unsigned(from.width), src.height = unsigned(from.height);
    dst = src;
    dst.width = unsigned(to.width), dst.height = unsigned(to.height);
    zimg_graph_builder_params params;
    zimg_graph_builder_params_default(&params, ZIMG_API_VERSION);
    params.resample_filter = method.zimg;
    params.filter_param_a = method.a, params.filter_param_b = method.b;
    params.cpu_type = allowed() == Instructions::kSse41  ? ZIMG_CPU_X86_SSE41
                      : allowed() == Instructions::kAvx2 ? ZIMG_CPU_X86_AVX2
                                                         : ZIMG_CPU_AUTO_64B;
    graph_ = zimg_filter_graph_build(&src, &dst, &params);
    size_t size = 0;
    if (!graph_ || zimg_filter_graph_get_tmp_size(graph_, &size)) throw std::runtime_error("zimg builds no graph");
    memory_ = aligned_alloc(64, size + 64 - size % 64);
  }
  Graph(const Graph&) = delete;
  ~Graph() {
    zimg_filter_graph_free(graph_);
    free(memory_);
  }
  void operator()(const Vel8u* src, int srcStep, Vel8u* dst, int dstStep) const {
    zimg_image_buffer_const from = {ZIMG_API_VERSION, {}};
    zimg_image_buffer to = {ZIMG_API_VERSION, {}};
    from.plane[0] = {src, srcStep, ZIMG_BUFFER_MAX};
    to.plane[0] = {dst, dstStep, ZIMG_BUFFER_MAX};
    zimg_filter_graph_process(graph_, &from, &to, memory_, nullptr, nullptr, nullptr, nullptr);
  }

 private:
  zimg_filter_graph* graph_;
  void* memory_;
};

void compareMethod(const Set& set, const Method& method, bool up, int channels, bool antialiasing) {
  const VeliSize large = {set.size.width / 16 * 17, set.size.height / 16 * 17},
                 small = {large.width * 10 / 17, large.height * 10 / 17}, from = up ? small : large,
                 to = up ? large : small;
  const auto step = [=](VeliSize size) { return (size.width * channels + 63) / 64 * 64; };
  const int fromStep = step(from), toStep = step(to), code = method.code | (antialiasing ? velFlagAntialiasing : 0);
  const auto factor = [](int t, int f) { return double(t) / f; };
  const double x = factor(to.width, from.width), y = factor(to.height, from.height);
  const VeliRect src = {0, 0, from.width, from.height}, dst = {0, 0, to.width, to.height};
  int size = 0;
  if (orviResizeGetBufSize(src, dst, channels, code, &size) != velStsNoErr) return;  // beyond an int
  const auto memory = std::make_shared<Bytes>();
  const auto resize = channels == 1 ? orviResizeSqrPixel_8u_C1R : orviResizeSqrPixel_8u_C3R;
  const Call ours = [=](Vel8u* s, Vel8u* d) {
    memory->resize(size_t(size));
    return resize(s, from, fromStep, src, d, toStep, dst, x, y, 0, 0, code, memory->data());
  };
  std::vector<Peer> peers;
  if (!antialiasing) {
    peers.push_back(OPENCV(method.cvNote, cv::Mat out(to.height, to.width, CV_8UC(channels), d, size_t(toStep));
                           cv::resize(cv::Mat(from.height, from.width, CV_8UC(channels), s, size_t(fromStep)), out,
                                      out.size(), 0, 0, method.cv)));
    if (method.yuv >= 0 && channels == 1)
      peers.push_back(LIBYUV(method.yuvNote, libyuv::ScalePlane(s, fromStep, from.width, from.height, d, toStep,
                                                                to.width, to.height, libyuv::FilterMode(method.yuv))));
  }
  // It widens its filters in reductions, as antialiasing does.
  if (method.hasZimg && channels == 1 && (up || antialiasing)) {
    const auto graph = std::make_shared<std::unique_ptr<Graph>>();
    peers.push_back({"zimg", "", [=](Vel8u* s, Vel8u* d) {
                       if (!*graph) *graph = std::make_unique<Graph>(from, to, method);
                       (**graph)(s, fromStep, d, toStep);
                     }});
  }
  compare(set,
          {std::string("resizing/") + method.name + (up ? " up" : " down") + (antialiasing ? ", antialiased" : "") +
               ", C" + std::to_string(channels),
           "pixel", double(to.width) * to.height, size_t(fromStep) * size_t(from.height),
           size_t(toStep) * size_t(to.height)},
          ours, peers);
}

}  // namespace

void compareResizing(const Set& set) {
  for (const Method& method : kMethods) {
    for (const int channels : {1, 3}) {
      if (method.enlarges) compareMethod(set, method, true, channels, false);
      compareMethod(set, method, false, channels, false);
    }
    if (method.hasZimg) compareMethod(set, method, false, 1, true);
  }
}
