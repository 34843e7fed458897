// The collision trace's bookkeeping; its rows and the position of its printout are exported.
#pragma once

namespace tarn {

struct TraceState {
    int saveMsgCount;  // rows in the trace, 0 to SAVEMSGSIZE
    int saveMsgflag;   // 0 after a save, 1 after a complete printout
};
extern TraceState trace;

// What the power trip clears: rows and flag. The position of the printout stays.
void coldStartTrace();

}  // namespace tarn
