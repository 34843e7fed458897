// A bounded queue from many writers to one reader, for the cycle: writing neither waits nor allocates nor
// enters the kernel.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tarn::host {

// A slot tells by its turn whose it is: free for the writer of position p at turn p, ready for the reader at
// turn p + 1, free for the writer one round later at turn p + N. The turn is stored relative to the slot's
// index, so that a ring of zeros is an empty one.
template <typename Item, std::size_t N>
struct Ring {
    struct Slot {
        std::atomic<std::uint64_t> turn;
        Item item;
    };

    std::array<Slot, N> slots;
    std::atomic<std::uint64_t> writePosition;
    std::uint64_t readPosition;

    // Has fill(item) fill the next slot; false when the ring is full.
    template <typename Fill>
    bool write(Fill fill) {
        std::uint64_t p = writePosition.load(std::memory_order_relaxed);
        for (;;) {
            Slot& slot = slots[p % N];
            const std::uint64_t turn = slot.turn.load(std::memory_order_acquire);
            if (turn == turnOf(p)) {
                if (!writePosition.compare_exchange_weak(p, p + 1, std::memory_order_relaxed)) continue;
                fill(slot.item);
                slot.turn.store(turnOf(p) + 1, std::memory_order_release);
                return true;
            }
            if (turn < turnOf(p)) return false;  // the reader has not freed it yet
            p = writePosition.load(std::memory_order_relaxed);
        }
    }

    // Hands the oldest item to take(item); false when there is none, or its writer has not finished yet.
    template <typename Take>
    bool read(Take take) {
        Slot& slot = slots[readPosition % N];
        if (slot.turn.load(std::memory_order_acquire) != turnOf(readPosition) + 1) return false;
        take(slot.item);
        slot.turn.store(turnOf(readPosition) + N, std::memory_order_release);
        readPosition++;
        return true;
    }

    static std::uint64_t turnOf(std::uint64_t position) { return position - position % N; }
};

}  // namespace tarn::host
