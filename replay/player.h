// Plays a recording to the library in this process and compares what comes out, bit by bit.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace tarn::replay {

struct FunctionDifferences {
    std::string name;
    long calls = 0;
    long results = 0;  // calls whose result or written arrays differ
    long blocks = 0;   // calls that leave other words in the blocks
};

struct Differences {
    std::string title;
    long cycles = 0;        // calls of gravityTorqueControl
    long cyclesOff = 0;     // of them, with another current in any joint
    long currentsOff = 0;   // joint currents that differ
    long firstOff = -1;     // cycle, from 0
    int largestOff = 0;     // thousandths of the rated torque
    long wordsOff = 0;      // words of the blocks that the library left otherwise, over all calls
    long signsOff = 0;      // words with a non-number in both: its sign is the processor's
    std::string firstWord;  // of these, "mpb + 128, call 17"
    long answersOff = 0;    // services asked in another order than in the recording
    std::vector<FunctionDifferences> functions;

    bool none() const;
};

// Once a process, before any other call into the library. Throws std::runtime_error for a file that is no
// recording or was made with other blocks or functions.
Differences play(const std::filesystem::path& file);

}  // namespace tarn::replay
