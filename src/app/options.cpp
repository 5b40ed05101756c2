#include "app/options.h"

#include <algorithm>

namespace cmdline {

constexpr std::size_t kUsageGap = 4;

void parser::add(const std::string& name, char shortName, const std::string& description) {
  insert(std::make_unique<option_without_value>(name, shortName, description));
}

void parser::insert(std::unique_ptr<option_without_value> option) {
  if (find(option->name) != nullptr) throw cmdline_error("multiple definition: " + option->name);
  options_.push_back(std::move(option));
}

option_without_value* parser::find(const std::string& name) const {
  for (const auto& option : options_) {
    if (option->name == name) return option.get();
  }
  return nullptr;
}

const option_without_value& parser::known(const std::string& name) const {
  const option_without_value* const option = find(name);
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
  const Arguments arguments(argv + 1, argv + argc);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i].compare(0, 2, "--") == 0) {
      parseLong(arguments, i);
    } else if (arguments[i].compare(0, 1, "-") == 0) {
      parseCluster(arguments, i);
    } else {
      others_.push_back(arguments[i]);
    }
  }
  for (const auto& option : options_) {
    const auto* const value = dynamic_cast<const Value*>(option.get());
    if (value != nullptr && value->required && !value->seen) errors_.push_back("need option: --" + value->name);
  }
  return errors_.empty();
}

void parser::parseLong(const Arguments& arguments, std::size_t& index) {
  const std::string text = arguments[index].substr(2);
  const std::size_t equals = text.find('=');
  if (equals != std::string::npos) {
    const std::string value = text.substr(equals + 1);
    setOption(text.substr(0, equals), &value);
  } else {
    const bool takesNext = index + 1 < arguments.size() && dynamic_cast<const Value*>(find(text)) != nullptr;
    setOption(text, takesNext ? &arguments[++index] : nullptr);
  }
}

void parser::parseCluster(const Arguments& arguments, std::size_t& index) {
  const std::string letters = arguments[index].substr(1);
  for (std::size_t i = 0; i < letters.size(); ++i) {
    const std::string name = longName(letters[i]);
    if (name.empty()) continue;
    const bool takesNext =
        i + 1 == letters.size() && index + 1 < arguments.size() && dynamic_cast<const Value*>(find(name)) != nullptr;
    setOption(name, takesNext ? &arguments[++index] : nullptr);
  }
}

/// The long name of a short one; empty, with a message, when it has none.
std::string parser::longName(char letter) {
  const auto found = shortNames_.find(letter);
  if (found == shortNames_.end()) {
    errors_.push_back(std::string("undefined short option: -") + letter);
    return {};
  }
  if (found->second.empty()) errors_.push_back(std::string("ambiguous short option: -") + letter);
  return found->second;
}

/// Sets an option, or adds the message that says why not. @param value  null for none
void parser::setOption(const std::string& name, const std::string* value) {
  option_without_value* const option = find(name);
  auto* const valued = dynamic_cast<Value*>(option);
  if (option == nullptr) {
    errors_.push_back("undefined option: --" + name);
  } else if (valued != nullptr && value == nullptr) {
    errors_.push_back("option needs value: --" + name);
  } else if (valued == nullptr && value != nullptr) {
    errors_.push_back("option value is invalid: --" + name + "=" + *value);
  } else {
    option->seen = true;
    if (valued != nullptr) valued->value = *value;
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
    if (const auto* const value = dynamic_cast<const Value*>(option.get())) {
      if (value->required) text += std::string("-") + value->shortName + " ";
      lines += " (string" + (value->required ? "" : " [=" + value->byDefault + "]") + ")";
    }
    lines += "\n";
  }
  return text + "[options] ... " + footer_ + "\noptions:\n" + lines;
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
