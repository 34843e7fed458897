#include "dynamics/measured_load.h"

#include <cstring>

#include "numeric/filter_records.h"
#include "support/joints.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn {

MeasuredLoad measuredLoad;

namespace {

// Every type and joint alike, unlike the gear ratio of the current command: on purpose.
constexpr double kGear = 101.0;

constexpr int kRows = 6;  // samples that a history holds

}  // namespace

void sampleMeasuredLoad() {
    float JointTorque[6];
    zvmcJointDefaultTorque(JointTorque);
    double actualTorque[6] = {};
    const int joints = armJoints();
    for (int i = 0; i < joints; i++)
        actualTorque[i] = how.currentFeedback[i] * 0.001 * static_cast<double>(JointTorque[i]) * kGear;

    filter& history = armFilters.filt5;
    int& index = history.index;
    if (index >= kRows) {
        for (auto* rows : {history.j_pos, history.prej_pos, history.j_acc, history.prej_acc})
            std::memmove(rows, rows + 1, (kRows - 1) * sizeof *rows);
        index = kRows - 1;
    }
    for (int i = 0; i < 6; i++) {
        history.j_pos[index][i] = actualTorque[i];
        Loadbuttord(i, index, &measuredLoad.torque[i]);
        history.prej_pos[index][i] = measuredLoad.torque[i];

        history.j_acc[index][i] = mpb.j6.v[i];
        LoadPosbuttord(i, index, &measuredLoad.joint_angle_load[i]);
        history.prej_acc[index][i] = measuredLoad.joint_angle_load[i];
    }
    index++;
}

}  // namespace tarn
