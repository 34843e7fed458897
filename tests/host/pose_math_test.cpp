#include <array>
#include <cmath>
#include <random>

#include <gtest/gtest.h>
#include <kdl/frames.hpp>

#include "tarnmath/tarnmath.h"

namespace {

std::array<double, 12> numbers(const TRSF& t) {
    return {t.n.x, t.n.y, t.n.z, t.o.x, t.o.y, t.o.z, t.a.x, t.a.y, t.a.z, t.p.x, t.p.y, t.p.z};
}

[[nodiscard]] double distance(const TRSF& a, const TRSF& b) {
    double largest = 0.0;
    for (std::size_t i = 0; i < 12; i++)
        largest = std::max(largest, std::fabs(numbers(a)[i] - numbers(b)[i]));
    return largest;
}

const TRSF kIdentity = {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 0, 0}};

double angle() {
    static std::mt19937 engine(7);
    return std::uniform_real_distribution<double>(-180.0, 180.0)(engine);
}

TRSF randomPose() {
    TRSF t;
    rpyToTrsf(&t, angle(), angle(), angle());
    t.p = {angle(), angle(), angle()};
    return t;
}

}  // namespace

TEST(PoseMath, RotationsAreThoseOfKdl) {
    for (int n = 0; n < 100; n++) {
        const double z = angle(), y = angle(), x = angle();
        TRSF t = {{}, {1, 2, 3}};
        rpyToTrsf(&t, z, y, x);
        const KDL::Rotation r = KDL::Rotation::RPY(x * M_PI / 180, y * M_PI / 180, z * M_PI / 180);
        const TRSF expected = {
            {{r(0, 0), r(1, 0), r(2, 0)}, {r(0, 1), r(1, 1), r(2, 1)}, {r(0, 2), r(1, 2), r(2, 2)}},
            {1, 2, 3}};  // the position is left alone
        EXPECT_LT(distance(t, expected), 1e-15) << z << " " << y << " " << x;

        QTRN q;
        VECT turn;
        trsfToQtrn(&q, &t);
        const KDL::Vector axisAngle = r.GetRot();
        qtrnToDspl(&turn, &q);
        EXPECT_GE(q.c, 0.0);
        // KDL loses digits near half a turn
        EXPECT_TRUE(KDL::Equal({turn.x, turn.y, turn.z}, axisAngle, 1e-7)) << z << " " << y << " " << x;
    }
}

TEST(PoseMath, AnglesComeBackAlsoAtThePoles) {
    for (double y : {-90.0, -90.0 + 1e-10, -89.9999, -30.0, 0.0, 89.9999999, 90.0 - 1e-11, 90.0})
        for (double z : {-170.0, 20.0})
            for (double x : {-100.0, 0.0, 80.0}) {
                TRSF t = kIdentity, again = kIdentity;
                rpyToTrsf(&t, z, y, x);
                double rz, ry, rx;
                trsfToRpy(&rz, &ry, &rx, &t);
                rpyToTrsf(&again, rz, ry, rx);
                EXPECT_LT(distance(t, again), 2e-9) << z << " " << y << " " << x;

                // near a reference the same angles come back, a turn and the other solution included
                const VECT ref = {x + 1.0 + 360.0, y, z - 1.0};
                trsfToRpyRt(&rz, &ry, &rx, &t, &ref);
                rpyToTrsf(&again, rz, ry, rx);
                EXPECT_LT(distance(t, again), 2e-9) << z << " " << y << " " << x;
                EXPECT_LT(std::fabs(rx - ref.x), 1.00001);  // also at a pole, where both may move
                EXPECT_LT(std::fabs(rz - ref.z), 1.00001);
            }
}

TEST(PoseMath, OutputsMayAliasInputs) {
    for (int n = 0; n < 20; n++) {
        const TRSF a = randomPose(), b = randomPose();
        TRSF product, t = a, u = b;
        multTrsf(&product, &a, &b);
        multTrsf(&t, &t, &b);
        multTrsf(&u, &a, &u);
        EXPECT_EQ(numbers(t), numbers(product));
        EXPECT_EQ(numbers(u), numbers(product));
        invertTrsf(&t, &t);
        multTrsf(&t, &t, &u);
        EXPECT_LT(distance(t, kIdentity), 1e-12);

        // rotation services on a pose leave its position
        t = a;
        multRotrsf(&t, &t, &b);
        invRotrsf(&t, &t);
        multRotrsf(&t, &product, &t);
        EXPECT_LT(distance(t, {{kIdentity.n, kIdentity.o, kIdentity.a}, a.p}), 1e-12);
        trsposeRotrsf(&t, &t);
        addRotrsf(&t, &t, &t);
        double det;
        detRotrsf(&t, &det);
        EXPECT_NEAR(det, 8.0, 1e-12);

        VECT v = {1, 2, 3}, w = v;
        crossVect(&w, &w, &v);
        EXPECT_EQ(normVect(&w), 0.0);
        multRotrsfVect(&v, &a, &v);
        EXPECT_NEAR(normVect(&v), std::sqrt(14.0), 1e-14);
    }
}

TEST(PoseMath, SingularAndNonNumbersStayVisible) {
    const ROTRSF flat = {{1, 2, 3}, {2, 4, 6}, {0, 0, 1}};
    ROTRSF inverse;
    invRotrsf(&inverse, &flat);
    EXPECT_FALSE(std::isfinite(inverse.n.x));
    EXPECT_FALSE(std::isfinite(inverse.a.z));

    const TRSF bad = {{{std::nan(""), 0, 0}, {0, 1, 0}, {0, 0, 1}}, {}};
    const VECT ref = {};
    double rz, ry, rx;
    trsfToRpyRt(&rz, &ry, &rx, &bad, &ref);
    EXPECT_TRUE(std::isnan(rz));
}
