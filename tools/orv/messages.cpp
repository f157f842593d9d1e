#include "messages.h"
#include <cstdio>

std::string shown(const std::string& text) {
  std::string all;
  unsigned char before = 0;
  for (const char c : text) {
    const auto code = static_cast<unsigned char>(c);
    const bool control = code < 0x20 || code == 0x7F;
    const bool inUtf8 = before == 0xC2 && code >= 0x80 && code < 0xA0;  // U+0080 to U+009F are control characters, too
    char hex[8];
    snprintf(hex, sizeof hex, "\\x%02X", code);
    if (inUtf8) all.replace(all.size() - 1, 1, "\\xC2");
    all += c == '\n' ? "\\n" : c == '\t' ? "\\t" : control || inUtf8 ? hex : std::string(1, c);
    before = code;
  }
  return all;
}

void complain(const std::string& line) { fprintf(stderr, "orv: %s\n", shown(line).c_str()); }
