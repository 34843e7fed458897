// Poses of the links at the commanded joints, at the place where each joint's housing sits, for a display.
#include <algorithm>

#include "model/type_table.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_log.h"
#include "tmcforceblock.h"

using namespace tarn;

namespace {

// m
struct Links {
    double zDiff[5];  // from the axis' foot to the housing, along the axes of joints 1 to 5
    double a1, a2;
    double d0, d3, d4, d5;
};

// clang-format off
constexpr TypeRow<Links> kLinks[] = {
    {    1,    1, { { 0.08,  0.185, 0.185, -0.165, -0.165 }, -0.28,  -0.24,   0.14,  0.102, 0.102, 0.1   } },
    {    2,    2, { { 0.055, 0.17,  0.17,  -0.15,  -0.15  }, -0.28,  -0.24,   0.14,  0.102, 0.102, 0.1   } },
    {    1,  100, { {},                                      -0.28,  -0.24,   0.14,  0.102, 0.102, 0.1   } },
    {  101,  101, { { 0.075, 0.215, 0.215, -0.165, -0.165 }, -0.425, -0.395,  0.152, 0.13,  0.102, 0.1   } },
    {  102,  102, { { 0.085, 0.215, 0.215, -0.193, -0.165 }, -0.425, -0.395,  0.152, 0.13,  0.102, 0.1   } },
    {  103,  103, { { 0.08,  0.21,  0.21,  -0.15,  -0.15  }, -0.425, -0.395,  0.152, 0.102, 0.102, 0.1   } },
    {  201,  201, { { 0.105, 0.29,  0.27,  -0.221, -0.185 }, -0.7,   -0.586,  0.18,  0.195, 0.114, 0.106 } },
    {  202,  202, { { 0.09,  0.275, 0.255, -0.17,  -0.17  }, -0.7,   -0.586,  0.18,  0.159, 0.114, 0.106 } },
    {  301,  301, { { 0.105, 0.29,  0.27,  -0.221, -0.185 }, -0.52,  -0.4,    0.18,  0.195, 0.114, 0.106 } },
    {  302,  302, { { 0.09,  0.275, 0.255, -0.17,  -0.17  }, -0.52,  -0.4,    0.18,  0.159, 0.114, 0.106 } },
    {  101,  400, {} },  // a point: versions of families B to D that no display knows
    {  401,  500, { { 0.12,  0.35,  0.33,  -0.2,   -0.2   }, -1.0,   -0.716,  0.215, 0.166, 0.138, 0.12  } },
    { 1001, 1100, { { 0.12,  0.351, 0.331, -0.2,   -0.2   }, -0.7,   -0.536,  0.215, 0.166, 0.138, 0.12  } },
};
constexpr Links kLinksOther = { {}, -0.425, -0.395, 0.152, 0.102, 0.102, 0.1 };

constexpr double kRight = 3.141592653589793 / 2;
constexpr double kAlpha[6] = { kRight, 0, 0, kRight, -kRight, 0 };
// clang-format on

constexpr ROTRSF kUpright = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

// A turn by three angles in the order of rpyToTrsf: about z, y, x; degrees.
TRSF turn(double r, double p, double y) {
    TRSF out = {kUpright, {}};
    rpyToTrsf(&out, r, p, y);
    return out;
}

TRSF shift(double x, double z) { return {kUpright, {x, 0, z}}; }

TRSF times(const TRSF& a, const TRSF& b) {
    TRSF out;
    multTrsf(&out, &a, &b);
    return out;
}

void write(const TRSF& frame, double* out) {
    QTRN q;
    trsfToQtrn(&q, &frame);
    const double values[7] = {q.c, q.v.x, q.v.y, q.v.z, frame.p.x, frame.p.y, frame.p.z};
    std::copy_n(values, 7, out);
}

}  // namespace

int zvmcGetDesJointsPos(double* descarj1, double* descarj2, double* descarj3, double* descarj4,
                        double* descarj5, double* descarj6, double* desring1, double* desring2,
                        double* desring3, double* desring4, double* desring5, double* desring6) {
    const Links& links = byType(kLinks, kLinksOther, mcb.robotType);
    const double a[6] = {0, links.a1, links.a2, 0, 0, 0};
    const double d[6] = {links.d0, 0, 0, links.d3, links.d4, links.d5};
    const double* zDiff = links.zDiff;
    const auto joints = mpb.jC;  // of one moment: the cycle goes on writing it

    TRSF TR[6];  // frame of each link in B
    for (int i = 0; i < 6; i++) {
        const SDHV sdhv = {a[i], d[i], kAlpha[i], joints.v[i] / 180.0 * 3.141592653589793};
        TRSF link;
        TransMatSDHTR(sdhv, &link);
        TR[i] = i == 0 ? link : times(TR[i - 1], link);
    }

    // From the link's frame, whose origin and twist are those of the next joint, back to its own joint's
    // axis.
    TR[0] = times(times(times(TR[0], turn(0, 0, -90)), shift(0, zDiff[0])), turn(180, 0, 0));
    TR[1] = times(times(TR[1], shift(-a[1], zDiff[1])), turn(180, 0, 0));
    TR[2] = times(times(TR[2], shift(-a[2], zDiff[2])), turn(180, 0, 0));
    TR[3] = times(times(times(TR[3], turn(0, 0, -90)), shift(0, zDiff[3])), turn(-90, 0, 0));
    TR[4] = times(times(times(TR[4], turn(0, 0, 90)), shift(0, zDiff[4])), turn(90, 0, 0));
    TR[5] = times(TR[5], turn(90, 0, 0));

    double* const car[6] = {descarj1, descarj2, descarj3, descarj4, descarj5, descarj6};
    double* const ring[6] = {desring1, desring2, desring3, desring4, desring5, desring6};
    for (int i = 0; i < 6; i++) {
        write(TR[i], car[i]);
        write(times(TR[i], turn(-joints.v[i], 0, 0)), ring[i]);  // does not turn with the joint
    }

    const char* const lines[6] = {
        "Joint1: = %f,%f,%f,%f,%f,%f,%f", "Joint2: = %f,%f,%f,%f,%f,%f,%f",
        "Joint3: = %f,%f,%f,%f,%f,%f,%f", "Joint4: = %f,%f,%f,%f,%f,%f,%f",
        "Joint5: = %f,%f,%f,%f,%f,%f,%f", "Joint6: = %f,%f,%f,%f,%f,%f,%f\n",
    };
    for (int i = 0; i < 6; i++)
        Write_Log(LOG_DEBUG, lines[i], car[i][0], car[i][1], car[i][2], car[i][3], car[i][4], car[i][5],
                  car[i][6]);
    return 0;
}
