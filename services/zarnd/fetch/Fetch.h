/// Downloading.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stop_token>
#include <string>

#include "fetch/Pace.h"
#include "fetch/RetryPolicy.h"

namespace orvane::plexa::zarnd {

/// Takes what is downloaded. What it throws ends the download and reaches the caller of `Fetch`.
class IByteSink {
  public:
    IByteSink() = default;
    IByteSink(const IByteSink&) = delete;
    IByteSink& operator=(const IByteSink&) = delete;
    virtual ~IByteSink() = default;

    /// The content begins, or begins anew: what came before counts no more.
    virtual void Begin() = 0;
    /// The next bytes. May take its time, which is not counted as the server's.
    virtual void Take(std::span<const std::byte> inBytes) = 0;
};

struct FetchSettings {
    std::chrono::milliseconds mConnectLimit{15000};
    PaceSettings mPace = {};
    long mMaxRedirects = 5;
    std::string mAuthorities = {};  ///< file of certificates to trust, in place of the system's; or empty
    RetrySettings mRetry = {};
};

/// Brings the content at an address, of exactly `inSize` bytes, to the sink. A transfer that breaks off goes
/// on where it broke if the server still has the same content and can do so, else it begins anew; it is tried
/// again as the settings say. Addresses: file: for regular files, http:, https:; redirections to the latter
/// two. Throws `Failure`, `Cancelled` when `inStop` is asked for, or what the sink throws.
void Fetch(const std::string& inAddress, std::uint64_t inSize, const FetchSettings& inSettings,
           IByteSink& ioSink, const std::stop_token& inStop);

}  // namespace orvane::plexa::zarnd
