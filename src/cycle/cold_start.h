// What a power trip leaves behind.
#pragma once

namespace tarn {

// Takes the state named in its body back to that of the load.
void coldStart();

}  // namespace tarn
