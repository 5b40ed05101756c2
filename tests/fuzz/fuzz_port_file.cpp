// The port file's text, against a second reading of the same rules.
#include "fuzzing.h"
#include "tunnel/service_port.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  std::string digits;
  bool isNumber = true;
  unsigned value = 0;
  for (const char c : content) {
    if (c == ' ' || c == '\t' || c == '\n') continue;
    digits += c;
    isNumber = isNumber && c >= '0' && c <= '9';
    if (isNumber && value < 65536) value = value * 10 + static_cast<unsigned>(c - '0');
  }
  isNumber = isNumber && !digits.empty();

  const quelmar::PortText text = quelmar::parsePort(content);
  fuzzing::require(text.digits == digits, "only blanks, tabs and line feeds are dropped");
  fuzzing::require(text.isNumber == isNumber, "digits and nothing else make a number");
  fuzzing::require(text.port == (isNumber && value < 65536 ? value : 0), "a port is 1 to 65535");
  return 0;
}
