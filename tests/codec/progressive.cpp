// Progressive files against sequential ones of the same coefficients: the same pictures, to the last bit.
#include <gtest/gtest.h>
#include <memory>
#include "codec/decoder.h"
#include "support/paths.h"
#include "support/scans.h"

namespace {

using jpeg::Damage;
using scans::Bytes, scans::Picture, scans::Scan, scans::Script, scans::Writer;

struct Decoded {
  Damage damage;
  Bytes pixels;
};
Decoded decode(const Bytes& file, const jpeg::Options& options = {}) {
  // A copy of just this size, whose end a sanitizer watches.
  const std::unique_ptr<uint8_t[]> copy(new uint8_t[file.size()]);
  std::copy(file.begin(), file.end(), copy.get());
  jpeg::Decoder decoder(copy.get(), file.size(), options);
  const size_t step = size_t(decoder.width()) * size_t(decoder.channels());
  Bytes pixels(step * size_t(decoder.height()));
  decodeTo(decoder, pixels.data(), ptrdiff_t(step));
  return {decoder.damage(), std::move(pixels)};
}
Bytes join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}
void expectRefused(const Bytes& file, const std::string& part) {
  jpeg::Options strict;
  strict.strict = true;
  try {
    decode(file, strict);
    ADD_FAILURE() << "not refused: " << part;
  } catch (const jpeg::Error& e) {
    EXPECT_NE(std::string(e.what()).find(part), std::string::npos) << e.what();
  }
}

Bytes sequential(const Picture& picture, unsigned seed) {
  Scan all;
  for (int i = 0; i < int(picture.components.size()); ++i) all.components.push_back(i);
  return Writer(picture, seed).file({all}, false);
}
void expectSequentialPicture(const Picture& picture, const Script& script, unsigned seed, bool fused) {
  jpeg::Options options;
  options.fused = fused;
  const Decoded expected = decode(sequential(picture, seed), options);
  const Decoded got = decode(Writer(picture, seed).file(script, true), options);
  ASSERT_EQ(expected.damage, Damage::kNone) << "seed " << seed;
  ASSERT_EQ(got.damage, Damage::kNone) << "seed " << seed;
  const auto differ = std::mismatch(got.pixels.begin(), got.pixels.end(), expected.pixels.begin());
  ASSERT_TRUE(differ.first == got.pixels.end())
      << "seed " << seed << ", sample " << differ.first - got.pixels.begin() << " of " << picture.width << " x "
      << picture.height << ": got " << int(*differ.first) << ", expected " << int(*differ.second);
}

Picture grey(int width, int height, unsigned seed, unsigned sparse) {
  std::mt19937 random(seed);
  Picture picture(width, height, {{1, 1}});
  picture.fill(random, sparse);
  return picture;
}

}  // namespace

TEST(Progressive, EveryScriptGivesTheSequentialPicture) {
  constexpr int kFactors[][3] = {{0x22, 0x11, 0x11}, {0x11, 0x11, 0x11}, {0x21, 0x11, 0x11}, {0x12, 0x11, 0x11},
                                 {0x22, 0x12, 0x21}, {0x11, 0x22, 0x12}, {0x21, 0x21, 0x21}, {0x11}};
  for (unsigned seed = 0; seed < 500; ++seed) {
    const Path& path = kPaths[seed / 8 % std::size(kPaths)];
    if (!processorHas(path)) continue;
    forcePath(path);
    SCOPED_TRACE(path);
    std::mt19937 random(seed);
    std::vector<scans::Component> components;
    for (const int f : kFactors[seed % 8])
      if (f) components.push_back({f >> 4, f & 15});
    Picture picture(1 + int(random() % 90), 1 + int(random() % 90), std::move(components));
    picture.fill(random, 1 + random() % 8);
    expectSequentialPicture(picture, scans::anyScript(picture, random), seed, seed % 16 == 0);
    if (HasFatalFailure()) break;
  }
  velStaticInit();
}

TEST(Progressive, RunsMayBeLongerThanACodeTells) {
  const Script script = {{{0}, 0, 0, 0, 0}, {{0}, 1, 63, 0, 2}, {{0}, 1, 63, 2, 1}, {{0}, 1, 63, 1, 0}};
  for (const unsigned sparse : {3u, 500u, 20000u, 1000000u})
    expectSequentialPicture(grey(2105, 1025, sparse, sparse), script, sparse, false);
}

// As many scans as there can be.
TEST(Progressive, EveryBitOfEveryCoefficientMayHaveAScan) {
  Script script;
  for (int k = 0; k < 64; ++k)
    for (int low = 13; low >= 0; --low) script.push_back({{0}, k, k, low == 13 ? 0 : low + 1, low});
  expectSequentialPicture(grey(70, 50, 1, 2), script, 1, false);
}

