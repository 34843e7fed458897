// The wrapped C functions. On the target the linker's --wrap sends the real-time kernel's versions here; as
// the library counts on, they behave as the plain ones.
#include <cstdio>
#include <cstdlib>

#include <sys/time.h>
#include <unistd.h>

#include "tarntools/tools_config.h"

void* __wrap_malloc(size_t size) { return std::malloc(size); }
void __wrap_free(void* p) { std::free(p); }
int __wrap_usleep(unsigned int microseconds) { return usleep(microseconds); }
int __wrap_gettimeofday(struct timeval* tv, void* tz) { return gettimeofday(tv, tz); }
int __wrap_puts(const char* text) { return std::puts(text); }
