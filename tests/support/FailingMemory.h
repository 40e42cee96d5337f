/// Memory that runs out when a test says so. A program that links it (test_failing_memory) has all its
/// allocations with `new` pass there, so it should be one of its own.
#pragma once

#include <new>

namespace support {

/// So many allocations of this thread succeed from now on, then so many fail; none does when inSuccesses is
/// negative.
void FailAllocations(int inSuccesses, int inFailures = 1) noexcept;

/// No allocation of this thread fails any more. Returns how many were to succeed still; negative when one has
/// failed, or none was to.
int StopFailing() noexcept;

/// How many allocations, of all threads, have not been given back.
long LiveAllocations() noexcept;

/// Calls something again and again, while ever later allocations fail, until it has had all that it wanted.
/// Returns how often it threw because of that.
template <typename Call>
int FailEverywhere(const Call& inCall, int inFailures = 1) {
    int thrown = 0;
    for (int successes = 0;; ++successes) {
        bool threw = false;
        FailAllocations(successes, inFailures);
        try {
            inCall();
        } catch (const std::bad_alloc&) {
            threw = true;
        }
        const bool hadAll = StopFailing() >= 0;
        if (threw) ++thrown;
        if (hadAll) return thrown;
    }
}

}  // namespace support
