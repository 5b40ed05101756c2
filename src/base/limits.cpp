#include "base/limits.h"

namespace quelmar {

using std::chrono::seconds;

// Nothing else stands in this file: the linker leaves it out where another definition comes first.
const Limits kLimits = {seconds(60), seconds(30), seconds(30), seconds(5), seconds(5),
                        seconds(5),  seconds(10), seconds(10), seconds(30)};

}  // namespace quelmar
