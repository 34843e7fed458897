// What an example says about its own numbers, so that it can be trusted and tested: each claim is printed
// with how it turned out, and one that does not hold makes the program return 1.
#pragma once

#include <cstdio>

inline int brokenClaims = 0;

inline void claim(bool holds, const char* sentence) {
    std::printf("%s %s\n", holds ? "[ok]" : "[NO]", sentence);
    if (!holds) brokenClaims++;
}

inline int result() { return brokenClaims == 0 ? 0 : 1; }  // of main
