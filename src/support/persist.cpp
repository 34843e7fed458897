#include "support/persist.h"

namespace tarn {
namespace {

template <typename Value>
void persistJoints(const char* section, const char* keyPattern, const Value (&values)[6]) {
    for (int i = 0; i < 6; i++)
        persistNumbered(USER_CONFIG_FILE, section, keyPattern, i + 1, static_cast<double>(values[i]));
}

}  // namespace

void persistNumbered(const char* file, const char* section, const char* keyPattern, int number,
                     double value) {
    char key[64];
    char *end = key, *const last = key + sizeof key - 2;  // two digits may follow
    for (const char* c = keyPattern; *c != '\0' && end < last; c++) {
        if (*c != '#') {
            *end++ = *c;
            continue;
        }
        if (number > 9) *end++ = static_cast<char>('0' + number / 10);
        *end++ = static_cast<char>('0' + number % 10);
    }
    *end = '\0';
    ConfigWriteEntry(file, section, key, static_cast<float>(value));
}

void persistSix(const char* section, const char* keyPattern, const double (&values)[6]) {
    persistJoints(section, keyPattern, values);
}

void persistSix(const char* section, const char* keyPattern, const float (&values)[6]) {
    persistJoints(section, keyPattern, values);
}

void persistSix(const char* section, const char* keyPattern, const int (&values)[6]) {
    persistJoints(section, keyPattern, values);
}

}  // namespace tarn
