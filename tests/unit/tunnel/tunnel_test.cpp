#include <gtest/gtest.h>

#include "tunnel/http.h"
#include "tunnel/module_dump.h"

using namespace quelmar;

TEST(ParsePort, TakesDigitsBetweenBlanksAndNothingElse) {
  const struct {
    std::string content;
    bool isNumber;
    int port;
  } cases[] = {{"\t 80 8\n0\n\n", true, 8080},
               {"1", true, 1},
               {"65535", true, 65535},
               {"65616", true, 0},
               {"0", true, 0},
               {" \n\t", false, 0},
               {"8080\r\n", false, 0},
               {"+80", false, 0},
               {"80x", false, 0},
               {"4294967376", true, 0},
               {"٨٠", false, 0},
               {std::string("80\0", 3), false, 0}};
  for (const auto& one : cases) {
    const PortText text = parsePort(one.content);
    EXPECT_EQ(text.isNumber, one.isNumber) << one.content;
    EXPECT_EQ(text.port, one.port) << one.content;
  }
}

TEST(NetworkRequest, IsMadeByPlainHttpOnly) {
  for (const char* address : {"file:///etc/passwd", "https://127.0.0.1/", "127.0.0.1:80", "http://"}) {
    std::error_code ec;
    EXPECT_EQ(NetworkRequest::create(nullptr)->send(ec, URL(address)), nullptr) << address;
    EXPECT_TRUE(ec) << address;
  }
}
