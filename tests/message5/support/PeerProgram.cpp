// A process on the bus. It does what its standard input says, a line a command, and tells on its standard
// output what happens to it, a line an event. "-" as a destination stands for everybody.
//
//   start APP           gets the dispatcher, registers callback and listener: "started CODE"
//   instance APP        only gets the dispatcher: "started CODE"
//   enable              adds and enables the listener: "enabled"
//   list                "list APP APP ...", in the dispatcher's order
//   send TO TYPE TEXT   "sent CODE"
//   fill TO TYPE SIZE   sends SIZE letters: "sent CODE"
//   burst TO TYPE N     sends the numbers 1 to N: "sent CODE" once
//   counts              "counted SENDER N in order" (or "out of order") for each sender, "counted all"
//   go                  lets one held message go
//   remove              removes the listener on another thread: "removing", then "removed CODE"
//   release             "released"
//   exit                returns from main
//
// What Receive does, set for a type each and answered with "set":
//
//   count TYPE          counts silently; the payloads are to be 1, 2, 3 ...
//   answer TYPE         sends "answer TEXT" back
//   hold TYPE           "held TEXT"; returns after a "go": "released TEXT"
//   leave-on TYPE       releases the instance: "left inside"
//   remove-on TYPE      removes the listener: "removed inside"
//
// Events: "refresh COUNT READY", "got SENDER TYPE TEXT", "got SENDER TYPE size SIZE" for long ones,
// "error TYPE ERROR|FAULT".
#include <PlexaMessage5/PlexaMessage5.h>

#include <atomic>
#include <condition_variable>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

namespace {

using namespace orvane::plexa::api5;

IPlexaMessageDispatcher* sDispatcher = nullptr;

void Say(const std::string& inLine) {
    static std::mutex sMutex;
    const std::scoped_lock lock(sMutex);
    std::cout << inLine << std::endl;
}

std::string AppId(const EndPoint& inEndPoint) {
    std::string text(inEndPoint.GetAppIdSize(), '\0');
    inEndPoint.GetAppId(text.data());
    return text.c_str();
}

std::string Payload(const SuiteMessage& inMessage) {
    std::string text(inMessage.GetPayloadSize(), '\0');
    inMessage.GetPayload(text.data());
    return text.c_str();
}

std::string Type(const PlexaMessage& inMessage) {
    std::string text(inMessage.GetMessageTextSize(), '\0');
    inMessage.GetMessageText(text.data());
    const std::size_t begin = text.find("<type>") + 6;
    return text.substr(begin, text.find("</type>") - begin);
}

EndPoint Find(const std::string& inAppId) {
    EndPoint found;
    EndPoint* list = nullptr;
    std::size_t count = 0;
    sDispatcher->GetEndPointList(&list, &count);
    for (std::size_t i = 0; i != count; ++i) {
        if (AppId(list[i]) == inAppId) found = list[i];
    }
    if (list != nullptr) sDispatcher->ReleaseEndPointList(list);
    return found;
}

PlexaMessageErrorCode Send(const EndPoint& inTo, const std::string& inType, const std::string& inText) {
    SuiteMessage message(inType.c_str());
    message.SetPayload(inText.c_str());
    message.SetSource(sDispatcher->GetSelfEndPoint());
    message.SetDestination(inTo);
    return sDispatcher->SendMessage(message);
}

class Listener final : public IPlexaMessageListener {
  public:
    void Receive(const PlexaMessage& inMessage) override {
        const std::string type = Type(inMessage);
        if (const auto* error = dynamic_cast<const ErrorMessage*>(&inMessage)) {
            std::string text(error->GetErrorSize(), '\0');
            error->GetError(text.data());
            std::string fault(error->GetFaultSize(), '\0');
            error->GetFault(fault.data());
            Say("error " + type + " " + text.c_str() + "|" + fault.c_str());
            return;
        }
        const auto& message = dynamic_cast<const SuiteMessage&>(inMessage);
        std::string sender(message.GetAppIdSize(), '\0');
        message.GetAppId(sender.data());
        sender = sender.c_str();
        if (type == Get(mCounted)) return Count(sender, Payload(message));
        if (message.GetPayloadSize() > 1000) {
            return Say("got " + sender + " " + type + " size " +
                       std::to_string(message.GetPayloadSize() - 1));
        }
        Say("got " + sender + " " + type + " " + Payload(message));
        if (type == Get(mAnswered)) Send(message.GetSource(), "answer", Payload(message));
        if (type == Get(mHeld)) Hold(Payload(message));
        if (type == Get(mLeaving)) {
            IPlexaMessageDispatcher::ReleaseInstance();
            Say("left inside");
        }
        if (type == Get(mRemoving)) {
            sDispatcher->RemoveListener(this);
            Say("removed inside");
        }
    }

    void SayCounts() {
        const std::scoped_lock lock(mMutex);
        for (const auto& [sender, tally] : mTallies) {
            Say("counted " + sender + " " + std::to_string(tally.count) +
                (tally.inOrder ? " in order" : " out of order"));
        }
        Say("counted all");
    }
    void Go() {
        const std::scoped_lock lock(mMutex);
        ++mReleases;
        mReleased.notify_all();
    }
    void Set(std::string Listener::*outMember, const std::string& inValue) {
        const std::scoped_lock lock(mMutex);
        this->*outMember = inValue;
    }

