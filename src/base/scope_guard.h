#pragma once
#include "base/threads.h"
