#pragma once

#include "logging/logger.h"
