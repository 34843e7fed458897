#include "collision/encoder_detector.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "collision/level_table.h"
#include "collision/reactions.h"
#include "model/type_table.h"
#include "numeric/filter_records.h"
#include "tarnhal/thalintf.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace tarn {

EncoderDetector encoderDetector;

}  // namespace tarn

namespace {

// ---- the allowed jump of the deflection: a torque by level over the stiffness under the load

// clang-format off
// N m by level 1 to 10, named for the last
constexpr LevelTable k32  = { 8.5f, 10.5f, 13,  15.5f, 17.5f, 20, 22.5f, 24, 27.5f, 32 };
constexpr LevelTable k70  = {  16,   23,   29,   35,   40,   46,   50,   56,   62,   70 };
constexpr LevelTable k91  = {  24,   32,   40,   47,   54,   61,   69,   76,   84,   91 };
constexpr LevelTable k100 = {  25,   33,   41,   50,   58,   66,   75,   83,   91,  100 };
constexpr LevelTable k201 = {  55,   70,   86,  104,  120,  135,  153,  170,  185,  201 };
constexpr LevelTable k363 = {  90,  125,  155,  185,  215,  245,  275,  305,  333,  363 };
constexpr LevelTable k680 = { 170,  230,  288,  345,  400,  456,  510,  567,  623,  680 };
// clang-format on

struct StiffnessBand {
    double upTo;  // N m at the joint, included
    double k;     // N m a degree
};
constexpr double kAbove = std::numeric_limits<double>::infinity();

struct GearTwist {
    const LevelTable& torque;
    StiffnessBand bands[4];  // rising; the last one used goes up to kAbove
};

struct ArmTwist {
    GearTwist front, elbow, wrist;  // joints 1 and 2, joint 3, joints 4 to 6

