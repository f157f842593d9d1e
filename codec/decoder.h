// Decodes a baseline or progressive JPEG that lies in memory, with libOrv's primitives.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>
#include "codec/progressive.h"
#include "codec/reader.h"

namespace jpeg {

// Sizes in bytes of pictures up to this one fit every word size.
constexpr uint64_t kMostPixels = 1 << 30;

struct Options {
  // 4:2:0 by the library's fused primitive, whose colours are analogue video's. Other pictures are refused.
  bool fused = false;
  uint64_t maxPixels = 1 << 28;  // at most kMostPixels
  bool strict = false;           // a picture that is not whole is an Error
};

// What is lost of a picture is mid-grey, or in a progressive one what the scans before tell of it. kCut: the data end
// before it does.
enum class Damage { kNone, kCut, kCorrupt };

// Where rows of finished pixels go: interleaved RGB, or grey, without padding between pixels.
struct Rows {
  uint8_t* data;
  ptrdiff_t step;
};
class RowSink {
 public:
  virtual ~RowSink() = default;
  // Room for `count` rows from row y on. Rows come in order, each once; at most 16 at a time.
  virtual Rows rows(int y, int count) = 0;
  // They have been written.
  virtual void done(int y, int count) = 0;
};

// All that is wrong with a file's headers comes as Error; of a progressive one, the headers up to the first scan. A
// picture whose data are damaged loses what follows the damage, up to the next restart marker where it has them. A
// progressive one is then what its other scans say.
class Decoder {
 public:
  // Reads the headers up to the first scan; data[0..size) must outlive the decoder.
  Decoder(const uint8_t* data, size_t size, const Options& options);

  int width() const { return frame_.width; }
  int height() const { return frame_.height; }
  int channels() const { return int(frame_.components.size()); }
  bool isProgressive() const { return frame_.progressive; }

  // Decodes the picture; to be called once. False where it is not whole.
  bool decode(RowSink& sink);
  Damage damage() const { return damage_; }

 private:
  static constexpr int kSize = 8, kSamples = 64, kMaxBlocks = 10;

  // The bits between two markers, one restart interval or a scan without any. They are copied, with bits of one after
  // them: no code is all ones, so a block that is cut off always runs into those, and shows that it did.
  class Interval {
   public:
    enum Outcome { kDone, kCutOff, kInvalid };
    void load(const uint8_t* data, const uint8_t* limit);
    Outcome block(const ScanComponent& component, Vel16s* lastDC, Vel16s* coefficients);
    const MarkerAt& marker() const { return marker_; }  // what ends it

   private:
    static constexpr int kPadding = 16;
    std::vector<uint8_t> bytes_;
    const uint8_t *at_ = nullptr, *end_ = nullptr;
    MarkerAt marker_ = {nullptr, 0};
    Vel32u store_ = 0;
    int stored_ = 0, met_ = 0;
  };

  // A component's samples: of one row of MCUs, or of the whole picture where scans do not hold all components.
  struct Plane {
    std::vector<uint8_t> samples;
    int step;
  };
  // One block of an MCU: its component, as a place in the scan, and its place among the component's blocks in the MCU.
  struct Block {
    int component, x, y;
  };

  bool isInterleaved420() const;
  void layOutMcu();
  void startScan();
  void requireData() const;
  bool isLastScan() const { return !frame_.progressive && scan_.components.size() == frame_.components.size(); }
  void nextInterval();
  bool findRestart(int number);
  void readMcu();
  void takeMcu(int x, int y);
  void lose(Damage damage, const char* what);
  void endsAt(int code);
  void transformMcu(int x, int y);
  void makePlanes(int mcuRows);
  void convert(RowSink& sink, int y, int count, int top);
  void decodeWhole(RowSink& sink);
  void readScan();
  void readScans();
  void decodeByRows(RowSink& sink);
  void decode420(RowSink& sink);
  void convert420(uint8_t* rgb, int step);

  Reader reader_;
  const Frame& frame_;
  const Options options_;
  int mcusWide_, mcuHeight_;
  std::vector<Plane> planes_;
  std::array<std::vector<uint8_t>, 3> widened_;  // rows of components of fewer samples

  Scan scan_;
  Interval interval_;
  std::vector<Block> blocks_;
  std::array<Vel16s, 3> lastDC_;
  int mcusLeft_ = 0, nextRestart_ = 0;  // MCUs until the next restart marker, and which one that is
  MarkerAt next_ = {nullptr, 0};        // where that is to be, or a later one
  bool lost_ = false;                   // the rest of the interval
  Damage damage_ = Damage::kNone;
  std::unique_ptr<Coefficients> whole_;  // of a progressive picture
  alignas(16) Vel16s coefficients_[kMaxBlocks * kSamples];
};

// Decodes into memory: width() * channels() bytes a row, `step` bytes from row to row.
bool decodeTo(Decoder& decoder, uint8_t* pixels, ptrdiff_t step);

}  // namespace jpeg
