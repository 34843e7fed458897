#include <gtest/gtest.h>

#include "support/cycle_guard.h"
#include "support/fixture.h"
#include "tarnhost/motion.h"
#include "tarnhost/settings.h"
#include "tarnmotioncontrol/tmcmotioncontroller.h"
#include "tarntools/tools_config.h"
#include "tarntools/tools_log.h"

using namespace tarn::test;

// Without the writer a settings write waits for locks and disk, and the guard must see it.
TEST(CycleServices, NeitherAllocateNorLockNorEnterTheKernel) {
    fixture::start(101);
    JNTS q = {{10, -70, 60, -80, 40, 30}, {}, 6};
    mpb.jC = q;
    JNTS torque = {};
    EX_LOAD load = {{0, 0, 50}, 2.0};
    ROBCARTPOS pose = {};
    ROBPOS found = {};
    double matrix[36], *rows[6];
    for (int i = 0; i < 6; i++) rows[i] = matrix + 6 * i;
    for (int i = 0; i < 36; i++) matrix[i] = i % 7 == 0 ? 2.0 : 0.1;
    const dmat m = {0, 5, 0, 5, matrix, rows};
    const auto services = [&] {
        Write_Log(LOG_INFO, "jC %f %f %f %f %f %f %s", 1e300, -1e300, 0.1, 1.0, 2.0, 3.0, "text");
        tmcStop();
        tmcPause();
        doConfigHandle(1, 1);
        resetWeldControlPara();
        tmcUpdateJointCartGoalPos();
        tmcDragSwitch(1);
        tarn::host::serveRequests();
        tmcDynComGravityExload(&q, &load, &torque, 101);
        jointTrsfToToolCartTCF_RT(0, q.v, &pose);
        tmcGetInverseKinematicNoLine(0, pose, &found);
        matinvert(m, m);
        matmul(m, m, m);
    };
    EXPECT_EQ(guarded(services), "");
    const auto write = [] { ConfigWriteEntry("/a", "B", "C", 1.0F); };
    EXPECT_NE(guarded(write), "");
    tarn::host::startSettingsWriter();
    EXPECT_EQ(guarded(write), "");
    tarn::host::stopSettingsWriter();
    if (systemCallWatch() == SystemCallWatch::kNone) GTEST_SKIP() << systemCallWatchRefusal();
}
