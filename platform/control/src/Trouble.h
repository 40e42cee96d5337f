/// What the control library traces, in the category "PlexaControl".
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvane::plexa::control {

/// One line, level 1: what a user should know. Left out when there is no memory for it. Any thread.
void TraceTrouble(std::string_view inText) noexcept;

/// While one lives, what its thread has to tell waits for its end. It is made before a lock is taken, so that
/// who is told may call this library. One thread.
class TroubleDelay {
  public:
    TroubleDelay() noexcept;
    TroubleDelay(const TroubleDelay&) = delete;
    TroubleDelay& operator=(const TroubleDelay&) = delete;
    ~TroubleDelay();

  private:
    std::vector<std::string> mTexts;
    std::vector<std::string>* mBefore;
};

}  // namespace orvane::plexa::control
