// The wrapped C functions. On the target the linker's --wrap sends the real-time kernel's versions here; as
// the library counts on, they behave as the plain ones.
#include "tarntools/tools_log.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

void* __wrap_malloc(size_t size) { return std::malloc(size); }
void __wrap_free(void* p) { std::free(p); }
int __wrap_usleep(unsigned int microseconds) { return usleep(microseconds); }
int __wrap_gettimeofday(struct timeval* tv, void* tz) { return gettimeofday(tv, tz); }
int __wrap_puts(const char* text) { return std::puts(text); }
