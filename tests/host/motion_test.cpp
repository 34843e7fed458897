#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/fixture.h"
#include "tarnhost/kinematics.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"

using namespace tarn::host;

namespace {

constexpr double kBent[6] = {10.0, -70.0, 80.0, -100.0, -80.0, 20.0};
constexpr double kGoal[6] = {40.0, -50.0, 60.0, -100.0, -95.0, -60.0};

void move() { startJointMove(kGoal, 0.5, 7); }
void resume() { requestState(LEAVE_PAUSE_STATE); }
void stop() { tmcStop(); }
void pause() { tmcPause(); }
void dragOn() { tmcDragSwitch(1); }
void dragOff() { tmcDragSwitch(0); }

void begin(int type, const double (&pose)[6]) {
    fixture::start(type);
    std::copy_n(pose, 6, mpb.jC.v);
    mpb.j6 = mpb.jC;
    newFwdKinematics(&mpb.jC, &mpb.tC);
}

void cycles(int count) {
    for (int n = 0; n < count; n++) serveRequests();
}

// Brings the host into a state as a user would.
void reach(int state) {
    begin(101, kBent);
    if (state == TGEN_SERVICE || state == TGEN_PAUSE) move();
    if (state == TGEN_DRAG) dragOn();
    cycles(300);
    if (state == TGEN_PAUSE) pause();
    cycles(600);
    ASSERT_EQ(mpb.state, state);
}

// Largest step of the commanded state, against what the limits allow.
struct Watch {
    double speed = 0.0, acceleration = 0.0, jump = 0.0;  // shares of the limits; the last in deg
    JNTS q = mpb.jC, v = mpb.jCvel;

    void look() {
        for (int i = 0; i < 6; i++) {
            const double step = mpb.jC.v[i] - q.v[i], change = step - v.v[i];
            speed = std::max(speed, std::fabs(step) * 1e3 / mpb.limitsJnt.maxVel.v[i]);
            acceleration = std::max(acceleration, std::fabs(change) * 1e6 / mpb.defaultJointAccel.v[i]);
            jump = std::max(jump, std::fabs(mpb.jCvel.v[i] - step));  // what is told against what happens
            v.v[i] = step;
        }
        q = mpb.jC;
    }
};

}  // namespace

TEST(Motion, RequestsOfOneCycleLeadToTheState) {
    struct {
        int from;
        std::vector<void (*)()> asked;
        int to;
        const char* why;
    } const rows[] = {
        // clang-format off
        { TGEN_IDLE,    {move},            TGEN_SERVICE, "start" },
        { TGEN_IDLE,    {pause},           TGEN_IDLE,    "pause only out of service" },
        { TGEN_IDLE,    {dragOn},          TGEN_DRAG,    "drag enters from idle" },
        { TGEN_IDLE,    {dragOn, dragOff}, TGEN_IDLE,    "the later switch holds" },
        { TGEN_IDLE,    {move, stop},      TGEN_IDLE,    "stop wins" },
        { TGEN_IDLE,    {move, pause},     TGEN_PAUSE,   "pause wins over a start" },
        { TGEN_SERVICE, {stop},            TGEN_IDLE,    "stop" },
        { TGEN_SERVICE, {pause},           TGEN_PAUSE,   "pause" },
        { TGEN_SERVICE, {pause, stop},     TGEN_IDLE,    "stop wins over a pause" },
        { TGEN_SERVICE, {dragOn},          TGEN_SERVICE, "no drag out of a motion" },
        { TGEN_SERVICE, {stop, dragOn},    TGEN_DRAG,    "collision with drag reaction" },
        { TGEN_SERVICE, {dragOn, stop},    TGEN_IDLE,    "a stop takes back an earlier drag request" },
        { TGEN_PAUSE,   {resume},          TGEN_SERVICE, "resume" },
        { TGEN_PAUSE,   {resume, pause},   TGEN_PAUSE,   "pause wins over a resume" },
        { TGEN_PAUSE,   {stop},            TGEN_IDLE,    "stop" },
        { TGEN_DRAG,    {dragOn, dragOn},  TGEN_DRAG,    "repeating is harmless" },
        { TGEN_DRAG,    {dragOff},         TGEN_IDLE,    "drag leaves to idle" },
        { TGEN_DRAG,    {stop},            TGEN_IDLE,    "stop" },
        // clang-format on
    };
    for (const auto& row : rows) {
        reach(row.from);
        for (const auto ask : row.asked) ask();
        EXPECT_EQ(mpb.state, row.from) << "served early: " << row.why;
        const int wait = row.to == TGEN_SERVICE ? 50 : 600;  // moves come to their stand by a ramp
        cycles(wait);
        EXPECT_EQ(mpb.state, row.to) << row.why;
    }
    EXPECT_FALSE(requestState(0));
    EXPECT_FALSE(requestState(6));
}

