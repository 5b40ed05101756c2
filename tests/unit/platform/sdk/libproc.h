#pragma once

#include <cstdint>

// The declarations of this macOS header that the tool uses.
#define PROC_PIDT_SHORTBSDINFO 13

struct proc_bsdshortinfo {
  std::uint32_t pbsi_pid;
  std::uint32_t pbsi_ppid;
};

extern "C" {
int proc_listallpids(void* buffer, int bufferBytes);
int proc_pidinfo(int pid, int flavor, std::uint64_t argument, void* buffer, int bufferBytes);
}
