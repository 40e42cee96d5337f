/// What has to be done at the end of a thread.
#pragma once

namespace nuocore::runtime {

/// Has inEnd called when the calling thread ends; false when that can't be. Of the functions that one thread
/// names the last counts. Waits for nobody who loads or unloads a library. Any thread.
bool AtThreadEnd(void (*inEnd)()) noexcept;

}  // namespace nuocore::runtime
