#pragma once

#include <string>

namespace common::mac {

/// Standard folders, as Foundation's search-path service reports them.
class FoundationUtil {
 public:
  /// The kind of the Application Support folders.
  static constexpr unsigned long kApplicationSupport = 14;

  /// The calling user's folder of a kind, as an absolute path.
  /// @param kind  the folder's NSSearchPathDirectory number.
  /// @param out   receives the first folder that the service returns (UTF-8, no trailing separator); empty
  ///              when it returns none.
  static void getUserDirectory(unsigned long kind, std::string& out);

  /// As above, for the folder of that kind that all users of the machine share.
  static void getLocalDirectory(unsigned long kind, std::string& out);
};

}  // namespace common::mac
