// The small rotation from one pose towards another.
#include <algorithm>
#include <cmath>

#include "zvmctoolblock.h"

// The rotation qr from T1 to T2 is interpolated from the identity: at the fraction s its quaternion has the
// vector part axis * sin(s * theta), theta being half the angle of rotation. The step is twice that, the
// rotation vector to first order.
int quattorpy(TRSF T1, TRSF T2, VECT* e) {
    constexpr double s = 0.1;

    TRSF inverse, mul;
    QTRN q, qr;
    invertTrsf(&inverse, &T1);
    multTrsf(&mul, &T2, &inverse);
    trsfToQtrn(&q, &mul);
    unitQtrn(&qr, &q);

    // rounding may leave a cosine of more than 1, which has no angle: equal poses would give NaN
    const double theta1 = std::acos(std::clamp(qr.c, -1.0, 1.0));
    if (theta1 == 0.0) {
        *e = {0.0, 0.0, 0.0};
        return 1;
    }
    const double theta2 = qr.c < 0 ? -theta1 : theta1;
    const double sine = std::sin(theta2);
    const VECT axis = {qr.v.x / sine, qr.v.y / sine, qr.v.z / sine};
    VECT part;
    scaleVect(&part, &axis, std::sin(s * theta2) * std::sin(theta1) / sine);
    *e = {2.0 * part.x, 2.0 * part.y, 2.0 * part.z};
    return 1;
}
