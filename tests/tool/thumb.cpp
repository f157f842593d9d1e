// orv thumb: a folder's photos, what is said of them, and what cannot be done.
#include <algorithm>
#include <cstring>
#include <regex>
#include "pictures.h"

namespace {

class Thumb : public Pictures {
 protected:
  void SetUp() override {
    Pictures::SetUp();
    std::filesystem::create_directory(at("in"));
  }
  // The names in a folder, each with a space behind it.
  std::string listed(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(at(folder))) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    std::string all;
    for (const std::string& name : names) all += name + " ";
    return all;
  }
  // Without the closing line on standard error, which says so of how many were made and what else there was.
  Outcome thumb(const std::string& arguments, int made, const std::string& others = "0 failed") const {
    Outcome o = orv("thumb " + arguments);
    const size_t end = o.err.rfind('\n', o.err.size() - 2) + 1;
    const std::string closing = o.err.substr(end), text = std::to_string(made) + " thumbnails in [0-9.]+ s, ";
    EXPECT_TRUE(std::regex_match(closing, std::regex(text + "[0-9.]+ MP/s, " + others + "\n"))) << o.err;
    o.err.resize(end);
    return o;
  }
};

TEST_F(Thumb, EveryPhotoIsReducedAndNothingElse) {
  must("cp " ORV_PHOTO " in/a.jpg && cp " ORV_PHOTO " in/B.JPEG && cp " ORV_PHOTO
       " in/unnamed && ln -s a.jpg in/link.jpg");
  writePicture("in/small.ppm", 150, 100);
  writePicture("in/tall.pgm", 20, 1000, 1);
  writePicture("in/line.pnm", 5000, 1);
  write("in/notes.txt", "no photo");
  write("in/P", "P6");
  std::filesystem::create_directories(at("in/folder.jpg/more"));
  const Outcome o = thumb("--size 150 --quality 70 in out", 7);
  EXPECT_EQ(o.code, 0);
  EXPECT_EQ(o.err, "");
  EXPECT_EQ(o.out,
            "in/B.JPEG -> out/B.JPEG, 150 x 99\n"
            "in/a.jpg -> out/a.jpg, 150 x 99\n"
            "in/line.pnm -> out/line.pnm.jpg, 150 x 1\n"
            "in/link.jpg -> out/link.jpg, 150 x 99\n"
            "in/small.ppm -> out/small.ppm.jpg, 150 x 100\n"
            "in/tall.pgm -> out/tall.pgm.jpg, 3 x 150\n"
            "in/unnamed -> out/unnamed.jpg, 150 x 99\n");
  EXPECT_EQ(listed("out"), "B.JPEG a.jpg line.pnm.jpg link.jpg small.ppm.jpg tall.pgm.jpg unnamed.jpg ");
  must(ORV_PROGRAM " resize --method super --quality 70 in/a.jpg expected.jpg 150x99");
  EXPECT_TRUE(read("out/a.jpg") == read("expected.jpg"));
  EXPECT_TRUE(read("out/small.ppm.jpg") == encoded("in/small.ppm", "--quality 70"));
  EXPECT_EQ(decoded("out/tall.pgm.jpg").substr(0, 9), "P5\n3 150\n");
  for (const Path& path : kPaths) {  // over what is there
    if (!processorHas(path)) continue;
    EXPECT_EQ(orv(std::string("thumb --size 150 --quality 70 in out --path ") + path.name).code, 0);
    EXPECT_TRUE(read("out/a.jpg") == read("expected.jpg")) << path;
  }
  must(ORV_PROGRAM " thumb in out");
  EXPECT_EQ(decoded("out/a.jpg").substr(0, 11), "P6\n256 169\n");
}

