// Friction of one joint out of a sweep of constant speeds: the torque beyond the model's, binned by speed in
// the cycle; afterwards a fit for the slow and one for the fast bins, held against the factory's curve.
#include "identification/joint_friction.h"

#include <sys/time.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "identification/single_joint.h"
#include "model/type_table.h"
#include "support/joints.h"
#include "support/to_integer.h"
#include "tarnhal/thalintf.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

namespace tarn {

JointFrictionRun jointFriction;

void coldStartJointFriction() { jointFriction = {}; }

void frictionSamplingStage(CycleFrame& frame) {
    if (singleJointIdentify.jointFrictionOnlineFlag == 1)
        zvmcSingleJointFrictionSaveData(&frame.servor_torque);
}

}  // namespace tarn

using namespace tarn;

namespace {

SINGLEJOINTIDENTIFY& run = singleJointIdentify;

// ---- sampling

constexpr double kGear = 100.0;

// Of the speed's magnitude, degrees/s.
constexpr double kStandstill = 0.01;
constexpr double kFast = 18.0;
constexpr double kFastest = 126.1;

// The bins of one stage. Bin k of a direction spans k * width + below to (k + 1) * width + above, degrees/s.
struct Stage {
    double steady;               // degrees/s^2; a smaller acceleration counts as constant speed
    double width, below, above;  // degrees/s
    int samples;                 // of a bin
    int bins;                    // of a direction
    bool holdsLast;              // the last bin stays the next one
    int *up, *down;              // next bin
    double *velocity, *torque;   // bins up, then down

    [[nodiscard]] bool spans(int bin, double speed) const {
        return bin * width + below < speed && speed < (bin + 1) * width + above;
    }
};

// clang-format off
constexpr Stage kSlowStage = {
    1e-06, 0.9, -0.1,  0.1, 10, 20, false, &jointFriction.j_vel,      &jointFriction.j_velN,
    singleJointIdentify.slowJointVel, singleJointIdentify.slowJointTorque };
constexpr Stage kFastStage = {
    0.1,   3.6, 17.9, 18.1,  3, 30, true,  &jointFriction.j_vel_high, &jointFriction.j_velN_high,
    singleJointIdentify.highJointVel, singleJointIdentify.highJointTorque };
// clang-format on

void dropSamples() {
    run.count = 0;
    jointFriction.velFlag = 0;
}

void dropSums() { run.sumJointVel = run.sumJointToruqe = 0.0F; }

// Count and flag stay as they are, on purpose: while the speed is within the next bin too, that one gets the
// same mean in the next cycle.
void closeBin(const Stage& stage, int& bin, int firstBin) {
    jointFriction.velFlag = 1;
    for (int i = 0; i < run.count; i++) {
        run.sumJointVel += run.tempJointVel[i];
        run.sumJointToruqe += run.tempJointTorque[i];
    }
    // A slow bin past the last has no place. It is the last there can be: the stage ends within it.
    if (bin < stage.bins) {
        const auto count = static_cast<float>(run.count);
        stage.velocity[firstBin + bin] = static_cast<double>(run.sumJointVel / count);
        stage.torque[firstBin + bin] = static_cast<double>(run.sumJointToruqe / count);
    }
    bin++;
    if (stage.holdsLast) bin = std::min(bin, stage.bins - 1);
    dropSums();
}

// One cycle in a stage: v in degrees/s, torque in N m, motor side.
void sample(const Stage& stage, double v, double acceleration, double torque) {
    if (!(acceleration < stage.steady)) {
        dropSamples();
        return;
    }
    const double speed = std::fabs(v);
    const bool up = v > 0 && stage.spans(*stage.up, speed);
    const bool down = v < 0 && stage.spans(*stage.down, speed);
    if (!up && !down) {
        dropSamples();
        dropSums();
    } else if (run.count < stage.samples && jointFriction.velFlag == 0) {
        run.tempJointVel[run.count] = static_cast<float>(v);
        run.tempJointTorque[run.count] = static_cast<float>(torque);
        run.count++;
    } else if (up) {
        closeBin(stage, *stage.up, 0);
    } else {
        closeBin(stage, *stage.down, stage.bins);
    }
}

// ---- evaluation

// fc, fs, qs, yita, sita of the slow range, then of the fast one: torques in N m at the joint, speeds in
// rad/s.
constexpr int kSet = 5;
using Parameters = std::array<float, 2 * kSet>;

// clang-format off
constexpr TypeRow<Parameters> kFactoryArm[] = {
    // first, last
    {    1,  100, {   2.1779F,  8.8225F,  0.0073F,  151.1883F,  3.5497F,
                      5.7085F, -2.5677F, -4.4524F,  -19.6854F,  1.9261F } },
};
constexpr Parameters kFactoryArmOther =
                  {  10.024F,  41.523F,   0.0033F,  329.9324F, 28.289F,
                    -71.7434F, 11.3021F,  4.42725F,  23.9343F, 17.9582F };
constexpr Parameters kFactoryWrist =
                  {   1.2523F,  1.3676F,  0.0126F, 2579.98F,    2.1091F,
                     -9.4779F,  1.4954F, -6.0408F,   20.2514F,  1.5311F };

// Where the curves are compared. Both take these numbers for degrees/ms, so that this is far beyond any
// sweep; kept on purpose.
constexpr float velMeo[] = { -90, -75.6F, -61.2F, -46.8F, -32.4F, -18, -14.4F, -10.8F, -7.2F, -3.6F,
                             3.6F, 7.2F, 10.8F, 14.4F, 18, 32.4F, 46.8F, 61.2F, 75.6F, 90 };
// clang-format on

// A joint that the arm does not have compares with zeros.
Parameters factoryParameters() {
    if (run.jointNum < 3) return byType(kFactoryArm, kFactoryArmOther, mcb.robotType);
    if (run.jointNum < NUM_JNTS) return kFactoryWrist;
    return {};
}

double factoryFriction(float velocity) {
    if (run.jointNum >= NUM_JNTS) return 0.0;
    JNTS v6 = {};
    double valueMeo[NUM_JNTS] = {};
    v6.v[run.jointNum] = static_cast<double>(velocity);
    frictionCompensation(&v6, valueMeo);
    return valueMeo[run.jointNum];
}

double microsecondsSince(const timeval& start) {
    timeval now;
    __wrap_gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec - start.tv_sec) * 1e6 +
           static_cast<double>(now.tv_usec - start.tv_usec);
}

