#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "logging/logger.h"

namespace cmdline {

/// Thrown when the program itself uses the parser wrongly; what() says how.
class cmdline_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A flag: an option without a value, and what all options have.
struct option_without_value {
  option_without_value(std::string longName, char letter, std::string text)
      : name(std::move(longName)), shortName(letter), description(std::move(text)) {}
  virtual ~option_without_value() = default;

  std::string name;  ///< without dashes
  char shortName;    ///< '\0' for none
  std::string description;
  bool seen = false;  ///< whether it was given on the command line
};

/// An option with a value, of which any text is one.
template <typename T>
struct option_with_value : option_without_value {
  option_with_value(const std::string& longName, char letter, const std::string& text, bool need, T preset)
      : option_without_value(longName, letter, text), required(need), byDefault(preset), value(preset) {}

  bool required;
  T byDefault;
  T value;  ///< the value given last, or the default
};

/// A small parser of long options with one-letter short forms ("--name value", "--name=value", "-n value", "-abc").
/// Errors in the command line are collected as messages; wrong use of the parser throws cmdline_error.
class parser {
 public:
  /// Registers a flag. Throws cmdline_error when the name is taken.
  void add(const std::string& name, char shortName, const std::string& description);

  /// Registers an option with a value; T is std::string. Throws cmdline_error when the name is taken.
  /// @param need       whether leaving the option out is an error
  /// @param byDefault  its value when it is left out
  template <typename T>
  void add(const std::string& name, char shortName, const std::string& description, bool need, const T& byDefault) {
    insert(std::make_unique<option_with_value<T>>(name, shortName, description, need, byDefault));
  }

  /// Reads a command line; argv[0] is the program's name. To be called once.
  /// @return true when errors() is empty afterwards. Options that were recognised are set in any case.
  bool parse(int argc, const char* const* argv);

  /// Whether the option was given. Throws cmdline_error for a name that was never registered.
  [[nodiscard]] bool exist(const std::string& name) const { return known(name).seen; }

  /// The option's value. Throws cmdline_error for a name that was never registered, or a flag's.
  template <typename T>
  [[nodiscard]] const T& get(const std::string& name) const {
    const auto* const option = dynamic_cast<const option_with_value<T>*>(&known(name));
    if (option == nullptr) throw cmdline_error("option takes no value: --" + name);
    return option->value;
  }

  [[nodiscard]] const std::vector<std::string>& errors() const { return errors_; }
  /// The arguments that are neither options nor values of options.
  [[nodiscard]] const std::vector<std::string>& rest() const { return others_; }

  /// Sets the text that ends the first line of usage().
  void footer(const std::string& text) { footer_ = text; }

  /// The usage text, each line ended by a line end.
  [[nodiscard]] std::string usage() const;

 private:
  using Value = option_with_value<std::string>;
  using Arguments = std::vector<std::string>;

  void insert(std::unique_ptr<option_without_value> option);
  [[nodiscard]] option_without_value* find(const std::string& name) const;
  [[nodiscard]] const option_without_value& known(const std::string& name) const;
  void parseLong(const Arguments& arguments, std::size_t& index);
  void parseCluster(const Arguments& arguments, std::size_t& index);
  std::string longName(char letter);
  void setOption(const std::string& name, const std::string* value);

  std::vector<std::unique_ptr<option_without_value>> options_;  // in usage order
  std::map<char, std::string> shortNames_;  // with their long names; an ambiguous one has an empty one
  std::string programName_;
  std::string footer_;
  std::vector<std::string> errors_;
  std::vector<std::string> others_;
};

}  // namespace cmdline

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

std::string logcollect_version_string();

}  // namespace quelmar
