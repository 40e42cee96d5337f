#include "Observer.h"

#include <stdexcept>

#include "Payloads.h"
#include "Plan.h"
#include "support/Texts.h"

namespace campaign::deaths {

namespace api = orvane::plexa::api5;

namespace {

/// Messages to one victim; far below every bound, so that no call waits.
constexpr std::size_t kMostMessages = 40;
constexpr std::size_t kLarge = 64'000;
constexpr std::size_t kFillBytes = 4'096;
constexpr std::chrono::seconds kAtOnce{4};

}  // namespace

Observer::Observer(std::size_t inVictimMessages, std::uint64_t inSeed)
    : mRandom(inSeed, 1), mBook(inVictimMessages) {
    if (api::IPlexaMessageDispatcher::SetConfig(kObserver, "1") > 1 ||
        api::IPlexaMessageDispatcher::GetInstance(&mDispatcher) > 1)
        throw std::runtime_error("the observer gets no dispatcher");
    mDispatcher->RegisterEndPointRefreshCallback(&OnRefresh, this);
    mDispatcher->AddListener(this);
    mDispatcher->EnableListener(this);
}

Observer::~Observer() {
    mDispatcher->UnregisterEndPointRefreshCallback(&OnRefresh, this);
    mDispatcher->RemoveListener(this);
    api::IPlexaMessageDispatcher::ReleaseInstance();
}

void Observer::OnRefresh(void* inSelf) { static_cast<Observer*>(inSelf)->Look(); }

void Observer::Look() {
    const Time now = std::chrono::steady_clock::now();
    const std::scoped_lock lock(mMutex);
    for (auto& [name, victim] : mVictims) {
        if (victim.mListed) victim.mVanished = now;
        victim.mListed = false;
    }
    std::size_t others = 0;
    bool survivor = false;
    for (const api::EndPoint& endPoint : EndPoints(*mDispatcher)) {
        const std::string name = AppIdOf(endPoint);
        if (name.starts_with(kVictim)) {
            Victim& victim = mVictims[name];
            victim.mListed = true;
            victim.mVanished.reset();
        } else if (name.starts_with(kSurvivor)) {
            mSurvivor = endPoint;
            survivor = true;
        }
        ++others;
    }
    mOnlySurvivors = survivor && others == 2;
}

bool Observer::SeesOnlySurvivors() {
    const std::scoped_lock lock(mMutex);
    return mOnlySurvivors;
}

bool Observer::HasSeen(const std::string& inVictim) {
    const std::scoped_lock lock(mMutex);
    return mVictims.contains(inVictim);
}

bool Observer::Sees(const std::string& inVictim) {
    const std::scoped_lock lock(mMutex);
    const auto found = mVictims.find(inVictim);
    return found != mVictims.end() && found->second.mListed;
}

std::optional<Time> Observer::Vanished(const std::string& inVictim) {
    const std::scoped_lock lock(mMutex);
    const auto found = mVictims.find(inVictim);
    return found != mVictims.end() ? found->second.mVanished : std::nullopt;
}

void Observer::BeginBatch() {
    const std::scoped_lock lock(mMutex);
    mVictims.clear();
}

void Observer::Send() {
    for (const api::EndPoint& endPoint : EndPoints(*mDispatcher))
        if (AppIdOf(endPoint).starts_with(kVictim)) SendTo(endPoint);
    SendToSurvivor(mRandom.OneIn(16) ? mRandom.Below(kLarge) : 64);
}

void Observer::SendTo(const api::EndPoint& inEndPoint) {
    {
        const std::scoped_lock lock(mMutex);
        if (mVictims[AppIdOf(inEndPoint)].mSent++ >= kMostMessages) return;
    }
    const auto number = mBook.Begin();
    if (!number) throw std::logic_error("the book of messages is too small");
    api::SuiteMessage message(TypeOfNumber(*number).c_str());
    message.SetPayload(Numbered(*number, mRandom.OneIn(16) ? mRandom.Below(kLarge) : 64).c_str());
    message.SetDestination(inEndPoint);
    if (mDispatcher->SendMessage(message) > 1) throw std::runtime_error("a message is refused");
}

bool Observer::SendToSurvivor(std::size_t inSize) {
    api::SuiteMessage message("ask");
    {
        const std::scoped_lock lock(mMutex);
        message.SetPayload(Numbered(++mAsked, inSize).c_str());
        message.SetDestination(mSurvivor);
    }
    const Time begin = std::chrono::steady_clock::now();
    return mDispatcher->SendMessage(message) <= 1 && std::chrono::steady_clock::now() - begin < kAtOnce;
}

bool Observer::Fill(std::size_t inBytes) {
    for (std::size_t filled = 0; filled + kFillBytes <= inBytes; filled += kFillBytes)
        if (!SendToSurvivor(kFillBytes - 64)) return false;
    return true;
}

void Observer::Receive(const api::PlexaMessage& inMessage) {
    if (const auto* error = dynamic_cast<const api::ErrorMessage*>(&inMessage)) {
        if (const auto number = NumberOfType(TypeOf(inMessage))) {
            mBook.Told(*number, ErrorOf(*error));
        } else {
            const std::scoped_lock lock(mMutex);
            ++mDisordered;  // it was to one that lives
        }
        return;
    }
    const auto* message = dynamic_cast<const api::SuiteMessage*>(&inMessage);
    if (message == nullptr) return;
    const std::uint64_t number = NumberOf(*message);
    const std::string source = AppIdOf(inMessage.GetSource());
    const std::scoped_lock lock(mMutex);
    if (source.starts_with(kSurvivor)) {
        if (number != ++mEchoed) ++mDisordered;
    } else {
        std::uint64_t& last = mVictims[source].mLastReceived;
        if (number <= last) ++mDisordered;
        last = number;
    }
}

bool Observer::HasAllEchoes() {
    const std::scoped_lock lock(mMutex);
    return mEchoed == mAsked;
}

std::uint64_t Observer::Echoes() {
    const std::scoped_lock lock(mMutex);
    return mEchoed;
}

std::uint64_t Observer::Disordered() {
    const std::scoped_lock lock(mMutex);
    return mDisordered;
}

}  // namespace campaign::deaths
