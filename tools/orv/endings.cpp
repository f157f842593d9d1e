#include "endings.h"
#include <algorithm>
#include <cctype>
#include "messages.h"

std::string endingOf(const std::string& name) {
  const size_t start = name.rfind('/') + 1, dot = name.rfind('.');
  if (dot == std::string::npos || dot < start) return "";
  std::string ending = name.substr(dot + 1);
  for (char& c : ending) c = char(tolower(static_cast<unsigned char>(c)));
  return ending;
}

bool endsIn(const std::string& name, Endings endings) {
  return std::find(endings.begin(), endings.end(), endingOf(name)) != endings.end();
}

void requireEnding(const std::string& name, Endings endings) {
  if (endsIn(name, endings)) return;
  std::string list;
  for (const char* ending : endings)
    if (*ending) list += (list.empty() ? " ." : ", .") + std::string(ending);
  throw UsageError(name + ": what can be written here ends in" + list);
}
