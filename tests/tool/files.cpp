// What a command leaves in the file system, and what it takes of memory, when all is not as it should be.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <thread>
#include "output_file.h"
#include "run.h"

namespace {

class Files : public InDirectory {
 protected:
  using Kind = OutputFile::Unfinished;
  static constexpr Kind kKinds[] = {Kind::kNamelessIfPossible, Kind::kNamed};

  void writeOut(const std::string& name, const std::string& text, Kind kind) const {
    OutputFile file(at(name), kind);
    file.write(text.data(), text.size());
    file.commit();
  }
  unsigned mode(const std::string& name) const {
    struct stat file = {};
    lstat(at(name).c_str(), &file);
    return file.st_mode & (S_IFMT | 0777);
  }
  std::vector<std::string> listed() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(at(""))) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
  }
  // What becomes of a child that does this, or runs the program; it is given a chance to do something to it.
  int status(const std::function<void()>& child, const std::function<void(pid_t)>& parent,
             rusage* usage = nullptr) const {
    const pid_t pid = fork();
    if (pid == 0) {
      if (chdir(at("").c_str()) == 0) child();
      _exit(99);
    }
    parent(pid);
    int status = -1;
    rusage used;
    wait4(pid, &status, 0, usage ? usage : &used);
    return status;
  }
};

TEST_F(Files, KeepTheirModeAndLinks) {
  mkdir(at("folder").c_str(), 0777);
  const mode_t mask = umask(027);
  for (const Kind kind : kKinds) {
    writeOut("new", "new", kind);
    EXPECT_EQ(mode("new"), S_IFREG | 0640u);
    for (const unsigned before : {0600u, 0664u, 0755u}) {
      chmod(at("new").c_str(), before);
      writeOut("new", std::to_string(before), kind);
      EXPECT_EQ(mode("new"), S_IFREG | before);
      EXPECT_EQ(read("new"), std::to_string(before));
    }
    ASSERT_EQ(symlink("folder/to", at("link").c_str()) | symlink("../end", at("folder/to").c_str()), 0);
    for (const char* text : {"to nothing yet", "to a file"}) {
      writeOut("link", text, kind);
      EXPECT_EQ(mode("link") & S_IFMT, unsigned(S_IFLNK));
      EXPECT_EQ(read("end"), text);
    }
    const std::string longName(250, 'n');
    writeOut(longName, "first", kind);
    writeOut(longName, "second", kind);
    EXPECT_EQ(read(longName), "second");
    OutputFile(at("given up"), kind).write("part", 4);
    EXPECT_EQ(listed(), (std::vector<std::string>{"end", "folder", "link", "new", longName}));
    for (const char* name : {"new", "link", "folder/to", "end", longName.c_str()}) std::filesystem::remove(at(name));
  }
  umask(mask);
  ASSERT_EQ(symlink("loop", at("loop").c_str()), 0);
  EXPECT_THROW(OutputFile{at("loop")}, std::runtime_error);
}

// The program waits for its picture, with OUT open.
TEST_F(Files, SignalsLeaveNothingBehind) {
  ASSERT_EQ(mkfifo(at("in").c_str(), 0600), 0);
  const auto isOpen = [&](pid_t pid) {
    for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/fd")) {
      std::error_code none;
      const std::string file = std::filesystem::read_symlink(entry, none);
      if (file.find(at("")) == 0 && file != at("in")) return true;
    }
    return false;
  };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    int in = -1;
    const int result = status([] { execl(ORV_PROGRAM, "orv", "encode", "in", "out.jpg", nullptr); },
                              [&](pid_t pid) {
                                in = open(at("in").c_str(), O_WRONLY);
                                EXPECT_EQ(::write(in, "P6 64 64 255\n", 13), 13);
                                for (int i = 0; i < 500 && !isOpen(pid); ++i) usleep(10000);
                                kill(pid, signal);
                              });
    close(in);
    EXPECT_TRUE(WIFSIGNALED(result) && WTERMSIG(result) == signal) << result;
    EXPECT_EQ(listed(), (std::vector<std::string>{"in"})) << signal;
    for (const Kind kind : kKinds) {
      const int killed = status(
          [&] {
            OutputFile file("out", kind);
            raise(signal);
          },
          [](pid_t) {});
      EXPECT_TRUE(WIFSIGNALED(killed) && WTERMSIG(killed) == signal) << killed;
      EXPECT_EQ(listed(), (std::vector<std::string>{"in"})) << signal;
    }
  }
  writePicture("picture", 300, 300);
  const Outcome o = run("ulimit -f 1; " ORV_PROGRAM " swap --order bgr picture OUT.ppm");
  EXPECT_EQ(o.code, 1);
  EXPECT_EQ(o.err, "orv: OUT.ppm: cannot write: File too large\n");
  EXPECT_EQ(listed(), (std::vector<std::string>{"err.txt", "in", "out.txt", "picture"}));
}

