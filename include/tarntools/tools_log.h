// The host's log, and the wrapped C functions that code under the real-time kernel uses.
//
// Every function here is provided by the host. The severities have the names of <syslog.h> with other
// values: one source file cannot include both.
#pragma once

#include <stddef.h>
#include <sys/time.h>

// Sizes of the host's log: lines that it holds for its reader, and bytes of the longest line.
#define RINGBUF_SIZE 2000
#define LOG_SIZE 5120

extern "C" {

// As a rule the library writes events at LOG_INFO and bad data at LOG_ERR.
enum __severity_e {
    LOG_UNKNOWN = 0,
    LOG_DEBUG = 1,
    LOG_INFO = 2,
    LOG_WARN = 3,
    LOG_ERR = 4,
    LOG_FATAL = 5,
};

// Appends a line to the host's log. severity is a value of __severity_e, format and values are those of
// printf. Called in the cycle and by commands, so it must neither block nor allocate.
void Write_Log(int severity, const char* format, ...) __attribute__((format(printf, 2, 3)));

// As the C functions of the same name, results included. The real-time kernel's build wraps those and
// gives the plain ones elsewhere. __wrap_usleep and __wrap_gettimeofday are called by commands only, the
// others also in the cycle, by the few functions that say so.
void* __wrap_malloc(size_t size);
void __wrap_free(void* p);
int __wrap_usleep(unsigned int microseconds);
int __wrap_gettimeofday(struct timeval* tv, void* tz);
int __wrap_puts(const char* text);

}  // extern "C"
