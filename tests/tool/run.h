// Running programs, and the files they read and write, in a directory that goes with the test.
#pragma once
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using Bytes = std::string;

struct Outcome {
  int code;
  std::string out, err;
};

class InDirectory : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "orv.XXXXXX";
    ASSERT_TRUE(mkdtemp(name.data()));
    directory_ = name + "/";
  }
  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string at(const std::string& name) const { return directory_ + name; }
  bool exists(const std::string& name) const { return std::filesystem::exists(at(name)); }
  Bytes read(const std::string& name) const {
    std::ifstream file(at(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void write(const std::string& name, const Bytes& bytes) const { std::ofstream(at(name), std::ios::binary) << bytes; }

  // A shell command line, run in the directory.
  Outcome run(const std::string& command) const {
    const int status = system(("cd " + directory_ + " && { " + command + "; } >out.txt 2>err.txt").c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read("out.txt"), read("err.txt")};
  }
  Outcome orv(const std::string& arguments) const { return run(ORV_PROGRAM " " + arguments); }
  void must(const std::string& command) const {
    const Outcome o = run(command);
    ASSERT_EQ(o.code, 0) << command << "\n" << o.err;
  }
  // The picture that the program makes of a file.
  Bytes decoded(const std::string& name, const std::string& options = "") const {
    const Outcome o = orv("decode " + options + " " + name + " decoded");
    EXPECT_EQ(o.code, 0) << name << " " << o.err;
    EXPECT_EQ(o.err, "") << name;
    return read("decoded");
  }

  Bytes encoded(const std::string& name, const std::string& options = "") const {
    const Outcome o = orv("encode " + options + " " + name + " encoded");
    EXPECT_EQ(o.code, 0) << name << " " << o.err;
    EXPECT_EQ(o.out + o.err, "") << name;
    return read("encoded");
  }

  // A picture of slopes, edges and noise, as binary PPM or PGM.
  void writePicture(const std::string& name, int width, int height, int channels = 3) const {
    Bytes ppm = (channels == 3 ? "P6\n" : "P5\n") + std::to_string(width) + " " + std::to_string(height) + "\n255\n";
    unsigned noise = 1;
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        for (int c = 0; c < channels; ++c) {
          noise = noise * 1664525 + 1013904223;
          const int edge = (x / 11 + y / 7 + c) % 3 * 60;
          ppm += char((x * (3 - c) + y * (1 + c) + edge + int(noise >> 28)) & 255);
        }
    write(name, ppm);
  }

 private:
  std::string directory_;
};
