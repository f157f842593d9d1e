#include "codec/reader.h"
#include <algorithm>
#include <cstring>

namespace jpeg {

namespace {

enum Code {
  kSof0 = 0xC0,
  kSof1,
  kSof2,
  kDht = 0xC4,
  kJpg = 0xC8,
  kDac = 0xCC,
  kSos = 0xDA,
  kDqt = 0xDB,
  kDri = 0xDD,
  kApp14 = 0xEE
};

[[noreturn]] void fail(const std::string& what) { throw Error(what); }
void require(bool holds, const char* what) {
  if (!holds) fail(what);
}

// Frames of every other kind, by what tells them apart.
[[noreturn]] void refuseFrame(int marker) {
  const int n = marker - kSof0;
  const char* const kind = n >= 9 ? "arithmetic-coded" : n == 3 ? "lossless" : "hierarchical";
  fail(std::string(kind) + " JPEG (SOF" + std::to_string(n) + ") is not supported, only baseline and progressive");
}

bool isFrame(int marker) {
  return marker >= kSof0 && marker <= 0xCF && marker != kDht && marker != kJpg && marker != kDac;
}

std::string table(const char* kind, int id) { return std::string(kind) + " table " + std::to_string(id); }

}  // namespace

MarkerAt findMarker(const uint8_t* data, const uint8_t* limit) {
  for (const uint8_t* p = data; p < limit;) {
    p = static_cast<const uint8_t*>(memchr(p, 0xFF, size_t(limit - p)));
    if (!p || limit - p < 2) break;
    if (p[1] != 0 && p[1] != 0xFF) return {p, p[1]};
    p += p[1] == 0 ? 2 : 1;
  }
  return {limit, 0};
}

bool Frame::is420() const {
  return components.size() == 3 && !rgb && components[0].h == 2 && components[0].v == 2 &&
         std::all_of(components.begin() + 1, components.end(), [](const Component& c) { return c.h == 1 && c.v == 1; });
}

// A segment's bytes after its length.
class Reader::Segment {
 public:
  Segment(const uint8_t* at, const uint8_t* end) : at_(at), end_(end) {}
  bool empty() const { return at_ == end_; }
  size_t size() const { return size_t(end_ - at_); }
  int byte() { return *take(1); }
  int word() {
    const uint8_t* const p = take(2);
    return p[0] << 8 | p[1];
  }
  const uint8_t* take(size_t count) {
    require(count <= size(), "a header segment is too short for what it announces");
    const uint8_t* const p = at_;
    at_ += count;
    return p;
  }

