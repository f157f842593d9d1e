#include "box.h"
#include <memory>
#include "run.h"

namespace {

struct Form {
  const char* name;
  int channels;
  decltype(orviFilterBox_32f_C1R)* filter;
};
const Form kForms[] = {{"C1R", 1, orviFilterBox_32f_C1R},
                       {"C3R", 3, orviFilterBox_32f_C3R},
                       {"C4R", 4, orviFilterBox_32f_C4R},
                       {"AC4R", 4, orviFilterBox_32f_AC4R}};

void benchmarkForm(const Form& form, VeliSize size, int side) {
  const int step = (size.width + side) * form.channels, pixels = size.width * size.height;
  const auto src = std::make_shared<std::vector<float>>(size_t(step * (size.height + side)), 1.5f);
  const auto dst = std::make_shared<std::vector<float>>(size_t(pixels * form.channels));
  const std::string mask = std::to_string(side), width = std::to_string(size.width);
  benchmarkOnEveryPath("FilterBox " + (form.name + (", mask " + mask + "x" + mask + ", width " + width)), "pixel",
                       pixels, [=] {
                         return form.filter(src->data(), step * 4, dst->data(), size.width * form.channels * 4, size,
                                            {side, side}, {0, 0});
                       });
}

}  // namespace

void benchmarkBox() {
  for (const Form& form : kForms)
    for (const VeliSize size : {VeliSize{160, 120}, {2048, 1024}})
      for (const int side : {3, 15}) benchmarkForm(form, size, side);
}
