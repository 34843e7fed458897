// Telegrams of the axle bus: the queue that collects them for a command, the monitor, the writing of
// registers.
#include <atomic>

#include "tarnhal/thalintf.h"
#include "tarntools/tools_log.h"
#include "zvmcforcesensorblock.h"

AXLESENSOR_BUFF asq;

namespace {

constexpr unsigned kSlots = sizeof AXLESENSOR_BUFF::asd / sizeof(AXLESENSOR_DATA);

// Whatever a host has written into the indices, the slot is one of the queue's.
int slot(int index) { return static_cast<int>(static_cast<unsigned>(index) % kSlots); }
int next(int index) { return slot(slot(index) + 1); }

// The other side may run on another core: it sees an index move only after what was done to the slot.
int seen(int& index) { return std::atomic_ref(index).load(std::memory_order_acquire); }
void move(int& index, int to) { std::atomic_ref(index).store(to, std::memory_order_release); }

}  // namespace

// ---- the queue: the cycle moves its tail, a command its head

int tmcAsqClear() {
    asq.head = asq.tail = 0;
    return 1;  // not 0, on purpose
}

int tmcAsqInit() { return tmcAsqClear(); }

int tmcAsqLength() { return slot(slot(seen(asq.tail)) - slot(seen(asq.head))); }

int tmcAsqIsEmpty() { return seen(asq.head) == seen(asq.tail) ? 1 : 0; }

int tmcAsqIsFull() { return next(seen(asq.tail)) == seen(asq.head) ? 1 : 0; }

int tmcAsqAddToTail(AXLESENSOR_DATA asd) {
    if (tmcAsqIsFull() == 1) {
        __wrap_puts("The cmd queue is full!!!");
        return -1;
    }
    asq.asd[slot(asq.tail)] = asd;
    move(asq.tail, next(asq.tail));
    return 0;
}

int tmcAsqGetAtHead(AXLESENSOR_DATA* asd) {
    if (tmcAsqIsEmpty() == 1) return -1;
    *asd = asq.asd[slot(asq.head)];
    move(asq.head, next(asq.head));
    return 0;
}

// ---- collecting and reading

int tmcAxleSensorDataBuffFlag(uint8_t status) {
    mcb.forceControl.buffFlag = status;
    return 0;
}

int axleSensorDataAddToBuff(uint32_t* sensor_data) {
    if (mcb.forceControl.buffFlag == 1)
        tmcAsqAddToTail({{sensor_data[0], sensor_data[1]}});
    else
        tmcAsqClear();
    return 0;
}

// A full queue is not read, on purpose: it has lost telegrams, and only clearing it starts anew.
int tmcGetAxleSensorData(AXLESENSOR_DATA* data) {
    if (tmcAsqIsFull() == 1) return -1;
    if (tmcAsqIsEmpty() == 1) return -2;
    return tmcAsqGetAtHead(data);
}

// ---- monitor and registers

int tmcAxleSensorEnable(uint8_t status) {
    if (status > 1) return -1;
    mpb.junkongEnable = status;
    return 0;
}

int axleSensorDataMonitor(uint32_t* sensor_data) {
    const uint32_t word = sensor_data[0];
    const auto kind = static_cast<uint8_t>(word >> 24 & 0xF);
    const auto value = static_cast<uint8_t>(word >> 16);
    mpb.junkongTest[0] = kind;
    mpb.junkongTest[1] = kind == 7 ? value : 0;
    mpb.junkongTest[2] = kind == 8 ? value : 0;
    return 0;
}

int tmcAxleSensorRegWrite(uint8_t dev_addr, uint8_t reg_h_addr, uint8_t reg_l_addr, uint8_t reg_num,
                          uint16_t data1, uint16_t data2) {
    zvHalSetAxleSensorData(dev_addr, reg_h_addr, reg_l_addr, reg_num, data1, data2);
    return 0;
}
