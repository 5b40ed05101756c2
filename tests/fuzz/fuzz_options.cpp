// The option parser over any arguments; they stand in the input one after the other, each ended by a zero
// byte.
#include <algorithm>
#include <vector>

#include "app/param_check.h"
#include "fuzzing.h"

namespace {

/// Tells whether `value` was given as the output folder: after "=", or as an argument of its own behind one
/// that can take it.
bool wasGiven(const std::vector<std::string>& arguments, const std::string& value) {
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    if (arguments[i] == "--dir=" + value) return true;
    if (arguments[i] != value) continue;
    const std::string& before = arguments[i - 1];
    if (before == "--dir" || (before.size() > 1 && before[0] == '-' && before.back() == 'd')) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> arguments{"tool"};
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\0', begin), text.size());
    arguments.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());

  const quelmar::ParamCheck options;
  cmdline::parser& parser = options.parser();
  const bool clean = parser.parse(static_cast<int>(argv.size()), argv.data());
  fuzzing::require(clean == parser.errors().empty(), "the result tells whether there are messages");
  fuzzing::require(parser.errors().size() + parser.rest().size() <= size, "no more findings than input");
  for (const char* flag : {"version", "onlyKey", "help", "quiet"}) {
    const bool spelled =
        text.find(flag) != std::string::npos || text.find(flag[0] == 'o'   ? 'k'
                                                          : flag[0] == 'h' ? '?'
                                                                           : flag[0]) != std::string::npos;
    fuzzing::require(!parser.exist(flag) || spelled, "a flag is set only when it was given");
  }
  const auto dir = options.getValue<std::string>("dir");
  fuzzing::require(parser.exist("dir") ? wasGiven(arguments, dir) : dir.empty(), "the folder is one given");
  fuzzing::require(parser.usage().rfind("usage: tool [options] ... \n", 0) == 0, "the usage text stands");
  return 0;
}
