#include "platform/application_support.h"

#include "platform/macos/foundation_util.h"

namespace quelmar::platform {

using common::mac::FoundationUtil;

void userApplicationSupport(std::string& path) {
  FoundationUtil::getUserDirectory(FoundationUtil::kApplicationSupport, path);
}

void machineApplicationSupport(std::string& path) {
  FoundationUtil::getLocalDirectory(FoundationUtil::kApplicationSupport, path);
}

}  // namespace quelmar::platform
