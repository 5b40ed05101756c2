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
      {{"-kd", "/x"}, "/x", "kd", {}, {}},
      {{"-dk", "/x"}, "", "k", {"option needs value: --dir"}, {"/x"}},
      {{"-", "word", "-?v", "--quiet", "more"}, "", "v?q", {}, {"word", "more"}},
      {{"-xkz"}, "", "k", {"undefined short option: -x", "undefined short option: -z"}, {}},
      {{"--foo=1", "--"}, "", "", {"undefined option: --foo", "undefined option: --"}, {}},
      {{"--quiet=x"}, "", "", {"option value is invalid: --quiet=x"}, {}},
  };
  for (const auto& one : cases) {
    const ParamCheck options;
    EXPECT_NE(options.parser().usage().find("\n  -k, --onlyKey    "), std::string::npos);
    const std::string label = one.arguments.front();
    std::vector<const char*> words = one.arguments;
    words.insert(words.begin(), "tool");
    EXPECT_EQ(options.parser().parse(static_cast<int>(words.size()), words.data()), one.errors.empty()) << label;
    EXPECT_EQ(options.parser().errors(), one.errors) << label;
    EXPECT_EQ(options.parser().rest(), one.rest) << label;
    EXPECT_EQ(options.getValue<std::string>("dir"), one.dir) << label;
    for (const auto& [name, letter] :
         {std::pair("version", 'v'), {"onlyKey", 'k'}, {"help", '?'}, {"quiet", 'q'}, {"dir", 'd'}}) {
      EXPECT_EQ(options.parser().exist(name), one.flags.find(letter) != std::string::npos) << label << name;
    }
  }
}
