// Persisting settings through the host, in single precision whatever the field's width. For command
// handlers.
#pragma once

#include "tarntools/tools_config.h"

namespace tarn {

// One key of the user configuration file.
inline void persist(const char* section, const char* key, double value) {
    ConfigWriteEntry(USER_CONFIG_FILE, section, key, static_cast<float>(value));
}

// The same in another file; '#' in keyPattern stands for the number, 0 to 99.
void persistNumbered(const char* file, const char* section, const char* keyPattern, int number, double value);

// Six keys, joints (or axes) 1 to 6 in order.
void persistSix(const char* section, const char* keyPattern, const double (&values)[6]);
void persistSix(const char* section, const char* keyPattern, const float (&values)[6]);
void persistSix(const char* section, const char* keyPattern, const int (&values)[6]);

}  // namespace tarn