// In place: bins that no new sweep fills are scaled again by the next evaluation.
template <int N>
void toRadians(double (&velocity)[N]) {
    for (double& v : velocity) v *= 0.017453292519943;
}

template <int N>
void fit(const double (&velocity)[N], const double (&torque)[N], double (&x)[kSet]) {
    constexpr double kStart[kSet] = {1, 1, 1, 1, 1};
    double resnorm;
    fitCurve(N, kStart, velocity, torque, x, &resnorm);
    fitCurve_terminate();
}

// Over twice as much, whole numbers compared. On purpose it sees a loss alone, no growth.
bool overTwice(double meo, double real) {
    const auto magnitude = [](double value) { return std::llabs(static_cast<long long>(toInt(value))); };
    return magnitude(meo) > 2 * magnitude(real);
}

}  // namespace

int zvmcSingleJointFrictionOnlineOnOff(uint8_t joint_num, uint16_t flag) {
    run.jointNum = static_cast<uint8_t>(joint_num - 1);
    run.jointFrictionOnlineFlag = flag;
    return 0;
}

void zvmcSingleJointFrictionSaveData(JNTS* torqueGravity) {
    const int n = run.jointNum;
    if (n >= armJoints()) return;

    float JointTorque[6];
    zvmcJointDefaultTorque(JointTorque);
    const double theoryTorque = torqueGravity->v[n] / kGear;
    const double actualTorque = how.currentFeedback[n] * 0.001 * static_cast<double>(JointTorque[n]);
    const double diffTorque = actualTorque - theoryTorque;
    const double v = mpb.jCvel.v[n] * 1000.0, speed = std::fabs(v);
    const double acceleration = std::fabs(mpb.jCaccRaw.v[n] * 1000 * 1000);

    if (speed >= kFast && jointFriction.slowFlag == 0) {
        jointFriction.slowFlag = 1;
        dropSamples();
        dropSums();
    }
    const bool inService = mpb.state == TGEN_SERVICE;
    if (inService && speed < kFast && speed > kStandstill && jointFriction.slowFlag == 0)
        sample(kSlowStage, v, acceleration, diffTorque);
    else if (inService && speed >= kFast && speed < kFastest && jointFriction.slowFlag == 1)
        sample(kFastStage, v, acceleration, diffTorque);
    else
        dropSamples();
}

