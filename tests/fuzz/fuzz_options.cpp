// The option parser over any arguments; they stand in the input one after the other, each ended by a zero
// byte.
#include <algorithm>
#include <vector>

#include "app/param_check.h"
#include "fuzzing.h"

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
  const auto dir = options.getValue<std::string>("dir");
  const bool given = std::any_of(arguments.begin() + 1, arguments.end(), [&dir](const std::string& argument) {
    return argument == dir || argument == "--dir=" + dir;
  });
  fuzzing::require(parser.exist("dir") ? given : dir.empty(), "the folder is one given");
  fuzzing::require(parser.usage().rfind("usage: tool [options] ... \n", 0) == 0, "the usage text stands");
  return 0;
}
