#!/bin/sh
# The check scripts pass a small clean tree, and name each fault that is planted in it.
# Usage: scripts_test.sh TOOLS_FOLDER COMPILER
set -eu
tools=$1
compiler=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
failed=0

# passes NAME COMMAND...: the command succeeds
passes() {
    name=$1; shift
    if "$@" > log 2>&1; then echo "ok: $name"; else echo "FAILED: $name"; cat log; failed=1; fi
}
# catches NAME EXPECTED COMMAND...: the command fails and tells of EXPECTED
catches() {
    name=$1; expected=$2; shift 2
    if "$@" > log 2>&1; then echo "FAILED: $name was not caught"; failed=1
    elif grep -qF -- "$expected" log; then echo "ok: $name"
    else echo "FAILED: $name, without \"$expected\""; cat log; failed=1; fi
}

mkdir -p include/kit
cat > include/kit/export.h << 'END'
#pragma once
#define TARN_API __attribute__((visibility("default")))
END
cat > include/kit/api.h << 'END'
// TARN_API int commentedOut(int);
#pragma once
#include "kit/export.h"
extern "C" {
/* TARN_API int alsoCommentedOut(int); TARN_API
   int stillCommentedOut(int); */
struct Part { double x[3]; int (*call)(int); };
enum Color : unsigned { kRed, kGreen };
TARN_API int twice(int value);  // TARN_API int trailing(int);
TARN_API double tableSum(
    double (*matrix)[3],
    int rows);
TARN_API extern double first[6], second;
void hostLog(int severity, const char* format, ...) __attribute__((format(printf, 2, 3)));
extern Part hostPart;
inline int local(int v) { return v + 1; }
TARN_API int afterInline(void);
}
END

# build NAME EXTRA_SOURCE: a library of the above, with something more in it
build() {
    cat > "$1.cpp" << END
#include "kit/api.h"
double first[6], second;
int twice(int value) { hostLog(1, "%d", value); return 2 * value + static_cast<int>(hostPart.x[0]); }
double tableSum(double (*matrix)[3], int rows) { return matrix[0][0] + rows; }
#ifndef LEAVE_OUT
int afterInline() { return 1; }
#endif
$2
END
    "$compiler" -std=c++20 -O1 -fPIC -shared -nostdlib -fvisibility=hidden -fno-exceptions -Iinclude "$1.cpp" -o "$1.so"
}
build clean ''
passes "exports, clean" "$tools/check_exports.sh" clean.so include
passes "undefined names, clean" "$tools/check_undefined.sh" clean.so include
build extra 'extern "C" TARN_API int leaked() { return 1; }'
catches "an extra function" "extra: leaked" "$tools/check_exports.sh" extra.so include
build mangled 'TARN_API int loose(int v) { return v; }'
catches "a mangled name" "extra: _Z5loosei" "$tools/check_exports.sh" mangled.so include
"$compiler" -std=c++20 -fPIC -shared -nostdlib -fvisibility=hidden -Iinclude -DLEAVE_OUT clean.cpp -o missing.so
catches "a missing function" "missing: afterInline" "$tools/check_exports.sh" missing.so include
"$compiler" -fPIC -shared -nostdlib -Iinclude -include kit/api.h -x c++ - -o host.so << 'END'
void hostLog(int, const char*, ...) {}
Part hostPart;
END
passes "services, clean" "$tools/check_exports.sh" host.so include host
echo 'void hostLog(int, const char*, ...) {} int hostPart;' | "$compiler" -fPIC -shared -nostdlib -x c++ - -o loose.so
catches "a mangled service" "missing: hostLog" "$tools/check_exports.sh" loose.so include host
mkdir empty
catches "a folder without declarations" "missing" "$tools/check_exports.sh" clean.so empty

# refers NAME SOURCE: a library that refers to NAME must be refused
refers() {
    build refers "$2"
    catches "use of $1" "not allowed: $1" "$tools/check_undefined.sh" refers.so include
}
refers malloc '#include <cstdlib>
void* grab(int n) { return std::malloc(static_cast<unsigned>(n)); } void* (*keepGrab)(int) = grab;'
refers _Znwm 'int* make() { return new int(twice(1)); } int* (*keepMake)() = make;'
refers pthread_mutex_lock '#include <pthread.h>
int lock(pthread_mutex_t* m) { return pthread_mutex_lock(m); } int (*keepLock)(pthread_mutex_t*) = lock;'
refers __cxa_guard_acquire 'int late() { static int v = twice(1); return v; } int (*keepLate)() = late;'
refers snprintf '#include <cstdio>
int say(char* b, int v) { return std::snprintf(b, 9, "%d", v); } int (*keepSay)(char*, int) = say;'
refers clock_gettime '#include <ctime>
int now(timespec* t) { return clock_gettime(CLOCK_MONOTONIC, t); } int (*keepNow)(timespec*) = now;'

