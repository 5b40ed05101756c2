#include <gtest/gtest.h>

#include "app/options.h"

using namespace quelmar;
using Texts = std::vector<std::string>;

TEST(Options, AreReadInAllForms) {
  const struct {
    std::vector<const char*> arguments;
    std::string dir, flags;  // flags: the short names of those seen
    Texts errors, rest;
  } cases[] = {
      {{"--dir=a=b"}, "a=b", "d", {}, {}},
      {{"--dir="}, "", "d", {}, {}},
      {{"--dir", "--quiet"}, "--quiet", "d", {}, {}},
      {{"-d", "/x", "--dir", "/y"}, "/y", "d", {}, {}},
      {{"--dir"}, "", "", {"option needs value: --dir"}, {}},
      {{"-kd", "/x"}, "/x", "dk", {}, {}},
      {{"-dk", "/x"}, "", "k", {"option needs value: --dir"}, {"/x"}},
      {{"-", "word", "-?v", "--quiet", "more"}, "", "?qv", {}, {"word", "more"}},
      {{"-xkz"}, "", "k", {"undefined short option: -x", "undefined short option: -z"}, {}},
      {{"--foo=1", "--"}, "", "", {"undefined option: --foo", "undefined option: --"}, {}},
      {{"--quiet=x"}, "", "", {"option value is invalid: --quiet=x"}, {}},
  };
  for (const auto& one : cases) {
    const ParamCheck options;
    std::vector<const char*> words = one.arguments;
    words.insert(words.begin(), "tool");
    const bool isRight = options.parser().parse(static_cast<int>(words.size()), words.data());
    std::string flags;
    for (const char* name : {"help", "dir", "onlyKey", "quiet", "version"})
      if (options.parser().exist(name)) flags += *name == 'h' ? '?' : *name == 'o' ? 'k' : *name;
    EXPECT_EQ(std::tuple(isRight, options.parser().errors(), options.parser().rest(), flags,
                         options.getValue<std::string>("dir")),
              std::tuple(one.errors.empty(), one.errors, one.rest, one.flags, one.dir))
        << one.arguments.front();
  }
}
