// Random numbers whose seed a failure can name.
#pragma once
#include <random>

class Random : public std::mt19937 {
 public:
  explicit Random(unsigned seed) : std::mt19937(seed), seed_(seed), outer_(innermost_) { innermost_ = this; }
  ~Random() { innermost_ = outer_; }
  Random(const Random&) = delete;
  Random& operator=(const Random&) = delete;
  // Of the numbers that were begun last and are still drawn from; null if there are none.
  static const unsigned* seedInUse() { return innermost_ ? &innermost_->seed_ : nullptr; }

 private:
  unsigned seed_;
  const Random* outer_;
  static inline const Random* innermost_ = nullptr;
};
