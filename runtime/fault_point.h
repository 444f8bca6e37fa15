// A place where tests make things fail on purpose.
#pragma once

namespace fileref::runtime {

// Counts the passes through a point and fails one of them, or that one and all after it.
class FaultPoint {
 public:
  // Lets the `nth` pass from now on fail (counted from 1; 0: none).
  void arm(long nth, bool for_ever = false) {
    passes_ = 0;
    failing_ = nth;
    for_ever_ = for_ever;
    fired_ = false;
  }
  void disarm() { failing_ = 0; }
  // True when this pass is to fail.
  bool hit() {
    if (failing_ == 0) return false;
    ++passes_;
    const bool now = for_ever_ ? passes_ >= failing_ : passes_ == failing_;
    fired_ = fired_ || now;
    return now;
  }
  // Whether a pass has failed since `arm`.
  bool fired() const { return fired_; }

 private:
  long passes_ = 0;
  long failing_ = 0;
  bool for_ever_ = false;
  bool fired_ = false;
};

}  // namespace fileref::runtime
