// Every primitive with any arguments, on every path.
//
//   choice   a byte: which primitive
//   call     what arguments it gets, and what their memory holds: as tools/support/calls.cpp draws them
//
// Where the input ends, numbers go on at random, from a seed that all of it gives: a few bytes make any call, and more of
// them decide more of it.
#include "fuzz/target.h"
#include "tools/support/calls.h"

namespace {

class FromInput : public Numbers {
 public:
  FromInput(Input& in, const uint8_t* data, size_t size) : in_(in) {
    for (size_t i = 0; i < size; ++i) state_ = (state_ ^ data[i]) * 0x100000001B3;
  }
  int byte() override {
    if (in_.left()) return in_.byte();
    state_ = state_ * 6364136223846793005 + 1442695040888963407;
    return int(state_ >> 56);
  }

 private:
  Input& in_;
  uint64_t state_ = 0xCBF29CE484222325;
};

// By a byte. What has the most cases, resizing, gets the bytes that are left.
const Primitive& chosen(int byte) {
  static const auto byByte = [] {
    std::vector<const Primitive*> all;
    for (const Primitive& p : primitives()) all.push_back(&p);
    for (size_t i = 0; all.size() < 256; ++i)
      if (const Primitive& p = primitives()[i % primitives().size()]; !strcmp(p.family, "resize")) all.push_back(&p);
    return all;
  }();
  return *byByte[size_t(byte)];
}

Call call;

void check(bool holds, const char* what, int i) {
  if (!holds) require(false, "%s: %s %d", call.text().c_str(), what, i);
}

// What the first path does, which the others must do as well.
struct Outcome {
  int status;
  std::vector<uint8_t> written[std::tuple_size_v<decltype(Call::buffers)>], block;
};

void checkOutcome(Outcome& expected, bool first, int status) {
  if (first) expected.status = status;
  check(status == expected.status, "status", status);
  for (int i = 0; i < call.bufferCount; ++i) {
    const Buffer& b = call.buffers[size_t(i)];
    auto& written = expected.written[i];
    check(call.intact(b, status), "writes where it may not, in buffer", i);
    if (b.role != Role::kDestination) continue;
    if (first) written.assign(b.p, b.p + b.size);
    if (b.size == 0 || memcmp(written.data(), b.p, b.size) == 0) continue;
    const auto other = std::mismatch(written.begin(), written.end(), b.p).first - written.begin();
    check(false, "other bytes than on the first path, from", int(other));
  }
  const uint8_t* const block = call.blockOf(status);
  check(liveBlocks() == (block != nullptr), "blocks that are not released:", liveBlocks());
  if (!block) return;
  if (first) expected.block.assign(block, block + call.allocated);
  check(memcmp(block, expected.block.data(), call.allocated) == 0, "other bytes in its block than on the first path,",
        0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Outcome expected;
  Input in(data, size);
  FromInput numbers(in, data, size);
  const Primitive& primitive = chosen(in.byte());
  const size_t paths = pathsHere().size();
  whereabouts = primitive.name;
  forcePath(pathsHere()[0]);
  call.draw(primitive, numbers);
  // What takes long runs on the first path and one of the others.
  const size_t other = call.big ? 1 + size_t(numbers.below(int(paths) - 1)) : 0;
  for (size_t i = 0; i < paths; ++i) {
    if (i && other && i != other) continue;
    forcePath(pathsHere()[i]);
    call.begin(int(i));
    vel_set_cw_ssx(call.mxcsr);
    const int status = call.make();
    const Vel32u after = ps_get_ssx() & ~0x3Fu;  // but for what exceptions there were
    vel_set_cw_ssx(Drawn().mxcsr);
    check(after == call.mxcsr, "MXCSR is afterwards", int(after));
    checkOutcome(expected, i == 0, status);
  }
  return 0;
}
