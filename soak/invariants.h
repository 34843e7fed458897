// What holds in every cycle, whatever happens: values that are numbers, counters within what they count,
// indices within their arrays.
#pragma once

#include <functional>
#include <string>

namespace soak {

// Tells what does not hold; nullptr for an array's first index where it has none.
using Report = std::function<void(const char* what, int index, double value)>;

// wide: also through the long stores.
void checkState(const Report& report, bool wide);

}  // namespace soak
