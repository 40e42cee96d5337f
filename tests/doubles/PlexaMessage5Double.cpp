#include "doubles/PlexaMessage5Double.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

namespace doubles {

Message5Double& Message5Double::Get() {
    static auto& sInstance = *new Message5Double;
    return sInstance;
}

std::string AppId(const api::EndPoint& inEndPoint) {
    std::string text(inEndPoint.GetAppIdSize(), '\0');
    inEndPoint.GetAppId(text.data());
    return text.c_str();
}

void Message5Double::Record(std::string inCall) {
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mCalls.push_back(std::move(inCall));
    }
    if (mOnCall) {
        mOnCall();
    }
}

std::vector<std::string> Message5Double::Calls() const {
    const std::lock_guard<std::mutex> lock(mMutex);
    return mCalls;
}

void Message5Double::ClearCalls() {
    const std::lock_guard<std::mutex> lock(mMutex);
    mCalls.clear();
}

void Message5Double::Refresh(void* inContext) { mCallback(inContext != nullptr ? inContext : mContext); }

void Message5Double::Deliver(const api::PlexaMessage& inMessage) { mListener->Receive(inMessage); }

void Message5Double::Reserved0() { Record("Reserved0"); }

api::PlexaMessageErrorCode Message5Double::SendMessage(const api::SuiteMessage& inMessage) {
    std::string text(inMessage.GetMessageTextSize(), '\0');
    inMessage.GetMessageText(text.data());
    std::string payload(inMessage.GetPayloadSize(), '\0');
    inMessage.GetPayload(payload.data());
    std::string call = std::string("SendMessage ") + text.c_str() + " payload=" + payload.c_str() +
                       " source=" + AppId(inMessage.GetSource());
    if (inMessage.GetDestination() != api::EndPoint::INVALID_ENDPOINT) {
        call += " destination=" + AppId(inMessage.GetDestination());
    }
    Record(std::move(call));
    if (mOnSend) {
        mOnSend();
    }
    return api::kPlexaMessageErrorCode_Unknown;  // nobody may look at it
}

api::PlexaMessageErrorCode Message5Double::AddListener(api::IPlexaMessageListener* inListener) {
    Record("AddListener");
    mListener = inListener;
    return api::kPlexaMessageErrorCode_Unknown;
}

api::PlexaMessageErrorCode Message5Double::RemoveListener(api::IPlexaMessageListener* inListener) {
    Record(inListener == mListener ? "RemoveListener" : "RemoveListener of another");
    return api::kPlexaMessageErrorCode_Unknown;
}

api::PlexaMessageErrorCode Message5Double::EnableListener(api::IPlexaMessageListener* inListener) {
    Record(inListener == mListener ? "EnableListener" : "EnableListener of another");
    return api::kPlexaMessageErrorCode_Unknown;
}

api::PlexaMessageErrorCode Message5Double::DisableListener(api::IPlexaMessageListener* inListener) {
    Record(inListener == mListener ? "DisableListener" : "DisableListener of another");
    return api::kPlexaMessageErrorCode_Unknown;
}

api::PlexaMessageErrorCode Message5Double::RegisterEndPointRefreshCallback(
    api::EndPointRefreshCallback inCallback, void* inContext) {
    Record("RegisterEndPointRefreshCallback");
    mCallback = inCallback;
    mContext = inContext;
    return api::kPlexaMessageErrorCode_Unknown;
}

api::PlexaMessageErrorCode Message5Double::UnregisterEndPointRefreshCallback(
    api::EndPointRefreshCallback inCallback, void* inContext) {
    Record(inCallback == mCallback && inContext == mContext ? "UnregisterEndPointRefreshCallback"
                                                            : "UnregisterEndPointRefreshCallback of another");
    return api::kPlexaMessageErrorCode_Unknown;
}

void Message5Double::Reserved8() { Record("Reserved8"); }
void Message5Double::Reserved9() { Record("Reserved9"); }

api::EndPoint Message5Double::GetSelfEndPoint() {
    Record("GetSelfEndPoint");
    return mSelf;
}

bool Message5Double::IsDispatcherReady() {
    Record("IsDispatcherReady");
    if (mReadyAnswers.empty()) {
        return true;
    }
    const bool answer = mReadyAnswers.front();
    if (mReadyAnswers.size() > 1) {
        mReadyAnswers.erase(mReadyAnswers.begin());
    }
    return answer;
}

api::PlexaMessageErrorCode Message5Double::GetEndPointList(api::EndPoint** outEndPoints,
                                                           std::size_t* outCount) {
    Record(*outEndPoints == nullptr && *outCount == 0 ? "GetEndPointList"
                                                      : "GetEndPointList without null and zero");
    if (!mGivesNullArray) {
        auto array = std::make_unique<api::EndPoint[]>(mEndPoints.size() + 1);
        std::copy(mEndPoints.begin(), mEndPoints.end(), array.get());
        *outEndPoints = array.get();
        *outCount = mEndPoints.size();
        mArrays.push_back(std::move(array));
    }
    return mGetEndPointListResult;
}

void Message5Double::ReleaseEndPointList(api::EndPoint* inEndPoints) {
    Record("ReleaseEndPointList");
    std::erase_if(mArrays, [&](const auto& inArray) { return inArray.get() == inEndPoints; });
}

}  // namespace doubles

