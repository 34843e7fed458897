// The log: Write_Log from any thread into a ring of RINGBUF_SIZE lines, one reader that drains it.
//
// Writers never wait, allocate or enter the kernel; with the ring full a line is dropped and counted. The
// ring is 10 MB of zeroed memory: a process with deadlines locks its memory (mlockall) so that first touches
// cost nothing.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace tarn::host {

using LogSink = std::function<void(int severity, const char* line)>;

// Hands over all complete lines, oldest first, as they were written, cut to LOG_SIZE. Returns their number.
// One reader at a time: not beside the log writer.
int drainLog(const LogSink& sink);

// Lines lost to a full ring since the last call. The log writer calls it, and tells them.
int takeDroppedLogLines();

// The log writer: a thread of ordinary priority that drains the ring once a period and, when lines were lost,
// adds the line "N lines lost". The ring holds RINGBUF_SIZE lines a period. False when one runs already.
bool startLogWriter(const LogSink& sink, std::chrono::milliseconds period = std::chrono::milliseconds(50));

// The same into a file, at its end: time of the draining (UTC), severity, line. What a full disk refuses is
// counted as lost. False also when the file cannot be opened.
bool startLogWriter(const std::string& path,
                    std::chrono::milliseconds period = std::chrono::milliseconds(50));

// Drains once more and ends the thread. Harmless without one; the end of the process does it, too.
void stopLogWriter();

}  // namespace tarn::host
