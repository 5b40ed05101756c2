#pragma once

namespace quelmar {

/// The process-wide only-key flag (--onlyKey). Written once before the workers start and only read
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
