// What holds in every cycle, whatever happens: values that are numbers, counters within what they count,
// indices within their arrays.
#pragma once

#include <functional>
#include <string>

namespace soak {

// Told of each value that does not hold, with its index in an array.
using Report = std::function<void(const char* what, int index, double value)>;

// wide: also through the long stores.
void checkState(const Report& report, bool wide);

}  // namespace soak
