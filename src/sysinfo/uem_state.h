#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// Writes the endpoint-management state report, "system_state.log" in `folder`/"uem_" + `name`: processes,
/// kernel parameters, integrity protection, kernel extensions and, when their database exists, system
/// extensions. The folder is not created: without it no banner is written and the shell complains on standard
/// error. The path is passed to the shell unquoted. Blocks as long as the commands take; logs a start and a
/// done record for each section.
/// @param folder  the folder of the logs, in the scratch folder.
/// @param name    the first user's name.
void collectSystemStateForUem(const std::string& folder, const std::string& name);

}  // namespace quelmar::logutils::macos
