// The force sensor from its raw words to the force in the chosen frame: words, alarm lines, telegrams, makers
// and models, zero, load and calibration, in any order.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fresh_start.h"
#include "tarnhost/devices.h"
#include "zvmcforcesensorblock.h"

namespace {

// The bytes of an input, zeros behind its end.
class Bytes {
  public:
    Bytes(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}
    [[nodiscard]] bool empty() const { return left_ == 0; }
    template <typename T>
    T take() {
        T value{};
        const std::size_t part = left_ < sizeof value ? left_ : sizeof value;
        std::memcpy(&value, at_, part);
        at_ += part;
        left_ -= part;
        return value;
    }

  private:
    const std::uint8_t* at_;
    std::size_t left_;
};

template <typename T>
void take(Bytes& in, T* to, int count) {
    for (int i = 0; i < count; i++) to[i] = in.take<T>();
}

void check(bool holds) {
    if (!holds) std::abort();
}

void step(Bytes& in) {
    FORCESENSOR_DATA force{};
    switch (in.take<std::uint8_t>() % 20) {
        case 0:
        case 1: {  // a cycle with its words, 16 bits each, and once more with all 32
            std::int32_t words[6];
            for (std::int32_t& word : words) word = in.take<std::int16_t>();
            forceSensorDataProcess(words);
            break;
        }
        case 2: {
            std::int32_t words[6];
            take(in, words, 6);
            for (int i = in.take<std::uint8_t>(); i >= 0; i--) forceSensorDataProcess(words);
            break;
        }
        case 3:
            tarn::host::axleBus.din = in.take<std::uint16_t>();
            break;
        case 4:
            mcb.fsCompanyID = in.take<std::int8_t>();
            mcb.fsDeviceID = in.take<std::int8_t>();
            break;
        case 5: {
            std::uint32_t telegram[2];
            take(in, telegram, 2);
            for (int i = in.take<std::uint8_t>(); i >= 0; i--) axleSensorDataAddToBuff(telegram);
            axleSensorDataMonitor(telegram);
            break;
        }
        case 6: {
            AXLESENSOR_DATA data{};
            tmcGetAxleSensorData(&data);
            tmcAsqAddToTail(data);
            break;
        }
        case 7:
            tmcAxleSensorDataBuffFlag(in.take<std::uint8_t>());
            break;
        case 8:
            tmcAsqClear();
            break;
        case 9:
            tmcSetForceSensorZero(in.take<std::uint8_t>(), 1);
            break;
        case 10: {
            float place[6];
            const auto frame = in.take<std::uint8_t>();
            take(in, place, 6);
            tmcSetForceSensorRcs(frame, place, 2);
            break;
        }
        case 11:
            tmcSetForceSensorLoadWeight(in.take<double>(), 3);
            break;
        case 12: {
            VECT center;
            take(in, &center.x, 1);
            take(in, &center.y, 1);
            take(in, &center.z, 1);
            tmcSetForceSensorLoadCoord(center, 4);
            break;
        }
        case 13:
            take(in, reinterpret_cast<double*>(&mpb.tC), 12);
            break;
        case 14:
            trsfToRCS_force(&force);
            break;
        case 15:
            forceSensorDataGravityCompensation(&force);
            break;
        case 16:
            tmcGetForceSensorData_loadIdentify(in.take<int>(), &force);
            break;
        case 17:
            zvmcSaveSensorDataFlag(in.take<int>());
            break;
        case 18: {
            double mass, center[3];
            zvmcSensorComload(&mass, center);
            break;
        }
        case 19:
            zvmcSetAxleDeviceType(in.take<std::uint8_t>());
            break;
    }
    check(tmcAsqLength() >= 0 && tmcAsqLength() <= 255);
    check(tmcAsqIsEmpty() == (tmcAsqLength() == 0) && tmcAsqIsFull() == (tmcAsqLength() == 255));
    check(std::isfinite(mpb.forceOrigin.fx) && std::isfinite(mpb.forceOrigin.mz));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes in(data, size);
    fuzz::freshStart(in.take<std::uint8_t>() % 2 ? ROB_ZVB_V1_000 : ROB_ZVE_V1_000);
    mcb.forceControl.forceSensorAct = 1;
    while (!in.empty()) step(in);
    return 0;
}
