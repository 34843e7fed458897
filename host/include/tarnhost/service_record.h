// Ordered record of the service calls that the library made, for tests and scenarios.
//
// One line a call, "name arg arg ...": strings bare, numbers as %.9g, arrays as their values. All services
// with an effect outside the call are in it: log, settings, motion requests, gravity tables, safety board,
// drives. Math and kinematics are not, nor are the two that every cycle calls: the axle bus inputs and the
// drives' variable gain. A real controller has no such thing.
#pragma once

namespace tarn::host {

inline constexpr int kServiceRecordLines = 2048;
inline constexpr int kServiceRecordWidth = 160;  // longer lines are cut

struct ServiceRecord {
    bool on;      // calls are recorded only while true
    int count;    // lines in use
    int dropped;  // calls that found the record full
    char line[kServiceRecordLines][kServiceRecordWidth];
};

extern ServiceRecord serviceRecord;

// Empties the record; on stays as it is.
void clearServiceRecord();

}  // namespace tarn::host