// Threads that begin files, complete them or give them up all the time.
TEST_F(Files, SignalsLeaveNothingOfManyFilesBehind) {
  const auto writeMany = [](int number) {
    for (int i = 0;; i = (i + 1) % 5) {
      OutputFile file("whole" + std::to_string(5 * number + i), kKinds[i % 2]);
      file.write("first ", 6);
      file.write("second", 6);
      if (i != 3) file.commit();
    }
  };
  for (int i = 0; i < 60; ++i) {
    const int signal = i % 2 ? SIGINT : SIGTERM;
    const int killed = status(
        [&] {
          for (int number = 1; number < 4; ++number) std::thread(writeMany, number).detach();
          writeMany(0);
        },
        [&](pid_t pid) {
          usleep(useconds_t(1000 + 700 * i));
          kill(pid, signal);
        });
    EXPECT_TRUE(WIFSIGNALED(killed) && WTERMSIG(killed) == signal) << killed;
    for (const std::string& name : listed())
      ASSERT_TRUE(name.find("whole") == 0 && read(name) == "first second") << i << " " << name << ": " << read(name);
  }
  EXPECT_GT(listed().size(), 3u);  // some were completed, however busy the machine is
}

// Messages go nowhere, and above all not into OUT.
TEST_F(Files, StandardFilesMayBeClosed) {
  writePicture("picture", 100, 100);
  must(ORV_PROGRAM " encode picture a.jpg");
  write("cut.jpg", read("a.jpg").substr(0, 3000));
  EXPECT_EQ(orv("swap --order bgr cut.jpg expected.ppm").code, 2);
  for (const std::string closed : {"2>&-", "<&- 2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    EXPECT_EQ(orv("swap --order bgr cut.jpg out.ppm " + closed).code, 2) << closed;
    EXPECT_TRUE(read("out.ppm") == read("expected.ppm")) << closed;
  }
  const Outcome o = orv("info >&-");
  EXPECT_EQ(o.code, 1);
  EXPECT_EQ(o.err, "orv: cannot write to standard output\n");
}

TEST_F(Files, PicturesGoThroughPipes) {
  writePicture("p.ppm", 60, 40);
  const Bytes jpeg = encoded("p.ppm"), ppm = decoded("encoded");
  must(ORV_PROGRAM " resize encoded half.jpg 50% && " ORV_PROGRAM " convert encoded --to yuv420 raw");
  const std::string from = "--from yuv420 --size 60x40";
  must(ORV_PROGRAM " convert raw " + from + " back.ppm");
  const Bytes half = decoded("half.jpg"), raw = read("raw"), back = read("back.ppm");
  const struct {
    const char* commands;
    const Bytes& expected;
  } kCases[] = {
      {"cat p.ppm | orv encode - -", jpeg},
      {"orv decode encoded -", ppm},
      {"orv decode - - <encoded", ppm},
      {"cat encoded | orv resize - - 50% --to jpeg | orv decode - -", half},
      {"orv resize --to jpeg encoded unnamed 50% && orv decode - - <unnamed", half},
      {"cat encoded | orv swap --order rgb --to ppm - -", ppm},
      {"orv filter - --box 1x1 --to ppm - <encoded", ppm},
      {"orv convert - --to yuv420 - <encoded | orv convert - --from yuv420 --size 60x40 --to ppm -", back},
      {"orv convert --to yuv420 -- encoded -", raw},
      {"cp encoded ./- && orv decode ./- decoded && cat decoded", ppm},
      {"cp encoded ./-a && orv decode -- -a -", ppm},
      {"orv encode --time --repeat 1 - - <p.ppm", jpeg},
  };
  for (const auto& c : kCases) {
    const Outcome o = run("orv() { " ORV_PROGRAM " \"$@\"; }; " + std::string(c.commands));
    EXPECT_EQ(o.code, 0) << c.commands << o.err;
    EXPECT_EQ(o.err.find(": ") != Bytes::npos, strstr(c.commands, "--time") != nullptr) << c.commands << o.err;
    EXPECT_TRUE(o.out == c.expected) << c.commands << ": " << o.out.size() << " bytes";
  }
  EXPECT_EQ(orv("compare p.ppm - <p.ppm").out, "the pictures are the same\n");
  EXPECT_EQ(orv("sheet --to jpeg encoded -").out.substr(0, 2), "\xFF\xD8");
}

TEST_F(Files, PipesThatGoWrong) {
  writePicture("p.ppm", 300, 300);
  must(ORV_PROGRAM " encode p.ppm a.jpg");
  write("cut.jpg", read("a.jpg").substr(0, 9000));
  const struct {
    const char* arguments;
    int code;
    const char* error;
  } kCases[] = {
      {"resize a.jpg - 50%", 2,
       "standard output has no name that would say what it is to be: give --to jpeg or --to ppm"},
      {"resize --to jpeg a.jpg OUT.ppm 50%", 2, "OUT.ppm: its name says something else than --to"},
      {"resize --to png a.jpg - 50%", 2, "--to takes jpeg or ppm"},
      {"convert --to jpeg a.jpg -", 2, "convert takes either --to or --from (see orv convert --help)"},
      {"compare - - <a.jpg", 2, "only one picture can be standard input"},
      {"thumb - OUT", 2, "thumb works on folders, not on standard input or output (a folder of the name - is ./-)"},
      {"decode - - </dev/null", 1, "standard input: the file is empty"},
      {"decode - OUT <p.ppm", 1, "standard input: not a JPEG file"},
      {"encode --strict - - <cut.jpg", 1, "standard input: the picture is cut short"},
      {"resize --strict --to ppm - - 9 <cut.jpg", 1, "standard input: the picture is cut short"},
      {"decode a.jpg - >/dev/full", 1, "standard output: cannot write: No space left on device"},
      {"decode a.jpg - >&-", 1, "standard output: cannot write: Bad file descriptor"},
      {"resize --to jpeg p.ppm - 70000x1", 1,
       "standard output: 70000 x 1 is too large for JPEG: decoders take 65500 a side"},
  };
  for (const auto& c : kCases) {
    const Outcome o = orv(c.arguments);
    EXPECT_EQ(o.code, c.code) << c.arguments;
    EXPECT_EQ(o.err, "orv: " + std::string(c.error) + "\n") << c.arguments;
    EXPECT_EQ(o.out, "") << c.arguments;
    EXPECT_FALSE(exists("OUT")) << c.arguments;
  }
  const Outcome cut = orv("decode - - <cut.jpg");
  EXPECT_EQ(cut.code, 2);
  EXPECT_EQ(cut.err, "orv: standard input: warning: the picture is cut short, the rest is mid-grey\n");
  EXPECT_EQ(cut.out.size(), read("p.ppm").size());
  const Outcome unread = run("{ " ORV_PROGRAM " decode a.jpg -; echo $? >&2; } | true");
  EXPECT_EQ(unread.err, "orv: standard output: cannot write: Broken pipe\n1\n");
}

// What a header says takes no memory until the file is seen to hold it.
TEST_F(Files, PromisesAreNotBelieved) {
  writePicture("picture", 64, 64);
  must(ORV_PROGRAM " encode picture a.jpg");
  Bytes jpeg = read("a.jpg");
  jpeg.replace(jpeg.find("\xFF\xC0") + 5, 4, "\x3E\x80\x3E\x80");  // 16000 x 16000
  write("bad.jpg", jpeg);
  write("bad.ppm", "P6 50000 50000 255\n");
  write("less.ppm", "P6 16000 16000 255\n");
  write("bad.raw", "samples");
  for (const std::string arguments :
       {"convert bad.ppm --to yuv420 OUT.raw", "convert less.ppm --to yuv420 OUT.raw",
        "convert bad.raw --from yuv420 --size 16000x16000 OUT.ppm", "encode --optimize bad.jpg OUT.jpg",
        "decode bad.jpg OUT.ppm", "decode --time bad.jpg", "resize bad.jpg OUT.ppm 1%", "resize less.ppm OUT.ppm 1%",
        "filter --box 3x3 bad.ppm OUT.ppm", "cat less.ppm | resize /dev/stdin OUT.ppm 1%",
        "cat bad.ppm | convert /dev/stdin --to yuv420 OUT.raw",
        "cat bad.raw | convert /dev/stdin --from yuv420 --size 16000x16000 OUT.ppm"}) {
    const size_t pipe = arguments.find("| ") + 1;
    const std::string command =
        arguments.substr(0, pipe) + " exec " ORV_PROGRAM " " + arguments.substr(pipe + (pipe > 0)) + " 2>err.txt";
    rusage used = {};
    const int result = status([&] { execl("/bin/sh", "sh", "-c", command.c_str(), nullptr); }, [](pid_t) {}, &used);
    EXPECT_TRUE(WIFEXITED(result) && WEXITSTATUS(result) == 1) << command;
    const Bytes error = read("err.txt");
    EXPECT_TRUE(error.find("orv: bad.") == 0 || error.find("orv: less.") == 0 || error.find("orv: /dev/stdin: ") == 0)
        << error;
    EXPECT_EQ(error.find('\n'), error.size() - 1);
    EXPECT_LT(used.ru_maxrss, 300 << 10) << command;  // KiB
  }
}

TEST_F(Files, NamesAreShownWithoutControlCharacters) {
  const std::string name = "a\nb\x1B\x7F\tc\xC3\xA4\xC2\x9Bz";
  write(name + ".jpg", "no JPEG");
  const std::string shown = "a\\nb\\x1B\\x7F\\tc\xC3\xA4\\xC2\\x9Bz.jpg: ";
  EXPECT_EQ(orv("decode '" + name + ".jpg' OUT").err, "orv: " + shown + "not a JPEG file\n");
  mkdir(at("in").c_str(), 0777);
  std::filesystem::rename(at(name + ".jpg"), at("in/" + name + ".jpg"));
  writePicture("in/x\ny.ppm", 3, 2);
  const Outcome o = orv("thumb in out");
  EXPECT_EQ(o.err.find("orv: in/" + shown + "neither a JPEG nor a binary PPM (P6) or PGM (P5) file\n1 thumb"), 0u);
  EXPECT_EQ(o.out, "in/x\\ny.ppm -> out/x\\ny.ppm.jpg, 3 x 2\n");
}

}  // namespace
