// Gravity torque: the closed form for any mounting, and the choice between it and the host's tables.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dynamics/mounting.h"
#include "model/arm_shape.h"
#include "model/parameter_sets.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

// Where the gravity torque of a mounting on floor, wall or ceiling comes from.
struct GravitySource {
    enum Kind { HostService, ClosedForm, None } kind;
    int model;  // type code that picks the host's own table
};

// clang-format off
constexpr GravitySource kClosedForm = {GravitySource::ClosedForm, 0};
constexpr GravitySource kNone       = {GravitySource::None, 0};
constexpr GravitySource kFallback   = {GravitySource::HostService, 101};

constexpr GravitySource host(int model) { return {GravitySource::HostService, model}; }

// The later versions of families A and B, the variant PQ of family A and family F use the library's own model.
constexpr TypeRow<GravitySource> kGravitySources[] = {
    // first, last, source
    {    0,    0, host(101) },
    {    1,    1, host(1) },
    {    2,    2, host(2) },
    {    3,    3, kClosedForm },
    {    4,  100, host(1) },
    {  101,  101, host(101) },
    {  102,  102, host(102) },
    {  103,  103, kClosedForm },
    {  104,  200, host(101) },
    {  201,  201, host(201) },
    {  202,  202, host(202) },
    {  203,  300, host(201) },
    {  301,  301, host(301) },
    {  302,  302, host(302) },
    {  303,  400, host(301) },
    {  401,  401, host(401) },
    {  402,  402, host(402) },
    {  403,  500, host(401) },
    {  501,  700, kNone },
    {  701,  800, kClosedForm },
    {  801,  900, kNone },
    { 1001, 1100, kClosedForm },
};
// clang-format on

using GravityService = int (*)(JNTS*, EX_LOAD*, JNTS*, int);

// By mounting.
constexpr GravityService kGravityServices[] = {
    tmcDynComGravityExload,         // FloorMount
    tmcDynComGravityExloadWall,     // WallMount
    tmcDynComGravityExloadCeiling,  // CeilingMount
};

}  // namespace

int zvmcNewGravityTorque(JNTS* q, EX_LOAD* exload, JNTS* gtorque) {
    const int mount = mcb.robotInstallPos;
    if (mount > FreeAngleMount) return 0;
    if (mount == FreeAngleMount) return zvmcGravityTorque(q, exload, gtorque);

    const GravitySource source = byType(kGravitySources, kFallback, mcb.robotType);
    switch (source.kind) {
        case GravitySource::HostService:
            kGravityServices[mount](q, exload, gtorque, source.model);
            break;
        case GravitySource::ClosedForm:
            zvmcGravityTorque(q, exload, gtorque);
            break;
        case GravitySource::None:
            break;
    }
    return 0;
}

int zvmcGravityTorque(JNTS* q, EX_LOAD* exload, JNTS* gtorque) {
    const ParameterSet* set = gravitySet(mcb.robotType);
    if (set == nullptr) {
        std::fill_n(gtorque->v, NUM_JNTS, 0.0);
        return 0;
    }

    const std::array<double, 3> gravity = gravityInBase();
    const std::array<double, 6>& zero = jointZeroOffsetDeg(mcb.robotType);
    double jointAngle[6];
    for (std::size_t i = 0; i < 6; i++) jointAngle[i] = q->v[i] - zero[i];

    const double load[10] = {exload->mass, exload->cmc.x, exload->cmc.y, exload->cmc.z};
    zvmcInvGravity(set->paramSDH, set->inparaM, set->inparaC, load, gravity.data(), jointAngle, gtorque->v);
    return 0;
}

// Two passes in link coordinates. Outward: gravity as each link frame sees it. Inward: mass and first moment
// of all that a joint carries, about the joint's own frame. The joint's torque is what its axis feels of the
// moment of that weight, with the sign that holds the arm still. Lengths stay in mm until the last line. The
// loops are unrolled so that the fixed twists and zero lengths of the shape fold away.
void zvmcInvGravity(const double* paramSDH, const double* paramM, const double* paramC, const double* Extload,
                    const double* Gravity, const double* joint_position, double* torq) {
    // Standard DH, Rz(theta) Tz(d) Tx(a) Rx(alpha): sine of alpha, which is 0 or a quarter turn. Links with a
    // length along x have none along z, and the other way around.
    constexpr int sinAlpha[6] = {1, 0, 0, 1, -1, 0};
    constexpr bool alongX[6] = {false, true, true, false, false, false};
    const double length[6] = {
        paramSDH[0], -std::fabs(paramSDH[1]), -std::fabs(paramSDH[2]), paramSDH[3], paramSDH[4], paramSDH[5]};

    double c[6], s[6];    // cosine and sine of the joint angles
    double gx[6], gy[6];  // gravity across the axis of joint k, in frame k-1
    double x = Gravity[0], y = Gravity[1], z = Gravity[2];
#pragma GCC unroll 6
    for (int k = 0; k < 6; k++) {
        const double theta = joint_position[k] * 3.141592653589793 / 180.0;
        c[k] = std::cos(theta);
        s[k] = std::sin(theta);
        gx[k] = x;
        gy[k] = y;
        const double across = c[k] * y - s[k] * x;
        x = c[k] * x + s[k] * y;
        y = sinAlpha[k] == 0 ? across : sinAlpha[k] * z;
        z = sinAlpha[k] == 0 ? z : -sinAlpha[k] * across;
    }

    // The flange carries link 6 and the load as one body. No guard on a zero mass: the result is then no
    // number.
    double mass = paramM[5] + Extload[0];
    double mx = mass * ((paramM[5] * paramC[15] + Extload[0] * Extload[1]) / mass);
    double my = mass * ((paramM[5] * paramC[16] + Extload[0] * Extload[2]) / mass);
    double mz = mass * ((paramM[5] * paramC[17] + Extload[0] * Extload[3]) / mass);

#pragma GCC unroll 6
    for (int k = 5; k >= 0; k--) {
        // from frame k about its own origin to frame k-1 about that one's
        const double across = sinAlpha[k] == 0 ? my : -sinAlpha[k] * mz;
        const double along = sinAlpha[k] == 0 ? mz : sinAlpha[k] * my;
        const double outward = alongX[k] ? mx + mass * length[k] : mx;
        mx = c[k] * outward - s[k] * across;
        my = s[k] * outward + c[k] * across;
        mz = alongX[k] ? along : along + mass * length[k];

        torq[k] = (my * gx[k] - mx * gy[k]) * 0.001;

        if (k == 0) break;
        mass += paramM[k - 1];
        mx += paramM[k - 1] * paramC[3 * k - 3];
        my += paramM[k - 1] * paramC[3 * k - 2];
        mz += paramM[k - 1] * paramC[3 * k - 1];
    }
}