// ---- Damage

namespace {

constexpr int kWide = 6, kHigh = 4, kBlocks = kWide * kHigh;

// A grey picture's file, of which tests replace parts.
struct Parts {
  Picture picture = grey(kWide * 8, kHigh * 8, 7, 1);
  Script script;
  Bytes head, end = {0xFF, 0xD9};
  std::vector<Bytes> scans;

  explicit Parts(Script s) : script(std::move(s)) {
    Writer writer(picture, 1);
    head = writer.head(0xC2);
    for (const Scan& scan : script) scans.push_back(writer.scan(scan, true));
  }
  // The first of the scans.
  Bytes upTo(size_t count) const {
    Bytes all = head;
    for (size_t i = 0; i < count; ++i) all.insert(all.end(), scans[i].begin(), scans[i].end());
    return all;
  }
  Bytes whole() const { return join({upTo(scans.size()), end}); }
};
// In front of a scan's data: two tables, the restart interval, and the scan's header.
constexpr size_t kScanHead = 2 * 277 + 6 + 10;

bool sameBlock(const Bytes& a, const Bytes& b, int n) {
  for (int y = 0; y < 8; ++y) {
    const ptrdiff_t at = ((n / kWide * 8 + y) * kWide + n % kWide) * 8;
    if (!std::equal(a.begin() + at, a.begin() + at + 8, b.begin() + at)) return false;
  }
  return true;
}

bool isFlat(const Bytes& a, int n) {
  const size_t at = size_t(n / kWide * 8 * kWide + n % kWide) * 8;
  bool flat = true;
  for (size_t y = 0; y < 8; ++y)
    for (size_t x = 0; x < 8; ++x) flat &= a[at + y * kWide * 8 + x] == a[at];
  return flat;
}

const Script kUsual = {{{0}, 0, 0, 0, 1}, {{0}, 1, 5, 0, 2}, {{0}, 6, 63, 0, 1},
                       {{0}, 1, 5, 2, 1}, {{0}, 0, 0, 1, 0}, {{0}, 1, 63, 1, 0}};

}  // namespace

TEST(Progressive, WhatIsCutIsKnownUpToThere) {
  const Parts p(kUsual);
  for (size_t i = 0; i < p.scans.size(); ++i) {
    // Before the first scan there is a picture in mid-grey.
    const Bytes before = i ? decode(join({p.upTo(i), p.end})).pixels : Bytes(size_t(kBlocks * 64), 128);
    const Bytes after = decode(join({p.upTo(i + 1), p.end})).pixels;
    for (size_t length = kScanHead + 1; length < p.scans[i].size(); ++length) {
      const Bytes cut = join({p.upTo(i), Bytes(p.scans[i].begin(), p.scans[i].begin() + ptrdiff_t(length))});
      for (const Bytes& file : {cut, join({cut, p.end})}) {
        const Decoded got = decode(file);
        int n = 0;
        while (n < kBlocks && sameBlock(got.pixels, after, n)) ++n;
        n += p.script[i].high > 0 && p.script[i].first > 0;  // this one is so up to the cut
        while (n < kBlocks && sameBlock(got.pixels, before, n)) ++n;
        ASSERT_GE(n, kBlocks) << "scan " << i << " cut at " << length;
        ASSERT_EQ(got.damage, Damage::kCut) << "scan " << i << " cut at " << length;
      }
      expectRefused(cut, "cut short");
    }
  }
}

