#include <gtest/gtest.h>

#include "app/command_line.h"
#include "app/param_check.h"
#include "app/result_codes.h"
#include "support/log_capture.h"

using namespace quelmar;

namespace {

bool parse(cmdline::parser& parser, std::vector<const char*> arguments) {
  arguments.insert(arguments.begin(), "tool");
  return parser.parse(static_cast<int>(arguments.size()), arguments.data());
}

}  // namespace

TEST(Options, AreReadInAllForms) {
  using Texts = std::vector<std::string>;
  const struct {
    std::vector<const char*> arguments;
    std::string dir, flags;  // flags: the short names of those seen
    Texts errors, rest;
  } cases[] = {
      {{}, "", "", {}, {}},
      {{"--dir=/x"}, "/x", "", {}, {}},
      {{"--dir="}, "", "", {}, {}},
      {{"--dir=a=b"}, "a=b", "", {}, {}},
      {{"--dir", "--quiet"}, "--quiet", "", {}, {}},
      {{"-d", "/x", "--dir", "/y"}, "/y", "", {}, {}},
      {{"--dir"}, "", "", {"option needs value: --dir"}, {}},
      {{"-d"}, "", "", {"option needs value: --dir"}, {}},
      {{"-kq"}, "", "kq", {}, {}},
      {{"-kd", "/x"}, "/x", "k", {}, {}},
      {{"-dk", "/x"}, "", "k", {"option needs value: --dir"}, {"/x"}},
      {{"-?v"}, "", "v?", {}, {}},
      {{"-", "word", "--quiet", "more"}, "", "q", {}, {"word", "more"}},
      {{"-xkz"}, "", "k", {"undefined short option: -x", "undefined short option: -z"}, {}},
      {{"--foo", "--foo=1", "--"},
       "",
       "",
       {"undefined option: --foo", "undefined option: --foo", "undefined option: --"},
       {}},
      {{"--quiet=x"}, "", "", {"option value is invalid: --quiet=x"}, {}},
  };
  for (const auto& one : cases) {
    const ParamCheck options;
    const bool ok = parse(options.parser(), one.arguments);
    const std::string label = one.arguments.empty() ? "none" : one.arguments.front();
    EXPECT_EQ(ok, one.errors.empty()) << label;
    EXPECT_EQ(options.parser().errors(), one.errors) << label;
    EXPECT_EQ(options.parser().rest(), one.rest) << label;
    EXPECT_EQ(options.getValue<std::string>("dir"), one.dir) << label;
    EXPECT_EQ(options.parser().exist("dir"), one.dir != "" || label == "--dir=") << label;
    for (const auto& [name, letter] :
         {std::pair("version", 'v'), {"onlyKey", 'k'}, {"help", '?'}, {"quiet", 'q'}}) {
      EXPECT_EQ(options.parser().exist(name), one.flags.find(letter) != std::string::npos) << label << name;
    }
  }
}

TEST(Parser, HandlesRequiredAmbiguousAndShortlessOptions) {
  cmdline::parser parser;
  parser.add<std::string>("input", 'i', "what to read", true, "");
  parser.add("all", 'a', "everything");
  parser.add("any", 'a', "something");
  parser.add("long", '\0', "no letter");
  EXPECT_FALSE(parse(parser, {"-a"}));
  EXPECT_EQ(parser.errors(),
            (std::vector<std::string>{"short option 'a' is ambiguous", "ambiguous short option: -a",
                                      "need option: --input"}));
  EXPECT_FALSE(parser.parse(0, nullptr));
  EXPECT_EQ(parser.errors(), std::vector<std::string>{"argument number must be longer than 0"});
  parser.footer("FILE");
  EXPECT_EQ(parser.usage(),
            "usage: tool -i [options] ... FILE\noptions:\n"
            "  -i, --input    what to read (string)\n"
            "  -a, --all      everything\n"
            "  -a, --any      something\n"
            "      --long     no letter\n");
}

TEST(Parser, ThrowsOnMisuse) {
  const testing_support::LogCapture log;
  const ParamCheck options;
  const auto textOf = [](const auto& misuse) -> std::string {
    try {
      misuse();
    } catch (const cmdline::cmdline_error& error) {
      return error.what();
    }
    return "nothing thrown";
  };
  EXPECT_EQ(textOf([&] { static_cast<void>(options.parser().exist("none")); }), "there is no flag: --none");
  EXPECT_EQ(textOf([&] { options.parser().add("quiet", 'x', ""); }), "multiple definition: quiet");
  EXPECT_EQ(options.getValue<std::string>("none"), "");
  EXPECT_EQ(
      log.text(),
      "[error] [LogCollectionTool:getValue] get none value failed.; Reason: there is no flag: --none\n");
}

TEST(CollectionCategory, HasTextsForItsCodesOnly) {
  EXPECT_EQ(collection_category().message(3), "rpc with obrela tunnel disconnected");
  EXPECT_EQ(collection_category().message(5), "unknown error, error code is not defined");
}
