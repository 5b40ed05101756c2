#pragma once

#include <string>

namespace common::mac {

/// Standard folders, as Foundation's search-path service reports them.
class FoundationUtil {
 public:
  /// The kind of the Application Support folders.
  static constexpr unsigned long kApplicationSupport = 14;

  /// Yields the calling user's own folder of a kind, with the home folder spelt out.
  /// @param kind  the service's number for the kind of folder.
  /// @param out   receives the service's first answer (UTF-8, no trailing separator); empty when it has none.
  static void getUserDirectory(unsigned long kind, std::string& out);

  /// The same for the folder of that kind which all users of the machine share.
  static void getLocalDirectory(unsigned long kind, std::string& out);
};

}  // namespace common::mac
