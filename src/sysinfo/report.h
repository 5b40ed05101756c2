#pragma once

#include <string>

#include "base/directories.h"

namespace quelmar::logutils::macos::details {

/// A section banner of the report files: 34 "=", a blank, the title, a blank, 34 "=" and a line end.
std::string sectionBanner(const std::string& title);

/// Tells whether a report may be written to `path`, or into it when a directory is wanted there: see
/// utilities::discardForeignEntry. When not, that it is left out is logged under the name `function`.
bool claimReport(const char* function, const std::string& path,
                 utilities::Wanted wanted = utilities::Wanted::kFile);

/// Appends a section banner to the report at `path`, unless something else stands there.
void appendBanner(const std::string& path, const std::string& title);

/// Runs `command`, by which the shell appends to the report at `path`, when that can be claimed.
/// @return true when the command was started
bool appendOutput(const char* function, const std::string& path, const std::string& command);

}  // namespace quelmar::logutils::macos::details
