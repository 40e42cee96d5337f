#include "Scenes.h"

#include <cstdio>
#include <iostream>

namespace campaign::stopped {

bool Check(const char* inWhat, bool inHolds) {
    std::cout << (inHolds ? "    holds:  " : "    BROKEN: ") << inWhat << std::endl;
    return inHolds;
}

/// Everybody leaves, and the books are closed.
Tally Conclude(Crew& ioCrew) {
    ioCrew.Hold();
    ioCrew.AwaitFates();
    ioCrew.End();
    const Tally tally = TallyOf(ioCrew.Book());
    std::printf("  %llu deliveries owed: %llu made, %llu told \"Not delivered\", %llu \"not confirmed\"\n",
                static_cast<unsigned long long>(tally.mMessages),
                static_cast<unsigned long long>(tally.mReceived),
                static_cast<unsigned long long>(tally.mNotDelivered),
                static_cast<unsigned long long>(tally.mNotConfirmed));
    std::printf("  %llu neither made nor told, %llu twice, %llu made and denied, %llu otherwise wrong\n",
                static_cast<unsigned long long>(tally.mLost), static_cast<unsigned long long>(tally.mDoubled),
                static_cast<unsigned long long>(tally.mDenied),
                static_cast<unsigned long long>(tally.mOther));
    return tally;
}

}  // namespace campaign::stopped
