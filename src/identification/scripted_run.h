// State of the scripted load identification beside mcb.loadIdentify.
#pragma once

namespace tarn {

struct ScriptedRun {
    double diffTorque5Sum;  // N m, excess of joint 5 over the chunk in hand
    double diffTorque3Sum;  // N m, of joint 3
    double diffTorque6Sum;  // N m, of joint 6
    double maxTorque;       // N m, largest measured torque of joint 6 so far, motor side
    double diffTorqueXY;    // N m, excess of joint 6 in that cycle
    double j6ValueXY;       // degrees, joint 6 in that cycle
};
inline ScriptedRun scriptedRun;

// What the power trip clears: all of it.
inline void coldStartScriptedRun() { scriptedRun = {}; }

}  // namespace tarn
