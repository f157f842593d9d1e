// orv verify: whether this machine computes what the library promises.
//
// Every primitive is called with arguments that its name and the number of the call decide, the same everywhere, and a
// digest is taken of what it gives. verify.def has the digests that must come out, on every processor and code path, in
// both word sizes. A change of tools/support/arguments.cpp or calls.cpp, of a result, or of what is here renews it:
//
//   build/x86/orv verify --table >verify.new && mv verify.new tools/orv/verify.def
#include <getopt.h>
#include <signal.h>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#include "commands.h"
#include "options.h"
#include "paths.h"
#include "tools/support/calls.h"

namespace {

constexpr char kHelp[] =
    "usage: orv verify [OPTION]... [FAMILY]...\n"
    "\n"
    "Calls every primitive, or those of the families named, on data of many sizes and\n"
    "layouts, on every code path that this processor has, and prints a digest of the\n"
    "results for each family and one for all. They are the same on every machine.\n"
    "What differs is named, and the exit status is 1 then. It takes a few seconds.\n"
    "\n"
    "  --path NAME     verify the code path w7, v8, s8, p8, g9_avx or g9 alone\n"
    "  --quick         make fewer calls, none of them on megabytes; the digests are\n"
    "                  others\n"
    "  --primitives    print a digest for each primitive, too\n"
    "  --table         print the digests as this program's source holds them\n"
    "  --help          show this\n"
    "\n"
    "Examples:\n"
    "  orv verify\n"
    "  orv verify --quick --path w7\n"
    "\n";

// ---- Digests

struct Expected {
  const char* primitive;
  uint64_t full, quick;
};
constexpr Expected kExpected[] = {
#define ORV_DIGEST(primitive, full, quick) {#primitive, full, quick},
#include "verify.def"
#undef ORV_DIGEST
    {"", 0, 0}};

// As FNV-1a, but of 8 bytes at a time.
class Digest {
 public:
  void add(uint64_t word) {
    value_ = (value_ ^ word) * 0x100000001B3;
    value_ ^= value_ >> 32;
  }
  void add(const uint8_t* p, size_t size) {
    uint64_t word, rest = size % sizeof word;
    for (; size >= sizeof word; p += sizeof word, size -= sizeof word) {
      memcpy(&word, p, sizeof word);
      add(word);
    }
    for (; size; ++p, --size) rest = rest << 8 | *p;
    add(rest);
  }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 0xCBF29CE484222325;
};
using Digests = std::vector<Digest>;  // of each path
auto ull(uint64_t value) { return static_cast<unsigned long long>(value); }

// ---- What is called

struct Settings {
  std::vector<CodePath> paths;
  std::vector<std::string> families;
  bool quick = false, primitives = false, table = false;

  bool wants(const std::string& family) const {
    return families.empty() || std::find(families.begin(), families.end(), family) != families.end();
  }
  // Resizing has the most cases.
  int calls(const Primitive& p) const { return (quick ? 10 : 256) * (strcmp(p.family, "resize") ? 1 : 10); }
  uint64_t expected(const Primitive& p) const {
    for (const Expected& e : kExpected)
      if (!strcmp(e.primitive, p.name)) return quick ? e.quick : e.full;
    return 0;
  }
};

struct Family {
  std::string name;
  std::vector<const Primitive*> primitives;
};
const std::vector<Family>& families() {
  static const auto all = [] {
    std::vector<Family> found;
    for (const Primitive& p : primitives()) {
      const auto same = [&](const Family& f) { return f.name == p.family; };
      auto family = std::find_if(found.begin(), found.end(), same);
      if (family == found.end()) family = found.insert(found.end(), Family{p.family, {}});
      family->primitives.push_back(&p);
    }
    return found;
  }();
  return all;
}

// What decides call n of a primitive. The first works on megabytes where it can.
class Seeded : public Numbers {
 public:
  Seeded(const Primitive& p, int n, bool quick) : big_(n == 0 && !quick) {
    Digest seed;
    seed.add(reinterpret_cast<const uint8_t*>(p.name), strlen(p.name));
    seed.add(uint64_t(n));
    state_ = seed.value();
  }
  int byte() override {
    state_ = state_ * 6364136223846793005 + 1442695040888963407;
    return int(state_ >> 56);
  }
  bool big() override { return big_; }

