/// What is left of a process while the statics of its libraries are destroyed.
#pragma once

namespace nuocore::runtime {

/// Whether other threads still run then. Windows ends them before, wherever they are: what they locked stays
/// locked, and nobody can wait for them.
extern const bool kThreadsRunAtTheEnd;

}  // namespace nuocore::runtime
