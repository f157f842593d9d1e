// Reads the headers of a JPEG with Huffman codes that lies in memory: tables, frame and scans (ITU-T T.81, annex B).
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>
#include "orv.h"

namespace jpeg {

// What is wrong with a file, in words for the person who gave it.
struct Error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

enum Marker { kSoi = 0xD8, kEoi = 0xD9, kRst0 = 0xD0 };

// The first marker in [data, limit), fill bytes skipped: its FF and its code; or limit and 0.
struct MarkerAt {
  const uint8_t* at;
  int code;
};
MarkerAt findMarker(const uint8_t* data, const uint8_t* limit);

struct Component {
  int id;
  int h, v;   // sampling factors, 1 or 2
  int quant;  // which quantisation table
};

struct Frame {
  int width = 0, height = 0;
  int hMax = 1, vMax = 1;             // the largest sampling factors
  std::vector<Component> components;  // one or three
  bool rgb = false;                   // the components are red, green and blue, not Y, Cb and Cr
  bool progressive = false;

  bool is420() const;
};

// A Huffman table as in a DHT segment: how many codes there are of 1 to 16 bits, and their symbols.
struct HuffmanCodes {
  Vel8u counts[16], symbols[256];
};
// ... which has been found good, and what the library makes of it.
struct HuffmanTable {
  const VeliDecodeHuffmanSpec* spec = nullptr;
  const HuffmanCodes* codes = nullptr;
};

struct ScanComponent {
  int index;  // in the frame
  const Vel16u* quant;
  HuffmanTable dc, ac;  // of those that the scan needs
};

struct Scan {
  std::vector<ScanComponent> components;
  const uint8_t* data;  // after the header
  int restartInterval;  // in MCUs, or 0
  // Of progressive scans: the coefficients in zigzag order, the bit that the scan goes down to, and whether the bits
  // above that one are known.
  int first = 0, last = 63, low = 0;
  bool refines = false;
};

class Reader {
 public:
  // data[0..size) must outlive the reader. Frames of more pixels than maxPixels are refused.
  Reader(const uint8_t* data, size_t size, uint64_t maxPixels);

  // Reads on to the next scan's data; false where the picture, or the data, ends instead. The tables that the scan
  // refers to are good until the next call.
  bool nextScan(Scan* scan);
  // Whether the picture's end has been read.
  bool sawEnd() const { return sawEnd_; }
  // Goes on after a scan's data.
  void resume(const uint8_t* at) { at_ = at; }

  const Frame& frame() const { return frame_; }
  const uint8_t* limit() const { return limit_; }

 private:
  class Segment;
  struct FreeTable {
    void operator()(VeliDecodeHuffmanSpec* memory) const { orvizkDecodeHuffmanSpecFree_JPEG_8u(memory); }
  };
  struct QuantTable {
    bool defined = false;
    alignas(16) Vel16u steps[64];
  };
  struct HuffmanSlot {
    std::unique_ptr<VeliDecodeHuffmanSpec, FreeTable> spec;
    HuffmanCodes codes;
  };

  int takeMarker();
  void readFrame(Segment segment, uint64_t maxPixels);
  void readQuantTables(Segment segment);
  void readHuffmanTables(Segment segment);
  void readAdobe(Segment segment);
  void readScan(Segment segment, Scan* scan) const;
  void readProgression(Segment segment, Scan* scan) const;
  HuffmanTable huffmanTable(int kind, int id) const;
  void readSegment(int marker, Segment segment);
  void decideColours();

  const uint8_t *at_, *limit_;
  uint64_t maxPixels_;
  Frame frame_;
  std::array<QuantTable, 4> quant_;
  std::array<std::array<HuffmanSlot, 4>, 2> huffman_;  // DC and AC
  int restartInterval_ = 0;
  int adobeTransform_ = -1;  // -1: there was no such segment
  bool sawScan_ = false, sawEnd_ = false;
};

}  // namespace jpeg