TEST(Progressive, DamageCostsAnIntervalAndWhatDependsOnIt) {
  // The intervals of each scan; which one is damaged in which; and the blocks that may then differ.
  const struct {
    int restarts[4];
    size_t scan;
    int interval, from, to;
  } kCases[] = {
      {{4, 4, 4, 4}, 0, 2, 8, 12}, {{4, 4, 4, 4}, 1, 2, 8, 12},  {{4, 4, 4, 4}, 2, 0, 0, 4},
      {{1, 1, 1, 1}, 3, 9, 9, 10}, {{4, 4, 6, 6}, 1, 2, 8, 12},  {{4, 4, 6, 5}, 1, 1, 4, 15},
      {{0, 4, 0, 0}, 1, 1, 4, 24}, {{4, 4, 4, 4}, 3, 4, 16, 20},
  };
  for (const auto& c : kCases) {
    Script script = {{{0}, 0, 0, 0, 0}, {{0}, 1, 63, 0, 2}, {{0}, 1, 63, 2, 1}, {{0}, 1, 63, 1, 0}};
    for (size_t i = 0; i < 4; ++i) script[i].restart = c.restarts[i];
    Parts p(script);
    const Bytes whole = decode(p.whole()).pixels;
    Bytes& scan = p.scans[c.scan];
    std::vector<ptrdiff_t> marks{ptrdiff_t(kScanHead) - 2};  // in front of each interval, and at the end
    for (size_t at = kScanHead; at + 1 < scan.size(); ++at)
      if (scan[at] == 0xFF && scan[at + 1] != 0) marks.push_back(ptrdiff_t(at));
    marks.push_back(ptrdiff_t(scan.size()));
    Bytes ones;
    for (int i = 0; i < 9; ++i) ones.insert(ones.end(), {0xFF, 0});
    const auto first = scan.begin() + marks[size_t(c.interval)] + 2,
               last = scan.begin() + marks[size_t(c.interval) + 1];
    const Bytes before(scan.begin(), first), after(last, scan.end());
    // Codes that are none; nothing at all.
    for (const Bytes& instead : {Bytes(ones), Bytes()}) {
      scan = join({before, instead, after});
      const Decoded got = decode(p.whole());
      EXPECT_EQ(got.damage, Damage::kCorrupt) << "scan " << c.scan;
      bool differs = false;
      for (int n = 0; n < kBlocks; ++n) {
        const bool same = sameBlock(got.pixels, whole, n);
        ASSERT_TRUE(same || (n >= c.from && n < c.to)) << "scan " << c.scan << ", block " << n;
        differs |= !same;
        // Of AC coefficients that are lost there is nothing to refine.
        const int interval = script[1].restart;
        const bool lost = c.scan == 1 && n / interval == c.interval;
        ASSERT_TRUE(!lost || isFlat(got.pixels, n)) << "block " << n;
      }
      EXPECT_TRUE(differs) << "scan " << c.scan;
      expectRefused(p.whole(), "corrupt");
    }
  }
}

TEST(Progressive, ScansThatDoNotGoOnAreSkipped) {
  const Parts p(kUsual);
  const Bytes whole = decode(p.whole()).pixels;
  for (size_t i = 0; i < p.scans.size(); ++i)
    for (size_t again = 0; again < p.scans.size(); ++again) {
      if (again == i + 1) continue;
      // Scan i, then one out of turn, then the others.
      Bytes file = join({p.upTo(i + 1), p.scans[again]});
      for (size_t k = i + 1; k < p.scans.size(); ++k) file.insert(file.end(), p.scans[k].begin(), p.scans[k].end());
      if (again > i && (kUsual[again].high == 0 || again == 4 || (again == 3 && i >= 1))) continue;  // may come earlier
      const Decoded got = decode(join({file, p.end}));
      ASSERT_EQ(got.damage, Damage::kCorrupt) << i << " " << again;
      ASSERT_TRUE(got.pixels == whole) << i << " " << again;
      expectRefused(join({file, p.end}), "does not go on");
    }
}

TEST(Progressive, HeadersEndThePictureOnlyBeforeItsFirstScan) {
  const Parts p(kUsual);
  for (const Bytes& wrong : {Bytes{0xFF, 0xC4, 0, 3, 0}, Bytes{0xFF, 0xDB, 0, 1}, Bytes{0xFF, 0xC9, 0, 2},
                             Bytes{0xFF, 0xDA, 0, 8, 1, 1, 0, 64, 64, 0}, Bytes{0xFF, 0xDA, 0, 8, 1, 1, 0, 0, 1, 0},
                             Bytes{0xFF, 0xDA, 0, 8, 1, 1, 0, 9, 8, 0}, Bytes{0xFF, 0xDA, 0, 8, 1, 1, 0, 1, 1, 0x31},
                             Bytes{0xFF, 0xDA, 0, 8, 1, 1, 0, 1, 1, 0x0E}, Bytes{0xFF, 0xDA, 0, 8, 1, 1, 1, 1, 1, 0}}) {
    EXPECT_THROW(decode(join({p.head, wrong, p.scans[0], p.end})), jpeg::Error);
    const Decoded got = decode(join({p.upTo(2), wrong, p.scans[2], p.end}));
    EXPECT_EQ(got.damage, Damage::kCorrupt);
    EXPECT_TRUE(got.pixels == decode(join({p.upTo(2), p.end})).pixels);
  }
}

TEST(Progressive, APictureWithoutAnEndIsWholeWhereAllBitsAreThere) {
  const Parts p(kUsual);
  EXPECT_EQ(decode(p.upTo(6)).damage, Damage::kNone);
  EXPECT_EQ(decode(p.upTo(5)).damage, Damage::kCut);
  EXPECT_EQ(decode(join({p.upTo(5), p.end})).damage, Damage::kNone);
  EXPECT_EQ(decode(join({p.head, p.scans[1], p.end})).damage, Damage::kCut);
}
