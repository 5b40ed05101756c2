#pragma once

#include <sys/types.h>

// The one declaration of this macOS header that the tool uses.
extern "C" int proc_listchildpids(pid_t parent, void* buffer, int bufferBytes);
