#include <gtest/gtest.h>

#include "tunnel/http.h"
#include "tunnel/module_dump.h"

using namespace quelmar;

TEST(ParsePort, TakesDigitsBetweenBlanksAndNothingElse) {
  const std::pair<const char*, int> cases[] = {
      // -1: no number
      {"\t 80 8\n0\n\n", 8080}, {"1", 1},    {"65535", 65535}, {"65616", 0},      {"0", 0},  {" \n\t", -1},
      {"8080\r\n", -1},         {"+80", -1}, {"80x", -1},      {"4294967376", 0}, {"٨٠", -1}};
  for (const auto& [content, port] : cases) {
    const PortText text = parsePort(content);
    EXPECT_EQ(text.isNumber ? text.port : text.port - 1, port) << content;
  }
}

TEST(NetworkRequest, IsMadeByPlainHttpOnly) {
  for (const char* address : {"file:///etc/passwd", "https://127.0.0.1/", "127.0.0.1:80", "http://"}) {
    std::error_code ec;
    EXPECT_EQ(NetworkRequest::create(nullptr)->send(ec, URL(address)), nullptr) << address;
    EXPECT_TRUE(ec) << address;
  }
}
