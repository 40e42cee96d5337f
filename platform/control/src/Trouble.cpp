#include "Trouble.h"

#include <utility>

#include "nuocore/Trace.h"

namespace orvane::plexa::control {

namespace {

constinit thread_local std::vector<std::string>* sDelayed = nullptr;

}  // namespace

void TraceTrouble(std::string_view inText) noexcept {
    static constinit nuocore::debug::TraceSwitch sSwitch("PlexaControl", 1);
    try {
        if (!sSwitch.IsEnabled()) return;
        if (sDelayed != nullptr) {
            sDelayed->emplace_back(inText);
        } else {
            sSwitch.Trace(std::string(inText) + "\r\n");
        }
    } catch (...) {  // NOLINT(bugprone-empty-catch): what was to be told of is more than the telling
    }
}

TroubleDelay::TroubleDelay() noexcept : mBefore(std::exchange(sDelayed, &mTexts)) {}

TroubleDelay::~TroubleDelay() {
    sDelayed = mBefore;
    for (const std::string& text : mTexts) TraceTrouble(text);
}

}  // namespace orvane::plexa::control
