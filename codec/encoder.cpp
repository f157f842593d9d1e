#include "codec/encoder.h"
#include <algorithm>
#include <cstring>
#include <new>
#include <numeric>
#include <string>
#include "codec/reader.h"

namespace jpeg {

namespace {

// ---- ITU-T T.81, annex K: by luma and chroma

// Natural order.
constexpr Vel8u kQuant[2][64] = {{16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,   //
                                  14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,   //
                                  18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,   //
                                  49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99},  //
                                 {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99,          //
                                  24, 26, 56, 99, 99, 99, 99, 99, 47, 66, 99, 99, 99, 99, 99, 99,          //
                                  99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,          //
                                  99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99}};

// The DC codes' symbols are 0 to 11 in this order.
constexpr Vel8u kDcBits[2][16] = {{0, 1, 5, 1, 1, 1, 1, 1, 1}, {0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1}};
constexpr Vel8u kAcBits[2][16] = {{0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125},
                                  {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 119}};
// Of the AC codes the symbols with less than 16 bits. The others follow, in order.
constexpr Vel8u kLumaAc[] = {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13,
                             0x51, 0x61, 0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42,
                             0xB1, 0xC1, 0x15, 0x52, 0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72, 0x82};
constexpr Vel8u kChromaAc[] = {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61,
                               0x71, 0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xA1, 0xB1, 0xC1, 0x09, 0x23, 0x33,
                               0x52, 0xF0, 0x15, 0x62, 0x72, 0xD1, 0x0A, 0x16, 0x24, 0x34, 0xE1, 0x25, 0xF1};

void setDc(int kind, Vel8u bits[16], Vel8u values[256]) {
  std::copy_n(kDcBits[kind], 16, bits);
  std::iota(values, values + 12, Vel8u(0));
}

template <size_t kListed> void setAc(const Vel8u (&listed)[kListed], Vel8u values[256]) {
  Vel8u* end = std::copy_n(listed, kListed, values);
  for (int run = 0; run < 16; ++run)
    for (int category = 1; category <= 10; ++category) {
      const Vel8u symbol = Vel8u(run << 4 | category);
      if (std::find(listed, listed + kListed, symbol) == listed + kListed) *end++ = symbol;
    }
}
void setAc(int kind, Vel8u bits[16], Vel8u values[256]) {
  std::copy_n(kAcBits[kind], 16, bits);
  kind == 0 ? setAc(kLumaAc, values) : setAc(kChromaAc, values);
}

// ---- Measures

// A block has at most 64 codes of 16 bits with 15 bits after each, and a zero after each byte; the block encoder
// wants 8 bytes more.
constexpr size_t kBlockRoom = 64 * (16 + 15) / 8 * 2 + 8;
constexpr size_t kStreamSize = 1 << 16;

// The counts of a picture's symbols must add up to less than 1000000000.
constexpr uint64_t kMostOptimized = 1 << 28;

int divideUp(int a, int b) { return (a + b - 1) / b; }

// ---- Header segments

enum Code { kApp0 = 0xE0, kApp2 = 0xE2, kDqt = 0xDB, kSof0 = 0xC0, kDht = 0xC4, kDri = 0xDD, kSos = 0xDA };

using Bytes = std::vector<uint8_t>;

void addWord(Bytes* to, int value) { to->insert(to->end(), {uint8_t(value >> 8), uint8_t(value)}); }
void addMarker(Bytes* to, int code) { to->insert(to->end(), {0xFF, uint8_t(code)}); }
void addSegment(Bytes* to, int code, const Bytes& content) {
  addMarker(to, code);
  addWord(to, int(content.size()) + 2);
  to->insert(to->end(), content.begin(), content.end());
}

// In as few chunks as can be, each with its number and how many there are.
void addProfile(Bytes* to, const Bytes& profile) {
  constexpr size_t kMost = 0xFFFF - 2 - 14;
  const size_t count = (profile.size() + kMost - 1) / kMost;
  for (size_t i = 0; i < count; ++i) {
    Bytes chunk{'I', 'C', 'C', '_', 'P', 'R', 'O', 'F', 'I', 'L', 'E', 0, uint8_t(i + 1), uint8_t(count)};
    const auto at = profile.begin() + ptrdiff_t(i * kMost);
    chunk.insert(chunk.end(), at, at + ptrdiff_t(std::min(kMost, profile.size() - i * kMost)));
    addSegment(to, kApp2, chunk);
  }
}

}  // namespace

// ---- Tables

void Encoder::HuffmanTable::setBest() {
  // Counts so different that the tree is too deep for the library become less so.
  while (orviEncodeHuffmanRawTableInit_JPEG_8u(statistics, bits, values) == velStsJPEGHuffTableErr)
    for (int& count : statistics) count = (count + 1) / 2;
}

void Encoder::HuffmanTable::build() {
  VeliEncodeHuffmanSpec* memory = nullptr;
  if (orviEncodeHuffmanSpecInitAlloc_JPEG_8u(bits, values, &memory) != velStsNoErr) throw std::bad_alloc();
  spec.reset(memory);
}

int Encoder::HuffmanTable::size() const { return std::accumulate(bits, bits + 16, 0); }

Encoder::Tables::Tables(int kind, int quality) {
  for (int i = 0; i < kSamples; ++i) rawQuant[i] = kQuant[kind][own_pj_izigzag_index[i]];
  orviQuantFwdRawTableInit_JPEG_8u(rawQuant, quality);
  orviQuantFwdTableInit_JPEG_8u16u(rawQuant, quant);
  setDc(kind, dc.bits, dc.values);
  setAc(kind, ac.bits, ac.values);
}

// ---- Samples to coefficients

void Encoder::convertTile(const Tile& tile) {
  const int width = divideUp(tile.columns, kGroup) * kGroup;
  const auto row = [&](int plane, int y) { return planes_[plane] + y * kTileWidth; };
  for (int y = 0; y < mcuHeight_; ++y) {
    const uint8_t* const* const from = &tile.rows[y];
    if (channels_ == 1)
      memcpy(row(0, y), *from, size_t(width));
    else if (options_.sampling == Sampling::kGrey)
      convertRgbToGrey(*from, width, row(0, y));
    else if (options_.sampling == Sampling::k444)
      convertRgbTo444(*from, width, row(0, y), row(1, y), row(2, y));
    else if (options_.sampling == Sampling::k422)
      convertRgbTo422(*from, width, row(0, y), row(1, y), row(2, y));
    else if (y % 2 == 0)
      convertRgbTo420(from, width, row(0, y), row(0, y + 1), row(1, y / 2), row(2, y / 2));
  }
}

// Luma blocks without a pixel of the picture take the fewest bits: no decoder shows them.
template <class Visit> void Encoder::transformTile(const Tile& tile, const Visit& visit) {
  convertTile(tile);
  for (int mcu = 0; mcu * mcuWidth_ < tile.columns; ++mcu) {
    Vel16s* to = coefficients_;
    for (const Block& block : blocks_) {
      if (mcu * mcuWidth_ + block.x < tile.columns && block.y < tile.count) {
        const Vel8u* const from = planes_[block.component] + block.y * kTileWidth + mcu * block.across + block.x;
        orviDCTQuantFwd8x8LS_JPEG_8u16s_C1R(from, kTileWidth, to, tables(block.component).quant);
      } else {
        std::fill_n(to, kSamples, Vel16s(0));
        to[0] = to[-kSamples];
      }
      to += kSamples;
    }
    visit(coefficients_);
  }
}

// What is missing of an MCU below or on the right is a copy of the last row or column.
template <class Visit> void Encoder::transformRow(ConstRows from, int count, const Visit& visit) {
  const auto rowAt = [&](int y, int x) { return from.data + std::min(y, count - 1) * from.step + x * channels_; };
  Tile tile;
  tile.count = count;
  // The conversion reads a byte more than it converts. So the last columns are copied, whether they are whole or not.
  const int last = (width_ - 1) / kGroup * kGroup;
  for (int x = 0; x < last; x += kTileWidth) {
    for (int y = 0; y < mcuHeight_; ++y) tile.rows[y] = rowAt(y, x);
    tile.columns = std::min(kTileWidth, last - x);
    transformTile(tile, visit);
  }
  uint8_t edge[kTileHeight][kGroup * 3 + 1];
  tile.columns = width_ - last;
  for (int y = 0; y < mcuHeight_; ++y) {
    const size_t size = size_t(tile.columns * channels_);
    memcpy(edge[y], rowAt(y, last), size);
    for (size_t i = size; i < sizeof edge[y]; ++i) edge[y][i] = edge[y][i - size_t(channels_)];
    tile.rows[y] = edge[y];
  }
  transformTile(tile, visit);
}

template <class Visit> void Encoder::transform(RowSource& source, const Visit& visit) {
  for (int y = 0; y < height_; y += mcuHeight_) {
    const int count = std::min(mcuHeight_, height_ - y);
    transformRow(source.rows(y, count), count, visit);
  }
}

// ---- Coefficients to the stream

bool Encoder::startsInterval() const {
  return mcu_ == 0 || (options_.restartInterval != 0 && mcu_ % options_.restartInterval == 0);
}

void Encoder::count(const Vel16s* mcu) {
  if (startsInterval()) lastDC_.fill(0);
  for (const Block& block : blocks_) {
    Tables& t = tables(block.component);
    orviGetHuffmanStatistics8x8_JPEG_16s_C1(mcu, t.dc.statistics, t.ac.statistics, &lastDC_[size_t(block.component)]);
    mcu += kSamples;
  }
  ++mcu_;
}

void Encoder::write(const Vel16s* mcu, ByteSink& sink) {
  if (kStreamSize - size_t(bits_ / 8) < (blocks_.size() + 1) * kBlockRoom) flush(sink);
  if (startsInterval()) {
    if (mcu_ > 0) endInterval(kRst0 + (mcu_ / options_.restartInterval - 1) % 8);
    lastDC_.fill(0);
  }
  for (const Block& block : blocks_) {
    const Tables& t = tables(block.component);
    orviEncodeHuffman8x8_Direct_JPEG_16s1u_C1(mcu, stream_.data(), &bits_, &lastDC_[size_t(block.component)],
                                              t.dc.spec.get(), t.ac.spec.get());
    mcu += kSamples;
  }
  ++mcu_;
}

// Bits of one up to the end of the byte, then a marker.
void Encoder::endInterval(int marker) {
  Vel8u* p = &stream_[size_t(bits_ / 8)];
  if (const int used = bits_ % 8) {
    *p |= Vel8u(0xFF >> used);
    if (*p++ == 0xFF) *p++ = 0;
  }
  *p++ = 0xFF;
  *p++ = Vel8u(marker);
  bits_ = int(p - stream_.data()) * 8;
}

void Encoder::flush(ByteSink& sink) {
  const size_t whole = size_t(bits_ / 8);
  sink.write(stream_.data(), whole);
  stream_[0] = stream_[whole];
  bits_ %= 8;
}

void Encoder::writeHead(ByteSink& sink) const {
  const int kinds = components_ == 1 ? 1 : 2;
  Bytes head;
  addMarker(&head, kSoi);
  Bytes jfif{'J', 'F', 'I', 'F', 0, 1, 1, uint8_t(options_.density.unit)};  // 1.01
  addWord(&jfif, options_.density.x);
  addWord(&jfif, options_.density.y);
  jfif.insert(jfif.end(), {0, 0});  // no thumbnail
  addSegment(&head, kApp0, jfif);
  addProfile(&head, options_.profile);
  for (int i = 0; i < kinds; ++i) {
    Bytes content{uint8_t(i)};
    content.insert(content.end(), tables_[size_t(i)].rawQuant, tables_[size_t(i)].rawQuant + kSamples);
    addSegment(&head, kDqt, content);
  }
  Bytes frame{8}, scan{uint8_t(components_)};
  addWord(&frame, height_);
  addWord(&frame, width_);
  frame.push_back(uint8_t(components_));
  for (int i = 0; i < components_; ++i) {
    const int factors = i == 0 ? mcuWidth_ / kSize << 4 | mcuHeight_ / kSize : 0x11, kind = i > 0;
    frame.insert(frame.end(), {uint8_t(i + 1), uint8_t(factors), uint8_t(kind)});
    scan.insert(scan.end(), {uint8_t(i + 1), uint8_t(kind << 4 | kind)});
  }
  addSegment(&head, kSof0, frame);
  for (int i = 0; i < kinds; ++i)
    for (const HuffmanTable* table : {&tables_[size_t(i)].dc, &tables_[size_t(i)].ac}) {
      Bytes content{uint8_t(i | (table == &tables_[size_t(i)].ac) << 4)};
      content.insert(content.end(), table->bits, table->bits + 16);
      content.insert(content.end(), table->values, table->values + table->size());
      addSegment(&head, kDht, content);
    }
  if (options_.restartInterval) {
    Bytes content;
    addWord(&content, options_.restartInterval);
    addSegment(&head, kDri, content);
  }
  scan.insert(scan.end(), {0, 63, 0});  // all coefficients, all their bits
  addSegment(&head, kSos, scan);
  sink.write(head.data(), head.size());
}

// ---- The whole

Encoder::Encoder(int width, int height, int channels, const EncoderOptions& options)
    : width_(width),
      height_(height),
      channels_(channels),
      options_(options),
      tables_{Tables(0, options.quality), Tables(1, options.quality)},
      stream_(kStreamSize) {
  const auto refuse = [&](const std::string& why) {
    throw Error(std::to_string(width) + " x " + std::to_string(height) + why);
  };
  if (std::max(width, height) > kLargestSide)
    refuse(" is too large for JPEG: decoders take " + std::to_string(kLargestSide) + " a side");
  if (options.optimize && uint64_t(width) * uint64_t(height) > kMostOptimized)
    refuse(" is too large to optimise: that takes up to " + std::to_string(kMostOptimized) + " pixels");
  if (channels == 1) options_.sampling = Sampling::kGrey;
  const Sampling sampling = options_.sampling;
  components_ = sampling == Sampling::kGrey ? 1 : 3;
  if (profileChannels(options_.profile) != components_) options_.profile.clear();
  const int across = sampling == Sampling::k420 || sampling == Sampling::k422 ? 2 : 1;
  const int down = sampling == Sampling::k420 ? 2 : 1;
  mcuWidth_ = across * kSize;
  mcuHeight_ = down * kSize;
  for (int y = 0; y < down; ++y)
    for (int x = 0; x < across; ++x) blocks_.push_back({0, x * kSize, y * kSize, mcuWidth_});
  for (int i = 1; i < components_; ++i) blocks_.push_back({i, 0, 0, kSize});
}

void Encoder::encode(RowSource& source, ByteSink& sink) {
  std::vector<Vel16s> kept;
  if (options_.optimize) {
    const size_t size = blocks_.size() * kSamples;
    kept.reserve(size * size_t(divideUp(width_, mcuWidth_)) * size_t(divideUp(height_, mcuHeight_)));
    transform(source, [&](const Vel16s* mcu) {
      count(mcu);
      kept.insert(kept.end(), mcu, mcu + size);
    });
    mcu_ = 0;
  }
  for (Tables& t : tables_)
    for (HuffmanTable* table : {&t.dc, &t.ac}) {
      if (options_.optimize) table->setBest();
      table->build();
    }
  writeHead(sink);
  if (options_.optimize)
    for (size_t i = 0; i < kept.size(); i += blocks_.size() * kSamples) write(&kept[i], sink);
  else
    transform(source, [&](const Vel16s* mcu) { write(mcu, sink); });
  endInterval(kEoi);
  flush(sink);
}

void encodeFrom(Encoder& encoder, const uint8_t* pixels, ptrdiff_t step, std::vector<uint8_t>* to) {
  struct Memory : RowSource, ByteSink {
    const uint8_t* pixels;
    ptrdiff_t step;
    std::vector<uint8_t>* file;
    ConstRows rows(int y, int) override { return {pixels + y * step, step}; }
    void write(const uint8_t* data, size_t size) override { file->insert(file->end(), data, data + size); }
  } memory;
  memory.pixels = pixels;
  memory.step = step;
  memory.file = to;
  to->clear();
  encoder.encode(memory, memory);
}

}  // namespace jpeg
