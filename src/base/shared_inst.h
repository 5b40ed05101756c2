#pragma once

namespace quelmar {

/// What the whole process shares: the only-key flag. Written once before any worker starts, only read
/// afterwards, so it needs no lock.
class SharedInst {
 public:
  /// @return the flag; false until the run sets it.
  static bool& inst() {
    static bool onlyKey = false;
    return onlyKey;
  }
};

}  // namespace quelmar
