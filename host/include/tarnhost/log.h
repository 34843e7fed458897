// The log: Write_Log from any thread into a ring of RINGBUF_SIZE lines, one reader that drains it.
//
// Writers never wait, allocate or enter the kernel; with the ring full a line is dropped and counted. A real
// controller drains into a file or a service from a thread of low priority. The ring is 10 MB of zeroed
// memory: a process with deadlines locks its memory (mlockall) so that first touches cost nothing.
#pragma once

#include <functional>

namespace tarn::host {

using LogSink = std::function<void(int severity, const char* line)>;

// Hands over all complete lines, oldest first, as they were written, cut to LOG_SIZE. Returns their number.
// One reader at a time.
int drainLog(const LogSink& sink);

// Lines lost to a full ring since the last call.
int takeDroppedLogLines();

}  // namespace tarn::host
