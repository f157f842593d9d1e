#include "codec/metadata.h"
#include <array>
#include <cstring>

namespace jpeg {

namespace {

enum Code { kSos = 0xDA, kApp0 = 0xE0, kApp1 = 0xE1, kApp2 = 0xE2 };

// Bytes of the file. Reading from outside of them gives nothing.
class Bytes {
 public:
  Bytes() = default;
  Bytes(const uint8_t* data, size_t size) : data_(data), size_(size) {}
  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }

  Bytes after(size_t count) const { return count <= size_ ? Bytes(data_ + count, size_ - count) : Bytes(); }
  bool startsWith(const char* text, size_t length) const { return size_ >= length && memcmp(data_, text, length) == 0; }
  // A number of up to four bytes, 0 outside.
  uint32_t number(size_t at, size_t bytes, bool littleEndian = false) const {
    if (at > size_ || bytes > size_ - at) return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < bytes; ++i) value = value << 8 | data_[at + (littleEndian ? bytes - 1 - i : i)];
    return value;
  }

 private:
  const uint8_t* data_ = nullptr;
  size_t size_ = 0;
};

// visit(code, content) for each segment up to the first scan, or to what is none.
template <class Visit> void forEachSegment(Bytes file, const Visit& visit) {
  for (Bytes left = file.after(2); left.size() >= 4 && left.data()[0] == 0xFF;) {
    const int code = left.data()[1];
    if (code == 0xFF) {  // a fill byte
      left = left.after(1);
      continue;
    }
    const size_t length = left.number(2, 2);
    if (code <= 0x01 || (code >= 0xD0 && code <= kSos) || length < 2 || length > left.size() - 2) return;
    visit(code, Bytes(left.data() + 4, length - 2));
    left = left.after(2 + length);
  }
}

// ---- Density

// JFIF's, or unit 0 and 0 to 0 where it is missing or makes no sense.
Density readJfif(Bytes content) {
  const Density d = {int(content.number(7, 1)), int(content.number(8, 2)), int(content.number(10, 2))};
  return d.unit <= 2 && d.x > 0 && d.y > 0 ? d : Density{0, 0, 0};
}

// ---- EXIF

// The first directory of a TIFF file, which holds what is about the main picture.
class Directory {
 public:
  enum Type { kShort = 3, kRational = 5 };

  explicit Directory(Bytes tiff) : tiff_(tiff), little_(tiff.startsWith("II", 2)) {
    if ((!little_ && !tiff.startsWith("MM", 2)) || word(2) != 42) return;
    const size_t at = dword(4), count = word(at);
    // One that is cut off may be anything.
    if (at < 8 || count * kEntry > tiff.after(at).after(2).size()) return;
    first_ = at + 2;
    count_ = count;
  }
  // The value of a tag that has one of 16 bits; 0 where there is none.
  int shortValue(int tag) const {
    const size_t entry = find(tag, kShort);
    return entry ? int(word(entry + 8)) : 0;
  }
  // A rational one, rounded to nearest; 0 where there is none that fits 16 bits.
  int rationalValue(int tag) const {
    const size_t entry = find(tag, kRational), at = entry ? dword(entry + 8) : 0;
    const uint64_t numerator = at ? dword(at) : 0, denominator = at <= SIZE_MAX - 4 ? dword(at + 4) : 0;
    const uint64_t rounded = denominator ? (numerator + denominator / 2) / denominator : 0;
    return rounded <= 0xFFFF ? int(rounded) : 0;
  }

 private:
  static constexpr size_t kEntry = 12;  // tag, type, number of values, and the value or where it is

  uint32_t word(size_t at) const { return tiff_.number(at, 2, little_); }
  uint32_t dword(size_t at) const { return tiff_.number(at, 4, little_); }
  // Where a tag's entry is that has a single value of a type, or 0.
  size_t find(int tag, Type type) const {
    for (size_t i = 0; i < count_; ++i) {
      const size_t at = first_ + i * kEntry;
      if (int(word(at)) == tag) return int(word(at + 2)) == type && dword(at + 4) == 1 ? at : 0;
    }
    return 0;
  }

  Bytes tiff_;
  bool little_;
  size_t first_ = 0, count_ = 0;
};

int orientationOf(const Directory& exif) {
  constexpr int kTag = 0x112;
  const int value = exif.shortValue(kTag);
  return value >= 1 && value <= 8 ? value : 1;
}

// As JFIF has it; unit 0 where there is none.
Density densityOf(const Directory& exif) {
  constexpr int kX = 0x11A, kY = 0x11B, kUnit = 0x128, kCentimetres = 3, kNone = 1;
  const Density d = {1, exif.rationalValue(kX), exif.rationalValue(kY)};
  const int unit = exif.shortValue(kUnit);
  if (d.x == 0 || d.y == 0 || unit == kNone || unit > kCentimetres) return {0, 0, 0};
  return {unit == kCentimetres ? 2 : 1, d.x, d.y};
}

// ---- The profile

// It comes in chunks, of which each has its number, from 1 on, and how many there are.
class Chunks {
 public:
  void add(int number, int count, Bytes bytes) {
    if (count_ == 0) count_ = count;
    Bytes& chunk = chunks_[size_t(number)];
    broken_ |= count != count_ || number < 1 || number > count || chunk.data();
    chunk = bytes;
  }
  std::vector<uint8_t> whole() const {
    std::vector<uint8_t> all;
    for (int i = 1; i <= count_; ++i) {
      const Bytes& chunk = chunks_[size_t(i)];
      if (broken_ || !chunk.data()) return {};
      all.insert(all.end(), chunk.data(), chunk.data() + chunk.size());
    }
    return all;
  }

 private:
  std::array<Bytes, 256> chunks_;
  int count_ = 0;
  bool broken_ = false;
};

constexpr char kJfifName[] = "JFIF", kExifName[] = "Exif\0", kProfileName[] = "ICC_PROFILE";  // each with a zero

}  // namespace

Metadata readMetadata(const uint8_t* data, size_t size) {
  Metadata all;
  Density jfif = {0, 0, 0}, exif = {0, 0, 0};
  bool sawJfif = false, sawExif = false;
  Chunks profile;
  forEachSegment(Bytes(data, size), [&](int code, Bytes content) {
    if (code == kApp0 && !sawJfif && content.startsWith(kJfifName, sizeof kJfifName)) {
      sawJfif = true;
      jfif = readJfif(content);
    } else if (code == kApp1 && !sawExif && content.startsWith(kExifName, sizeof kExifName)) {
      sawExif = true;
      const Directory directory(content.after(sizeof kExifName));
      all.orientation = orientationOf(directory);
      exif = densityOf(directory);
    } else if (code == kApp2 && content.startsWith(kProfileName, sizeof kProfileName) && content.size() >= 14) {
      profile.add(int(content.number(12, 1)), int(content.number(13, 1)), content.after(14));
    }
  });
  // Proportions say less than a resolution does.
  if (jfif.unit == 0 && exif.unit != 0) jfif = exif;
  if (jfif.x > 0) all.density = jfif;
  all.profile = profile.whole();
  return all;
}

int profileChannels(const std::vector<uint8_t>& profile) {
  constexpr size_t kColours = 16;
  if (profile.size() < kColours + 4) return 0;
  if (memcmp(&profile[kColours], "RGB ", 4) == 0) return 3;
  return memcmp(&profile[kColours], "GRAY", 4) == 0 ? 1 : 0;
}

}  // namespace jpeg