    [[nodiscard]] const GearTwist& of(int joint) const {
        return joint < 2 ? front : joint == 2 ? elbow : wrist;
    }
};

// clang-format off
constexpr ArmTwist kHeavy = {{k680, {{54, 5804},   {196, 8360},  {700, 7274.7}, {kAbove, 9274.7}}},  // 7274.7 is meant
                             {k201, {{29, 1062.5}, {108, 1630},  {kAbove, 2738}}},
                             {k91,  {{14, 410},    {48, 700},    {kAbove, 900}}}};
constexpr TypeRow<ArmTwist> kArmTwists[] = {
    {    0,    0, {{k100, {{40, 410},    {70, 700},   {kAbove, 900}}},
                   {k100, {{40, 410},    {70, 700},   {kAbove, 900}}},
                   {k32,  {{5, 52},      {20, 140},   {kAbove, 170}}}}},
    {    1,  100, {{k70,  {{2, 195},     {6.9, 228},  {kAbove, 308}}},
                   {k70,  {{2, 195},     {6.9, 228},  {kAbove, 308}}},
                   {k32,  {{6.9, 52},    {12, 140},   {kAbove, 170}}}}},
    {  101,  200, {{k100, {{15, 566.25}, {50, 712.5}, {kAbove, 818.75}}},
                   {k100, {{15, 566.25}, {50, 712.5}, {kAbove, 818.75}}},
                   {k32,  {{2, 52},      {6.9, 70},   {kAbove, 85}}}}},
    {  201,  400, {{k363, {{30, 850},    {110, 1630}, {kAbove, 2738}}},
                   {k100, {{15, 410},    {50, 700},   {kAbove, 900}}},
                   {k70,  {{6.9, 39.6},  {12, 116.4}, {kAbove, 166.8}}}}},
    {  401,  500, kHeavy },
    { 1001, 1100, kHeavy },
};
constexpr ArmTwist kArmTwistOther =
                  {{k100, {{15, 410},    {50, 700},   {kAbove, 900}}},
                   {k100, {{15, 410},    {50, 700},   {kAbove, 900}}},
                   {k32,  {{2, 52},      {6.9, 140},  {kAbove, 170}}}};
// clang-format on

// N m a degree. A load that is no number counts as beyond all bands.
double stiffness(const GearTwist& gear, double load) {
    const StiffnessBand* band = gear.bands;
    while (band->upTo < kAbove && !(load <= band->upTo)) band++;
    return band->k;
}

double allowedJump(const ArmTwist& arm, int joint, float joint_torque) {
    const GearTwist& gear = arm.of(joint);
    return atLevel(gear.torque, mpb.collisionLevel[joint]) /
           stiffness(gear, std::fabs(static_cast<double>(joint_torque)));
}

// ---- the deflection and its extremes

constexpr int kRows = 6;              // samples that the history holds
constexpr int kWarmUp = 100;          // calls after a restart without a decision
constexpr double kCounts = 16384;     // a turn of the motor
constexpr double kGear = 101;         // every joint and type alike, on purpose
constexpr double kNoExtreme = 1e-05;  // degrees; what an empty slot looks like

double degreesAtJoint(double counts) { return counts / kCounts * 360 / kGear; }

// Slopes of the filtered deflection around the sample before this one: up to it, and down from it. Degrees.
struct Slopes {
    double rise[6], fall[6];
};

Slopes sampleDeflection() {
    filter& history = armFilters.filt4;
    if (history.index >= kRows) {
        for (auto* rows : {history.j_pos, history.afterj_pos})
            std::memmove(rows, rows + 1, (kRows - 1) * sizeof *rows);
        history.index = kRows - 1;
    }
    Slopes slopes;
    for (int i = 0; i < 6; i++) {
        history.j_pos[history.index][i] = degreesAtJoint(static_cast<double>(how.HSEnc[i])) -
                                          degreesAtJoint(static_cast<double>(how.enc[i]));
        double filtered;
        TualEncoderbuttord(i, history.index, &filtered);
        history.afterj_pos[history.index][i] = filtered;

        auto& [older, newer] = encoderDetector.err_data_mb[i];
        slopes.rise[i] = newer - older;
        older = newer;
        newer = filtered;
        slopes.fall[i] = older - newer;
    }
    return slopes;
}

// Takes a joint's new extreme in, and gives how far it is from the mean of the four before it; 0 while there
// are not six.
double jumpOf(double (&extremes)[6][6], int joint, double extreme) {
    for (int slot = 0; slot < 5; slot++) extremes[slot][joint] = extremes[slot + 1][joint];
    extremes[5][joint] = extreme;
    if (std::fabs(extremes[0][joint]) < kNoExtreme) return 0;
    return std::fabs(extreme -
                     (extremes[1][joint] + extremes[2][joint] + extremes[3][joint] + extremes[4][joint]) / 4);
}

// The sample before this one is an extreme of the joint, or 0.
double newJump(const Slopes& slopes, int joint) {
    const double previous = armFilters.filt4.afterj_pos[armFilters.filt4.index - 1][joint];
    const double rise = slopes.rise[joint], fall = slopes.fall[joint];
    if (rise > 0 && fall > 0) return jumpOf(encoderDetector.peaks_val, joint, previous);
    if (rise < 0 && fall < 0) return jumpOf(encoderDetector.valleys_val, joint, previous);
    return 0;
}

// ---- the reactions

bool restart(ZvCollisionError) {
    initCollisionDetection();
    return true;
}

using namespace step;

// Reactions 3 to 5 name no joint, and none marks mcb.collisionStateback: the arm is handed over and the cycle
// does not take it back. On purpose.
// clang-format off
constexpr ReactionTable kReaction = {
    /* 0     */ {{raiseFault, ifInMotion, restart, pauseMotion}},
    /* 1     */ {{raiseFault}},
    /* 2     */ {{raiseFault, ifInMotion, restart, stopMotion, ifSafetyBoard,   frictionOff, enterDrag}},
    /* 3     */ {{stopMotion, handleConfig, resetWeld,                          frictionOff, enterDrag, holdFor<1000>}},
    /* 4     */ {{stopMotion, handleConfig, resetWeld, startPhase,              frictionOff, enterDrag, holdFor<5000>}},
    /* 5     */ {{stopMotion, handleConfig, resetWeld, startPhase,              frictionOff, enterDrag, holdForSafeTime}},
    /* other */ {},
};
// clang-format on

// ---- the decision

constexpr int kDebounce = 3;         // passes that a joint may stay outside
constexpr int kBoardFirstJoint = 7;  // the safety board's verdict on joint 1

// Each pass takes in the extreme of one more joint and counts all joints that are outside. The count starts
// anew in every call, so a jump fires on joints 1 to 3 alone: joints 4 to 6 come too late to reach four. The
// board's verdict holds in all passes. A firing ends the passes and clears all counts, so that no other joint
// can fire in this call.
void decide(const Slopes& slopes, const double (&uplimit)[6]) {
    const int boardJoint = mcb.safetyPara.safetyIslandErrorCode - kBoardFirstJoint;
    double jump[6] = {};
    int collision_time[6] = {};
    for (int pass = 0; pass < 6; pass++) {
        jump[pass] = newJump(slopes, pass);
        for (int j = 0; j < 6; j++) {
            if (!(jump[j] - uplimit[j] > 0) && j != boardJoint) continue;
            if (++collision_time[j] > kDebounce) return react(kReaction, jointCollisionCode(j));
        }
    }
}

}  // namespace

