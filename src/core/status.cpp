// The status table and its lookup.
#include "orv.h"

namespace {

struct Row {
  VelStatus code;
  const char* message;
};

#define ORV_STATUS(name, sentence) {name, #name ": " sentence},
#define ORV_STATUS_TEXT(code, sentence) {code, sentence},
constexpr Row velStatusTable[] = {
#include "status.def"
};

constexpr int kRows = sizeof velStatusTable / sizeof velStatusTable[0];
constexpr bool ascending() {
  for (int i = 1; i < kRows; ++i)
    if (velStatusTable[i - 1].code >= velStatusTable[i].code) return false;
  return true;
}
static_assert(kRows == 269 && ascending(), "the status table has lost a row or its order");

const char* find(VelStatus status) {
  for (const Row& row : velStatusTable)
    if (row.code == status) return row.message;
  return nullptr;
}

}  // namespace

const char* velGetStatusString(VelStatus status) {
  const char* message = find(status);
  return message ? message : find(velStsUnknownStatusCodeErr);
}
