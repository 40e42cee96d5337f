#include "fetch/Fetch.h"

#include <condition_variable>
#include <mutex>

#include "fetch/LocalFile.h"
#include "fetch/Transfer.h"

namespace orvane::plexa::zarnd {

namespace {

void Wait(std::chrono::milliseconds inTime, const std::stop_token& inStop) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any never;
    never.wait_for(lock, inStop, inTime, [] { return false; });
    CheckStop(inStop);
}

}  // namespace

void Fetch(const std::string& inAddress, std::uint64_t inSize, const FetchSettings& inSettings,
           IByteSink& ioSink, const std::stop_token& inStop) {
    if (inAddress.starts_with("file:")) return ReadLocalFile(inAddress, inSize, ioSink, inStop);
    static const CURLcode initialised = ::curl_global_init(CURL_GLOBAL_DEFAULT);
    if (initialised != CURLE_OK) throw std::runtime_error("the library of downloads can't be used");
    RetryPolicy policy(inSettings.mRetry);
    Received received;
    for (;;) {
        CheckStop(inStop);
        const std::uint64_t before = received.mBytes;
        const std::optional<Failure> broken =
            Transfer(inAddress, inSize, inSettings, ioSink, received, inStop).Run();
        // What broke off behind the last byte is complete: nothing is left to ask for.
        if (!broken || received.mBytes == inSize) return;
        // An attempt that began anew has brought something only when it came further, one that was too slow
        // only when it wasn't so all the time.
        std::uint64_t brought = received.mBytes > before ? received.mBytes - before : 0;
        if (broken->Code() == ErrorCode::kStalled && brought < inSettings.mPace.mSlowBytes) brought = 0;
        const auto delay = policy.OnBreak(brought);
        if (!delay) throw *broken;
        Wait(*delay, inStop);
    }
}

}  // namespace orvane::plexa::zarnd
