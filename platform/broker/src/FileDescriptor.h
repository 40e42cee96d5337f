/// Owns one file descriptor.
#pragma once

#include "wire/FileDescriptor.h"

namespace orvane::plexa::broker {

using wire::FileDescriptor;

}  // namespace orvane::plexa::broker
