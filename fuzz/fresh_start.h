// One input starts where the process does: library, blocks and services as they are at load.
#pragma once

namespace fuzz {

// The library's writable memory as it is at load, the blocks as a host sets them up for the robot type,
// rand() from its first number, and all memory back that the library asked for.
void freshStart(int robotType);

}  // namespace fuzz
