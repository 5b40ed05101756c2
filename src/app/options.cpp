#include "app/options.h"

#include <algorithm>

namespace cmdline {

constexpr std::size_t kUsageGap = 4;

void parser::insert(const Option& option) {
  if (find(option.name) != nullptr) throw cmdline_error("multiple definition: " + option.name);
  options_.push_back(std::make_unique<Option>(option));
}

parser::Option* parser::find(const std::string& name) const {
  for (const auto& option : options_) {
    if (option->name == name) return option.get();
  }
  return nullptr;
}

const parser::Option& parser::known(const std::string& name) const {
  const Option* const option = find(name);
  if (option == nullptr) throw cmdline_error("there is no flag: --" + name);
  return *option;
}

bool parser::parse(int argc, const char* const* argv) {
  if (argc < 1) {
    errors_.emplace_back("argument number must be longer than 0");
    return false;
  }
  programName_ = argv[0];
  for (const auto& option : options_) {
    const char letter = option->shortName;
    if (letter == '\0' || shortNames_.emplace(letter, option->name).second) continue;
    errors_.push_back(std::string("short option '") + letter + "' is ambiguous");
    shortNames_[letter].clear();
  }
  next_ = argv + 1;
  end_ = argv + argc;
  while (next_ != end_) {
    const std::string argument = *next_++;
    if (argument.compare(0, 2, "--") == 0) {
      const std::size_t equals = argument.find('=');
      std::optional<std::string> value;
      if (equals != std::string::npos) value = argument.substr(equals + 1);
      setOption(argument.substr(2, equals - 2), value, true);
    } else if (argument.compare(0, 1, "-") == 0) {
      setCluster(argument.substr(1));
    } else {
      others_.push_back(argument);
    }
  }
  for (const auto& option : options_) {
    if (option->required && !option->seen) errors_.push_back("need option: --" + option->name);
  }
  return errors_.empty();
}

void parser::setCluster(const std::string& letters) {
  for (const char& letter : letters) {
    const auto name = shortNames_.find(letter);
    if (name == shortNames_.end()) {
      errors_.push_back(std::string("undefined short option: -") + letter);
    } else if (name->second.empty()) {
      errors_.push_back(std::string("ambiguous short option: -") + letter);
    } else {
      setOption(name->second, std::nullopt, &letter == &letters.back());
    }
  }
}

/// Sets an option, or adds the message that says why not.
/// @param mayTakeNext  whether the next argument may be its value, when it takes one and there is no `value`
void parser::setOption(const std::string& name, std::optional<std::string> value, bool mayTakeNext) {
  Option* const option = find(name);
  const bool needsValue = option != nullptr && option->takesValue && !value;
  if (needsValue && mayTakeNext && next_ != end_) value = *next_++;
  if (option == nullptr) {
    errors_.push_back("undefined option: --" + name);
  } else if (option->takesValue && !value) {
    errors_.push_back("option needs value: --" + name);
  } else if (!option->takesValue && value) {
    errors_.push_back("option value is invalid: --" + name + "=" + *value);
  } else {
    option->seen = true;
    option->value = value.value_or("");
  }
}

std::string parser::usage() const {
  std::string text = "usage: " + programName_ + " ";
  std::string lines;
  std::size_t longest = 0;
  for (const auto& option : options_) longest = std::max(longest, option->name.size());
  for (const auto& option : options_) {
    lines += option->shortName != '\0' ? std::string("  -") + option->shortName + ", " : std::string(6, ' ');
    lines += "--" + option->name + std::string(longest + kUsageGap - option->name.size(), ' ');
    lines += option->description;
    if (option->takesValue) lines += " (string" + (option->required ? "" : " [=" + option->byDefault + "]") + ")";
    if (option->required) text += std::string("-") + option->shortName + " ";
    lines += "\n";
  }
  return text + "[options] ... \noptions:\n" + lines;
}

}  // namespace cmdline

namespace quelmar {

const std::vector<OptParam> LogCollectionToolOptParams = {
    {"dir", 'd', "The directory where the log is saved."},
};

ParamCheck::ParamCheck() : parser_(std::make_shared<cmdline::parser>()) {
  initOptParam();
}

void ParamCheck::initOptParam() {
  for (const OptParam& option : LogCollectionToolOptParams) {
    parser_->add<std::string>(option.name, option.shortName, option.description, false, "");
  }
  parser_->add("version", 'v', "print current version");
  parser_->add("onlyKey", 'k', "Only collect the key logs");
  parser_->add("help", '?', "Print help message");
  parser_->add("quiet", 'q', "Quiet run");
}

std::string logcollect_version_string() {
  return "2.2.10.300";
}

}  // namespace quelmar
