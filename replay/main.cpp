// tarnreplay: plays recordings to the library. Exit codes: 0 nothing differs, 1 something does, 2 wrong use.
#include <cstdio>
#include <exception>

#include "replay/player.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: tarnreplay RECORDING\n", stderr);
        return 2;
    }
    try {
        const tarn::replay::Differences found = tarn::replay::play(argv[1]);
        std::printf(
            "%s: %ld cycles, currents differ in %ld by at most %d, blocks in %ld words, answers in %ld\n",
            found.title.c_str(), found.cycles, found.cyclesOff, found.largestOff, found.wordsOff,
            found.answersOff);
        if (found.signsOff > 0)
            std::printf("  %ld words hold a non-number of the other sign\n", found.signsOff);
        if (found.cyclesOff > 0) std::printf("  first current in cycle %ld\n", found.firstOff);
        if (found.wordsOff > 0) std::printf("  first word %s\n", found.firstWord.c_str());
        for (const auto& function : found.functions) {
            if (function.results == 0 && function.blocks == 0) continue;
            std::printf("  %-32s %8ld calls, results differ in %ld, blocks in %ld\n", function.name.c_str(),
                        function.calls, function.results, function.blocks);
        }
        return found.none() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tarnreplay: %s: %s\n", argv[1], error.what());
        return 2;
    }
}
