// Vectors in guarded memory, for functions that make one from one or two others.
#pragma once
#include <algorithm>
#include "support/caches.h"
#include "support/image.h"

struct Operands {
  Vel8u *src1, *src2, *dst;
};

// Two sources and a destination of up to kMost bytes. All that lies around them, up to the guard pages, must survive.
class Vectors {
 public:
  static constexpr size_t kMost = 820;

  // Has `call` work on n bytes, so often that each operand touches a guard page at either end while the others lie
  // anywhere, and, if mayShare, that the destination is one of the sources. `model` does the same in plain memory.
  template <class Call, class Model> void check(size_t n, bool mayShare, const Call& call, const Model& model) {
    for (const bool isBehind : {false, true})
      for (size_t exact = 0; exact < 3; ++exact)
        for (size_t shared = 0; shared < (mayShare ? 3 : 1); ++shared) {
          size_t at[3];
          for (size_t i = 0; i < 3; ++i) {
            const size_t away = i == exact ? 0 : random_() % 64;
            at[i] = isBehind ? kRoom - n - away : away;
          }
          Vel8u* room[3];
          for (size_t i = 0; i < 3; ++i) {
            room[i] = rooms_[isBehind][i].data();
            memcpy(room[i], fill_.data() + 16 * i, kRoom);
          }
          const size_t to = shared == 0 ? 2 : shared - 1;
          std::vector<Vel8u> expected(room[to], room[to] + kRoom);
          model(room[0] + at[0], room[1] + at[1], expected.data() + at[to]);
          ASSERT_EQ(call(Operands{room[0] + at[0], room[1] + at[1], room[to] + at[to]}), velStsNoErr);
          for (size_t i = 0; i < 3; ++i)
            ASSERT_TRUE(expectSame(room[i], i == to ? expected.data() : fill_.data() + 16 * i, kRoom))
                << "operand " << i << " of " << n << " bytes at " << at[0] << ", " << at[1] << ", " << at[2]
                << ", destination " << to;
        }
  }

 private:
  static constexpr size_t kRoom = 1024;
  Random random_{21};
  std::vector<Vel8u> fill_ = [this] {
    std::vector<Vel8u> bytes(kRoom + 32);
    for (Vel8u& x : bytes) x = Vel8u(random_());
    return bytes;
  }();
  Guarded rooms_[2][3] = {{{kRoom, Guard::kBefore}, {kRoom, Guard::kBefore}, {kRoom, Guard::kBefore}},
                          {{kRoom, Guard::kBehind}, {kRoom, Guard::kBehind}, {kRoom, Guard::kBehind}}};
};
