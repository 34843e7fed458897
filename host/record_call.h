// How a service enters itself into the record: no allocation, no lock, nothing at all while it is off.
#pragma once

#include <cstdio>
#include <type_traits>

#include "tarnhost/service_record.h"

namespace tarn::host {

// A line under construction; text that does not fit is cut.
struct RecordLine {
    char* text;
    int size;
    int used;
};

// The next free line, nullptr when the record is off or full.
char* nextRecordLine();

inline void append(RecordLine& line, const char* format, auto value) {
    if (line.used >= line.size) return;
    const int written =
        std::snprintf(line.text + line.used, static_cast<size_t>(line.size - line.used), format, value);
    if (written > 0) line.used += written;
}

template <typename T>
struct Values {
    const T* first;
    int count;
};

inline void appendArgument(RecordLine& line, const char* text) {
    append(line, " %s", text != nullptr ? text : "(null)");
}

template <typename T>
requires std::is_arithmetic_v<T>
void appendArgument(RecordLine& line, T number) { append(line, " %.9g", static_cast<double>(number)); }

template <typename T>
void appendArgument(RecordLine& line, Values<T> values) {
    for (int i = 0; i < values.count; i++) appendArgument(line, values.first[i]);
}

template <typename... Args>
void recordCall(const char* name, Args... args) {
    if (!serviceRecord.on) return;
    char* text = nextRecordLine();
    if (text == nullptr) return;
    RecordLine line = {text, kServiceRecordWidth, 0};
    append(line, "%s", name);
    (appendArgument(line, args), ...);
}

}  // namespace tarn::host