 private:
  uint64_t state_;
  bool big_;
};

// ---- Calls

// What runs, should it die.
const char *currentPrimitive = "", *currentPath = "";
void onFatalSignal(int number) {
  static char line[160];
  snprintf(line, sizeof line, "verify: signal %d in %s on %s", number, currentPrimitive, currentPath);
  complain(line);
  raise(number);
}
void nameWhatDies() {
  struct sigaction action = {};
  action.sa_handler = onFatalSignal;
  action.sa_flags = int(SA_RESETHAND | SA_NODEFER);
  for (const int number : {SIGILL, SIGSEGV, SIGBUS, SIGFPE}) sigaction(number, &action, nullptr);
}

// What a call may have written, row by row: put(buffer, row, bytes). Which of several NaNs comes out is the processor's
// choice, and an emulator's another: all are made one.
template <class Put> void forEachRow(const Call& call, int status, const Put& put) {
  static std::vector<uint8_t> bytes;
  const int buffers = call.bufferCount - (call.allocated ? 1 : 0);  // the last would hold the address of a block
  for (int i = 0; i < buffers; ++i) {
    const Buffer& b = call.buffers[size_t(i)];
    for (size_t y = 0; b.role == Role::kDestination && b.size && y < b.rows; ++y) {
      bytes.assign(b.first + y * b.step, b.first + y * b.step + b.row);
      for (size_t k = 0; call.to.floats && k + 4 <= b.row; k += 4) {
        uint32_t bits;
        memcpy(&bits, &bytes[k], sizeof bits);
        if ((bits & 0x7FFFFFFF) > 0x7F800000) bits = 0x7FC00000;
        memcpy(&bytes[k], &bits, sizeof bits);
      }
      put(i, y, bytes);
    }
  }
  if (const uint8_t* const block = call.blockOf(status)) {
    bytes.assign(block, block + call.allocated);
    put(buffers, size_t(0), bytes);
  }
}

struct Outcome {
  int status;
  const char* breach;  // what it did beside its results, or null
};
Outcome make(Call& call, const CodePath& path, int turn) {
  currentPrimitive = call.primitive->name, currentPath = path.name;
  forcePath(path);
  call.begin(turn);
  vel_set_cw_ssx(call.mxcsr);
  Outcome o = {call.make(), nullptr};
  const Vel32u after = ps_get_ssx() & ~0x3Fu;  // but for what exceptions there were
  vel_set_cw_ssx(Drawn().mxcsr);
  if (after != call.mxcsr) o.breach = "it leaves another MXCSR";
  if (liveBlocks() != (call.blockOf(o.status) != nullptr)) o.breach = "it does not release its memory";
  for (int i = 0; i < call.bufferCount; ++i)
    if (!call.intact(call.buffers[size_t(i)], o.status)) o.breach = "it writes where it may not";
  return o;
}

// Draws call n of a primitive. Drawing it calls the library, too: on this path.
Call& draw(const Primitive& p, int n, const Settings& settings, const CodePath& path) {
  static Call call;
  Seeded numbers(p, n, settings.quick);
  currentPrimitive = p.name, currentPath = path.name;
  forcePath(path);
  call.draw(p, numbers);
  return call;
}
Digests digestsOf(const Primitive& p, const Settings& settings) {
  Digests digests(settings.paths.size());
  for (int n = 0; n < settings.calls(p); ++n) {
    Call& call = draw(p, n, settings, settings.paths[0]);
    for (size_t i = 0; i < digests.size(); ++i) {
      const Outcome o = make(call, settings.paths[i], int(i));
      digests[i].add(uint64_t(uint32_t(o.status)));
      if (o.breach) digests[i].add(1);
      forEachRow(call, o.status,
                 [&](int, size_t, const std::vector<uint8_t>& row) { digests[i].add(row.data(), row.size()); });
    }
  }
  return digests;
}

// ---- Differences

// How a call's results differ between two paths, or nothing where they do not.
std::string difference(Call& call, const CodePath& path, const CodePath& other) {
  const Outcome expected = make(call, other, 0);
  std::vector<std::vector<uint8_t>> rows;
  forEachRow(call, expected.status, [&](int, size_t, const std::vector<uint8_t>& row) { rows.push_back(row); });
  const Outcome got = make(call, path, 1);
  if (got.breach) return got.breach;
  if (got.status != expected.status)
    return "status " + std::to_string(got.status) + " instead of " + std::to_string(expected.status);
  std::string place;
  size_t at = 0;
  forEachRow(call, got.status, [&](int buffer, size_t y, const std::vector<uint8_t>& row) {
    const std::vector<uint8_t>& other_row = rows[at++];
    if (!place.empty() || row == other_row) return;
    const auto x = size_t(std::mismatch(row.begin(), row.end(), other_row.begin()).first - row.begin());
    char text[96];
    snprintf(text, sizeof text, "buffer %d, row %zu, byte %zu: 0x%02X instead of 0x%02X", buffer, y, x, row[x],
             other_row[x]);
    place = text;
  });
  return place;
}
// Where a primitive's results differ between two paths.
std::string place(const Primitive& p, const Settings& settings, const CodePath& path, const CodePath& other) {
  for (int n = 0; n < settings.calls(p); ++n) {
    Call& call = draw(p, n, settings, other);
    const std::string found = difference(call, path, other);
    if (!found.empty()) return "call " + std::to_string(n) + ", " + found + "\n      " + call.text();
  }
  return "not when it is called again";
}
// A line for each path that differs. What is right is a path with the expected digest, or else the first; what gives the
// same as a path that is not as expected has nothing to be compared with.
void printDifferences(const Primitive& p, const Settings& settings, const Digests& digests) {
  const uint64_t expected = settings.expected(p);
  size_t right = 0;
  for (size_t i = digests.size(); i-- > 0;)
    if (digests[i].value() == expected) right = i;
  std::string unexplained;
  for (size_t i = 0; i < digests.size(); ++i) {
    const CodePath &path = settings.paths[i], &other = settings.paths[right];
    if (digests[i].value() != digests[right].value())
      printf("  %s on %s: unlike %s, %s\n", p.name, path.name, other.name, place(p, settings, path, other).c_str());
    else if (digests[i].value() != expected)
      unexplained += std::string(" ") + path.name;
  }
  if (!unexplained.empty())
    printf("  %s on%s: %016llx instead of %016llx\n", p.name, unexplained.c_str(), ull(digests[right].value()),
           ull(expected));
}

// What is expected, and what else there is; gives whether all are alike.
bool printDigests(const std::string& name, const Settings& settings, const Digests& digests, uint64_t expected) {
  std::map<uint64_t, std::string> paths;
  for (size_t i = 0; i < digests.size(); ++i) paths[digests[i].value()] += std::string(" ") + settings.paths[i].name;
  for (const auto& [value, on] : paths) {
    printf("%-23s  %016llx", name.c_str(), ull(value));
    if (value != expected)
      printf("  on%s, instead of %016llx\n", on.c_str(), ull(expected));
    else
      printf(paths.size() > 1 ? "  on%s\n" : "\n", on.c_str());
  }
  fflush(stdout);
  return paths.size() == 1 && paths.count(expected);
}
bool printDigests(const char* name, size_t count, const Settings& settings, const Digests& digests, uint64_t expected) {
  char both[64];
  snprintf(both, sizeof both, "%-12s %10zu", name, count);
  return printDigests(both, settings, digests, expected);
}

bool verifyFamily(const Family& family, const Settings& settings, Digests& all, Digest& allExpected) {
  Digests sums(settings.paths.size());
  Digest expected;
  std::vector<std::pair<const Primitive*, Digests>> others;
  for (const Primitive* const p : family.primitives) {
    const Digests digests = digestsOf(*p, settings);
    bool alike = true;
    for (size_t i = 0; i < digests.size(); ++i) {
      sums[i].add(digests[i].value());
      alike = alike && digests[i].value() == settings.expected(*p);
    }
    expected.add(settings.expected(*p));
    if (!alike || settings.primitives) others.emplace_back(p, digests);
  }
  for (size_t i = 0; i < sums.size(); ++i) all[i].add(sums[i].value());
  allExpected.add(expected.value());
  const bool alike = printDigests(family.name.c_str(), family.primitives.size(), settings, sums, expected.value());
  for (const auto& [p, digests] : others) {
    if (settings.primitives) printDigests(std::string("  ") + p->name, settings, digests, settings.expected(*p));
    printDifferences(*p, settings, digests);
  }
  return alike;
}
bool verify(const Settings& settings) {
  Digests all(settings.paths.size());
  Digest expected;
  bool alike = true;
  printf("%-12s %10s  digest\n", "family", "primitives");
  for (const Family& family : families())
    if (settings.wants(family.name)) alike = verifyFamily(family, settings, all, expected) && alike;
  if (settings.families.empty()) printDigests("all", primitives().size(), settings, all, expected.value());
  printf(alike ? "every result is as it should be, on" : "results are NOT as they should be; called on");
  for (const CodePath& path : settings.paths) printf(" %s", path.name);
  puts("");
  return alike;
}

// The table, with the sums that follow from it in comments.
void printTable(Settings settings) {
  Digest all[2];
  std::string lines;
  char line[256];
  for (const Family& family : families()) {
    Digest sums[2];
    std::string ofFamily;
    for (const Primitive* const p : family.primitives) {
      uint64_t values[2];
      for (const bool quick : {false, true}) {
        settings.quick = quick;
        const Digests digests = digestsOf(*p, settings);
        values[quick] = digests[0].value();
        sums[quick].add(values[quick]);
        for (const Digest& other : digests)
          if (other.value() != values[quick]) throw std::runtime_error(p->name + std::string(" differs between paths"));
      }
      snprintf(line, sizeof line, "ORV_DIGEST(%s, 0x%016llx, 0x%016llx)\n", p->name, ull(values[0]), ull(values[1]));
      ofFamily += line;
    }
    snprintf(line, sizeof line, "\n// %s: %016llx, %016llx\n", family.name.c_str(), ull(sums[0].value()),
             ull(sums[1].value()));
    lines += line + ofFamily;
    for (const bool quick : {false, true}) all[quick].add(sums[quick].value());
  }
  printf(
      "// Digests of what the primitives give: ORV_DIGEST(primitive, orv verify, orv verify --quick). `orv verify "
      "--table`\n"
      "// writes this file.\n//\n// all: %016llx, %016llx\n%s",
      ull(all[0].value()), ull(all[1].value()), lines.c_str());
}

void printHelp() {
  std::string line = "Families:";
  fputs(kHelp, stdout);
  for (const Family& family : families()) {
    if (line.size() + family.name.size() > 78) line += "\n ", fputs(line.c_str(), stdout), line.clear();
    line += " " + family.name;
  }
  puts(line.c_str());
}

}  // namespace

