#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "logging/log_call.h"

namespace quelmar {

/// An option that carries a value.
struct OptParam {
  std::string name;
  char shortName;
  std::string description;
};

/// The options that carry a value, in usage order; none is required, each is empty by default.
extern const std::vector<OptParam> LogCollectionToolOptParams;

/// The tool's options, registered on a parser.
class ParamCheck {
 public:
  /// Makes the parser and registers the options on it.
  ParamCheck();

  /// Registers the options: those that carry a value, then the flags. Throws cmdline_error when called again.
  void initOptParam();

  /// The parser with the options registered.
  [[nodiscard]] cmdline::parser& parser() const { return *parser_; }

  /// The option's value; an empty one when it cannot be read (logged).
  template <typename T>
  [[nodiscard]] T getValue(const std::string& name) const {
    try {
      return parser_->get<T>(name);
    } catch (const std::exception& failure) {
      LOG_CALL(kErr, "get {} value failed.; Reason: {}", name, failure.what());
      return T();
    }
  }

 private:
  std::shared_ptr<cmdline::parser> parser_;
};

/// The tool's version, "2.2.10.300".
std::string logcollect_version_string();

}  // namespace quelmar
