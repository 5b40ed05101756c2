#pragma once

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cmdline {

/// Thrown when the program itself uses the parser wrongly; what() says how.
class cmdline_error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A registered option. Values are texts; a flag takes none.
class option_base {
 public:
  /// @param name         the long name, without dashes.
  /// @param shortName    the letter of the short form; '\0' for none.
  /// @param description  one line for the usage text.
  option_base(std::string name, char shortName, std::string description)
      : name_(std::move(name)), shortName_(shortName), description_(std::move(description)) {}
  virtual ~option_base() = default;
  option_base(const option_base&) = delete;
  option_base& operator=(const option_base&) = delete;

  /// The long name, without dashes.
  [[nodiscard]] const std::string& name() const { return name_; }
  /// '\0' when the option has none.
  [[nodiscard]] char shortName() const { return shortName_; }
  /// Whether it was given on the command line.
  [[nodiscard]] bool wasSeen() const { return seen_; }

  /// Whether it carries a value.
  [[nodiscard]] virtual bool takesValue() const = 0;
  /// Whether leaving it out is an error.
  [[nodiscard]] virtual bool isRequired() const = 0;
  /// The description as the usage text shows it.
  [[nodiscard]] virtual std::string usageDescription() const { return description_; }

  /// Sets the option without a value. @return false when it needs one.
  virtual bool set() = 0;
  /// Sets the option with a value. @return false when it rejects it.
  virtual bool set(const std::string& value) = 0;

 protected:
  void markSeen() { seen_ = true; }

 private:
  std::string name_;
  char shortName_;
  std::string description_;
  bool seen_ = false;
};

/// A flag: records only whether it was seen.
class option_without_value : public option_base {
 public:
  using option_base::option_base;
  [[nodiscard]] bool takesValue() const override { return false; }
  [[nodiscard]] bool isRequired() const override { return false; }
  bool set() override;
  bool set(const std::string& value) override;
};

template <typename T>
class option_with_value;

/// An option that takes a value, which may be any text.
template <>
class option_with_value<std::string> : public option_base {
 public:
  option_with_value(std::string name, char shortName, std::string description, bool need,
                    std::string byDefault)
      : option_base(std::move(name), shortName, std::move(description)),
        required_(need),
        default_(std::move(byDefault)),
        value_(default_) {}
  [[nodiscard]] bool takesValue() const override { return true; }
  [[nodiscard]] bool isRequired() const override { return required_; }
  [[nodiscard]] std::string usageDescription() const override;
  bool set() override { return false; }
  bool set(const std::string& value) override;
  /// The value given last, or the default.
  [[nodiscard]] const std::string& value() const { return value_; }

 private:
  bool required_;
  std::string default_;
  std::string value_;
};

/// A small parser of long options with one-letter short forms ("--name value", "--name=value", "-n value",
/// "-abc"). Errors in the command line are collected as messages; wrong use of the parser throws
/// cmdline_error.
class parser {
 public:
  /// Registers a flag. Throws cmdline_error when the name is taken.
  void add(const std::string& name, char shortName, const std::string& description);

  /// Registers an option with a value. Throws cmdline_error when the name is taken.
  /// @param need       whether leaving the option out is an error.
  /// @param byDefault  its value when it is left out.
  template <typename T>
  void add(const std::string& name, char shortName, const std::string& description, bool need,
           const T& byDefault) {
    insert(std::make_unique<option_with_value<T>>(name, shortName, description, need, byDefault));
  }

  /// Reads a command line; argv[0] is the program's name.
  /// @return true when errors() is empty afterwards. Options that were recognised are set in any case.
  bool parse(int argc, const char* const* argv);

  /// Whether the option was given. Throws cmdline_error for a name that was never registered.
  [[nodiscard]] bool exist(const std::string& name) const;

  /// The option's value. Throws cmdline_error for a name that was never registered, or a flag's.
  template <typename T>
  [[nodiscard]] const T& get(const std::string& name) const {
    const auto* const option = dynamic_cast<const option_with_value<T>*>(&find(name));
    if (option == nullptr) throw cmdline_error("option takes no value: --" + name);
    return option->value();
  }

  /// The error messages of the last parse.
  [[nodiscard]] const std::vector<std::string>& errors() const { return errors_; }
  /// The arguments of the last parse that are not options, nor values of options.
  [[nodiscard]] const std::vector<std::string>& rest() const { return others_; }

  /// Sets the text that ends the first line of usage().
  void footer(const std::string& text) { footer_ = text; }

  /// The usage text, each line ended by a line end.
  [[nodiscard]] std::string usage() const;

 private:
  using ShortNames = std::map<char, std::string>;

  void insert(std::unique_ptr<option_base> option);
  [[nodiscard]] const option_base& find(const std::string& name) const;
  ShortNames shortNames();
  void parseLong(const std::vector<std::string>& arguments, std::size_t& index);
  void parseCluster(const std::vector<std::string>& arguments, std::size_t& index,
                    const ShortNames& shortNames);
  bool checkShort(char letter, const ShortNames& shortNames);
  void setOption(const std::string& name);
  void setOption(const std::string& name, const std::string& value);

  std::map<std::string, std::unique_ptr<option_base>> options_;
  std::vector<option_base*> ordered_;
  std::string programName_;
  std::string footer_;
  std::vector<std::string> errors_;
  std::vector<std::string> others_;
};

}  // namespace cmdline
