// The host's settings files: their names, their sections, and the one service that writes to them.
#pragma once

// Files.
#define USER_CONFIG_FILE "/usr/local/etc/controller/user.config"
#define LOAD_CONFIG_FILE "/usr/local/etc/controller/load.config"

// Sections of USER_CONFIG_FILE.
#define USER_PARAM_SECTION "USER_PARAM"            // load, friction, collision, mounting
#define TEST_PARAM_SECTION "TEST_PARAM"            // torque model and its gains, force-and-torque drag
#define DRAGLOCK_PARAM_SECTION "DRAGLOCK_PARAM"    // axis lock while guiding by hand
#define INTERFERE_PARAM_SECTION "INTERFERE_PARAM"  // interference zones while guiding by hand
#define SAFETY_PARAM_SECTION "SAFETY_PARAM"        // limits that the safety board supervises
#define FORCE_SENSOR_SECTION "FORCE_SENSOR"        // force sensor and end-force drag

// Section of LOAD_CONFIG_FILE.
#define LOAD_PARAM_SECTION "LOAD_PARAM"  // the stored tool loads

extern "C" {

// Sets one numeric key of a settings file, at once. Provided by the host. value has single precision
// whatever the width of the setting: a double is narrowed, an integer widened. Returns 0, or a negative
// value when the file cannot be written; the library goes on in either case.
//
// Called by commands. The one call in the cycle is that of the dynamic load identification, so a host
// keeps it free of waiting there.
int ConfigWriteEntry(const char* file, const char* section, const char* key, float value);

}  // extern "C"