TEST_F(Thumb, BadFilesAreReportedAndTheOthersDone) {
  writePicture("in/a.ppm", 300, 200);
  writePicture("in/z.ppm", 200, 300);
  write("in/bad.jpg", "no JPEG");
  std::ifstream photo(ORV_PHOTO, std::ios::binary);
  write("in/cut.jpg", Bytes(std::istreambuf_iterator<char>(photo), {}).substr(0, 90000));
  write("in/empty.jpg", "");
  write("in/huge.ppm", "P6 99999999 99999999 255\n");
  write("in/short.pgm", "P5 1000 1000 255\nabc");
  write("in/z.ppm.jpg", read("in/cut.jpg"));
  const Outcome o = thumb("in out", 3, "5 failed");
  EXPECT_EQ(o.code, 1);
  EXPECT_EQ(o.out,
            "in/a.ppm -> out/a.ppm.jpg, 256 x 171\n"
            "in/cut.jpg -> out/cut.jpg, 256 x 169\n"
            "in/z.ppm -> out/z.ppm.jpg, 171 x 256\n");
  EXPECT_EQ(o.err,
            "orv: in/bad.jpg: neither a JPEG nor a binary PPM (P6) or PGM (P5) file\n"
            "orv: in/cut.jpg: warning: the picture is cut short, the rest is mid-grey\n"
            "orv: in/empty.jpg: the file is empty\n"
            "orv: in/huge.ppm: the file ends before its picture does\n"
            "orv: in/short.pgm: the file ends before its picture does\n"
            "orv: in/z.ppm.jpg: another photo has the thumbnail of this name, z.ppm.jpg\n");
  EXPECT_EQ(listed("out"), "a.ppm.jpg cut.jpg z.ppm.jpg ");
  for (const char* name : {"bad.jpg", "empty.jpg", "huge.ppm", "short.pgm", "z.ppm.jpg"})
    std::filesystem::remove(at("in/") + name);
  EXPECT_EQ(orv("thumb in out").code, 2);
  const Outcome strict = thumb("--strict in strict", 2, "1 failed");
  EXPECT_EQ(strict.code, 1);
  EXPECT_EQ(strict.err, "orv: in/cut.jpg: the picture is cut short\n");
  EXPECT_EQ(listed("strict"), "a.ppm.jpg z.ppm.jpg ");
}

// The first photos take longest, so that results wait for them: more than are kept.
TEST_F(Thumb, AnyNumberOfJobsDoesTheSame) {
  for (int i = 0; i < 90; ++i) writePicture("in/p" + std::to_string(100 + i) + ".ppm", i < 2 ? 900 : 9, i % 30 + 1);
  for (const char* name : {"in/p105.ppm", "in/p150.jpg", "in/p189.ppm"}) write(name, "bad");
  write("in/p151.ppm.jpg", "the thumbnail's name is another's");
  const Outcome one = thumb("--jobs 1 --size 5 in one", 88, "4 failed");
  EXPECT_EQ(one.code, 1);
  for (const char* jobs : {"2", "3", "1000"}) {
    Outcome o = thumb("--size 5 in more --jobs " + std::string(jobs), 88, "4 failed");
    o.out = std::regex_replace(o.out, std::regex("more/"), "one/");
    EXPECT_TRUE(o.code == one.code && o.out == one.out && o.err == one.err) << jobs << "\n" << o.out << o.err;
    must("diff -r one more && rm -r more");
  }
}

// Thumbnails are made of rows as they come, and resize makes them of whole pictures.
TEST_F(Thumb, RowByRowIsAsTheWhole) {
  std::vector<std::string> sizes;
  for (const auto& [width, height] :
       {std::pair(300, 2), std::pair(1, 3000), std::pair(701, 700), std::pair(350, 990)}) {
    sizes.push_back(std::to_string(width) + "x" + std::to_string(height));
    writePicture("in/" + sizes.back() + ".ppm", width, height, sizes.size() % 2 ? 3 : 1);
    must(ORV_PROGRAM " encode in/" + sizes.back() + ".ppm in/" + sizes.back());
  }
  for (const int longest : {1, 2, 37, 299}) {
    const Outcome o = thumb("in out --size " + std::to_string(longest), 8);
    for (const std::string& size : sizes)
      for (const std::string& photo : {size, size + ".ppm"}) {
        std::smatch match;
        ASSERT_TRUE(std::regex_search(o.out, match, std::regex(photo + ".jpg, (\\d+) x (\\d+)"))) << o.out;
        must(ORV_PROGRAM " resize --method super in/" + photo + " expected.jpg " + match.str(1) + "x" + match.str(2));
        EXPECT_TRUE(read("out/" + photo + ".jpg") == read("expected.jpg")) << photo << " to " << longest;
      }
  }
}

