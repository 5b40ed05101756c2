#include "logging/logger.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <iterator>
#include <limits>
#include <mutex>
#include <system_error>
#include <utility>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/directories.h"
#include "base/regular_file.h"
#include "logging/log_file.h"

namespace fs = boost::filesystem;

namespace quelmar {
