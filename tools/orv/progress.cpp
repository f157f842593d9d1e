#include "progress.h"
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include "messages.h"

namespace {

// Of the terminal. The last column stays free: some terminals begin a new line after it.
size_t columns() {
  winsize size = {};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1;
  return known ? size_t(size.ws_col) - 1 : 79;
}

}  // namespace

Progress::Progress(size_t files) : files_(files), terminal_(isatty(STDOUT_FILENO)) { draw(); }

Progress::~Progress() {
  if (terminal_) puts("");
}

void Progress::draw() const {
  if (!terminal_) return;
  const std::string count = " " + std::to_string(done_) + "/" + std::to_string(files_);
  const size_t width = std::min(columns(), size_t(79));
  std::string line = count.substr(1, width);
  if (width > count.size() + 10) {
    const size_t bar = width - count.size() - 2, full = bar * done_ / files_;
    line = "[" + std::string(full, '#') + std::string(bar - full, '.') + "]" + count;
  }
  printf("\r%s", line.c_str());
  fflush(stdout);
}

void Progress::done(const std::string& line) {
  ++done_;
  if (terminal_) return draw();
  puts(shown(line).c_str());
  fflush(stdout);
}

void Progress::failed() {
  ++done_;
  draw();
}

void Progress::complain(const char* line) {
  if (terminal_) printf("\r%*s\r", int(columns()), "");
  fflush(stdout);
  ::complain(line);
  draw();
}
