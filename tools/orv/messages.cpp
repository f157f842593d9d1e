#include "messages.h"
#include <cstring>

namespace {

bool isControl(unsigned char c) { return c < 0x20 || c == 0x7F; }
// U+0080 to U+009F are control characters, too: in UTF-8 this byte and one of these.
bool startsControl(const char* p) { return p[0] == '\xC2' && (p[1] & 0xE0) == 0x80; }

// The text piece by piece, as it is shown.
template <class Put> void forEachShown(const char* text, const Put& put) {
  bool inControl = false;  // after the first byte of two
  for (const char* p = text; *p; ++p) {
    const bool starts = startsControl(p);
    char piece[8] = {*p};
    if (*p == '\n' || *p == '\t')
      snprintf(piece, sizeof piece, *p == '\n' ? "\\n" : "\\t");
    else if (starts || inControl || isControl(static_cast<unsigned char>(*p)))
      snprintf(piece, sizeof piece, "\\x%02X", static_cast<unsigned char>(*p));
    inControl = starts;
    put(piece);
  }
}

}  // namespace

void print(FILE* to, const char* prefix, const char* line) {
  char buffer[1024];
  size_t used = 0;
  const auto flush = [&] {
    fwrite(buffer, 1, used, to);
    used = 0;
  };
  const auto put = [&](const char* piece) {
    for (; *piece; ++piece) {
      if (used == sizeof buffer) flush();
      buffer[used++] = *piece;
    }
  };
  put(prefix);
  forEachShown(line, put);
  put("\n");
  flush();
}
