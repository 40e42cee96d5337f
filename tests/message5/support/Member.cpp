#include "Member.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "Eventually.h"

using namespace orvane::plexa::api5;

void Listener::Receive(const PlexaMessage& inMessage) {
    std::string text;
    if (const auto* error = dynamic_cast<const ErrorMessage*>(&inMessage)) {
        std::string fault(error->GetFaultSize(), '\0');
        error->GetFault(fault.data());
        text = std::string("error ") + fault.c_str();
    } else if (const auto* message = dynamic_cast<const SuiteMessage*>(&inMessage)) {
        std::string payload(message->GetPayloadSize(), '\0');
        message->GetPayload(payload.data());
        text = payload.c_str();
    }
    {
        const std::scoped_lock lock(mMutex);
        mTexts.push_back(text);
        mThreads.insert(std::this_thread::get_id());
    }
    if (mAction) mAction(text);
}

bool Listener::Has(const std::string& inText) {
    const std::scoped_lock lock(mMutex);
    return std::find(mTexts.begin(), mTexts.end(), inText) != mTexts.end();
}

bool Listener::Gets(const std::string& inText) {
    return Eventually([&] { return Has(inText); });
}

std::size_t Listener::Count() {
    const std::scoped_lock lock(mMutex);
    return mTexts.size();
}

std::vector<std::string> Listener::Texts() {
    const std::scoped_lock lock(mMutex);
    return mTexts;
}

std::set<std::thread::id> Listener::Threads() {
    const std::scoped_lock lock(mMutex);
    return mThreads;
}

IPlexaMessageDispatcher* Instance() {
    IPlexaMessageDispatcher* dispatcher = nullptr;
    EXPECT_EQ(IPlexaMessageDispatcher::GetInstance(&dispatcher), kPlexaMessageErrorCode_None);
    return dispatcher;
}

Member::Member(std::function<void(const std::string&)> inAction) {
    listener.mAction = std::move(inAction);
    IPlexaMessageDispatcher::SetConfig("Test", "1");
    dispatcher = Instance();
    dispatcher->AddListener(&listener);
    dispatcher->EnableListener(&listener);
    EXPECT_TRUE(Eventually([this] { return dispatcher->IsDispatcherReady(); }));
}

Member::~Member() {
    dispatcher->DisableListener(&listener);
    dispatcher->RemoveListener(&listener);
    IPlexaMessageDispatcher::ReleaseInstance();
}

PlexaMessageErrorCode Member::Send(const char* inText, const EndPoint& inTo) const {
    SuiteMessage message("t");
    message.SetPayload(inText);
    message.SetDestination(inTo);
    return dispatcher->SendMessage(message);
}
