// Vibration abatement: which drives take their variable gain.
#include <cstdint>

#include "numeric/filter_records.h"
#include "support/to_integer.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

struct VibrationAbatement {
    std::uint8_t initFlag;  // the low-pass is set up
};
VibrationAbatement vibrationAbatement;

constexpr float kTimeConstant = 1.0f, kStep = 0.1f;  // of the low-pass: a new sample counts for an eleventh
constexpr float kAtRest = 1000.0f;

}  // namespace

int zvmcVibrateAbateControl(float* VibrateAbatementGain) {
    if (vibrationAbatement.initFlag == 0) {
        vibrationAbatement.initFlag = 1;
        init_lowpassfilter(&armFilters.lowpassfilter, kTimeConstant, kStep);
    }
    float AccMax[6], realAcc[6];  // degrees/s^2; degrees/ms^2
    JointMaxAcc(AccMax);
    lowpassfilterMain(&armFilters.lowpassfilter, mpb.jCaccRaw.v, realAcc);

    std::int32_t Gain[6];
    for (int i = 0; i < 6; i++) {
        const double acc = static_cast<double>(realAcc[i]) * 1000 * 1000;
        float& gain = VibrateAbatementGain[i];
        if (acc == 0.0) {
            gain = kAtRest;
        } else {
            const double limit = static_cast<double>(mcb.speedScaleAuto * AccMax[i]);
            gain = static_cast<float>(acc / limit * 1000.0);
            // Held from above alone, on purpose: braking goes through with its size and sign.
            if (gain > 1.0f) gain = 1.0f;
        }
        Gain[i] = toInt(static_cast<double>(gain)) != 0 ? 1 : 0;
    }
    zvHalSetVarGainFactor(Gain);
    return 0;
}
