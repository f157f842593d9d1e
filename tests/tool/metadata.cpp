// What is noted beside a picture: which side is up, against the sides that EXIF names; the profile and the density.
#include <cstring>
#include "codec/metadata.h"
#include "pictures.h"
#include "support/guarded.h"

namespace {

// ---- Segments

Bytes number(uint64_t value, int bytes, bool little = false) {
  Bytes all;
  for (int i = 0; i < bytes; ++i) all += char(value >> 8 * (little ? i : bytes - 1 - i));
  return all;
}

Bytes segment(int code, const Bytes& content) {
  return "\xFF" + number(uint64_t(code), 1) + number(content.size() + 2, 2) + content;
}

struct Entry {
  int tag, type;
  uint32_t count;
  uint64_t value;  // of type 5: numerator and denominator, 32 bits each
};

// A TIFF file of one directory.
Bytes tiff(const std::vector<Entry>& entries, bool little) {
  const auto n = [little](uint64_t value, int bytes) { return number(value, bytes, little); };
  Bytes directory = (little ? "II" : "MM") + n(42, 2) + n(8, 4) + n(entries.size(), 2), values;
  const size_t end = directory.size() + 12 * entries.size() + 4;
  for (const Entry& e : entries) {
    directory += n(uint64_t(e.tag), 2) + n(uint64_t(e.type), 2) + n(e.count, 4);
    if (e.type == 3) {
      directory += n(e.value, 2) + n(0, 2);
    } else {
      directory += n(end + values.size(), 4);
      values += n(e.value >> 32, 4) + n(e.value & 0xFFFFFFFF, 4);
    }
  }
  return directory + n(0, 4) + values;
}

Bytes exif(const Bytes& tiff) { return segment(0xE1, Bytes("Exif\0\0", 6) + tiff); }
Bytes oriented(int orientation, bool little = false) {
  return exif(tiff({{0x112, 3, 1, uint64_t(orientation)}}, little));
}
Bytes chunk(int i, int count, const Bytes& part) {
  return segment(0xE2, Bytes("ICC_PROFILE\0", 12) + number(uint64_t(i), 1) + number(uint64_t(count), 1) + part);
}
Bytes jfif(int unit, int x, int y) {
  return segment(0xE0, Bytes("JFIF\0\1\1", 7) + number(uint64_t(unit), 1) + number(uint64_t(x), 2) +
                           number(uint64_t(y), 2) + Bytes(2, '\0'));
}

Bytes profile(size_t size, const Bytes& colours = "RGB ") {
  Bytes all;
  for (unsigned noise = 1; all.size() < size;) all += char((noise = noise * 1664525 + 1013904223) >> 24);
  return all.replace(16, 4, colours);
}

// A file's profile, its parts in order, and the file without them.
std::pair<Bytes, Bytes> takeProfile(Bytes file) {
  const Bytes name = Bytes("ICC_PROFILE\0", 12);
  Bytes all;
  for (size_t at; (at = file.find(name)) != Bytes::npos;) {
    const size_t length = size_t(uint8_t(file[at - 2]) << 8 | uint8_t(file[at - 1]));
    all += file.substr(at + 14, length - 16);
    file.erase(at - 4, length + 2);
  }
  return {all, file};
}

jpeg::Metadata metadataOf(const Bytes& file) {
  const Guarded memory(file.size(), Guard::kBehind);
  memcpy(memory.data(), file.data(), file.size());
  return jpeg::readMetadata(memory.data(), file.size());
}

// ---- Which side is up

struct Ppm {
  Bytes head;
  int width, height, channels;
  Bytes samples;

