// The torque record: motor currents of a known good run, which stand in for the expected ones when the same
// program runs again; and the current to expect when no record is replayed.
#pragma once

namespace tarn {

struct RecordPosition {
    int count;          // sample
    int countInterval;  // cycles since that sample, 0 to TORQUERECORDINTERVAL - 1
};

struct TorqueRecordState {
    RecordPosition writer, reader;
    double currentBuff[101];  // commanded currents of joint 2, thousandths, oldest first, then a zero
    int count;                // calls of findHistoryCurrentSet since load, up to 101; never reset
    double percentSum[6];     // N·m at the motor, what the cycles outside the band add up to
    int percentCount[6];      // cycles in a row outside the band
};
extern TorqueRecordState torqueRecord;

// A record is replayed, and the run is checked against it.
bool replaysTorqueRecord();

// Forgets the joints' excess of the band, below mpb.sysJntsNo.
void clearRecordExcess();

// Checks one cycle against the bands of the record and reacts to a hit. precent[6]: measured less expected
// torque, N·m at the motor.
void checkTorqueRecord(const double* precent);

// What the power trip clears: history and excess, but no position and no count of calls.
void coldStartTorqueRecord();

}  // namespace tarn
