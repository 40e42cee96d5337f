#include "fetch/Transfer.h"

#include <new>
#include <utility>

namespace orvane::plexa::zarnd {

namespace {

constexpr long kWholeContent = 200;
constexpr long kPartialContent = 206;
constexpr long kRangeNotSatisfiable = 416;
constexpr int kPollMilliseconds = 100;  // how exactly a stall is noticed; a stop wakes at once
constexpr long kBufferBytes = 256L * 1024;
constexpr std::size_t kGiveUp = CURL_WRITEFUNC_ERROR;  // by a callback that takes bytes

/// Statuses that another attempt may cure: too slow, too many, the server's own troubles.
bool MayPass(long inStatus) { return inStatus == 408 || inStatus == 429 || inStatus >= 500; }

template <typename T>
void Set(CURL* inEasy, CURLoption inOption, T inValue) {
    if (::curl_easy_setopt(inEasy, inOption, inValue) != CURLE_OK) {
        throw std::runtime_error("the library of downloads refuses a setting");
    }
}

}  // namespace

Transfer::Transfer(const std::string& inAddress, std::uint64_t inSize, const FetchSettings& inSettings,
                   IByteSink& ioSink, Received& ioReceived, const std::stop_token& inStop)
    : mSize(inSize),
      mSettings(inSettings),
      mSink(ioSink),
      mReceived(ioReceived),
      mStop(inStop),
      mOffset(ioReceived.mValidator.empty() ? 0 : ioReceived.mBytes),
      mErrorText(CURL_ERROR_SIZE, '\0'),
      mEasy(::curl_easy_init(), &::curl_easy_cleanup),
      mMulti(::curl_multi_init(), &::curl_multi_cleanup),
      mHeaders(nullptr, &::curl_slist_free_all),
      mPace(inSettings.mPace, Clock::now()) {
    if (!mEasy || !mMulti) throw std::bad_alloc();
    SetUp(inAddress);
    ::curl_multi_add_handle(mMulti.get(), mEasy.get());
}

Transfer::~Transfer() { ::curl_multi_remove_handle(mMulti.get(), mEasy.get()); }

void Transfer::SetUp(const std::string& inAddress) {
    CURL* const easy = mEasy.get();
    Set(easy, CURLOPT_ERRORBUFFER, mErrorText.data());
    Set(easy, CURLOPT_URL, inAddress.c_str());
    Set(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    Set(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    Set(easy, CURLOPT_FOLLOWLOCATION, 1L);
    Set(easy, CURLOPT_MAXREDIRS, mSettings.mMaxRedirects);
    Set(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(mSettings.mConnectLimit.count()));
    Set(easy, CURLOPT_FAILONERROR, 1L);
    Set(easy, CURLOPT_NOSIGNAL, 1L);
    // Giving up doesn't wait for a name that is being looked up.
    Set(easy, CURLOPT_QUICK_EXIT, 1L);
    Set(easy, CURLOPT_BUFFERSIZE, kBufferBytes);
    Set(easy, CURLOPT_USERAGENT, "zarnd");
    if (!mSettings.mAuthorities.empty()) {
        Set(easy, CURLOPT_CAINFO, mSettings.mAuthorities.c_str());
        // The library looks into the system's folder as well, unless it is told not to.
        Set(easy, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    Set(easy, CURLOPT_HEADERFUNCTION, &OnHeader);
    Set(easy, CURLOPT_HEADERDATA, static_cast<void*>(this));
    Set(easy, CURLOPT_WRITEFUNCTION, &OnBody);
    Set(easy, CURLOPT_WRITEDATA, static_cast<void*>(this));
    if (IsResuming()) {
        // Not by the library's own resuming, which takes an answer with the whole content for a failure.
        const std::string condition = "If-Range: " + mReceived.mValidator;
        const std::string range = "Range: bytes=" + std::to_string(mOffset) + "-";
        mHeaders.reset(::curl_slist_append(nullptr, condition.c_str()));
        if (!mHeaders || ::curl_slist_append(mHeaders.get(), range.c_str()) == nullptr)
            throw std::bad_alloc();
        Set(easy, CURLOPT_HTTPHEADER, mHeaders.get());
    }
}

std::size_t Transfer::OnHeader(char* inLine, std::size_t /*inOne*/, std::size_t inCount, void* inThis) {
    auto& self = *static_cast<Transfer*>(inThis);
    try {
        self.mHead.Line({inLine, inCount});
        // That it answers counts; a head without an end is no progress.
        if (!std::exchange(self.mHasAnswered, true)) self.mPace.OnBytes(inCount, Clock::now());
    } catch (...) {
        self.mThrown = std::current_exception();
        return 0;
    }
    return inCount;
}

std::size_t Transfer::OnBody(char* inBytes, std::size_t /*inOne*/, std::size_t inCount, void* inThis) {
    auto& self = *static_cast<Transfer*>(inThis);
    try {
        CheckStop(self.mStop);
        if (!self.mHasBody && !self.BeginBody()) return kGiveUp;
        const Clock::time_point begin = Clock::now();
        self.Take(std::as_bytes(std::span(inBytes, inCount)));
        const Clock::time_point end = Clock::now();
        self.mPace.OnPause(end - begin);
        self.mPace.OnBytes(inCount, end);
    } catch (...) {
        self.mThrown = std::current_exception();
        return kGiveUp;
    }
    return inCount;
}

long Transfer::Status() const {
    long status = 0;
    ::curl_easy_getinfo(mEasy.get(), CURLINFO_RESPONSE_CODE, &status);
    return status;
}

void Transfer::CheckStatus() const {
    if (Status() != kWholeContent && Status() != kPartialContent) {
        throw Failure(ErrorCode::kRefused, "the server answers with status " + std::to_string(Status()));
    }
}

// The answer's head is complete: does it continue what is there, or begin anew? False when it does neither,
// as it is a part of what the server has now in place of what it had.
bool Transfer::BeginBody() {
    CheckStatus();
    mHasBody = true;
    const bool continues = Status() == kPartialContent;
    if (continues && IsResuming() && !mHead.MayBeOf(mReceived.mValidator)) {
        mBroken.emplace(ErrorCode::kRefused, "the server's content has changed");
        mReceived.mValidator.clear();  // ask for the whole
        return false;
    }
    if (continues && (!IsResuming() || mHead.RangeBegin() != mOffset)) {
        throw Failure(ErrorCode::kRefused, "the server sends another part than the one asked for");
    }
    if (continues && mHead.WholeSize().value_or(mSize) != mSize) {
        throw Failure(ErrorCode::kOtherSize, "the server's content has " +
                                                 std::to_string(*mHead.WholeSize()) + " bytes, not " +
                                                 std::to_string(mSize));
    }
    if (!continues) {
        mOffset = 0;
        mReceived = {0, mHead.Validator()};
        mSink.Begin();
    }
    CheckLength();
    return true;
}

void Transfer::CheckLength() const {
    curl_off_t length = -1;
    ::curl_easy_getinfo(mEasy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    if (length >= 0 && mOffset + static_cast<std::uint64_t>(length) != mSize) {
        throw Failure(ErrorCode::kOtherSize,
                      "the server offers " + std::to_string(mOffset + static_cast<std::uint64_t>(length)) +
                          " bytes, not " + std::to_string(mSize));
    }
}

void Transfer::Take(std::span<const std::byte> inBytes) {
    if (inBytes.size() > mSize - mReceived.mBytes) {
        throw Failure(ErrorCode::kOtherSize,
                      "the server sends more than the " + std::to_string(mSize) + " bytes promised");
    }
    mSink.Take(inBytes);
    mReceived.mBytes += inBytes.size();
}

std::optional<Failure> Transfer::Loop() {
    const std::stop_callback wake(mStop, [this] { ::curl_multi_wakeup(mMulti.get()); });
    for (;;) {
        int running = 0;
        ::curl_multi_perform(mMulti.get(), &running);
        if (mThrown) std::rethrow_exception(mThrown);
        if (mBroken) return mBroken;
        int left = 0;
        while (const CURLMsg* const message = ::curl_multi_info_read(mMulti.get(), &left)) {
            if (message->msg == CURLMSG_DONE) return Judge(message->data.result);
        }
        CheckStop(mStop);
        if (const auto complaint = mPace.Complaint(Clock::now())) {
            return Failure(ErrorCode::kStalled, *complaint);
        }
        ::curl_multi_poll(mMulti.get(), nullptr, 0, kPollMilliseconds, nullptr);
    }
}

std::optional<Failure> Transfer::Judge(CURLcode inResult) const {
    const std::string reason =
        mErrorText.c_str()[0] != '\0' ? std::string(mErrorText.c_str()) : ::curl_easy_strerror(inResult);
    switch (inResult) {
        case CURLE_OK:
            CheckStatus();
            if (!mHasBody) CheckLength();
            if (mReceived.mBytes == mSize) return std::nullopt;
            // Without an announced length an end looks like a break.
            return Failure(ErrorCode::kOtherSize, "the server sends " + std::to_string(mReceived.mBytes) +
                                                      " bytes, not " + std::to_string(mSize));
        case CURLE_HTTP_RETURNED_ERROR:
            if (MayPass(Status()) || (IsResuming() && Status() == kRangeNotSatisfiable)) {
                return Failure(ErrorCode::kRefused, "the server refuses: " + reason);
            }
            throw Failure(ErrorCode::kRefused, "the server refuses: " + reason);
        case CURLE_URL_MALFORMAT:
            throw Failure(ErrorCode::kRefused, reason);
        case CURLE_TOO_MANY_REDIRECTS:
        case CURLE_UNSUPPORTED_PROTOCOL:
            throw Failure(ErrorCode::kBadRedirect, "the server leads astray: " + reason);
        case CURLE_PEER_FAILED_VERIFICATION:
            throw Failure(ErrorCode::kUnreachable, "the server can't be trusted: " + reason);
        case CURLE_SSL_CACERT_BADFILE:
            throw Failure(ErrorCode::kUnreachable, "the certificates to trust can't be used: " + reason);
        default:
            return Failure(ErrorCode::kUnreachable, "the server can't be reached: " + reason);
    }
}

std::optional<Failure> Transfer::Run() {
    std::optional<Failure> failure = Loop();
    if (failure && IsResuming() && Status() == kRangeNotSatisfiable) {
        mReceived.mValidator.clear();  // what it has now is something else: ask for the whole
    }
    return failure;
}

}  // namespace orvane::plexa::zarnd
