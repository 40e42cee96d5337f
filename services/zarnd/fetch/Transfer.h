/// One attempt of a download.
#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "common/Failure.h"
#include "fetch/Fetch.h"
#include "fetch/ResponseHead.h"

namespace orvane::plexa::zarnd {

/// What is kept from attempt to attempt.
struct Received {
    std::uint64_t mBytes = 0;  ///< that the sink has
    std::string mValidator;    ///< of the content that they are of
};

/// One attempt; one thread. `Run` throws a `Failure` for what another attempt doesn't cure.
class Transfer {
  public:
    Transfer(const std::string& inAddress, std::uint64_t inSize, const FetchSettings& inSettings,
             IByteSink& ioSink, Received& ioReceived, const std::stop_token& inStop);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer();

    /// Nothing when the whole content is there; else why the attempt broke off.
    std::optional<Failure> Run();

  private:
    using Clock = std::chrono::steady_clock;

    static std::size_t OnHeader(char* inLine, std::size_t inOne, std::size_t inCount, void* inThis);
    static std::size_t OnBody(char* inBytes, std::size_t inOne, std::size_t inCount, void* inThis);

    void SetUp(const std::string& inAddress);
    bool BeginBody();
    void CheckStatus() const;
    void CheckLength() const;
    void Take(std::span<const std::byte> inBytes);
    std::optional<Failure> Loop();
    [[nodiscard]] std::optional<Failure> Judge(CURLcode inResult) const;
    [[nodiscard]] long Status() const;
    [[nodiscard]] bool IsResuming() const noexcept { return mOffset > 0; }

    std::uint64_t mSize;
    FetchSettings mSettings;
    IByteSink& mSink;
    Received& mReceived;
    std::stop_token mStop;
    std::uint64_t mOffset = 0;  // where this attempt asks to begin
    std::string mErrorText;     // the handle writes into it until it goes
    std::unique_ptr<CURL, decltype(&::curl_easy_cleanup)> mEasy;
    std::unique_ptr<CURLM, decltype(&::curl_multi_cleanup)> mMulti;
    std::unique_ptr<curl_slist, decltype(&::curl_slist_free_all)> mHeaders;
    ResponseHead mHead;
    bool mHasAnswered = false;
    bool mHasBody = false;
    Pace mPace;
    std::optional<Failure> mBroken;  // why the attempt is of no use, found inside a callback
    std::exception_ptr mThrown;      // inside a callback, through which nothing may be thrown
};

}  // namespace orvane::plexa::zarnd
