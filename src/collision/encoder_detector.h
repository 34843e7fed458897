// The dual-encoder detector: watches the twist of each joint's gear, from a motion's start to its end.
#pragma once

namespace tarn {

// Extremes by [slot][joint], slot 5 newest; degrees. The rest of the history is armFilters.filt4.
struct EncoderDetector {
    double peaks_val[6][6];
    double valleys_val[6][6];
    double err_data_mb[6][2];  // last two filtered deflections by joint, older first
};
extern EncoderDetector encoderDetector;

// The detector in the cycle. joint_torque[6]: of the model in this cycle, N m at the joint.
void watchEncoders(float* joint_torque);

}  // namespace tarn
