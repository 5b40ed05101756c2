#pragma once

#include <optional>
#include <string>

namespace quelmar::process {

/// Who is logged in at the console, by getCurrentLoginUser: asked once in a run, by whoever calls first, on a
/// thread of its own. A login service that has not answered after five seconds counts as nobody there.
const std::optional<std::string>& loginUser();

}  // namespace quelmar::process
