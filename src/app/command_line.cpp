#include "app/command_line.h"

#include <algorithm>

namespace cmdline {
namespace {

constexpr std::size_t kUsageGap = 4;

}  // namespace

bool option_without_value::set() {
  markSeen();
  return true;
}

bool option_without_value::set(const std::string& /*value*/) {
  return false;
}

bool option_with_value<std::string>::set(const std::string& value) {
  value_ = value;
  markSeen();
  return true;
}

std::string option_with_value<std::string>::usageDescription() const {
  const std::string byDefault = required_ ? "" : " [=" + default_ + "]";
  return option_base::usageDescription() + " (string" + byDefault + ")";
}

void parser::add(const std::string& name, char shortName, const std::string& description) {
  insert(std::make_unique<option_without_value>(name, shortName, description));
}

void parser::insert(std::unique_ptr<option_base> option) {
  const std::string& name = option->name();
  if (options_.count(name) != 0) throw cmdline_error("multiple definition: " + name);
  ordered_.push_back(option.get());
  options_[name] = std::move(option);
}

const option_base& parser::find(const std::string& name) const {
  const auto found = options_.find(name);
  if (found == options_.end()) throw cmdline_error("there is no flag: --" + name);
  return *found->second;
}

bool parser::exist(const std::string& name) const {
  return find(name).wasSeen();
}

bool parser::parse(int argc, const char* const* argv) {
  errors_.clear();
  others_.clear();
  if (argc < 1) {
    errors_.emplace_back("argument number must be longer than 0");
    return false;
  }
  programName_ = argv[0];
  const ShortNames shorts = shortNames();
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (arguments[i].compare(0, 2, "--") == 0) {
      parseLong(arguments, i);
    } else if (arguments[i].compare(0, 1, "-") == 0) {
      parseCluster(arguments, i, shorts);
    } else {
      others_.push_back(arguments[i]);
    }
  }
  for (const option_base* option : ordered_) {
    if (option->isRequired() && !option->wasSeen()) errors_.push_back("need option: --" + option->name());
  }
  return errors_.empty();
}

/// Short names with their long names; an ambiguous one has an empty long name.
parser::ShortNames parser::shortNames() {
  ShortNames names;
  for (const auto& [name, option] : options_) {
    const char letter = option->shortName();
    if (letter == '\0') continue;
    if (!names.emplace(letter, name).second) {
      errors_.push_back(std::string("short option '") + letter + "' is ambiguous");
      names[letter].clear();
    }
  }
  return names;
}

void parser::parseLong(const std::vector<std::string>& arguments, std::size_t& index) {
  const std::string text = arguments[index].substr(2);
  const std::size_t equals = text.find('=');
  if (equals != std::string::npos) {
    setOption(text.substr(0, equals), text.substr(equals + 1));
    return;
  }
  const auto found = options_.find(text);
  const bool hasNext = index + 1 < arguments.size();
  if (found != options_.end() && found->second->takesValue() && hasNext) {
    setOption(text, arguments[++index]);
  } else {
    setOption(text);
  }
}

void parser::parseCluster(const std::vector<std::string>& arguments, std::size_t& index,
                          const ShortNames& shortNames) {
  const std::string letters = arguments[index].substr(1);
  if (letters.empty()) return;
  for (std::size_t i = 0; i + 1 < letters.size(); ++i) {
    if (checkShort(letters[i], shortNames)) setOption(shortNames.at(letters[i]));
  }
  if (!checkShort(letters.back(), shortNames)) return;
  const std::string& last = shortNames.at(letters.back());
  if (index + 1 < arguments.size() && options_.at(last)->takesValue()) {
    setOption(last, arguments[++index]);
  } else {
    setOption(last);
  }
}

bool parser::checkShort(char letter, const ShortNames& shortNames) {
  const auto found = shortNames.find(letter);
  if (found == shortNames.end()) {
    errors_.push_back(std::string("undefined short option: -") + letter);
    return false;
  }
  if (found->second.empty()) {
    errors_.push_back(std::string("ambiguous short option: -") + letter);
    return false;
  }
  return true;
}

void parser::setOption(const std::string& name) {
  const auto found = options_.find(name);
  if (found == options_.end()) {
    errors_.push_back("undefined option: --" + name);
  } else if (!found->second->set()) {
    errors_.push_back("option needs value: --" + name);
  }
}

void parser::setOption(const std::string& name, const std::string& value) {
  const auto found = options_.find(name);
  if (found == options_.end()) {
    errors_.push_back("undefined option: --" + name);
  } else if (!found->second->set(value)) {
    errors_.push_back("option value is invalid: --" + name + "=" + value);
  }
}

std::string parser::usage() const {
  std::string text = "usage: " + programName_ + " ";
  std::size_t longest = 0;
  for (const option_base* option : ordered_) {
    if (option->isRequired()) text += std::string("-") + option->shortName() + " ";
    longest = std::max(longest, option->name().size());
  }
  text += "[options] ... " + footer_ + "\noptions:\n";
  for (const option_base* option : ordered_) {
    text +=
        option->shortName() != '\0' ? std::string("  -") + option->shortName() + ", " : std::string(6, ' ');
    text += "--" + option->name() + std::string(longest + kUsageGap - option->name().size(), ' ');
    text += option->usageDescription() + "\n";
  }
  return text;
}

}  // namespace cmdline