  explicit Ppm(const Bytes& file) {
    channels = file[1] == '6' ? 3 : 1;
    sscanf(file.c_str() + 2, "%d %d", &width, &height);
    const size_t size = size_t(width * height * channels);
    samples = file.substr(file.size() - size);
  }
  Ppm(int w, int h, int c) : width(w), height(h), channels(c), samples(size_t(w * h * c), '\0') {}
  Bytes file() const {
    return (channels == 3 ? "P6\n" : "P5\n") + std::to_string(width) + " " + std::to_string(height) + "\n255\n" +
           samples;
  }
};

// EXIF's words for the numbers from 1 on: where the first row is, and the first column.
constexpr struct {
  const char *row, *column;
} kSides[] = {{"top", "left"}, {"top", "right"}, {"bottom", "right"}, {"bottom", "left"},
              {"left", "top"}, {"right", "top"}, {"right", "bottom"}, {"left", "bottom"}};

Bytes upright(const Bytes& file, int orientation) {
  const Ppm from(file);
  const auto sides = kSides[orientation - 1];
  const bool across = *sides.row == 'l' || *sides.row == 'r';
  Ppm to(across ? from.height : from.width, across ? from.width : from.height, from.channels);
  for (int y = 0; y < from.height; ++y)
    for (int x = 0; x < from.width; ++x) {
      int u = 0, v = 0;
      for (const auto& [side, i] : {std::pair(sides.row, y), std::pair(sides.column, x)}) {
        if (*side == 't') v = i;
        if (*side == 'b') v = to.height - 1 - i;
        if (*side == 'l') u = i;
        if (*side == 'r') u = to.width - 1 - i;
      }
      for (int c = 0; c < from.channels; ++c)
        to.samples[size_t((v * to.width + u) * to.channels + c)] =
            from.samples[size_t((y * from.width + x) * from.channels + c)];
    }
  return to.file();
}

class Metadata : public Pictures {
 protected:
  // The file of a picture that has been encoded, with these segments instead of its JFIF's.
  void writeWith(const std::string& name, const Bytes& jpeg, const Bytes& segments) const {
    write(name, jpeg.substr(0, 2) + segments + jpeg.substr(20));
  }
  Bytes made(const std::string& arguments, const std::string& out) const {
    const Outcome o = orv(arguments);
    EXPECT_EQ(o.code, 0) << arguments << "\n" << o.err;
    EXPECT_EQ(o.err, "") << arguments;
    return read(out);
  }
};

TEST_F(Metadata, EverySideMayBeUp) {
  constexpr int kSizes[][3] = {{1, 1, 3}, {1, 5, 3}, {5, 1, 1}, {37, 21, 3}, {50, 200, 3}, {129, 66, 1}};
  for (const auto& [width, height, channels] : kSizes) {
    writePicture("picture", width, height, channels);
    const Bytes jpeg = encoded("picture", "--quality 97 --sampling 444");
    for (int orientation = 1; orientation <= 8; ++orientation) {
      SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height) + ", " + std::to_string(orientation));
      writeWith("a.jpg", jpeg, oriented(orientation, orientation % 2));
      const Bytes stored = decoded("a.jpg", "--as-stored"), expected = upright(stored, orientation);
      EXPECT_TRUE(decoded("a.jpg") == expected);
      write("a.ppm", expected);
      EXPECT_EQ(orv("compare a.jpg a.ppm").out, "the pictures are the same\n");
      EXPECT_TRUE(encoded("a.jpg") == encoded("a.ppm"));
    }
  }
}

