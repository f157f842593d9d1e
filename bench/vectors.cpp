// Vectors in the caches and in memory, by the bytes that a call touches; memcpy in the same run is the ceiling.
#include <cstring>
#include <memory>
#include "run.h"

namespace {

// Two sources and a destination of n bytes.
struct Set {
  explicit Set(size_t n)
      : a(n, 0x35), b(n, 0x53), d(n, 0x17), bytes(int(n)), elements16(int(n / 2)), elements32(int(n / 4)) {}
  template <class T> static T* as(Bytes& v) { return reinterpret_cast<T*>(v.data()); }
  Vel16s* d16() { return as<Vel16s>(d); }

  Bytes a, b, d;
  int bytes, elements16, elements32;
};

const struct {
  const char* name;
  int touched;  // vectors read and vectors written
  VelStatus (*call)(Set&);
} kWork[] = {
    {"memcpy", 2, [](Set& s) -> VelStatus { return memcpy(s.d.data(), s.a.data(), s.a.size()) ? 0 : -1; }},
    {"And_8u", 3, [](Set& s) { return orvsAnd_8u(s.a.data(), s.b.data(), s.d.data(), s.bytes); }},
    {"Xor_32u_I", 3, [](Set& s) { return orvsXor_32u_I(s.as<Vel32u>(s.a), s.as<Vel32u>(s.d), s.elements32); }},
    {"OrC_16u", 2, [](Set& s) { return orvsOrC_16u(s.as<Vel16u>(s.a), 0x5A01, s.as<Vel16u>(s.d), s.elements16); }},
    {"Not_8u_I", 2, [](Set& s) { return orvsNot_8u_I(s.d.data(), s.bytes); }},
    {"LShiftC_8u", 2, [](Set& s) { return orvsLShiftC_8u(s.a.data(), 3, s.d.data(), s.bytes); }},
    {"RShiftC_32s_I", 2, [](Set& s) { return orvsRShiftC_32s_I(1, s.as<Vel32s>(s.d), s.elements32); }},
    {"MulC_16s_ISfs 14", 2, [](Set& s) { return orvsMulC_16s_ISfs(16393, s.d16(), s.elements16, 14); }},
    {"MulC_16s_ISfs 0", 2, [](Set& s) { return orvsMulC_16s_ISfs(3, s.d16(), s.elements16, 0); }},
    {"Norm_L2_16s32f", 1,
     [](Set& s) {
       Vel32f norm;
       return orvsNorm_L2_16s32f(s.as<Vel16s>(s.a), s.elements16, &norm);
     }},
};

}  // namespace

void registerBenchmarks(const Bytes&) {
  const struct {
    const char* name;
    int kilobytes;
  } sets[] = {{", first-level cache", 8}, {", second-level cache", 128}, {", memory", 32 << 10}};
  for (const auto& size : sets) {
    const auto set = std::make_shared<Set>(size_t(size.kilobytes) * 1024);
    for (const auto& work : kWork)
      benchmarkOnEveryPath(std::string(work.name) + size.name, "KB", work.touched * size.kilobytes,
                           [=] { return work.call(*set); });
  }
  const auto small = std::make_shared<Set>(16);
  benchmarkOnEveryPath("And_8u, 16 bytes", "call", 1, [=] { return kWork[1].call(*small); });
}