    std::string mCounted;
    std::string mAnswered;
    std::string mHeld;
    std::string mLeaving;
    std::string mRemoving;

  private:
    struct Tally {
        long count = 0;
        bool inOrder = true;
    };

    std::string Get(const std::string& inMember) {
        const std::scoped_lock lock(mMutex);
        return inMember.empty() ? "(none)" : inMember;
    }
    void Count(const std::string& inSender, const std::string& inText) {
        const std::scoped_lock lock(mMutex);
        Tally& tally = mTallies[inSender];
        tally.inOrder = tally.inOrder && std::stol(inText) == ++tally.count;
    }
    void Hold(const std::string& inText) {
        std::unique_lock lock(mMutex);
        Say("held " + inText);
        mReleased.wait(lock, [this] { return mReleases != 0; });
        --mReleases;
        Say("released " + inText);
    }

    std::mutex mMutex;
    std::condition_variable mReleased;
    int mReleases = 0;
    std::map<std::string, Tally> mTallies;
};

Listener& TheListener() {
    static auto& sListener = *new Listener;
    return sListener;
}

void Refreshed(void*) {
    EndPoint* list = nullptr;
    std::size_t count = 0;
    sDispatcher->GetEndPointList(&list, &count);
    Say("refresh " + std::to_string(count) + (sDispatcher->IsDispatcherReady() ? " ready" : " not ready"));
    sDispatcher->ReleaseEndPointList(list);
}

void Start(const std::string& inApp, bool inListens) {
    IPlexaMessageDispatcher::SetConfig(inApp.substr(0, inApp.find('-')).c_str(),
                                       inApp.substr(inApp.find('-') + 1).c_str());
    const auto result = IPlexaMessageDispatcher::GetInstance(&sDispatcher);
    Say("started " + std::to_string(result));  // before anything that the other thread tells
    if (sDispatcher != nullptr && inListens) {
        sDispatcher->RegisterEndPointRefreshCallback(&Refreshed, nullptr);
        sDispatcher->AddListener(&TheListener());
        sDispatcher->EnableListener(&TheListener());
    }
}

void SayList() {
    EndPoint* list = nullptr;
    std::size_t count = 0;
    sDispatcher->GetEndPointList(&list, &count);
    std::string line = "list";
    for (std::size_t i = 0; i != count; ++i) line += " " + AppId(list[i]);
    if (list != nullptr) sDispatcher->ReleaseEndPointList(list);
    Say(line);
}

void Set(std::string Listener::*outMember, const std::string& inValue) {
    TheListener().Set(outMember, inValue);
    Say("set");
}

void Execute(const std::string& inCommand, std::istringstream& inWords) {
    std::string first;
    std::string type;
    inWords >> first;
    const auto destination = [&] { return first == "-" ? EndPoint() : Find(first); };
    if (inCommand == "start" || inCommand == "instance") return Start(first, inCommand == "start");
    if (inCommand == "enable") {
        sDispatcher->AddListener(&TheListener());
        sDispatcher->EnableListener(&TheListener());
        return Say("enabled");
    }
    if (inCommand == "list") return SayList();
    if (inCommand == "send") {
        std::string text;
        inWords >> type >> std::ws;
        std::getline(inWords, text);
        return Say("sent " + std::to_string(Send(destination(), type, text)));
    }
    if (inCommand == "fill") {
        std::size_t size = 0;
        inWords >> type >> size;
        return Say("sent " + std::to_string(Send(destination(), type, std::string(size, 'x'))));
    }
    if (inCommand == "burst") {
        long count = 0;
        inWords >> type >> count;
        const EndPoint to = destination();
        PlexaMessageErrorCode result = kPlexaMessageErrorCode_None;
        for (long i = 1; i <= count && result == kPlexaMessageErrorCode_None; ++i)
            result = Send(to, type, std::to_string(i));
        return Say("sent " + std::to_string(result));
    }
    if (inCommand == "count") return Set(&Listener::mCounted, first);
    if (inCommand == "counts") return TheListener().SayCounts();
    if (inCommand == "answer") return Set(&Listener::mAnswered, first);
    if (inCommand == "hold") return Set(&Listener::mHeld, first);
    if (inCommand == "leave-on") return Set(&Listener::mLeaving, first);
    if (inCommand == "remove-on") return Set(&Listener::mRemoving, first);
    if (inCommand == "go") return TheListener().Go();
    if (inCommand == "remove") {
        Say("removing");
        std::thread([] {
            Say("removed " + std::to_string(sDispatcher->RemoveListener(&TheListener())));
        }).detach();
        return;
    }
    if (inCommand == "release") {
        IPlexaMessageDispatcher::ReleaseInstance();
        return Say("released");
    }
    Say("what is \"" + inCommand + "\"?");
}

}  // namespace

int main() {
    for (std::string line; std::getline(std::cin, line);) {
        std::istringstream words(line);
        std::string command;
        words >> command;
        if (command == "exit") return 0;
        Execute(command, words);
    }
    return 0;
}
