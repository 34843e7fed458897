#include "tarnhost/log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "periodic.h"
#include "record_call.h"
#include "ring.h"
#include "tarntools/tools_log.h"
#include "write_all.h"

namespace tarn::host {
namespace {

struct Line {
    int severity;
    char text[LOG_SIZE];
};

Ring<Line, RINGBUF_SIZE> ring;
std::atomic<int> droppedLines;

void writeLine(int severity, const char* format, va_list arguments) {
    const bool written = ring.write([&](Line& line) {
        line.severity = severity;
        if (std::vsnprintf(line.text, sizeof line.text, format, arguments) < 0) line.text[0] = '\0';
    });
    if (!written) droppedLines.fetch_add(1, std::memory_order_relaxed);
}

// ---- the writer's thread

constexpr const char* kSeverityNames[LOG_FATAL + 1] = {"-", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

std::string timeOfDay() {
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc;
    gmtime_r(&now.tv_sec, &utc);
    char day[32], text[48];
    std::strftime(day, sizeof day, "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text, sizeof text, "%s.%03dZ", day, static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

struct LogFile {
    int descriptor = -1;
    int lost = 0;  // lines that the disk refused since it last took some

    ~LogFile() {
        if (descriptor >= 0) ::close(descriptor);
    }
};

// Returns the number of lines that it told as lost.
int drainInto(const LogSink& sink, int lostBefore) {
    drainLog(sink);
    const int lost = lostBefore + takeDroppedLogLines();
    if (lost > 0) sink(LOG_WARN, (std::to_string(lost) + " lines lost").c_str());
    return lost;
}

void drainInto(LogFile& file) {
    std::string lines;
    int count = 0;
    const std::string time = timeOfDay();
    const LogSink toText = [&](int severity, const char* line) {
        const bool named = severity > LOG_UNKNOWN && severity <= LOG_FATAL;
        std::string_view text = line;
        while (text.ends_with('\n')) text.remove_suffix(1);
        (((lines += time) += ' ') += kSeverityNames[named ? severity : LOG_UNKNOWN]) += ' ';
        (lines += text) += '\n';
        count++;
    };
    const int told = drainInto(toText, file.lost);
    const off_t end = ::lseek(file.descriptor, 0, SEEK_END);
    const bool written = writeAll(file.descriptor, lines);
    file.lost = written ? 0 : count - (told > 0 ? 1 : 0) + told;
    // no half of a line stays, where the file can be cut
    if (!written && end >= 0 && ::ftruncate(file.descriptor, end) != 0) return;
}

std::jthread writer;  // last here: it stops before what it uses is gone

}  // namespace

int drainLog(const LogSink& sink) {
    int lines = 0;
    while (ring.read([&sink](const Line& line) { sink(line.severity, line.text); })) lines++;
    return lines;
}

int takeDroppedLogLines() { return droppedLines.exchange(0); }

bool startLogWriter(const LogSink& sink, std::chrono::milliseconds period) {
    if (writer.joinable()) return false;
    writer = startPeriodic(period, [sink] { drainInto(sink, 0); });
    return true;
}

bool startLogWriter(const std::string& path, std::chrono::milliseconds period) {
    if (writer.joinable()) return false;
    const auto file = std::make_shared<LogFile>();
    file->descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (file->descriptor < 0) return false;
    writer = startPeriodic(period, [file] { drainInto(*file); });
    return true;
}

void stopLogWriter() {
    writer.request_stop();
    if (writer.joinable()) writer.join();
    writer = {};
}

}  // namespace tarn::host

using namespace tarn::host;

void Write_Log(int severity, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    if (serviceRecord.on) {
        char text[kServiceRecordWidth];
        va_list copy;
        va_copy(copy, arguments);
        if (std::vsnprintf(text, sizeof text, format, copy) < 0) text[0] = '\0';
        va_end(copy);
        recordCall("Write_Log", severity, text);
    }
    writeLine(severity, format, arguments);
    va_end(arguments);
}
