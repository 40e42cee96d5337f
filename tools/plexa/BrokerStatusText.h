/// A broker's status, for people.
#pragma once

#include "nuocore/Variant.h"

namespace orvane::plexa::tool {

class Output;

/// Prints what a broker tells of itself: who is connected, what waits, and how near each bound is. The broker
/// may be older or newer than this tool: every fact may be missing.
void PrintStatus(const nuocore::serialization::VariantObject& inStatus, Output& ioOutput);

}  // namespace orvane::plexa::tool
