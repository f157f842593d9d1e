// orv sheet: cells hold what orv resize makes, and labels can be read.
#include "pictures.h"
#include "resizer.h"

namespace {

class Sheet : public Pictures {
 protected:
  Picture sheetOf(const std::string& name) const {
    must(ORV_PROGRAM " sheet " + name + " sheet.ppm");
    return PictureReader(at("sheet.ppm")).picture();
  }
};

bool holds(const Picture& whole, int left, int top, const Picture& part) {
  for (int y = 0; y < part.height; ++y)
    if (!std::equal(part.row(y), part.row(y) + part.step(), whole.row(top + y) + left * whole.channels)) return false;
  return true;
}

// The letters of the label at a place, as lines of characters.
std::string letters(const Picture& sheet, int left, int top, int count) {
  std::string lines;
  for (int v = 0; v < 18; v += 2, lines += "\n")
    for (int u = 0; u < count * 12; u += 2) lines += sheet.row(top + v)[(left + u) * sheet.channels] == 0 ? '#' : ' ';
  return lines;
}

TEST_F(Sheet, EveryMethodIsThereWithItsName) {
  const Picture sheet = sheetOf(ORV_PHOTO);
  const Picture photo = PictureReader(ORV_PHOTO).picture();
  const VeliSize small = {320, 212};
  constexpr int kAcross = 328, kDown = 18 + 4 + 212 + 16;
  ASSERT_EQ(sheet.width, 8 + 4 * kAcross);
  ASSERT_EQ(sheet.height, 8 + 6 * kDown);
  for (int i = 0; i < 8; ++i) {
    const ResizeMethod& m = kResizeMethods[i];
    const int left = 8 + i % 4 * kAcross, top = 8 + i / 4 * 3 * kDown + 22;
    EXPECT_TRUE(holds(sheet, left, top, resized(photo, small, m.code))) << m.name;
    if (!m.antialiases) continue;
    EXPECT_TRUE(holds(sheet, left, top + kDown, resized(photo, small, m.code | velFlagAntialiasing))) << m.name;
  }
  EXPECT_EQ(letters(sheet, 8 + 3 * kAcross, 8 + 3 * kDown, 5),
            "                              \n"
            "                              \n"
            " #### #   # ####   ###  # ##  \n"
            "#     #   # #   # #   # ##  # \n"
            " ###  #   # #   # ##### #     \n"
            "    # #  ## #   # #     #     \n"
            "####   ## # ####   ###  #     \n"
            "            #                 \n"
            "            #                 \n");
}

TEST_F(Sheet, PicturesOfAnySize) {
  for (const int channels : {1, 3})
    for (const auto& [width, height] : {std::pair(1, 1), std::pair(3, 2), std::pair(2000, 1), std::pair(1, 900),
                                        std::pair(40, 60), std::pair(330, 320)}) {
      writePicture("in", width, height, channels);
      const Picture sheet = sheetOf("in");
      EXPECT_EQ(sheet.width, 8 + 4 * 328);
      EXPECT_EQ(sheet.channels, channels);
      EXPECT_LE(sheet.height, 8 + 6 * (18 + 4 + 324 + 16));
    }
  must(ORV_PROGRAM " sheet in sheet.jpg");
  EXPECT_EQ(read("sheet.jpg").substr(0, 2), "\xFF\xD8");
  write("bad", "P6 3 3 255\n");
  for (const auto& [arguments, code] :
       {std::pair("bad OUT.ppm", 1), std::pair("missing OUT.ppm", 1), std::pair("in OUT.png", 2), std::pair("in", 2),
        std::pair("--path z in OUT.ppm", 2)}) {
    const Outcome o = orv(std::string("sheet ") + arguments);
    EXPECT_EQ(o.code, code) << arguments;
    EXPECT_EQ(std::count(o.err.begin(), o.err.end(), '\n'), 1) << o.err;
    EXPECT_FALSE(exists("OUT.ppm") || exists("OUT.png")) << arguments;
  }
}

}  // namespace
