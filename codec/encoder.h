// Encodes a picture as a baseline JFIF file, with libOrv's primitives.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>
#include "codec/colour.h"
#include "codec/metadata.h"
#include "orv.h"

namespace jpeg {

// How many chroma samples there are; none for kGrey.
enum class Sampling { k444, k422, k420, kGrey };

// Of width and height. The format has room for a little more, but common decoders stop here.
constexpr int kLargestSide = 65500;

struct EncoderOptions {
  int quality = 85;                    // 1..100: scales the quantisation tables of T.81, annex K
  Sampling sampling = Sampling::k420;  // grey pictures are kGrey in any case
  bool optimize = false;               // the best Huffman codes for this picture, not those of annex K
  int restartInterval = 0;             // in MCUs, at most 65535; 0: none
  Density density = {};                // what the file says of its pixels
  std::vector<uint8_t> profile = {};   // of colours, for the file; left out where the picture has other channels
};

// Where the rows of the picture come from: interleaved RGB, or grey, without padding between pixels.
struct ConstRows {
  const uint8_t* data;
  ptrdiff_t step;
};
class RowSource {
 public:
  virtual ~RowSource() = default;
  // `count` rows from row y on, good until the next call. Each is asked for once, in order; at most 16 at a time.
  virtual ConstRows rows(int y, int count) = 0;
};

// Where the file goes.
class ByteSink {
 public:
  virtual ~ByteSink() = default;
  virtual void write(const uint8_t* data, size_t size) = 0;
};

class Encoder {
 public:
  // Throws Error where the picture cannot be a JPEG. channels: 3, or 1 for grey.
  Encoder(int width, int height, int channels, const EncoderOptions& options);

  // Encodes the picture; to be called once.
  void encode(RowSource& source, ByteSink& sink);

 private:
  static constexpr int kSize = 8, kSamples = 64, kMaxBlocks = 6;
  static constexpr int kTileHeight = 16;  // at most: an MCU's

  struct FreeSpec {
    void operator()(VeliEncodeHuffmanSpec* memory) const { orviEncodeHuffmanSpecFree_JPEG_8u(memory); }
  };
  struct HuffmanTable {
    Vel8u bits[16], values[256];  // as in a DHT segment
    int statistics[256] = {};
    std::unique_ptr<VeliEncodeHuffmanSpec, FreeSpec> spec;

    int size() const;  // of values
    void setBest();    // for the statistics
    void build();      // from bits and values
  };
  struct Tables {
    Vel8u rawQuant[kSamples];
    alignas(16) Vel16u quant[kSamples];
    HuffmanTable dc, ac;

    Tables(int kind, int quality);
  };
  // A block of an MCU: where its samples lie in the component's plane for the first MCU of a tile, and how far the next
  // MCU's lie from there.
  struct Block {
    int component, x, y, across;
  };
  // Part of a row of MCUs: pixels that are converted at a time.
  struct Tile {
    const uint8_t* rows[kTileHeight];
    int columns, count;  // that hold pixels of the picture; there are whole MCUs and groups of columns
  };

  Tables& tables(int component) { return tables_[size_t(component > 0)]; }
  void convertTile(const Tile& tile);
  template <class Visit> void transformTile(const Tile& tile, const Visit& visit);
  template <class Visit> void transformRow(ConstRows from, int count, const Visit& visit);
  template <class Visit> void transform(RowSource& source, const Visit& visit);
  bool startsInterval() const;
  void count(const Vel16s* mcu);
  void write(const Vel16s* mcu, ByteSink& sink);
  void endInterval(int marker);
  void flush(ByteSink& sink);
  void writeHead(ByteSink& sink) const;

  const int width_, height_, channels_;
  EncoderOptions options_;
  int components_, mcuWidth_, mcuHeight_;
  std::vector<Block> blocks_;
  std::array<Tables, 2> tables_;  // of luma and of chroma
  alignas(16) Vel8u planes_[3][kTileHeight * kTileWidth];
  alignas(16) Vel16s coefficients_[kMaxBlocks * kSamples];

  int mcu_ = 0;  // how many are done
  std::array<Vel16s, 3> lastDC_;
  std::vector<Vel8u> stream_;  // what is not written yet
  int bits_ = 0;               // of it
};

// Encodes from memory, `step` bytes from row to row, to memory: *to becomes the file.
void encodeFrom(Encoder& encoder, const uint8_t* pixels, ptrdiff_t step, std::vector<uint8_t>* to);

}  // namespace jpeg
