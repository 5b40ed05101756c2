#pragma once

#include <chrono>

namespace quelmar {

/// How long a run waits for others, at most.
struct Limits {
  std::chrono::seconds systemInformation;  ///< from the tool's start to the end of that report
  std::chrono::seconds sideCollector;      ///< for each of two: agents' state, unified log
  std::chrono::seconds tunnelExchange;     ///< the tunnel service's dump, connecting included
  std::chrono::seconds loginService;       ///< its answer to who is at the screen
  std::chrono::seconds openOwnLog;         ///< chmod of the own log, which takes no time
  std::chrono::seconds openCopies;         ///< chmod of the empty scratch folder
  std::chrono::seconds reveal;             ///< the file browser's start
  std::chrono::seconds protectedPlaces;    ///< looking for places that the output folder must not hold
  std::chrono::seconds stalledCopy;        ///< a copy that moves neither bytes nor entries
};

/// The limits of this program. A test links another definition, so that it need not wait as long.
extern const Limits kLimits;

}  // namespace quelmar
