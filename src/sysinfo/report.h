#pragma once

#include <string>

namespace quelmar::logutils::macos::details {

/// A section banner of the report files: 34 "=", a blank, the title, a blank, 34 "=" and a line end.
std::string sectionBanner(const std::string& title);

}  // namespace quelmar::logutils::macos::details
