/// Libraries that may not be unloaded any more.
#pragma once

namespace nuocore::runtime {

/// The library or program that inCode is in stays until the process ends. Any thread.
void KeepLoaded(const void* inCode) noexcept;

}  // namespace nuocore::runtime
