#include "tarnhost/log.h"

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

#include "record_call.h"
#include "tarntools/tools_log.h"

namespace tarn::host {
namespace {

// A slot tells by its turn whose it is: free for the writer of position p at turn p, ready for the reader at
// turn p + 1, free for the writer one round later at turn p + RINGBUF_SIZE. The turn is stored relative to
// the slot's index, so that a ring of zeros is an empty one.
struct Slot {
    std::atomic<std::uint64_t> turn;
    int severity;
    char text[LOG_SIZE];
};

std::array<Slot, RINGBUF_SIZE> ring;
std::atomic<std::uint64_t> writePosition;
std::uint64_t readPosition;
std::atomic<int> droppedLines;

Slot& slotOf(std::uint64_t position) { return ring[position % RINGBUF_SIZE]; }
std::uint64_t turnOf(std::uint64_t position) { return position - position % RINGBUF_SIZE; }

// Takes the slot of the next position for writing; nullptr when the reader has not freed it yet.
Slot* claimSlot(std::uint64_t* position) {
    std::uint64_t p = writePosition.load(std::memory_order_relaxed);
    for (;;) {
        Slot& slot = slotOf(p);
        const std::uint64_t turn = slot.turn.load(std::memory_order_acquire);
        if (turn == turnOf(p)) {
            if (writePosition.compare_exchange_weak(p, p + 1, std::memory_order_relaxed)) {
                *position = p;
                return &slot;
            }
        } else if (turn < turnOf(p)) {
            return nullptr;
        } else {
            p = writePosition.load(std::memory_order_relaxed);
        }
    }
}

void writeLine(int severity, const char* format, va_list arguments) {
    std::uint64_t position;
    Slot* slot = claimSlot(&position);
    if (slot == nullptr) {
        droppedLines.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    slot->severity = severity;
    if (std::vsnprintf(slot->text, sizeof slot->text, format, arguments) < 0) slot->text[0] = '\0';
    slot->turn.store(turnOf(position) + 1, std::memory_order_release);
}

}  // namespace

int drainLog(const LogSink& sink) {
    int lines = 0;
    for (;; lines++) {
        Slot& slot = slotOf(readPosition);
        if (slot.turn.load(std::memory_order_acquire) != turnOf(readPosition) + 1) return lines;
        sink(slot.severity, slot.text);
        slot.turn.store(turnOf(readPosition) + RINGBUF_SIZE, std::memory_order_release);
        readPosition++;
    }
}

int takeDroppedLogLines() { return droppedLines.exchange(0); }

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