printf '    CALL(twice),\n    OWN(tableSum, sums),\n    CALL(afterInline, 2),\n' > calls
passes "fuzzers' calls, clean" "$tools/check_fuzz_calls.sh" clean.so calls
catches "a function without a call" "missing: leaked" "$tools/check_fuzz_calls.sh" extra.so calls
catches "a call without a function" "extra: afterInline" "$tools/check_fuzz_calls.sh" missing.so calls

passes "headers, clean" "$tools/check_headers.sh" include "$compiler"
echo 'inline Unknown make();' > include/kit/leaning.h
catches "a header that leans on others" "does not stand alone: kit/leaning.h" "$tools/check_headers.sh" include "$compiler"
echo 'struct Once {};' > include/kit/leaning.h
catches "a header without a guard" "does not stand alone: kit/leaning.h" "$tools/check_headers.sh" include "$compiler"
catches "a folder without headers" "no header found" "$tools/check_headers.sh" empty "$compiler"

mkdir -p src/cycle src/friction src/collision src/dynamics src/model src/support
echo '#include "friction/friction.h"' > src/cycle/cycle.cpp
printf '#include <cmath>\n#include "model/sets.h"\n#include "kit/api.h"\n' > src/friction/friction.cpp
passes "layers, clean" "$tools/check_layers.sh" src include
# planted FILE INCLUDE EXPECTED: this include in this file must be refused
planted() {
    echo "#include $2" > "src/$1"
    catches "$2 in $1" "src/$1:1" "$tools/check_layers.sh" src include
    grep -qF "$3" log || { echo "FAILED: without \"$3\""; cat log; failed=1; }
    rm "src/$1"
}
planted model/up.h '"dynamics/gravity.h"' "model must not include from dynamics"
planted friction/up.cpp '"cycle/cycle.h"' "friction must not include from cycle"
planted friction/aside.h '"collision/supervisor.h"' "friction must not include from collision"
planted support/up.h '"model/sets.h"' "support must not include from model"
planted cycle/host.cpp '"tarnhost/blocks.h"' "knows nothing of it"
planted dynamics/plant.cpp '<mujoco/mujoco.h>' "knows nothing of it"
planted cycle/lost.cpp '"nowhere.h"' "neither a folder"
mkdir src/attic
planted attic/new.cpp '"model/sets.h"' "has no height"
echo '#include "collision/after_collision.h"' > src/friction/shared.cpp
passes "a header of shared state" "$tools/check_layers.sh" src include
catches "a folder without sources" "no include found" "$tools/check_layers.sh" empty include

mkdir -p pages/docs pages/src
: > pages/src/arm.cpp
printf '# Arm\n[guide](docs/guide.md#how-to-start), [web](https://example.org/no.md), `src/arm.cpp`\n' > pages/README.md
printf '# Guide\n## How to start\n[back](../README.md), [here](#guide)\n```\n[code](no.md)\n```\n' > pages/docs/guide.md
passes "links, clean" "$tools/check_docs.sh" pages
# dead LINE EXPECTED: this line in a page must be named
dead() {
    cp pages/docs/guide.md kept
    echo "$1" >> pages/docs/guide.md
    catches "$1" "$2" "$tools/check_docs.sh" pages
    cp kept pages/docs/guide.md
}
dead '[gone](gone.md)' "docs/guide.md:7: no such file: gone.md"
dead '[up](../../README.md)' "no such file: ../../README.md"
dead '[part](../README.md#leg)' "no such heading: ../README.md#leg"
dead 'see `src/leg.cpp`' "no such file: src/leg.cpp"
catches "a folder without pages" "no page found" "$tools/check_docs.sh" empty

# a repository with one of each that the reference pages tell
mkdir -p ref/docs ref/src/arm ref/host ref/sim ref/include/tarnhal ref/include/tarnmotioncontrol
cat > ref/include/tarnhal/thalintf.h << 'END'
struct HOW {
    short currentSet[6];   // 0.001 rated torque   library   current
};
END
cat > ref/include/tarnmotioncontrol/tmcmotionparamblock.h << 'END'
struct POINT {
    double x, y;           // mm                   place
};
struct ELSEWHERE {
    int alone;             // -          host  in no block
};
struct MOTION_CONTROL_BLOCK {
    POINT  corner;         //            host  a place
    double speed;          // deg/ms     both  a speed, which the host reads
};
END
cat > ref/include/tarnmotioncontrol/tmcfaultblock.h << 'END'
#define ZV_CTL_IO_ERROR 0x16000000U
    zvCtlIOOK         = ZV_CTL_IO_ERROR + 0x0,
    zvCtlIOVALUEError = ZV_CTL_IO_ERROR + 0x2,
    zvCtlIONOError    = ZV_CTL_IO_ERROR + 0x1a,
