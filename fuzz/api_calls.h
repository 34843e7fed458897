// Every exported function, callable with arguments drawn from a seed.
#pragma once

#include <span>

#include "values.h"

namespace fuzz {

struct Size {
    int rows, columns = 1;  // of an array, in its elements; both of a dmat
    constexpr Size(int r = 0) : rows(r) {}
    constexpr Size(int r, int c) : rows(r), columns(c) {}
};

struct Call {
    const char* name;
    void (*run)(Values&, const Size*);
    Size sizes[14];  // of the arrays that the function is given, in their order
};

std::span<const Call> apiCalls();

}  // namespace fuzz
