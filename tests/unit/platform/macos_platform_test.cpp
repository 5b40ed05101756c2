#include <cerrno>

#include <gtest/gtest.h>

#include "platform/application_support.h"
#include "platform/command.h"
#include "platform/console_user.h"
#include "platform/fake_frameworks.h"
#include "platform/processes.h"

using quelmar::platform::Command;
using quelmar::platform::machineApplicationSupport;
using quelmar::platform::processes;
using quelmar::platform::userApplicationSupport;
using quelmar::process::getCurrentLoginUser;

namespace {

std::string repeated(const std::string& text, int times) {
  std::string out;
  while (times-- > 0) out += text;
  return out;
}

class MacosPlatform : public testing::Test {
 protected:
  void SetUp() override { frameworks() = FakeFrameworks{}; }
  void TearDown() override {
    EXPECT_TRUE(frameworks().alive.empty()) << "something was not released";
    EXPECT_TRUE(frameworks().pools.empty());
  }
  std::string text_ = "stale";
};

TEST_F(MacosPlatform, ConsoleUserComesWholeInAnyScriptAndLength) {
  for (const std::string& name : {std::string("anna"), std::string("root"), std::string("J\u00fcrgen"),
                                  std::string("\U0001F431"), repeated("\u20ac", 5000), std::string()}) {
    frameworks().consoleUser = name;
    EXPECT_TRUE(getCurrentLoginUser(text_));
    EXPECT_EQ(text_, name);
  }
}

TEST_F(MacosPlatform, NobodyOrAnUnconvertibleNameIsNoConsoleUser) {
  for (const bool somebody : {false, true}) {
    text_ = "stale";
    frameworks().somebodyAtConsole = somebody;
    frameworks().conversionFails = somebody;
    EXPECT_FALSE(getCurrentLoginUser(text_));
    EXPECT_EQ(text_, "");
  }
}

TEST_F(MacosPlatform, FoldersAreTheFirstAnswerOfTheirDomain) {
  const std::string users = "/Users/J\u00fcrgen/Library/Application Support";
  frameworks().folders = {{1, {users, "/elsewhere"}}, {2, {"/Library/Application Support"}}};
  userApplicationSupport(text_);
  EXPECT_EQ(text_, users);
  EXPECT_EQ(frameworks().askedKind, 14U);
  EXPECT_FALSE(frameworks().askedForTilde);
  machineApplicationSupport(text_);
  EXPECT_EQ(text_, "/Library/Application Support");
  EXPECT_EQ(frameworks().askedKind, 14U);
}

TEST_F(MacosPlatform, FolderIsEmptyWhenTheServiceHasNoUsableAnswer) {
  const std::vector<std::map<unsigned long, std::vector<std::string>>> answers = {
      {}, {{1, {}}, {2, {}}}, {{1, {"/Users/anna"}}, {2, {"/Library"}}}};
  frameworks().conversionFails = true;
  for (const auto& folders : answers) {
    frameworks().folders = folders;
    for (auto* const ask : {&userApplicationSupport, &machineApplicationSupport}) {
      text_ = "stale";
      ask(text_);
      EXPECT_EQ(text_, "");
    }
  }
}

TEST_F(MacosPlatform, ProcessesAreTheSameWhetherTheSystemCountsThemOrBytes) {
  frameworks().processes = {{0, 0}, {1, 0}, {101, 1}, {102, -1}, {103, 101}};
  for (const int answer : {5, 20}) {
    frameworks().processesAnswer = answer;
    const auto all = processes();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_TRUE(all[0].pid == 101 && all[0].parent == 1 && all[1].pid == 103 && all[1].parent == 101);
  }
}

TEST_F(MacosPlatform, CommandGetsStandardErrorAloneOrItsErrorIsTold) {
  Command command;
  frameworks().spawnError = EAGAIN;
  EXPECT_EQ(command.start("exit 0"), EAGAIN);
  frameworks().spawnError = 0;
  ASSERT_EQ(command.start("printf text", 1 << 20), 0);
  text_.resize(10);
  EXPECT_EQ(command.read(text_.data(), text_.size()), 4U);
  EXPECT_TRUE(command.wait());
  EXPECT_EQ(frameworks().handedOn, (std::vector<int>{2, 2}));
}

}  // namespace