END
cat > ref/src/arm/arm.cpp << 'END'
#include "support/persist.h"
constexpr TypeRow<double> kLengths[] = {{1, 2, 3.0}};
void set() {
    persist(A_SECTION, "SPEED_FIRST", 1);  // "COMMENTED_OUT"
    persistSix(A_SECTION, "SPEED_GAIN#", gains);
    if (mcb.ioError != zvCtlIONOError) mcb.ioError = zvCtlIOVALUEError;
    Write_Log(LOG_ERR, "speed %f "
                       "is odd\n", 1.0);
}
END
echo 'extern "C" { int stopArm(void); }' > ref/include/services.h
echo '| `stopArm` | cycle | stop the arm |' > ref/docs/integration.md
echo '    {kUser, "A_PARAM",  "SPEED_FIRST",  kOne, &a, {0, 1}},' > ref/host/settings_table.cpp
cat > ref/docs/blocks.md << 'END'
## how (HOW)
| `currentSet` | short[6] | 0.001 rated torque | lib: the cycle | host | current |
## mcb (MOTION_CONTROL_BLOCK)
| `corner` | POINT | - | host | all | a place |
| `speed` | double | deg/ms | both: a setter | all | a speed |
## corners (POINT)
| `x`, `y` | double | mm | host | all | place |
END
cat > ref/docs/settings.md << 'END'
### A_PARAM
| `SPEED_FIRST` | a speed |
| `SPEED_GAIN1` to `SPEED_GAIN6` | gains |
| `NOT_YET` | comes later |
END
cat > ref/docs/faults.md << 'END'
| 0x16000002 | `zvCtlIOVALUEError` | set | odd | even |
Others: `zvCtlIOOK` 0x16000000, `zvCtlIONOError` 0x1600001A.
END
cat > ref/docs/log.md << 'END'
| `speed %f is odd\n` | error | odd | arm.cpp |
END
echo '| `src/arm/arm.cpp` | `kLengths` | lengths | none |' > ref/docs/add-a-robot-type.md
passes "reference pages, clean" "$tools/check_reference.sh" ref
# slips FILE SED_SCRIPT EXPECTED: this edit of a page or source must be named
slips() {
    cp "ref/$1" kept
    sed -i "$2" "ref/$1"
    catches "$2 in $1" "$3" "$tools/check_reference.sh" ref
    cp kept "ref/$1"
}
slips docs/blocks.md '/speed/d' "missing: MOTION_CONTROL_BLOCK speed"
slips docs/blocks.md 's/`x`, `y`/`x`/' "missing: POINT x, y"
slips docs/blocks.md 's/speed` | double/speed` | float/' "type float"
slips docs/blocks.md 's|deg/ms|deg/s|' "unit deg/s"
slips docs/blocks.md 's/both/host/' "writer host"
slips docs/blocks.md 's/`corner`/`center`/' "no such field: MOTION_CONTROL_BLOCK center"
slips docs/settings.md '/FIRST/d' "missing: key SPEED_FIRST"
slips docs/settings.md 's/ to `SPEED_GAIN6`//' "missing: key SPEED_GAIN"
slips docs/settings.md 's/A_PARAM/B_PARAM/' "in section A_PARAM"
slips docs/faults.md 's/16000002/16000003/' "zvCtlIOVALUEError: number 16000003"
slips docs/faults.md 's/| 0x16000002 | \(`[^`]*`\)/\1 0x16000002/' "listed as not raised"
slips docs/faults.md 's/, `zvCtlIONO.*//' "missing: zvCtlIONOError"
slips docs/log.md 's/odd/even/' "missing: speed %f is odd"
slips docs/log.md 's/error/info/' "is not error"
slips docs/add-a-robot-type.md 's/kLengths/kWidths/' "missing: src/arm/arm.cpp kLengths"
slips docs/integration.md 's/stopArm/goArm/' "missing: stopArm"
slips src/arm/arm.cpp '/TypeRow/d' "no such table: kLengths"

exit "$failed"