TEST_F(Thumb, WhatIsThereIsSkipped) {
  for (const char* name : {"in/a.ppm", "in/b.ppm", "in/c.ppm"}) writePicture(name, 30, 20);
  std::filesystem::create_directory(at("out"));
  write("out/b.ppm.jpg", "there");
  write("in/d.jpg", "bad");
  const Outcome o = thumb("--skip-existing in out", 2, "1 failed, 1 skipped");
  EXPECT_EQ(o.out, "in/a.ppm -> out/a.ppm.jpg, 30 x 20\nin/c.ppm -> out/c.ppm.jpg, 30 x 20\n");
  EXPECT_EQ(read("out/b.ppm.jpg"), "there");
  std::filesystem::remove(at("in/d.jpg"));
  EXPECT_EQ(thumb("--skip-existing in out", 0, "0 failed, 3 skipped").code, 0);
  EXPECT_EQ(thumb("in out", 3).code, 0);
  EXPECT_NE(read("out/b.ppm.jpg"), "there");
}

// Thumbnails are written through symbolic links, but not over photos.
TEST_F(Thumb, LinksToPhotosAreLeftAlone) {
  writePicture("in/a.ppm", 300, 200);
  must(ORV_PROGRAM " encode in/a.ppm in/b.jpg && cp in/b.jpg in/c.jpg && mkdir out && ln -s ../in/b.jpg out/c.jpg");
  const Bytes photo = read("in/b.jpg");
  const Outcome o = thumb("in out", 2, "1 failed");
  EXPECT_EQ(o.code, 1);
  EXPECT_EQ(o.err, "orv: out/c.jpg: the thumbnail would replace a photo: this is a link\n");
  EXPECT_TRUE(read("in/b.jpg") == photo);
}

TEST_F(Thumb, FoldersThatWillNotDo) {
  writePicture("in/a.ppm", 30, 20);
  write("file", "");
  std::filesystem::create_directory(at("none"));
  must("ln -s in same");
  for (const auto& [arguments, code, part] :
       {std::tuple("missing out", 1, "orv: missing: cannot read: "),
        std::tuple("file out", 1, "orv: file: cannot read: "),
        std::tuple("none out", 1, "orv: none: there are no JPEG, PPM or PGM files"),
        std::tuple("in in", 2, "orv: in: thumbnails would replace"),
        std::tuple("in same", 2, "orv: same: thumbnails would"),
        std::tuple("in file", 1, "orv: file: cannot write: it is there and is not a folder"),
        std::tuple("in no/out", 1, "orv: no/out: cannot make this folder: "), std::tuple("in", 2, "thumb takes FOLDER"),
        std::tuple("in out out", 2, "thumb takes FOLDER"), std::tuple("--size 0 in out", 2, "--size takes"),
        std::tuple("--size 65501 in out", 2, "--size takes"), std::tuple("--quality x in out", 2, "--quality takes"),
        std::tuple("--jobs 0 in out", 2, "--jobs takes a number from 1 to 1024")}) {
    const Outcome o = orv(std::string("thumb ") + arguments);
    EXPECT_EQ(o.code, code) << arguments;
    EXPECT_EQ(o.out, "") << arguments;
    EXPECT_TRUE(std::regex_match(o.err, std::regex("orv: [^\n]+\n"))) << o.err;
    EXPECT_NE(o.err.find(part), std::string::npos) << o.err;
    EXPECT_FALSE(exists("out")) << arguments;
  }
  EXPECT_EQ(listed("in"), "a.ppm ");
}

#ifdef ORV_SCRIPT
TEST_F(Thumb, ATerminalShowsABar) {
  writePicture("in/a.ppm", 30, 20);
  writePicture("in/c.ppm", 30, 20);
  write("in/b.jpg", "");
  for (const auto& [columns, bar] :
       {std::pair("40", "[#################################] 3/3"), std::pair("8", "3/3")}) {
    const Outcome o =
        run(ORV_SCRIPT " -qec 'stty cols " + std::string(columns) + "; " ORV_PROGRAM " thumb in out' log");
    EXPECT_EQ(o.code, 1);
    // Standard error is the same terminal: its line begins where there is nothing.
    const Bytes blank = "\r" + Bytes(size_t(std::stoi(columns)) - 1, ' ') + "\r";
    EXPECT_NE(o.out.find(blank + "orv: in/b.jpg: the file is empty\r\n"), Bytes::npos) << o.out;
    EXPECT_NE(o.out.find(Bytes(bar) + Bytes(blank.size() - 2 - strlen(bar), ' ') + "\r\n2 thumbnails in "), Bytes::npos)
        << o.out;
    EXPECT_EQ(o.out.find("->"), Bytes::npos) << o.out;
    EXPECT_TRUE(exists("out/c.ppm.jpg"));
  }
}
#endif

}  // namespace
