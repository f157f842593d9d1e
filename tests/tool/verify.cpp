// orv verify: on what is right, and on faults in one primitive.
#include <regex>
#include "run.h"
#include "support/paths.h"

namespace {

class Verify : public InDirectory {
 protected:
  bool canBeFaulty() const { return processorHas(kPaths[3]) && run("grep -q '__[at]san_init' " ORV_PROGRAM).code != 0; }
  // With a fault, as faulty.c has them, in sNot_8u.
  Outcome faulty(const std::string& fault, const std::string& options = "") const {
    return run("ORV_FAULT=" + fault + " LD_PRELOAD=" ORV_FAULTY " " ORV_PROGRAM " verify --quick " + options +
               " logic");
  }
};

// The results of this processor, in this word size, on each of its paths.
TEST_F(Verify, DigestsAreThoseOfTheTable) {
  std::ifstream file(ORV_DIGESTS);
  const Outcome table = orv("verify --table");
  EXPECT_EQ(table.code, 0) << table.err;
  EXPECT_EQ(table.out, Bytes(std::istreambuf_iterator<char>(file), {})) << "orv verify --table makes it anew";
  const Outcome quick = orv("verify --quick");
  EXPECT_EQ(quick.code, 0) << quick.out << quick.err;
  EXPECT_NE(quick.out.find("every result is as it should be, on w7"), Bytes::npos) << quick.out;
  for (const char* wrong : {"--table box", "--quick --table", "nothing", "--path z1", "--calls"}) {
    const Outcome o = orv(std::string("verify ") + wrong);
    EXPECT_EQ(o.code, 2) << wrong;
    EXPECT_TRUE(std::regex_match(o.err, std::regex("orv: [^\n]+\n"))) << o.err;
  }
}

TEST_F(Verify, ChoosesPathsAndFamilies) {
  for (const Path& path : kPaths) {
    if (!processorHas(path)) continue;
    const Outcome o = orv(std::string("verify --quick --path ") + path.name + " norm A-law");
    EXPECT_EQ(o.code, 0) << o.out << o.err;
    const std::regex all("family.*\nA-law +4  \\w{16}\nnorm +1  \\w{16}\nevery.*, on " + std::string(path.name) + "\n");
    EXPECT_TRUE(std::regex_match(o.out, all)) << o.out;
  }
}

TEST_F(Verify, NamesWhatDiffers) {
  if (!canBeFaulty()) GTEST_SKIP() << "no p8 here, or a sanitizer, which must be loaded first";
  const Outcome value = faulty("value"), mode = faulty("mode"), all = faulty("all"),
                alone = faulty("value", "--path p8");
  for (const Outcome& o : {value, mode, all, alone}) EXPECT_EQ(o.code, 1) << o.out << o.err;
  const auto says = [](const Outcome& o, const char* what) {
    EXPECT_TRUE(std::regex_search(o.out, std::regex(what))) << what << "\n" << o.out;
  };
  says(value, "logic .*  on w7 v8 s8.*\n");
  says(value, "logic .*  on p8, instead of ");
  says(value,
       "\n  sNot_8u on p8: unlike w7, call [0-9]+, buffer [01], row 0, byte 17: 0x.. instead of 0x..\n"
       " +sNot_8u\\(buffer 0 of [0-9]+ bytes");
  says(value, "\nresults are NOT as they should be");
  says(mode, "sNot_8u on p8: unlike w7, call [0-9]+, it leaves another MXCSR\n");
  says(all, "\n  sNot_8u on w7 v8 s8 p8.*: \\w{16} instead of \\w{16}\n");
  says(alone, "sNot_8u on p8: \\w{16} instead of \\w{16}\n");
  // Nothing else is named.
  EXPECT_FALSE(std::regex_search(value.out, std::regex("sNot_8u on [^p]|\n  (?!sNot_8u|  )"))) << value.out;
}

TEST_F(Verify, NamesWhatDies) {
  if (!canBeFaulty()) GTEST_SKIP() << "no p8 here, or a sanitizer, which must be loaded first";
  EXPECT_EQ(faulty("trap").err.find("orv: verify: signal 4 in sNot_8u on p8\n"), 0u);
}

}  // namespace
