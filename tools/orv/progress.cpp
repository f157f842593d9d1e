#include "progress.h"
#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
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

double Progress::seconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

// After a second, the time that is left, if files go on to take as long as they did.
void Progress::draw() const {
  if (!terminal_) return;
  char text[96], line[80];
  size_t length = size_t(snprintf(text, sizeof text, " %zu/%zu", done_, files_));
  const size_t worked = done_ - skipped_;
  if (worked > 0 && done_ < files_ && seconds() >= 1) {
    const auto left = size_t(std::ceil(seconds() / double(worked) * double(files_ - done_)));
    length += size_t(snprintf(text + length, sizeof text - length, ", %zu:%02zu:%02zu left", left / 3600,
                              left / 60 % 60, left % 60));
  }
  const size_t width = std::min(columns(), sizeof line - 1);
  memset(line, ' ', width);
  line[width] = 0;
  if (width > length + 10) {
    const size_t bar = width - length - 2, full = bar * done_ / files_;
    line[0] = '[', line[bar + 1] = ']';
    memset(line + 1, '#', full);
    memset(line + 1 + full, '.', bar - full);
    memcpy(line + bar + 2, text, length);
  } else {
    memcpy(line, text + 1, std::min(length - 1, width));
  }
  printf("\r%s", line);
  fflush(stdout);
}

void Progress::done(const char* line, double megapixels) {
  ++done_;
  megapixels_ += megapixels;
  if (terminal_) return draw();
  print(stdout, "", line);
  fflush(stdout);
}

void Progress::skipped() {
  ++done_;
  ++skipped_;
  draw();
}

void Progress::failed(const char* line) {
  ++done_;
  ++failed_;
  complain(line);
}

void Progress::complain(const char* line) {
  if (terminal_) printf("\r%*s\r", int(columns()), "");
  fflush(stdout);
  ::complain(line);
  draw();
}

void Progress::close(const char* things) const {
  if (terminal_) puts("");
  fflush(stdout);
  char skipped[48] = "";
  if (skipped_) snprintf(skipped, sizeof skipped, ", %zu skipped", skipped_);
  const double time = seconds();
  fprintf(stderr, "%zu %s in %.2f s, %.1f MP/s, %zu failed%s\n", done_ - failed_ - skipped_, things, time,
          megapixels_ / std::max(time, 1e-3), failed_, skipped);
}
