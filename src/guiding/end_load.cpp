// Torque of the tool load beside a model of the bare arm: its weight through the Jacobian.
#include <array>
#include <cstddef>

#include "model/type_table.h"
#include "numeric/fixed_matrix.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"
#include "zvmctoolblock.h"

using namespace tarn;

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kRight = 1.5707963267948966;
constexpr double kGravity = 9.8;  // m/s^2, while the regressors have 9.81

constexpr double radians(double degrees) { return degrees / 180.0 * kPi; }

// clang-format off

// An arm by its Denavit-Hartenberg parameters. Its joints come in radians; the turn of their zeros is taken
// off as it is, in degrees, and the rest is converted to radians once more, on purpose. `offset` follows.
using Six = std::array<double, 6>;
struct TableArm {
    Six a, d;    // mm
    Six alpha;   // radians
    Six zero;    // degrees
    Six offset;  // radians
};
constexpr Six kStandardTwist = { kRight, 0, 0,      kRight,  -kRight, 0 };
constexpr Six kOffsetTwist   = { kRight, 0, kRight, -kRight, -kRight, 0 };

constexpr TableArm kArm3 =
    { { 0, -280, -240, 0, 0, 0 },  { 140, 0, 0, 102, 102, 100 },  kStandardTwist,
      { 180, 180, 0, 180, 0, 180 }, {} };
constexpr TableArm kArmE =
    { { 0, -1000, -716, 0, 0, 0 }, { 215, 0, 0, 166, 138, 120 },  kStandardTwist, {}, {} };
constexpr TableArm kArmOffset =
    { { 0, -420, 0, 0, 0, 0 },     { 140, 0, 12, 360, 102, 100 }, kOffsetTwist,   {},
      { 0, 0, -kRight, -kRight, kRight, 0 } };
constexpr TableArm kArm702 =
    { { 0, -425, -395, 0, 0, 0 },  { 140, 0, 0, 102, 102, 100 },  kStandardTwist, {}, {} };
constexpr TableArm kArm703 =
    { { 0, -280, -240, 0, 0, 0 },  { 140, 0, 0, 102, 102, 100 },  kStandardTwist, {}, {} };
constexpr TableArm kArm1001 =
    { { 0, -700, -536, 0, 0, 0 },  { 215, 0, 0, 166, 138, 120 },  kStandardTwist, {}, {} };

// Where the Jacobian comes from: a closed form, a table, or neither, and it is zero.
struct Source {
    int (*closedForm)(double* q, dmat J);
    const TableArm* table;
};
constexpr Source kNoJacobian = { nullptr, nullptr };

// By the model number.
constexpr TypeRow<Source> kSources[] = {
    // first, last, source
    {    1,  100, { zvA_jacob, nullptr } },
    {  101,  200, { zvB_jacob, nullptr } },
    {  201,  300, { zvC_jacob, nullptr } },
    {  301,  400, { zvD_jacob, nullptr } },
    {  401,  500, { nullptr, &kArmE } },
    {  701,  800, kNoJacobian },
    {  801,  900, { nullptr, &kArmOffset } },
    { 1001, 1001, { nullptr, &kArm1001 } },
};
constexpr Source kSourceOther = { zvB_jacob, nullptr };

// Model numbers that the arm's own type decides further.
constexpr struct {
    int firstModel, lastModel, type;
    Source source;
} kByArm[] = {
    {   1, 100,   3, { nullptr, &kArm3 } },
    { 701, 800, 701, { nullptr, &kArmOffset } },
    { 701, 800, 702, { nullptr, &kArm702 } },
    { 701, 800, 703, { nullptr, &kArm703 } },
};
// clang-format on

const Source& sourceOf(int robot_model) {
    for (const auto& row : kByArm)
        if (row.firstModel <= robot_model && robot_model <= row.lastModel && mcb.robotType == row.type)
            return row.source;
    return byType(kSources, kSourceOther, robot_model);
}

// q in radians.
void tableJacobian(const TableArm& arm, const Six& q, FixedMatrix<6, 6>& J) {
    Six alpha = arm.alpha, a, d, angle;
    double result[6][6];
    for (std::size_t i = 0; i < 6; i++) {
        a[i] = arm.a[i] / 1000.0;
        d[i] = arm.d[i] / 1000.0;
        angle[i] = radians(q[i] - arm.zero[i]) + arm.offset[i];
    }
    Jacobian_com(alpha.data(), a.data(), d.data(), angle.data(), result);
    for (int i = 0; i < 6; i++)
        for (int j = 0; j < 6; j++) J[i][j] = result[i][j];
}

// The mounted base, as a chain of turns.
TRSF mounting(double q1, double q2) {
    TRSF Rb1, Rb2, Rb3;
    dhClassic(&Rb1, 0.0, kRight, 0.0, 0.0);
    dhClassic(&Rb2, 0.0, -kRight, 0.0, radians(q1));
    dhClassic(&Rb3, 0.0, 0.0, 0.0, radians(q2));
    TRSF base;
    multTrsf(&base, &Rb1, &Rb2);
    multTrsf(&base, &base, &Rb3);
    return base;
}

TRSF flange(double* joint_pos) {
    ROBCARTPOS pose = {};
    jointTrsfToEndCartTCF_RT(1, joint_pos, &pose);
    TRSF RR = {};
    rpyToTrsf(&RR, static_cast<double>(pose.c), static_cast<double>(pose.b), static_cast<double>(pose.a));
    return RR;
}

VECT turnedBack(const TRSF& frame, const VECT& v) {
    ROTRSF back;
    trsposeRotrsf(&back, &frame);
    VECT result;
    multRotrsfVect(&result, &back, &v);
    return result;
}

}  // namespace

int zvmcendload(double q1, double q2, double* joint_pos, EX_LOAD exLoad, double* tau_load, int robot_model) {
    const TRSF R1 = mounting(q1, q2);
    const TRSF R = flange(joint_pos);

    Six q;
    for (std::size_t i = 0; i < 6; i++) q[i] = radians(joint_pos[i]);
    FixedMatrix<6, 6> J;
    const Source& source = sourceOf(robot_model);
    if (source.closedForm != nullptr) source.closedForm(q.data(), J.view());
    if (source.table != nullptr) tableJacobian(*source.table, q, J);

    // what holds the load: a force upward in its center of mass, in base and in flange axes
    const VECT FF = {0.0, 0.0, exLoad.mass * kGravity};
    const VECT F_b = turnedBack(R1, FF);
    const VECT F_s = turnedBack(R, F_b);
    const double x = exLoad.cmc.x / 1000.0, y = exLoad.cmc.y / 1000.0, z = exLoad.cmc.z / 1000.0;
    const VECT Ms = {F_s.z * y - F_s.y * z, F_s.x * z - F_s.z * x, F_s.y * x - F_s.x * y};
    VECT M_b;
    multRotrsfVect(&M_b, &R, &Ms);
    balanceWrench(J.view(), {F_b.x, F_b.y, F_b.z, M_b.x, M_b.y, M_b.z}, tau_load);
    return 0;
}