TEST(Motion, RandomMovesStayWithinTheLimitsThroughPausesAndStops) {
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> share(0.0, 1.0);
    int lines = 0;
    for (int n = 0; n < 150; n++) {
        const int types[] = {101, 3, 401, 701};
        double pose[6], goal[6];
        for (int i = 0; i < 6; i++) {
            pose[i] = kBent[i] + 20.0 * share(random);
            goal[i] = pose[i] + (share(random) - 0.5) * (n % 3 == 0 ? 120.0 : 30.0);
        }
        begin(types[n % 4], pose);
        const bool line = n % 3 != 0;
        bool started;
        if (line) {
            TRSF flange;
            flangePose(mcb.robotType, goal, &flange);
            started = startLineMove(flange, 20.0 + 500.0 * share(random), n);
            lines += started;
        } else {
            started = startJointMove(goal, 0.05 + 0.95 * share(random), n);
            ASSERT_TRUE(started);
        }
        if (!started) continue;  // a line that the arm cannot follow
        TRSF wanted;
        flangePose(mcb.robotType, goal, &wanted);

        Watch watch;
        int left = 60000, ask = static_cast<int>(800.0 * share(random));
        bool paused = false, stopped = n % 10 == 9;
        do {
            serveRequests();
            watch.look();
            if (ask-- == 0) {
                if (stopped)
                    tmcStop();
                else if (!paused)
                    tmcPause();
                else
                    resume();
                if (!paused) ask = static_cast<int>(600.0 * share(random));
                paused = true;
            }
        } while (mpb.state != TGEN_IDLE && --left > 0);
        ASSERT_GT(left, 0) << "never arrives, case " << n;
        EXPECT_EQ(mpb.currentLine, n);
        EXPECT_LE(watch.speed, 1.0 + 1e-6) << "case " << n;
        EXPECT_LE(watch.acceleration, line ? 1.1 : 1.001) << "case " << n;
        EXPECT_LE(watch.jump, 2e-3) << "case " << n;
        if (stopped) continue;
        EXPECT_EQ(mpb.ci.c >= mpb.ci.sigma, true);
        EXPECT_NEAR(mpb.tC.p.x, wanted.p.x, 1e-6) << "case " << n;
        EXPECT_NEAR(mpb.tC.a.z, wanted.a.z, 1e-9) << "case " << n;
    }
    EXPECT_GT(lines, 50);
}

TEST(Motion, ALineIsStraight) {
    begin(101, kBent);
    TRSF goal = mpb.tC;
    goal.p.x += 120.0;
    goal.p.z -= 80.0;
    const VECT from = mpb.tC.p;
    ASSERT_TRUE(startLineMove(goal, 200.0));
    double aside = 0.0, turned = 0.0;
    for (cycles(1); mpb.state != TGEN_IDLE; cycles(1)) {
        const double along = (mpb.tC.p.x - from.x) / 120.0;
        aside =
            std::max({aside, std::fabs(mpb.tC.p.y - from.y), std::fabs(mpb.tC.p.z - from.z + 80.0 * along)});
        turned = std::max(turned, std::fabs(mpb.tC.a.x - goal.a.x));
    }
    EXPECT_LT(aside, 1e-6);  // mm
    EXPECT_LT(turned, 1e-9);
    TRSF far = goal;
    far.p.x += 3000.0;
    EXPECT_FALSE(startLineMove(far, 200.0));
    EXPECT_FALSE(startLineMove(goal, std::nan("")));
    EXPECT_FALSE(startJointMove(kGoal, 1.5));
    EXPECT_EQ(mpb.state, TGEN_IDLE);
}

TEST(Motion, JoggingMovesOneJointAtItsSpeedAndRampsDown) {
    begin(101, kBent);
    EXPECT_FALSE(startJog(6, 10.0));
    EXPECT_FALSE(startJog(0, 1e6));
    ASSERT_TRUE(startJog(2, -30.0));
    Watch watch;
    for (int n = 0; n < 1000; n++) {
        serveRequests();
        watch.look();
    }
    EXPECT_NEAR(mpb.jCvel.v[2], -0.030, 1e-12);
    EXPECT_EQ(mpb.state, TGEN_IDLE);
    EXPECT_EQ(mcb.jogControl.jogCycleFlag, 1);
    EXPECT_FALSE(startJointMove(kGoal, 0.5)) << "while jogging";
    stopJog();
    for (int n = 0; n < 500; n++) {
        serveRequests();
        watch.look();
    }
    EXPECT_EQ(mcb.jogControl.jogCycleFlag, 0);
    EXPECT_EQ(mpb.jCvel.v[2], 0.0);
    EXPECT_EQ(mpb.jC.v[1], kBent[1]);
    EXPECT_LE(watch.acceleration, 1.001);
}

TEST(Motion, UnderTheHandTheCommandFollowsTheArm) {
    fixture::start(101);
    mpb.j6.v[1] = -40.0;
    mpb.j6vel.v[1] = 0.02;
    serveRequests();
    EXPECT_EQ(mpb.jC.v[1], 0.0);  // not while idle
    tmcDragSwitch(1);
    serveRequests();
    EXPECT_EQ(mpb.jC.v[1], -40.0);
    EXPECT_EQ(mpb.jCvel.v[1], 0.02);
    TRSF expected;
    newFwdKinematics(&mpb.j6, &expected);
    EXPECT_EQ(mpb.tC.p.z, expected.p.z);
    tmcDragSwitch(0);
    serveRequests();
    EXPECT_EQ(mpb.jCvel.v[1], 0.0);  // stands still where it was left, with nowhere else to go
    EXPECT_EQ(mpb.jointPos.v[1], mpb.jC.v[1]);
    EXPECT_EQ(mpb.goalPos.p.z, expected.p.z);
}
