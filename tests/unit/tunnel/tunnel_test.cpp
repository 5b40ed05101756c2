#include <regex>
#include <set>

#include <gtest/gtest.h>

#include "tunnel/http_client.h"
#include "tunnel/service_port.h"
#include "tunnel/trace_id.h"

using namespace quelmar;

TEST(ParsePort, TakesDigitsBetweenBlanksAndNothingElse) {
  const struct {
    std::string content;
    bool isNumber;
    int port;
  } cases[] = {{"8080\n", true, 8080},
               {"80 80", true, 8080},
               {"\t 1\n\n", true, 1},
               {"65535", true, 65535},
               {"65536", true, 0},
               {"0", true, 0},
               {" \n\t", false, 0},
               {"8080\r\n", false, 0},
               {"+80", false, 0},
               {"80x", false, 0},
               {"4294967376", true, 0},
               {"٨٠", false, 0},
               {std::string("80\0", 3), false, 0},
               {std::string(400, '9'), true, 0}};
  for (const auto& one : cases) {
    const PortText text = parsePort(one.content);
    EXPECT_EQ(text.isNumber, one.isNumber) << one.content;
    EXPECT_EQ(text.port, one.port) << one.content;
  }
  EXPECT_EQ(parsePort(" 8 0\n8\t0 ").digits, "8080");
}

TEST(TraceId, IsEightHexDigitsAndVaries) {
  std::set<std::string> ids;
  for (int i = 0; i < 200; ++i) {
    const std::string id = generateTraceId();
    EXPECT_TRUE(std::regex_match(id, std::regex("[0-9a-f]{8}"))) << id;
    ids.insert(id);
  }
  EXPECT_GT(ids.size(), 190U);
}

TEST(NetworkRequest, IsMadeByPlainHttpOnly) {
  std::error_code ec;
  for (const char* address : {"file:///etc/passwd", "https://127.0.0.1/", "127.0.0.1:80", "http://"}) {
    EXPECT_EQ(NetworkRequest::create(nullptr)->send(ec, URL(address)), nullptr) << address;
    EXPECT_TRUE(ec) << address;
  }
}