TEST_F(Metadata, EveryCommandTakesPicturesUpright) {
  writePicture("picture", 90, 60);
  const Bytes jpeg = encoded("picture", "--quality 97");
  must("mkdir in");
  for (int orientation = 2; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    writeWith("in/a.jpg", jpeg, oriented(orientation, orientation % 2 == 0));
    const Bytes stored = decoded("in/a.jpg", "--as-stored"), expected = upright(stored, orientation);
    write("stored.ppm", stored), write("a.ppm", expected);
    for (const std::string command :
         {"filter --box 5x3 IN out.ppm", "swap --order gbr IN out.ppm", "convert --to yuv422 IN out",
          "sheet IN out.ppm", "resize IN out.ppm 180x121", "encode --optimize IN out.jpg",
          "resize --crop 31x50+7+9 IN out.ppm", "resize --crop 31x50+7+9 IN out.ppm 200%",
          "resize --method super --crop 30x40+7+9 IN out.ppm 15x20"}) {
      const size_t in = command.find("IN"), end = command.find(' ', in + 3);
      const std::string out = command.substr(in + 3, end - in - 3), rest = command.substr(in + 2);
      const auto from = [&](const std::string& name) { return made(command.substr(0, in) + name + rest, out); };
      EXPECT_TRUE(from("in/a.jpg") == from("a.ppm")) << command;
      EXPECT_TRUE(from("--as-stored in/a.jpg") == from("stored.ppm")) << command;
    }
    // What becomes smaller becomes so as it is stored.
    const bool across = orientation > 4;
    made(std::string("resize stored.ppm out.ppm ") + (across ? "31x40" : "40x31"), "out.ppm");
    EXPECT_TRUE(made("resize in/a.jpg small.ppm 40x31", "small.ppm") == upright(read("out.ppm"), orientation));
    made("resize --method super stored.ppm out.ppm 30x", "out.ppm");
    write("small.ppm", upright(read("out.ppm"), orientation));
    EXPECT_EQ(orv("thumb --size 30 in thumbs").out,
              std::string("in/a.jpg -> thumbs/a.jpg, ") + (across ? "20 x 30\n" : "30 x 20\n"));
    EXPECT_TRUE(read("thumbs/a.jpg") == encoded("small.ppm"));
    must(ORV_PROGRAM " thumb in thumbs");  // smaller than a thumbnail
    EXPECT_TRUE(read("thumbs/a.jpg") == encoded("a.ppm"));
    must(ORV_PROGRAM " thumb --as-stored in thumbs");
    EXPECT_TRUE(read("thumbs/a.jpg") == encoded("stored.ppm"));
  }
  // What is cut short is as far as it goes.
  write("cut.jpg", read("in/a.jpg").substr(0, read("in/a.jpg").size() / 2));
  EXPECT_EQ(orv("decode --as-stored cut.jpg stored.ppm").code, 2);
  EXPECT_EQ(orv("decode cut.jpg a.ppm").code, 2);
  EXPECT_TRUE(read("a.ppm") == upright(read("stored.ppm"), 8));
}

// Whatever is wrong with EXIF, the picture is there, as it is stored. A byte read outside of the file would end the test.
TEST_F(Metadata, ABrokenExifCountsAsNone) {
  const auto orientationOf = [](const Bytes& segments) {
    return metadataOf("\xFF\xD8" + segments + "\xFF\xD9").orientation;
  };
  for (const bool little : {false, true}) {
    const auto n = [little](uint64_t value, int bytes) { return number(value, bytes, little); };
    const Bytes whole = tiff({{0x10F, 3, 1, 5}, {0x112, 3, 1, 6}, {0x8769, 4, 1, 0}}, little);
    EXPECT_EQ(orientationOf(exif(whole)), 6);
    EXPECT_EQ(orientationOf("\xFF\xFF" + exif(whole) + oriented(3)), 6);  // the first one counts
    EXPECT_EQ(orientationOf(segment(0xE1, Bytes("http://ns.adobe.com/xap/1.0/\0", 29)) + exif(whole)), 6);
    const size_t directory = 10 + 3 * 12;
    for (size_t length = 0; length < whole.size(); ++length)
      EXPECT_EQ(orientationOf(exif(whole.substr(0, length))), length < directory ? 1 : 6) << length;
    const auto patched = [&](size_t at, const Bytes& bytes) {
      return orientationOf(exif(Bytes(whole).replace(at, bytes.size(), bytes)));
    };
    for (const uint64_t offset :
         {0ull, 4ull, 7ull, 9ull, 20ull, 0x7FFFFFFFull, 0xFFFFFFF6ull, 0xFFFFFFFEull, 0xFFFFFFFFull})
      EXPECT_EQ(patched(4, n(offset, 4)), 1) << offset;
    for (const uint64_t count : {0, 1, 6, 0x100, 0xFFFF}) EXPECT_EQ(patched(8, n(count, 2)), 1) << count;
    constexpr size_t kEntry = 10 + 12;
    for (const uint64_t type : {0, 1, 4, 7, 9, 0xFFFF}) EXPECT_EQ(patched(kEntry + 2, n(type, 2)), 1) << type;
    for (const uint64_t count : {0ull, 2ull, 0x10000ull, 0xFFFFFFFFull})
      EXPECT_EQ(patched(kEntry + 4, n(count, 4)), 1) << count;
    for (const uint64_t value : {0, 9, 0x106, 0xFFFF}) EXPECT_EQ(patched(kEntry + 8, n(value, 2)), 1) << value;
    EXPECT_EQ(patched(directory, n(8, 4)), 6);  // the next directory is this one
    EXPECT_EQ(patched(directory - 4, n(8, 4)), 6);
    EXPECT_EQ(patched(0, "XX"), 1);
    EXPECT_EQ(patched(2, n(43, 2)), 1);
    EXPECT_EQ(patched(0, little ? "MM" : "II"), 1);
    const Bytes file = "\xFF\xD8" + exif(whole) + "\xFF\xDA";
    for (size_t length = 0; length < file.size(); ++length)
      EXPECT_EQ(metadataOf(file.substr(0, length)).orientation, length < file.size() - 2 ? 1 : 6) << length;
    EXPECT_EQ(metadataOf(Bytes("\xFF\xD8\xFF\xDA\x00\x02", 6) + exif(whole)).orientation, 1);
  }
  writePicture("picture", 20, 10);
  writeWith("a.jpg", encoded("picture"), exif(tiff({{0x112, 3, 1, 6}}, true).substr(0, 15)));
  EXPECT_TRUE(decoded("a.jpg") == decoded("a.jpg", "--as-stored"));
}