int runVerify(int argc, char** argv) {
  const option options[] = {{"help", no_argument, nullptr, 'h'},  {"path", required_argument, nullptr, 'p'},
                            {"quick", no_argument, nullptr, 'q'}, {"primitives", no_argument, nullptr, 'P'},
                            {"table", no_argument, nullptr, 't'}, {}};
  Settings settings;
  for (int c; (c = getopt_long(argc, argv, ":h", options, nullptr)) != -1;) {
    switch (c) {
      case 'h': return printHelp(), 0;
      case 'p': selectPath(optarg), settings.paths = {pathInForce()}; break;
      case 'q': settings.quick = true; break;
      case 'P': settings.primitives = true; break;
      case 't': settings.table = true; break;
      default: refuseOption(c, argv);
    }
  }
  settings.families.assign(argv + optind, argv + argc);
  for (const std::string& name : settings.families)
    if (std::none_of(families().begin(), families().end(), [&](const Family& f) { return f.name == name; }))
      throw UsageError("there is no family '" + name + "' (see orv verify --help)");
  requireSse2();
  if (settings.paths.empty())
    for (const CodePath& path : kCodePaths)
      if (processorHas(path)) settings.paths.push_back(path);
  if (settings.table && (settings.quick || !settings.families.empty()))
    throw UsageError("--table is of all families and all calls");
  nameWhatDies();
  if (settings.table) return printTable(settings), kDone;
  return verify(settings) ? kDone : kFailed;
}
