#include "BusConnection.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>

#include "Failure.h"
#include "PayloadText.h"
#include "common/Names.h"
#include "nuocore/Assertion.h"
#include "nuocore/Config.h"
#include "nuocore/Log.h"
#include "nuocore/StringConversion.h"
#include "nuocore/Trace.h"
#include "nuoplexasupport/Messaging.h"
#include "wire/Limits.h"
#include "wire/RuntimeDirectory.h"

namespace orvane::plexa::tool {

using nuocore::UTF8String;

namespace {

constexpr std::string_view kMessageLibrary = "PlexaMessage5";
constexpr int kFailureLevel = 1;  // of the message library's trace: a message that has failed

// A variable of the environment; empty when it isn't set.
std::string ValueOf(const char* inName) {
    const char* const value = std::getenv(inName);  // NOLINT(concurrency-mt-unsafe): nothing changes it
    return value != nullptr ? value : "";
}

std::string Choose(const std::string& inOption, const char* inVariable, const char* inDefault) {
    if (!inOption.empty()) return inOption;
    const std::string value = ValueOf(inVariable);
    return value.empty() ? inDefault : value;
}

// Throws `Failure` for what can be on no bus.
void CheckIdentity(const std::string& inCode, const std::string& inVersion) {
    const std::string appId = inCode + "-" + inVersion;
    const std::size_t most = wire::Limits().maxAppId - 1;  // the message library keeps one for itself
    if (appId.size() <= most && nuocore::string::IsValidUTF8(appId) && !zarnd::HasControl(appId)) return;
    throw Failure(kExitUsage, "cannot speak as \"" + PlainLine(appId) +
                                  "\": an app id is a text in UTF-8, of " + std::to_string(most) +
                                  " bytes at most and without control characters");
}

// One line on stderr, in one piece also when several threads write.
void Note(const std::string& inText) { std::cerr << "plexa: " + inText + "\n" << std::flush; }

void NoteAssertions() {
    nuocore::debug::SetAssertionHandler([](const nuocore::debug::AssertionRecord& inRecord) {
        std::string text = std::string("assertion in ") + inRecord.mFunction + ": " + inRecord.mExpression;
        if (!inRecord.mMessage.empty()) text += ": " + inRecord.mMessage;
        Note(PlainLine(text));
        return false;
    });
}

}  // namespace

UTF8String PayloadOf(const api5::SuiteMessage& inMessage) {
    UTF8String payload(inMessage.GetPayloadSize(), '\0');
    if (!payload.empty()) {
        inMessage.GetPayload(payload.data());
        payload.resize(payload.size() - 1);
    }
    return payload;
}

void CheckPayload(const UTF8String& inPayload) {
    const std::size_t most = wire::Limits().maxPayload;
    if (inPayload.size() <= most) return;
    throw Failure(kExitFailure, "cannot send a payload of " + std::to_string(inPayload.size()) +
                                    " bytes: the bus takes " + std::to_string(most >> 20U) +
                                    " MiB; put what is larger into a file and send its name");
}

BusConnection::BusConnection(const ConnectionOptions& inOptions) : mWait(inOptions.mWait) {
    const std::string code = Choose(inOptions.mCode, "NUOCORE_SAP_CODE", "PLEXACLI");
    const std::string version = Choose(inOptions.mVersion, "NUOCORE_CLIENT_VERSION", PLEXA_TOOL_VERSION);
    CheckIdentity(code, version);
    mReady = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (mReady < 0) {
        throw Failure(kExitFailure, "cannot start: the system gives no more file descriptors");
    }
    // The log is for those who ask for it; what a user has to know, the tool says itself.
    if (ValueOf("NUOCORE_LOG").empty()) nuocore::log::SetLoggingEnabled(false);
    nuocore::debug::SetAssertionHandler([](const nuocore::debug::AssertionRecord&) { return false; });
    nuocore::config::SetProductConfig(
        {UTF8String(std::string_view(code)), UTF8String(std::string_view(version)), UTF8String()});
    nuoplexasupport::Startup();
    mIsStarted = true;
    NoteAssertions();
}

BusConnection::~BusConnection() {
    Leave();
    ::close(mReady);
}

void BusConnection::Leave() {
    if (!mIsStarted) return;
    // While the message library takes leave it calls no listeners any more: its trace says what has failed.
    nuocore::debug::SetTraceSink([this](int inLevel, std::string_view inCategory, std::string_view inText) {
        if (inCategory == kMessageLibrary && inLevel == kFailureLevel) {
            TellFailure(inText.substr(0, inText.find_last_not_of("\r\n") + 1));
        } else {
            std::cerr << inText << std::flush;
        }
    });
    nuocore::debug::SetTraceRules(std::string(kMessageLibrary) + "=" + std::to_string(kFailureLevel) + "," +
                                  ValueOf("NUOCORE_TRACE"));
    if (mDispatcher != nullptr) {
        mDispatcher->UnregisterEndPointRefreshCallback(&OnRefresh, this);
        mDispatcher->DisableListener(this);
        mDispatcher->RemoveListener(this);
        api5::IPlexaMessageDispatcher::ReleaseInstance();
        mDispatcher = nullptr;
    }
    nuoplexasupport::Shutdown();
    mIsStarted = false;
    nuocore::debug::SetTraceSink({});
}

void BusConnection::FailToConnect(const std::string& inReason) const {
    throw Failure(kExitNoBroker, "cannot reach the message bus: " + inReason);
}

void BusConnection::Connect(const Interruption& inInterruption) {
    const api5::PlexaMessageErrorCode code = api5::IPlexaMessageDispatcher::GetInstance(&mDispatcher);
    if (mDispatcher == nullptr) {
        if (code == api5::kPlexaMessageErrorCode_NotConfigured ||
            code == api5::kPlexaMessageErrorCode_BrokerFileDoesNotExist) {
            FailToConnect(
                "the broker's program was not found; install it, or set CommonProgramFiles to the folder that "
                "holds \"Orvane/Orvane Desktop Common/IPCBox/OrvaneIPCBroker.exe\"");
        }
        FailToConnect("the message library answers with code " + std::to_string(code));
    }
    mDispatcher->AddListener(this);
    mDispatcher->EnableListener(this);
    mDispatcher->RegisterEndPointRefreshCallback(&OnRefresh, this);
    if (!inInterruption.Await(mReady, After(mWait))) {
        if (inInterruption.HasCome()) throw Failure(kExitNoBroker, "interrupted before the bus was ready");
        const std::string directory = wire::RuntimeDirectoryPath();
        const std::string trouble = wire::EnsureRuntimeDirectory(directory, ::geteuid());
        FailToConnect(PlainLine(
            trouble.empty() ? "no broker was ready in time; look into broker.log, if there is one, in " +
                                  directory + ", or wait longer with --wait"
                            : trouble));
    }
}

void BusConnection::OnRefresh(void* inThis) {
    const auto* const self = static_cast<BusConnection*>(inThis);
    if (self->mDispatcher->IsDispatcherReady()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t ignored = ::write(self->mReady, &one, sizeof one);
    }
}

void BusConnection::Receive(const api5::PlexaMessage& inMessage) {
    if (const auto* const message = dynamic_cast<const api5::SuiteMessage*>(&inMessage)) {
        if (mOnMessage) mOnMessage(*message);
    } else if (const auto* const error = dynamic_cast<const api5::ErrorMessage*>(&inMessage)) {
        TellFailure(api5::TextOf(*error, &api5::ErrorMessage::GetErrorSize, &api5::ErrorMessage::GetError) +
                    ": \"" + TypeOf(*error) + "\" to " +
                    api5::TextOf(*error, &api5::ErrorMessage::GetFaultSize, &api5::ErrorMessage::GetFault));
    }
}

void BusConnection::TellFailure(std::string_view inText) {
    Note(PlainLine(inText));
    ++mFailures;
}

std::vector<api5::EndPoint> BusConnection::EndPoints() const {
    api5::EndPoint* array = nullptr;
    std::size_t count = 0;
    const api5::PlexaMessageErrorCode code = mDispatcher->GetEndPointList(&array, &count);
    if (code != api5::kPlexaMessageErrorCode_None && code != api5::kPlexaMessageErrorCode_AlreadyDone) {
        throw Failure(kExitFailure,
                      "cannot get the list of end points: the message library answers with code " +
                          std::to_string(code));
    }
    std::vector<api5::EndPoint> endPoints(array, array + count);
    if (array != nullptr) mDispatcher->ReleaseEndPointList(array);
    return endPoints;
}

api5::EndPoint BusConnection::Self() const { return mDispatcher->GetSelfEndPoint(); }

void BusConnection::Send(const std::string& inType, const UTF8String& inPayload,
                         const api5::EndPoint& inDestination) {
    CheckPayload(inPayload);
    api5::SuiteMessage message(inType.c_str());
    message.SetPayload(inPayload.c_str());
    message.SetSource(mDispatcher->GetSelfEndPoint());
    if (inDestination != api5::EndPoint::INVALID_ENDPOINT) message.SetDestination(inDestination);
    const api5::PlexaMessageErrorCode code = mDispatcher->SendMessage(message);
    if (code != api5::kPlexaMessageErrorCode_None && code != api5::kPlexaMessageErrorCode_AlreadyDone) {
        throw Failure(kExitFailure, "cannot send the message: the message library answers with code " +
                                        std::to_string(code));
    }
}

}  // namespace orvane::plexa::tool