 private:
  const uint8_t *at_, *end_;
};

Reader::Reader(const uint8_t* data, size_t size, uint64_t maxPixels)
    : at_(data), limit_(data + size), maxPixels_(maxPixels) {
  require(size > 0, "the file is empty");
  require(size >= 2 && data[0] == 0xFF && data[1] == kSoi, "not a JPEG file");
  at_ += 2;
}

// The code of the marker that must stand here; 0 where the data end.
int Reader::takeMarker() {
  require(at_ == limit_ || *at_ == 0xFF, "no marker where one must be, between two header segments");
  while (at_ < limit_ && *at_ == 0xFF) ++at_;
  if (at_ == limit_) return 0;
  const int code = *at_++;
  require(code > 0x01 && (code < kRst0 || code > kSoi), "a marker stands where it must not");
  return code;
}

bool Reader::nextScan(Scan* scan) {
  for (;;) {
    const int marker = takeMarker();
    require(marker != kEoi || sawScan_, "there is no picture in the file");
    sawEnd_ = marker == kEoi;
    const bool more = marker != 0 && marker != kEoi;
    const size_t length = more && limit_ - at_ >= 2 ? size_t(at_[0] << 8 | at_[1]) : 0;
    require(length >= 2 || limit_ - at_ < 2 || !more, "a header segment has a length that cannot be");
    if (length == 0 || length > size_t(limit_ - at_)) {
      require(sawScan_, "the file ends within its headers");
      return false;
    }
    const Segment segment(at_ + 2, at_ + length);
    at_ += length;
    if (marker == kSos) {
      readScan(segment, scan);
      decideColours();
      sawScan_ = true;
      return true;
    }
    readSegment(marker, segment);
  }
}

void Reader::readSegment(int marker, Segment segment) {
  if (marker >= kSof0 && marker <= kSof2) {
    readFrame(segment, maxPixels_);
    frame_.progressive = marker == kSof2;
  }
  if (isFrame(marker) && marker > kSof2) refuseFrame(marker);
  require(marker != kDac, "arithmetic-coded JPEG is not supported, only baseline and progressive");
  if (marker == kDqt) return readQuantTables(segment);
  if (marker == kDht) return readHuffmanTables(segment);
  if (marker == kDri) restartInterval_ = segment.word();
  if (marker == kApp14) readAdobe(segment);
}

void Reader::readFrame(Segment segment, uint64_t maxPixels) {
  require(frame_.components.empty(), "the file has two frames");
  const int bits = segment.byte();
  if (bits != 8) fail("samples of " + std::to_string(bits) + " bits are not supported, only 8");
  frame_.height = segment.word();
  frame_.width = segment.word();
  const int count = segment.byte();
  require(frame_.width > 0 && frame_.height > 0, "the picture has no size: width or height is zero");
  if (uint64_t(frame_.width) * uint64_t(frame_.height) > maxPixels)
    fail(std::to_string(frame_.width) + " x " + std::to_string(frame_.height) + " is more than the limit of " +
         std::to_string(maxPixels) + " pixels");
  if (count != 1 && count != 3)
    fail("pictures of " + std::to_string(count) + " components" + (count == 4 ? " (CMYK)" : "") +
         " are not supported, only grey and three");
  std::vector<Component> components;
  for (int i = 0; i < count; ++i) {
    Component c;
    c.id = segment.byte();
    for (const Component& other : components) require(c.id != other.id, "two components have the same name");
    const int factors = segment.byte();
    c.h = factors >> 4;
    c.v = factors & 15;
    c.quant = segment.byte();
    require(c.quant < 4, "a component asks for a quantisation table that cannot be");
    if (c.h < 1 || c.h > 4 || c.v < 1 || c.v > 4) fail("a component's sampling factors cannot be");
    // With one component they mean nothing: its blocks come row by row in any case.
    if (count == 1) c.h = c.v = 1;
    if (c.h > 2 || c.v > 2)
      fail("sampling factors of " + std::to_string(c.h) + "x" + std::to_string(c.v) +
           " are not supported, only 1 and 2");
    frame_.hMax = std::max(frame_.hMax, c.h);
    frame_.vMax = std::max(frame_.vMax, c.v);
    components.push_back(c);
  }
  frame_.components = std::move(components);
}

void Reader::readQuantTables(Segment segment) {
  while (!segment.empty()) {
    const int head = segment.byte();
    require(head >> 4 < 2 && (head & 15) < 4, "a quantisation table has a number that cannot be");
    QuantTable& table = quant_[size_t(head & 15)];
    if (head >> 4 == 0)
      orvizkQuantInvTableInit_JPEG_8u16u(segment.take(64), table.steps);
    else
      for (int i = 0; i < 64; ++i) table.steps[own_pj_izigzag_index[i]] = Vel16u(segment.word());
    table.defined = true;
  }
}

void Reader::readHuffmanTables(Segment segment) {
  while (!segment.empty()) {
    const int head = segment.byte();
    const int kind = head >> 4, id = head & 15;
    require(kind < 2 && id < 4, "a Huffman table has a number that cannot be");
    const uint8_t* const counts = segment.take(16);
    size_t total = 0;
    for (int i = 0; i < 16; ++i) total += counts[i];
    require(total <= 256, "a Huffman table has more than 256 codes");
    HuffmanSlot& slot = huffman_[size_t(kind)][size_t(id)];
    slot.codes = {};
    memcpy(slot.codes.counts, counts, 16);
    if (total) memcpy(slot.codes.symbols, segment.take(total), total);
    if (!slot.spec) {
      VeliDecodeHuffmanSpec* memory = nullptr;
      if (orvizkDecodeHuffmanSpecAlloc_JPEG_8u(&memory) != velStsNoErr) throw std::bad_alloc();
      slot.spec.reset(memory);
    }
    if (orviDecodeHuffmanSpecInit_JPEG_8u(counts, slot.codes.symbols, slot.spec.get()) != velStsNoErr)
      fail(table("Huffman", id) + " has more codes of a length than there can be");
  }
}

void Reader::readAdobe(Segment segment) {
  if (segment.size() < 12 || memcmp(segment.take(5), "Adobe", 5) != 0) return;
  segment.take(6);  // version and flags
  adobeTransform_ = segment.byte();
}

void Reader::decideColours() {
  const auto& c = frame_.components;
  if (c.size() != 3) return;
  const bool named = c[0].id == 'R' && c[1].id == 'G' && c[2].id == 'B';
  frame_.rgb = adobeTransform_ < 0 ? named : adobeTransform_ == 0;
}

HuffmanTable Reader::huffmanTable(int kind, int id) const {
  const HuffmanSlot& slot = huffman_[size_t(kind)][size_t(id)];
  if (!slot.spec) fail(table(kind == 0 ? "DC Huffman" : "AC Huffman", id) + " is missing (no DHT)");
  return {slot.spec.get(), &slot.codes};
}

// DC and AC coefficients come in scans of their own, AC of one component.
void Reader::readProgression(Segment segment, Scan* scan) const {
  scan->first = segment.byte();
  scan->last = segment.byte();
  const int bits = segment.byte(), high = bits >> 4;
  scan->low = bits & 15;
  scan->refines = high > 0;
  const bool dc = scan->first == 0 && scan->last == 0;
  const bool ac = scan->first > 0 && scan->first <= scan->last && scan->last < 64 && scan->components.size() == 1;
  require(dc || ac, "a scan has coefficients that cannot be");
  require(scan->low < 14 && (high == 0 || high == scan->low + 1), "a scan has bits that cannot be");
}

void Reader::readScan(Segment segment, Scan* scan) const {
  require(!frame_.components.empty(), "a scan comes before the frame (no SOF)");
  const int count = segment.byte();
  require(count >= 1 && size_t(count) <= frame_.components.size(), "a scan has a number of components that cannot be");
  scan->components.clear();
  int blocks = 0, dc[3], ac[3];
  for (int i = 0; i < count; ++i) {
    const int id = segment.byte(), tables = segment.byte();
    const auto found = std::find_if(frame_.components.begin(), frame_.components.end(),
                                    [id](const Component& c) { return c.id == id; });
    require(found != frame_.components.end(), "a scan has a component that the frame does not have");
    const int index = int(found - frame_.components.begin());
    for (const ScanComponent& other : scan->components) require(other.index != index, "a scan has a component twice");
    dc[i] = tables >> 4;
    ac[i] = tables & 15;
    require(dc[i] < 4 && ac[i] < 4, "a scan asks for a Huffman table that cannot be");
    if (!quant_[size_t(found->quant)].defined) fail(table("quantisation", found->quant) + " is missing (no DQT)");
    scan->components.push_back({index, quant_[size_t(found->quant)].steps, {}, {}});
    blocks += found->h * found->v;
  }
  if (frame_.progressive) readProgression(segment, scan);
  for (int i = 0; i < count; ++i) {
    ScanComponent& c = scan->components[size_t(i)];
    if (scan->first == 0 && !scan->refines) c.dc = huffmanTable(0, dc[i]);
    if (scan->last > 0) c.ac = huffmanTable(1, ac[i]);
  }
  require(count == 1 || blocks <= 10, "the sampling factors give an MCU of more than ten blocks");
  scan->data = at_;
  scan->restartInterval = restartInterval_;
}

}  // namespace jpeg