// ---- What is kept

TEST_F(Metadata, ProfilesAreKeptToTheLastByte) {
  writePicture("picture", 40, 30), writePicture("grey", 40, 30, 1);
  const Bytes jpeg = encoded("picture"), grey = encoded("grey"), large = profile(150000), small = profile(600);
  must("mkdir in");
  const auto kept = [&](const Bytes& from, const Bytes& segments, const std::string& options = "") {
    writeWith("in/a.jpg", from, segments);
    const auto [found, rest] = takeProfile(encoded("in/a.jpg", options));
    EXPECT_TRUE(rest.substr(20) == encoded("in/a.jpg", options + " --strip").substr(20));  // after JFIF's segment
    for (const std::string arguments : {"resize in/a.jpg out.jpg 50% ", "swap --order rgb in/a.jpg out.jpg "})
      EXPECT_TRUE(from == grey || takeProfile(made(arguments + options, "out.jpg")).first == found) << arguments;
    return found;
  };
  const Bytes a = large.substr(0, 65519), b = large.substr(65519, 10), c = large.substr(65529, 40000),
              d = large.substr(105529);
  EXPECT_TRUE(kept(jpeg, chunk(3, 4, c) + chunk(1, 4, a) + chunk(4, 4, d) + chunk(2, 4, b)) == large);
  EXPECT_TRUE(kept(jpeg, jfif(1, 300, 300) + chunk(1, 1, small) + oriented(6)) == small);
  EXPECT_TRUE(kept(jpeg, chunk(1, 1, profile(65519))) == profile(65519));
  EXPECT_TRUE(kept(jpeg, chunk(1, 2, small) + chunk(2, 2, "")) == small);
  EXPECT_TRUE(kept(grey, chunk(1, 1, profile(300, "GRAY"))) == profile(300, "GRAY"));
  EXPECT_EQ(kept(jpeg, chunk(1, 1, small), "--sampling grey"), "");
  for (const Bytes& segments :
       {chunk(1, 2, small), chunk(2, 2, small), chunk(1, 1, small) + chunk(1, 1, small),
        chunk(1, 2, small) + chunk(2, 3, b), chunk(0, 1, small), chunk(0, 0, small), chunk(2, 1, small),
        chunk(1, 1, ""), chunk(1, 1, small.substr(0, 19)), chunk(1, 1, profile(300, "CMYK")),
        segment(0xE2, Bytes("ICC_PROFILE\0\1", 13)), segment(0xE2, "MPF")})
    EXPECT_EQ(kept(jpeg, segments), "");
  EXPECT_EQ(kept(grey, chunk(1, 1, small)), "");
  for (const size_t size : {4096, 4097}) {
    writeWith("in/a.jpg", jpeg, jfif(1, 300, 300) + chunk(1, 1, profile(size)));
    must(ORV_PROGRAM " thumb --size 20 in thumbs && " ORV_PROGRAM " thumb --size 20 --strip in stripped");
    const auto [found, rest] = takeProfile(read("thumbs/a.jpg"));
    EXPECT_EQ(found.size(), size == 4096 ? size : 0);
    EXPECT_TRUE(read("stripped/a.jpg") == rest);
  }
}

