/// The desktop service "zarnd" as the tool meets it.
#pragma once

#include <string>

#include "BusConnection.h"
#include "Interruption.h"
#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

/// Makes sure that the service is on the bus: if it isn't, starts the one that stands beside this program, or
/// is found by PATH, to run on demand, and waits for it. Returns where it is; another one that takes its
/// place knows nothing of what this one was asked. Throws `Failure` when it doesn't come.
api5::EndPoint RequireService(const BusConnection& inBus, const Interruption& inInterruption);

/// Whether this very end point is on the bus.
bool IsOnBus(const BusConnection& inBus, const api5::EndPoint& inEndPoint);

/// Asks the service, and gives its answer. Throws `Failure` when it refuses, or no answer comes in time.
nuocore::serialization::VariantObject AskService(const std::string& inType,
                                                 const nuocore::serialization::VariantObject& inQuestion,
                                                 const Interruption& inInterruption);

/// A text that an answer must have; empty when it hasn't.
std::string TextOf(const nuocore::serialization::VariantObject& inObject, const char* inKey);

}  // namespace orvane::plexa::tool
