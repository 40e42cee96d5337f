/// Waiting in tests: for a condition, with a deadline.
#pragma once

#include <chrono>

#include <poll.h>

inline constexpr std::chrono::seconds kPatience{20};

/// True as soon as inCondition() is; false when it isn't within inPatience.
template <typename Condition>
bool Eventually(Condition inCondition, std::chrono::steady_clock::duration inPatience = kPatience) {
    const auto deadline = std::chrono::steady_clock::now() + inPatience;
    while (!inCondition()) {
        if (std::chrono::steady_clock::now() >= deadline) return false;
        ::poll(nullptr, 0, 2);
    }
    return true;
}
