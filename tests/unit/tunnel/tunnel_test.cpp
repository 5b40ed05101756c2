#include <gtest/gtest.h>

#include "tunnel/http.h"
#include "tunnel/module_dump.h"

using namespace quelmar;

TEST(ParsePort, TakesDigitsBetweenBlanksAndNothingElse) {
  const std::pair<const char*, std::optional<int>> cases[] = {
      {"\t 80 8\n0\n\n", 8080}, {"1", 1},    {"65535", 65535}, {"65616", 0},      {"0", 0},  {" \n\t", {}},
      {"8080\r\n", {}},         {"+80", {}}, {"80x", {}},      {"4294967376", 0}, {"٨٠", {}}};
  for (const auto& [content, port] : cases) {
    std::string text = content;
    EXPECT_EQ(parsePort(text), port) << content;
  }
}

TEST(NetworkRequest, IsMadeByPlainHttpOnly) {
  for (const char* address : {"file:///etc/passwd", "https://127.0.0.1/", "127.0.0.1:80", "http://"}) {
    std::error_code ec;
    EXPECT_EQ(NetworkRequest::create(nullptr)->send(ec, URL(address)), nullptr) << address;
    EXPECT_TRUE(ec) << address;
  }
}
