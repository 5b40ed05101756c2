#include <gtest/gtest.h>

#include "platform/application_support.h"
#include "platform/child_processes.h"
#include "platform/console_user.h"
#include "platform/fake_frameworks.h"

using quelmar::platform::childrenOf;
using quelmar::platform::machineApplicationSupport;
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

TEST_F(MacosPlatform, ChildrenAreTheSameWhetherTheSystemCountsProcessesOrBytes) {
  frameworks().children = {101, 102};
  for (const int answer : {2, 8}) {
    frameworks().childrenAnswer = answer;
    EXPECT_EQ(childrenOf({1}), (std::vector<pid_t>{101, 102}));
  }
  frameworks().children.clear();
  for (const int answer : {0, -1}) {
    frameworks().childrenAnswer = answer;
    EXPECT_TRUE(childrenOf({1}).empty());
  }
}

}  // namespace
