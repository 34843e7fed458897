#include <vector>

#include <gtest/gtest.h>

#include "support/fixture.h"
#include "tarnhost/motion.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"

using namespace tarn::host;

namespace {

void next() { requestState(SERVICE_NEXT_REQUEST); }
void resume() { requestState(LEAVE_PAUSE_STATE); }
void stop() { tmcStop(); }
void pause() { tmcPause(); }
void dragOn() { tmcDragSwitch(1); }
void dragOff() { tmcDragSwitch(0); }

}  // namespace

TEST(Motion, RequestsOfOneCycleLeadToTheState) {
    struct {
        int from;
        std::vector<void (*)()> asked;
        int to;
        const char* why;
    } const rows[] = {
        // clang-format off
        { TGEN_IDLE,    {next},            TGEN_SERVICE, "start" },
        { TGEN_IDLE,    {pause},           TGEN_IDLE,    "pause only out of service" },
        { TGEN_IDLE,    {dragOn},          TGEN_DRAG,    "drag enters from idle" },
        { TGEN_IDLE,    {dragOn, dragOff}, TGEN_IDLE,    "the later switch holds" },
        { TGEN_IDLE,    {next, stop},      TGEN_IDLE,    "stop wins" },
        { TGEN_IDLE,    {next, pause},     TGEN_PAUSE,   "pause wins over a start" },
        { TGEN_SERVICE, {stop},            TGEN_IDLE,    "stop" },
        { TGEN_SERVICE, {pause},           TGEN_PAUSE,   "pause" },
        { TGEN_SERVICE, {dragOn},          TGEN_SERVICE, "no drag out of a motion" },
        { TGEN_SERVICE, {stop, dragOn},    TGEN_DRAG,    "collision with drag reaction" },
        { TGEN_SERVICE, {dragOn, stop},    TGEN_IDLE,    "a stop takes back an earlier drag request" },
        { TGEN_PAUSE,   {resume},          TGEN_SERVICE, "resume" },
        { TGEN_PAUSE,   {resume, pause},   TGEN_PAUSE,   "pause wins over a resume" },
        { TGEN_DRAG,    {dragOn, dragOn},  TGEN_DRAG,    "repeating is harmless" },
        { TGEN_DRAG,    {dragOff},         TGEN_IDLE,    "drag leaves to idle" },
        { TGEN_DRAG,    {stop},            TGEN_IDLE,    "stop" },
        // clang-format on
    };
    for (const auto& row : rows) {
        fixture::start(101);
        mpb.state = row.from;
        for (const auto ask : row.asked) ask();
        EXPECT_EQ(mpb.state, row.from) << "served early: " << row.why;
        for (const char* time : {"first", "second"}) {
            serveRequests();
            EXPECT_EQ(mpb.state, row.to) << row.why << ", " << time << " call";
        }
    }
    EXPECT_FALSE(requestState(0));
    EXPECT_FALSE(requestState(6));
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
