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
    double speed = 0.0, acceleration = 0.0, jerk = 0.0, jump = 0.0;  // shares of the limits; the last in deg
    JNTS q = mpb.jC, v = mpb.jCvel, a = mpb.jCaccRaw;

    void look() {
        for (int i = 0; i < 6; i++) {
            const double step = mpb.jC.v[i] - q.v[i], change = step - v.v[i];
            speed = std::max(speed, std::fabs(step) * 1e3 / mpb.limitsJnt.maxVel.v[i]);
            acceleration = std::max(acceleration, std::fabs(change) * 1e6 / mpb.defaultJointAccel.v[i]);
            jump = std::max(jump, std::fabs(mpb.jCvel.v[i] - step));  // what is told against what happens
            jerk = std::max(jerk, std::fabs(change - a.v[i]) * 1e9 * 0.04 / mpb.defaultJointAccel.v[i]);
            v.v[i] = step;
            a.v[i] = change;
        }
        q = mpb.jC;
    }
};

// A correction that shifts the planned pose, and what it was asked.
struct Shift {
    VECT by;
    int result, calls;
    TRSF planned;
} shift;

int shiftPlan(TRSF planned, TRSF* corrected) {
    shift.calls++;
    shift.planned = *corrected = planned;
    addVect(&corrected->p, &planned.p, &shift.by);
    return shift.result;
}

void beginCorrected() {
    begin(101, kBent);
    shift = {};
    mcb.forceControl.forceSensorAct = mcb.forceControl.constForceFlag = 1;
}

void cycleCorrected() { serveRequests(shiftPlan); }

double distance(const VECT& a, const VECT& b) {
    VECT d;
    subtractVect(&d, &a, &b);
    return normVect(&d);
}

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
        { TGEN_IDLE,    {move, dragOn},    TGEN_DRAG,    "drag wins over a start" },
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
        EXPECT_EQ(mpb.interMode, line ? CARTESIANLIN : JOINT);
        EXPECT_LE(watch.speed, 1.0 + 1e-6) << "case " << n;
        EXPECT_LE(watch.acceleration, line ? 1.1 : 1.001) << "case " << n;
        EXPECT_LE(watch.jerk, 1.0) << "case " << n;
        EXPECT_LE(watch.jump, 2e-3) << "case " << n;
        if (stopped) continue;
        EXPECT_EQ(mpb.ci.c >= mpb.ci.sigma, true);
        for (int i = 0; i < 6 && !line; i++) EXPECT_EQ(mpb.jC.v[i], goal[i]) << "case " << n;
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
        EXPECT_TRUE(n != 20 || (mpb.jCaccRaw.v[2] < mpb.jCacc.v[2] && mpb.jCacc.v[2] < 0.0)) << "smoothed";
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

// What else ends a move or a jog leaves nothing behind that a later request would find.
// As a drag by the force sensor does it.
TEST(Motion, AnIdleArmMovedFromOutsideHasAVelocity) {
    begin(101, kBent);
    cycles(1);
    for (const double step : {0.02, -0.05, 0.0, 0.03}) {
        mpb.jC.v[2] += step;
        if (step != 0.0) tmcUpdateJointCartGoalPos();
        cycles(1);
        EXPECT_NEAR(mpb.jCvel.v[2], step, 1e-12);
        EXPECT_EQ(mpb.jCvel.v[1], 0.0);
        EXPECT_EQ(mpb.jointPos.v[2], mpb.jC.v[2]);
    }
    // the first goal of all tells nothing of a velocity
    begin(101, kBent);
    tmcUpdateJointCartGoalPos();
    cycles(1);
    EXPECT_EQ(mpb.jCvel.v[2], 0.0);
}

TEST(Motion, NothingIsLeftOfAMoveOrJogThatWasOvertaken) {
    for (const auto overtake : {dragOn, pause, stop}) {
        begin(101, kBent);
        ASSERT_TRUE(startJog(2, -30.0));
        cycles(200);
        overtake();
        cycles(300);
        dragOff();
        cycles(1);
        EXPECT_EQ(mcb.jogControl.jogCycleFlag, 0);
        const double stands = mpb.jC.v[2];
        ASSERT_TRUE(startJog(0, 5.0));
        cycles(100);
        EXPECT_EQ(mpb.jC.v[2], stands);
        EXPECT_GT(mpb.jC.v[0], kBent[0]);
    }

    begin(101, kBent);
    move();
    dragOn();
    cycles(5);
    mpb.j6.v[0] = 50.0;
    cycles(5);
    dragOff();
    cycles(1);
    requestState(SERVICE_NEXT_REQUEST);
    cycles(50);
    EXPECT_EQ(mpb.jC.v[0], 50.0);
    ASSERT_TRUE(startJointMove(kGoal, 0.5));
    mpb.jC.v[0] += 0.1;  // as end-force drag does in idle
    cycles(50);
    EXPECT_EQ(mpb.jC.v[0], 50.1);
    ASSERT_TRUE(startJointMove(kGoal, 0.5));
    cycles(300);
    tmcPause();
    cycles(5);
    tmcPause();
    resume();
    cycles(600);
    EXPECT_EQ(mpb.state, TGEN_PAUSE) << "pause wins over a resume also on the way to its stand";
}