// The message library's own symbols.
namespace orvane::plexa::api5 {

using doubles::Message5Double;

namespace {

std::size_t SizeOf(const std::string& inText) {
    return Message5Double::Get().mSizeAnswer.value_or(inText.size() + 1);
}
// Fills exactly what the size query answered; the rest of a text that is too short is garbage.
void CopyTo(char* outBuffer, const std::string& inText) {
    std::memset(outBuffer, '?', SizeOf(inText));
    std::memcpy(outBuffer, inText.c_str(), std::min(SizeOf(inText), inText.size() + 1));
}

}  // namespace

PlexaMessageErrorCode IPlexaMessageDispatcher::SetConfig(const char* inSAPCode, const char* inClientVersion) {
    Message5Double::Get().Record(std::string("SetConfig ") + inSAPCode + " " + inClientVersion);
    return Message5Double::Get().mSetConfigResult;
}

PlexaMessageErrorCode IPlexaMessageDispatcher::GetInstance(IPlexaMessageDispatcher** outDispatcher) {
    Message5Double& instance = Message5Double::Get();
    instance.Record(*outDispatcher == nullptr ? "GetInstance" : "GetInstance without null");
    if (instance.mOnGetInstance) {
        instance.mOnGetInstance();
    }
    if (instance.mGivesDispatcher) {
        *outDispatcher = &instance;
    }
    return instance.mGetInstanceResult;
}

void IPlexaMessageDispatcher::ReleaseInstance() { Message5Double::Get().Record("ReleaseInstance"); }

IPlexaMessageListener::IPlexaMessageListener() = default;
IPlexaMessageListener::~IPlexaMessageListener() = default;

const EndPoint EndPoint::INVALID_ENDPOINT;

EndPoint::EndPoint() = default;
EndPoint::EndPoint(const char* inAppId, std::uint64_t inInstance, std::int32_t inProcessId)
    : mAppId(inAppId), mInstance(inInstance), mProcessId(inProcessId) {}
EndPoint::EndPoint(const EndPoint& inOther) = default;
EndPoint& EndPoint::operator=(const EndPoint& inOther) = default;
EndPoint::~EndPoint() = default;

std::size_t EndPoint::GetAppIdSize() const { return SizeOf(mAppId); }
void EndPoint::GetAppId(char* outBuffer) const { CopyTo(outBuffer, mAppId); }
std::uint64_t EndPoint::GetInstance() const { return mInstance; }
std::int32_t EndPoint::GetProcessId() const { return mProcessId; }
bool EndPoint::operator==(const EndPoint& inOther) const {
    return mAppId == inOther.mAppId && mInstance == inOther.mInstance && mProcessId == inOther.mProcessId;
}
bool EndPoint::operator!=(const EndPoint& inOther) const { return !(*this == inOther); }

PlexaMessage::PlexaMessage(std::string inType) : mType(std::move(inType)) {}
PlexaMessage::~PlexaMessage() = default;
std::size_t PlexaMessage::GetMessageTextSize() const { return SizeOf(Envelope()); }
void PlexaMessage::GetMessageText(char* outBuffer) const { CopyTo(outBuffer, Envelope()); }
std::size_t PlexaMessage::GetAppIdSize() const { return mSource.GetAppIdSize(); }
void PlexaMessage::GetAppId(char* outBuffer) const { mSource.GetAppId(outBuffer); }
void PlexaMessage::SetSource(const EndPoint& inSource) { mSource = inSource; }
const EndPoint& PlexaMessage::GetSource() const { return mSource; }
void PlexaMessage::SetEnvelope(std::shared_ptr<const std::string> inEnvelope) {
    mEnvelope = std::move(inEnvelope);
}
const std::string& PlexaMessage::Envelope() const {
    if (!mEnvelope) {
        mEnvelope = std::make_shared<const std::string>("type=" + mType);
    }
    return *mEnvelope;
}

SuiteMessage::SuiteMessage(const char* inType) : PlexaMessage(inType) {}
SuiteMessage::~SuiteMessage() = default;
void SuiteMessage::SetPayload(const char* inPayload) { mPayload = inPayload; }
std::size_t SuiteMessage::GetPayloadSize() const { return SizeOf(mPayload); }
void SuiteMessage::GetPayload(char* outBuffer) const { CopyTo(outBuffer, mPayload); }
void SuiteMessage::SetDestination(const EndPoint& inDestination) { mDestination = inDestination; }
const EndPoint& SuiteMessage::GetDestination() const { return mDestination; }

ErrorMessage::ErrorMessage(const char* inType, const char* inError, const char* inFault)
    : PlexaMessage(inType), mError(inError), mFault(inFault) {}
ErrorMessage::~ErrorMessage() = default;
std::size_t ErrorMessage::GetErrorSize() const { return SizeOf(mError); }
void ErrorMessage::GetError(char* outBuffer) const { CopyTo(outBuffer, mError); }
std::size_t ErrorMessage::GetFaultSize() const { return SizeOf(mFault); }
void ErrorMessage::GetFault(char* outBuffer) const { CopyTo(outBuffer, mFault); }

}  // namespace orvane::plexa::api5
