// The port file's text: blanks never matter, and what is taken for a port is the number that is written
// there.
#include "fuzzing.h"
#include "tunnel/service_port.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  const quelmar::PortText text = quelmar::parsePort(content);
  const std::string& digits = text.digits;
  const bool onlyDigits = !digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos;
  fuzzing::require(text.isNumber == onlyDigits, "digits and nothing else make a number");
  fuzzing::require(quelmar::parsePort(" \t" + content + "\n").digits == digits, "blanks are dropped");
  const std::string number = digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
  const bool isPort = onlyDigits && !number.empty() && number.size() < 6 && std::stoi(number) < 65536;
  fuzzing::require(text.port == (isPort ? std::stoi(number) : 0), "a port is 1 to 65535");
  return 0;
}
