#pragma once

#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "logging/logger.h"

namespace cmdline {

/// The program itself uses the parser wrongly; what() says how.
struct cmdline_error : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A flag, and what all options have.
struct option_without_value {
  std::string name;  ///< without dashes
  char shortName;    ///< '\0' for none
  std::string description;
  bool seen = false;  ///< whether it was given on the command line
};

/// An option with a value. The parser keeps flags as such, too: without `takesValue`.
template <typename T>
struct option_with_value : option_without_value {
  bool takesValue;
  bool required;
  T byDefault;
  T value;  ///< the value given last, or the default
};

/// A small parser of long options with one-letter short forms ("--name value", "--name=value", "-n value", "-abc").
/// Errors in the command line are collected as messages.
class parser {
 public:
  /// Registers a flag, or an option with a value; T is std::string. Throws cmdline_error when the name is taken.
  /// @param need       whether leaving the option out is an error
  /// @param byDefault  its value when it is left out
  void add(const std::string& name, char shortName, const std::string& description) {
    insert({{name, shortName, description}, false, false, "", ""});
  }
  template <typename T>
  void add(const std::string& name, char shortName, const std::string& description, bool need, const T& byDefault) {
    insert({{name, shortName, description}, true, need, byDefault, byDefault});
  }

  /// Reads a command line; argv[0] is the program's name. To be called once.
  /// @return true when errors() is empty afterwards. Options that were recognised are set in any case.
  bool parse(int argc, const char* const* argv);

  /// Whether the option was given. Throws cmdline_error for a name that was never registered.
  [[nodiscard]] bool exist(const std::string& name) const { return known(name).seen; }

  /// The option's value; T is std::string. Throws cmdline_error for a name that was never registered.
  template <typename T>
  [[nodiscard]] const T& get(const std::string& name) const {
    return known(name).value;
  }

  [[nodiscard]] const std::vector<std::string>& errors() const { return errors_; }
  /// The arguments that are neither options nor values of options.
  [[nodiscard]] const std::vector<std::string>& rest() const { return others_; }

  /// The usage text, each line ended by a line end.
  [[nodiscard]] std::string usage() const;

 private:
  using Option = option_with_value<std::string>;

  void insert(const Option& option);
  [[nodiscard]] Option* find(const std::string& name) const;
  [[nodiscard]] const Option& known(const std::string& name) const;
  void setCluster(const std::string& letters);
  void setOption(const std::string& name, std::optional<std::string> value, bool mayTakeNext);

  std::vector<std::unique_ptr<Option>> options_;  // in usage order
  std::map<char, std::string> shortNames_;        // with their long names; an ambiguous one has an empty one
  const char* const* next_ = nullptr;             // the arguments that are not read yet, up to end_
  const char* const* end_ = nullptr;
  std::string programName_;
  std::vector<std::string> errors_, others_;
};

}  // namespace cmdline

namespace quelmar {

struct OptParam {
  std::string name;
  char shortName;
  std::string description;
};

/// The options that carry a value, in usage order; none is required, each is empty by default.
extern const std::vector<OptParam> LogCollectionToolOptParams;

class ParamCheck {
 public:
  ParamCheck();

  /// Registers the options, those that carry a value first. Throws cmdline_error when called again.
  void initOptParam();

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

std::string logcollect_version_string();

}  // namespace quelmar