int zvmcGetJointFrictionStatus(uint16_t* status, float* realFriction, float* MeoFriction,
                               float* ErrFriction) {
    if (run.jointFrictionOnlineFlag != 0) {
        realFriction[0] = MeoFriction[0] = ErrFriction[0] = 0.0F;
        jointFriction.j_vel = jointFriction.j_velN = 0;
        jointFriction.j_vel_high = jointFriction.j_velN_high = 0;
        jointFriction.slowFlag = 0;
        *status = 0;
        return 0;
    }

    const Parameters jointfrictionMeo = factoryParameters();
    timeval start;
    __wrap_gettimeofday(&start, nullptr);

    double slow[kSet], high[kSet];
    toRadians(run.slowJointVel);
    fit(run.slowJointVel, run.slowJointTorque, slow);
    Write_Log(LOG_DEBUG, "slow fc fs qs yita sita = %lf %lf %lf %lf %lf\n", slow[0], slow[1], slow[2],
              slow[3], slow[4]);
    Write_Log(LOG_DEBUG, "slow time = %lf\n", microsecondsSince(start));

    Write_Log(LOG_DEBUG, "%d-------------\n", run.jointNum);
    toRadians(run.highJointVel);
    for (int i = 0; i < static_cast<int>(std::size(run.highJointVel)); i++) {
        Write_Log(LOG_DEBUG, "singleJointIdentify.highJointVel[%d] = %lf", i, run.highJointVel[i]);
        Write_Log(LOG_DEBUG, "singleJointIdentify.highJointTorque[%d] = %lf", i, run.highJointTorque[i]);
    }
    fit(run.highJointVel, run.highJointTorque, high);
    Write_Log(LOG_DEBUG, "high fc fs qs yita sita = %lf %lf %lf %lf %lf\n", high[0], high[1], high[2],
              high[3], high[4]);
    Write_Log(LOG_DEBUG, "high time = %lf\n", microsecondsSince(start));  // the slow fit's included

    Parameters jointfrictionReal;
    for (std::size_t i = 0; i < kSet; i++) {
        jointfrictionReal[i] = static_cast<float>(slow[i]);
        jointfrictionReal[kSet + i] = static_cast<float>(high[i]);
    }
    bool worn = false;
    for (std::size_t i = 0; i < jointfrictionMeo.size(); i++) {
        const float meo = jointfrictionMeo[i], real = jointfrictionReal[i];
        realFriction[i] = real;
        MeoFriction[i] = meo;
        ErrFriction[i] = meo - real;
        if (overTwice(static_cast<double>(meo), static_cast<double>(real))) worn = true;
    }
    for (const float velocity : velMeo) {
        const double friMeo = factoryFriction(velocity);
        const double friReal = static_cast<double>(frictionCalculate(jointfrictionReal.data(), velocity));
        if (overTwice(friMeo, friReal)) worn = true;
    }
    *status = worn ? 1 : 0;
    return 0;
}

float frictionCalculate(float* param, float jointVel) {
    jointVel = static_cast<float>(static_cast<double>(jointVel) / 180 * 3.141592653589793 * 1000);
    const double v = static_cast<double>(jointVel);

    // A plain 0.018 rad/s, on purpose: the second set holds nearly everywhere.
    const float* p = std::fabs(v) <= 0.018 ? param : param + kSet;
    const auto parameter = [p](int i) { return static_cast<double>(p[i]); };
    const double fc = parameter(0), fs = parameter(1), qs = parameter(2), yita = parameter(3),
                 sita = parameter(4);
    const double e = std::exp(-yita * v), ratio = v / qs;
    return static_cast<float>((fc + (fs - fc) * std::exp(-(ratio * ratio))) * (1 - e) / (1 + e) + v * sita);
}
