// Pictures of another size, by the library's methods.
#pragma once
#include "orv.h"
#include "picture_file.h"

struct ResizeMethod {
  const char* name;
  int code;
  bool antialiases;  // where asked to
};
inline constexpr ResizeMethod kResizeMethods[] = {
    {"nearest", velInterNearest, false},
    {"linear", velInterLinear, true},
    {"cubic", velInterCubic, true},
    {"bspline", velInterCubicBSpline, true},
    {"catmull", velInterCubicCatmullRom, true},
    {"b05c03", velInterCubicB05C03, true},
    {"lanczos", velInterLanczos, true},
    {"super", velInterSuper, false},
};

// The whole picture, which fills all of the new size. Supersampling enlarges in no direction.
Picture resized(const Picture& from, VeliSize size, int interpolation);

// Makes rows, as they come, a picture that is smaller in both directions: the one that resized() makes of all by
// velInterSuper. Of the rows those alone are kept that are still needed.
class ReducingSink : public jpeg::RowSink {
 public:
  ReducingSink(VeliSize from, int channels, VeliSize to);
  ~ReducingSink();

  jpeg::Rows rows(int y, int count) override;
  void done(int y, int count) override;
  // After the last row.
  const Picture& picture() const { return picture_; }

 private:
  static constexpr int kSourceRows = 64, kMostRows = 16;  // of a band; that come at a time
  struct Work;
  uint8_t* row(int y) { return window_.get() + size_t(y - first_) * step_; }

  std::unique_ptr<Work> work_;
  const size_t step_;
  int capacity_, first_ = 0;  // of the window: how many rows, and which is its first
  std::unique_ptr<uint8_t[]> window_;
  Picture picture_ = {};
};

// The sides scaled and rounded, but not to nothing, and to a thousand million at most.
VeliSize scaled(VeliSize size, double factor);