// A line is refused or kept within the limits, however near to a singularity it runs.
TEST(Motion, LinesNearSingularPosesKeepTheLimits) {
    std::mt19937_64 random(5);
    std::uniform_real_distribution<double> within(-1.0, 1.0);
    int started = 0, refused = 0;
    for (int n = 0; n < 400; n++) {
        double pose[6] = {0.0, -60.0, 80.0, -20.0, -80.0, 0.0}, goal[6];
        const int bent = n % 2 == 0 ? 2 : 4;  // elbow, wrist
        pose[bent] = n < 8 ? 0.0 : std::pow(10.0, -1.0 + 2.5 * std::fabs(within(random)));
        begin(101, pose);
        // where it is small, it is what a line would pass before the speed
        if (n % 8 < 4) std::fill_n(mpb.defaultJointAccel.v, 6, 200.0);
        for (int i = 0; i < 6; i++) goal[i] = pose[i] + 15.0 * within(random);
        TRSF flange = mpb.tC;
        if (n % 4 < 2) flangePose(mcb.robotType, goal, &flange);
        flange.p.x += 100.0 * within(random);
        flange.p.z += 100.0 * within(random);
        const bool planned = startLineMove(flange, 10.0 + 400.0 * std::fabs(within(random)));
        EXPECT_FALSE(planned && n < 8);
        (planned ? started : refused)++;
        Watch watch;
        int left = 30000;
        for (; planned && left > 0 && (mpb.state != TGEN_IDLE || left == 30000); left--) {
            serveRequests();
            watch.look();
        }
        EXPECT_LE(watch.speed, 1.01) << n;
        EXPECT_LE(watch.acceleration, 1.1) << n;
        if (planned && left > 0) {
            EXPECT_NEAR(mpb.tC.p.x, flange.p.x, 1e-6) << n;
        }
    }
    EXPECT_GT(started, 100);
    EXPECT_GT(refused, 50);
}

TEST(Motion, GoalsOfNoWayArriveAndGoalsOfNoSenseAreRefused) {
    begin(101, kBent);
    for (const double way : {0.0, 1e-9, 1e-3}) {
        TRSF goal = mpb.tC;
        goal.p.x += way;
        ASSERT_TRUE(startLineMove(goal, 50.0)) << way;
        cycles(400);
        EXPECT_EQ(mpb.state, TGEN_IDLE) << way;
        EXPECT_NEAR(mpb.tC.p.x, goal.p.x, 1e-9);
    }
    TRSF noRotation = mpb.tC;
    noRotation.n = {};
    EXPECT_FALSE(startLineMove(noRotation, 50.0));
    const double stretched[6] = {0.0, -60.0, 0.0, -20.0, -80.0, 0.0};
    begin(701, stretched);
    TRSF near = mpb.tC;
    near.p.x -= 10.0;
    near.p.z -= 20.0;
    EXPECT_FALSE(startLineMove(near, 50.0));
    begin(101, kBent);
    mpb.limitsJnt.maxVel.v[1] = std::nan("");
    EXPECT_FALSE(startJointMove(kGoal, 0.5));
    EXPECT_FALSE(startJog(1, 0.5));
}