TEST_F(Metadata, DensityIsKept) {
  writePicture("picture", 20, 10);
  const Bytes jpeg = encoded("picture");
  const auto resolution = [](uint64_t x, uint64_t y, std::vector<Entry> more = {}, bool little = true) {
    more.insert(more.end(), {{0x11A, 5, 1, x}, {0x11B, 5, 1, y}});
    return exif(tiff(more, little));
  };
  const uint64_t of300 = 300ull << 32 | 1, of200 = 400ull << 32 | 2, of119 = 11851ull << 32 | 100;
  const Bytes none = jfif(0, 1, 1);
  const std::tuple<Bytes, Bytes> kCases[] = {
      {jfif(1, 300, 200), jfif(1, 300, 200)},
      {jfif(2, 118, 65535), jfif(2, 118, 65535)},
      {jfif(0, 4, 3), jfif(0, 4, 3)},
      {jfif(1, 300, 0), none},
      {jfif(3, 300, 300), none},
      {segment(0xE0, Bytes("JFIF\0\1\1\1\1\1\1", 11)), none},
      {"", none},
      {resolution(of300, of200), jfif(1, 300, 200)},
      {resolution(of300, of200, {{0x128, 3, 1, 2}}, false), jfif(1, 300, 200)},
      {resolution(of119, of119, {{0x128, 3, 1, 3}}), jfif(2, 119, 119)},
      {resolution(of300, of300, {{0x128, 3, 1, 1}}), none},
      {resolution(of300, of300, {{0x128, 3, 1, 4}}), none},
      {resolution(of300, 300ull << 32), none},
      {resolution(of300, 1), none},
      {resolution(of300, 65536ull << 32 | 1), none},
      {resolution(of300, 0xFFFFFFFFull << 32 | 0xFFFFFFFF), jfif(1, 300, 1)},
      {exif(tiff({{0x11A, 5, 1, of300}}, true)), none},
      {exif(tiff({{0x11A, 5, 1, of300}, {0x11B, 5, 1, of300}}, true).substr(0, 10 + 24 + 4 + 12)), none},
      {jfif(1, 72, 72) + resolution(of300, of300), jfif(1, 72, 72)},
      {jfif(0, 2, 1) + resolution(of300, of300), jfif(1, 300, 300)},
      {resolution(of300, of200, {{0x112, 3, 1, 6}}), jfif(1, 200, 300)},
      {jfif(0, 2, 1) + oriented(5), jfif(0, 1, 2)},
      {jfif(0, 2, 1) + oriented(4), jfif(0, 2, 1)},
  };
  int i = 0;
  for (const auto& [segments, expected] : kCases) {
    SCOPED_TRACE(i++);
    writeWith("a.jpg", jpeg, segments);
    EXPECT_TRUE(encoded("a.jpg").substr(2, 18) == expected);
    EXPECT_TRUE(made("resize a.jpg out.jpg 7x", "out.jpg").substr(2, 18) == expected);
    EXPECT_TRUE(encoded("a.jpg", "--strip").substr(2, 18) == none);
  }
}

}  // namespace
