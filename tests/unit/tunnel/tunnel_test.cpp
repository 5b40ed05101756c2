#include <gtest/gtest.h>

#include "tunnel/http.h"
#include "tunnel/module_dump.h"

using namespace quelmar;

TEST(ParsePort, TakesDigitsBetweenBlanksAndNothingElse) {
  const struct {
    std::string content;
    std::optional<int> port;
  } cases[] = {{"\t 80 8\n0\n\n", 8080},
               {"1", 1},
               {"65535", 65535},
               {"65616", 0},
               {"0", 0},
               {" \n\t", {}},
               {"8080\r\n", {}},
               {"+80", {}},
               {"80x", {}},
               {"4294967376", 0},
               {"٨٠", {}},
               {std::string("80\0", 3), {}}};
  for (const auto& one : cases) {
    std::string text = one.content;
    EXPECT_EQ(parsePort(text), one.port) << one.content;
  }
}

TEST(NetworkRequest, IsMadeByPlainHttpOnly) {
  for (const char* address : {"file:///etc/passwd", "https://127.0.0.1/", "127.0.0.1:80", "http://"}) {
    std::error_code ec;
    EXPECT_EQ(NetworkRequest::create(nullptr)->send(ec, URL(address)), nullptr) << address;
    EXPECT_TRUE(ec) << address;
  }
}