TEST(Correction, StandsBetweenThePlanAndTheJoints) {
    beginCorrected();
    const VECT start = mpb.tC.p;
    double plannedSpeed = 0.0, fastest = 0.0, accelerated = 0.0;
    const auto follow = [&](int count, const VECT& grow) {
        for (; count > 0; count--) {
            addVect(&shift.by, &shift.by, &grow);
            const JNTS before = mpb.jC;
            cycleCorrected();
            VECT wanted;
            addVect(&wanted, &shift.planned.p, &shift.by);
            ASSERT_LT(distance(mpb.tC.p, wanted), 1e-6);
            for (int i = 0; i < 6; i++) {
                plannedSpeed = std::max(plannedSpeed, std::fabs(mpb.jCvel.v[i]));
                fastest = std::max(fastest, std::fabs(mpb.jC.v[i] - before.v[i]));
                accelerated = std::max(accelerated, std::fabs(mpb.jCaccRaw.v[i]));
            }
        }
    };
    follow(100, {0.03, 0.0, -0.02});
    EXPECT_NEAR(plannedSpeed, fastest, 0.05 * fastest);  // a steady correction is told as it is
    EXPECT_EQ(accelerated, 0.0);

    // what trembles is not fed forward
    plannedSpeed = fastest = 0.0;
    for (int n = 0; n < 50; n++) {
        follow(1, {0.0, 0.0, 0.05});
        follow(1, {0.0, 0.0, -0.05});
        if (n == 20) plannedSpeed = fastest = 0.0;
    }
    EXPECT_LT(plannedSpeed, 0.3 * fastest);

    // a line begins where the plan is, and the correction stays on top of it
    TRSF goal = shift.planned;
    EXPECT_LT(distance(goal.p, start), 1e-9);
    goal.p.y += 40.0;
    ASSERT_TRUE(startLineMove(goal, 50.0));
    for (int n = 0; n < 1500; n++) {
        follow(1, {0.001, 0.0, 0.0});
        ASSERT_NEAR(shift.planned.p.x, start.x, 1e-6);
        ASSERT_NEAR(shift.planned.p.z, start.z, 1e-6);
    }
    EXPECT_EQ(mpb.state, TGEN_IDLE);
    EXPECT_LT(distance(shift.planned.p, goal.p), 1e-6);

    // a pose that the arm cannot take
    for (const double far : {5000.0, std::nan("")}) {
        const VECT by = shift.by;
        const JNTS stood = mpb.jC;
        shift.by.z = far;
        cycleCorrected();
        for (int i = 0; i < 6; i++) EXPECT_EQ(mpb.jC.v[i], stood.v[i]);
        shift.by = by;
        cycleCorrected();
        EXPECT_EQ(mcb.forceControl.constForceFlag, 1);
    }
}

// Whatever ends it in the middle of a line, the arm stays, and the goal says where: of a workpiece that is
// turned against the base.
TEST(Correction, LeavesTheArmWhereItEnds) {
    void (*const ends[])() = {
        [] { shift.result = -1; },
        [] { mcb.forceControl.constForceFlag = 0; },
        [] { mcb.forceControl.forceSensorAct = 0; },
    };
    for (const auto end : ends) {
        beginCorrected();
        mpb.workPieceNum = 2;
        rpyToTrsf(&workPieceInBase[2], 20.0, -30.0, 40.0);
        TRSF goal = mpb.tC;
        goal.p.y += 100.0;
        cycleCorrected();
        ASSERT_TRUE(startLineMove(goal, 50.0));
        for (int n = 0; n < 1000; n++) {
            shift.by.z += 0.01;
            cycleCorrected();
        }
        ASSERT_EQ(mpb.state, TGEN_SERVICE);
        const JNTS stood = mpb.jC;
        end();
        for (int n = 0; n < 100; n++) {
            cycleCorrected();
            mcb.forceControl.constForceFlag = 0;  // as the control itself leaves it
        }
        EXPECT_EQ(mpb.state, TGEN_IDLE);
        TRSF inWorkPiece;
        baseTrsfToWorkPiece(2, mpb.tC, &inWorkPiece);
        EXPECT_LT(distance(mpb.goalPos.p, inWorkPiece.p), 1e-9);
        for (int i = 0; i < 6; i++) {
            EXPECT_EQ(mpb.jC.v[i], stood.v[i]);
            EXPECT_EQ(mpb.jointPos.v[i], stood.v[i]);
            EXPECT_EQ(mpb.jCvel.v[i], 0.0);
        }
    }
    // switched off it is asked and not followed; under the hand nobody holds a plan
    shift = {.by = {9.0, 9.0, 9.0}, .result = 0, .calls = 0, .planned = {}};
    const JNTS stood = mpb.jC;
    cycleCorrected();
    EXPECT_EQ(shift.calls, 1);
    EXPECT_EQ(mpb.jC.v[1], stood.v[1]);
    beginCorrected();
    cycleCorrected();
    dragOn();
    cycleCorrected();
    EXPECT_EQ(mpb.state, TGEN_DRAG);
    EXPECT_EQ(mcb.forceControl.constForceFlag, 0);
}
