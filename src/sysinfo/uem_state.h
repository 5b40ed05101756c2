#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// Writes the endpoint-management state report, "system_state.log" in `folder`/"uem_" + `name`: processes,
/// kernel parameters, integrity protection, kernel extensions and, when its database exists, system
/// extensions. The folder is not created here: without it the banners are silently lost and the shell
/// complains on standard error. The path reaches the shell unquoted. Blocks as long as the commands take;
/// logs a start and a done record for each section.
void collectSystemStateForUem(const std::string& folder, const std::string& name);

}  // namespace quelmar::logutils::macos
