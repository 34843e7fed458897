#include "support/persist.h"

#include <cstddef>

namespace tarn {
namespace {

template <typename Value>
void persistNumbered(const char* section, const char* keyPattern, const Value (&values)[6]) {
    char key[64];
    for (int i = 0; i < 6; i++) {
        std::size_t n = 0;
        for (; keyPattern[n] != '\0' && n + 1 < sizeof key; n++)
            key[n] = keyPattern[n] == '#' ? static_cast<char>('1' + i) : keyPattern[n];
        key[n] = '\0';
        persist(section, key, static_cast<double>(values[i]));
    }
}

}  // namespace

void persistSix(const char* section, const char* keyPattern, const double (&values)[6]) {
    persistNumbered(section, keyPattern, values);
}

void persistSix(const char* section, const char* keyPattern, const float (&values)[6]) {
    persistNumbered(section, keyPattern, values);
}

void persistSix(const char* section, const char* keyPattern, const int (&values)[6]) {
    persistNumbered(section, keyPattern, values);
}

}  // namespace tarn
