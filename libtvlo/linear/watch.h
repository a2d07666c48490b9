// A way out of work that takes long.
#pragma once

#include <functional>

namespace tvlo {

class Watch {
 public:
  Watch() = default;  // never asks
  // `ask` throws what ends the work.
  explicit Watch(std::function<void()> ask) : ask_(std::move(ask)) {}

  void check() const {
    if (ask_) ask_();
  }
  // A check now and then; `work`: multiplications since the last call.
  void count(double work) {
    constexpr double kOften = 1e7;
    work_ += work;
    if (work_ < kOften) return;
    work_ = 0;
    check();
  }

 private:
  std::function<void()> ask_;
  double work_ = 0;
};

}  // namespace tvlo