int zvmcCollisionDetection(int i_joint, float* vel, double* /*thf*/, double* /*thg*/, double* /*err*/) {
    // nothing takes these torques, but an overspeed is logged from here, too
    double friction[6] = {};
    frictionCompensation(&mpb.j6vel, friction);

    const ArmTwist& arm = byType(kArmTwists, kArmTwistOther, mcb.robotType);
    double uplimit[6];
    for (int i = 0; i < 6; i++) uplimit[i] = allowedJump(arm, i, vel[i]);
    const Slopes slopes = sampleDeflection();

    filter& history = armFilters.filt4;
    if (history.index1 >= kWarmUp) {
        history.index1 = kWarmUp - 1;
        if (i_joint >= 0 && i_joint < 6) {
            mpb.jointCollisionMode[i_joint] = 0;
            mpb.dualEncCollisionValue[i_joint] = uplimit[i_joint];
        }
        decide(slopes, uplimit);
    }
    // also after a restart by a reaction: this call counts as the first of the new warm-up
    history.index++;
    history.index1++;
    return 0;
}

int initCollisionDetection() {
    encoderDetector = {};
    filter& history = armFilters.filt4;
    std::memset(history.j_pos, 0, sizeof history.j_pos);
    std::memset(history.afterj_pos, 0, sizeof history.afterj_pos);
    history.index = history.index1 = 0;
    return 0;
}

void findPeaksAndValleys(double* arr, int size, double* peaks, double* valleys, int* numPeaks,
                         int* numValleys) {
    *numPeaks = *numValleys = 0;
    for (int i = 1; i + 1 < size; i++)
        if (arr[i] > arr[i - 1] && arr[i] >= arr[i + 1]) peaks[(*numPeaks)++] = arr[i];
    for (int i = 1; i + 1 < size; i++)
        if (arr[i] < arr[i - 1] && arr[i] <= arr[i + 1]) valleys[(*numValleys)++] = arr[i];
}

namespace tarn {

// Six calls a cycle on the same encoder values, so the filter takes six steps toward each: on purpose.
void watchEncoders(float* joint_torque) {
    if (mpb.collisionMode != 1 && mpb.collisionMode != 2) return;
    for (int i = 0; i < 6; i++) {
        double thf[6] = {}, thg[6] = {}, err[6] = {};
        // a reaction may have ended the motion
        if (mpb.state == TGEN_SERVICE) zvmcCollisionDetection(i, joint_torque, thf, thg, err);
    }
    if (mpb.state != TGEN_SERVICE) initCollisionDetection();
}

}  // namespace tarn
