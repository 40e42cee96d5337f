// What goes wrong while messages that were queued are sent.
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "transport/TransportFixture.h"

namespace nuoplexasupport {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Flush : public TransportFixture {
  protected:
    Flush() {
        Initialize();
        for (const char* type : {"A", "B", "C", "D"}) {
            mTransport.Send(type, "p", "");
        }
        mDouble.ClearCalls();
    }
    /// Types of the messages sent since the last time.
    std::vector<std::string> TakeSends() {
        const std::string prefix = "SendMessage type=";
        std::vector<std::string> types;
        for (const std::string& call : mDouble.Calls()) {
            if (call.rfind(prefix, 0) == 0) {
                types.push_back(call.substr(prefix.size(), 1));
            }
        }
        mDouble.ClearCalls();
        return types;
    }
    /// The log's records as "message|messagesLost|reason".
    std::vector<std::string> Logged() const {
        std::vector<std::string> texts;
        for (const nuocore::log::LogRecord& record : mLog.Records()) {
            EXPECT_EQ(record.mCategory, "nuoplexasupport::PlexaInterface");
            EXPECT_EQ(record.mFunction, "nuoplexasupport::PlexaInterface::EndPointRefreshComplete");
            EXPECT_EQ(record.mFields.at(0).first, "messagesLost");
            EXPECT_EQ(record.mFields.at(1).first, "reason");
            texts.push_back(record.mMessage + "|" +
                            std::to_string(boost::any_cast<std::uint64_t>(record.mFields.at(0).second)) +
                            "|" + std::string(boost::any_cast<UTF8String>(record.mFields.at(1).second)));
        }
        return texts;
    }

    doubles::LogWatch mLog;
};

TEST_F(Flush, OneMessageThatCannotBeSentDoesNotTakeTheRestWithIt) {
    int sends = 0;
    mDouble.mOnSend = [&] {
        if (++sends == 2) {
            throw std::runtime_error("no memory for B");
        }
    };
    EXPECT_NO_THROW(mDouble.Refresh());
    EXPECT_THAT(TakeSends(), ElementsAre("A", "B", "C", "D"));
    EXPECT_TRUE(mTransport.IsReady());
    EXPECT_THAT(
        Logged(),
        ElementsAre("Messages queued before the connection was ready could not be sent|1|no memory for B"));
}

TEST_F(Flush, OfManyFailuresTheFirstIsLoggedAndTheRestCounted) {
    int sends = 0;
    mDouble.mOnSend = [&] {
        if (++sends == 1) {
            throw std::bad_alloc();
        }
        throw 5;  // NOLINT(misc-throw-by-value-catch-by-reference)
    };
    EXPECT_NO_THROW(mDouble.Refresh());
    EXPECT_THAT(TakeSends(), ElementsAre("A", "B", "C", "D"));
    EXPECT_THAT(
        Logged(),
        ElementsAre("Messages queued before the connection was ready could not be sent|4|std::bad_alloc"));
}

TEST_F(Flush, IsOvertakenByWhatOtherThreadsSendMeanwhile) {
    bool first = true;
    mDouble.mOnSend = [&] {
        if (std::exchange(first, false)) {
            std::thread([&] { mTransport.Send("X", "p", ""); }).join();
        }
    };
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), ElementsAre("A", "X", "B", "C", "D"));
}

TEST_F(Flush, WaitsForTheNextRefreshWhenTheEndPointsCannotBeHad) {
    // Without them a message to one would go to all.
    mDouble.mOnCall = [] { throw 5; };  // NOLINT(misc-throw-by-value-catch-by-reference)
    EXPECT_NO_THROW(mDouble.Refresh());
    EXPECT_THAT(mDouble.Calls(), ElementsAre("GetEndPointList"));
    EXPECT_FALSE(mTransport.IsReady());
    EXPECT_THAT(Logged(), ElementsAre("End points could not be refreshed; queued messages wait for the next "
                                      "refresh|0|unknown exception"));
    mDouble.mOnCall = nullptr;
    mDouble.Refresh();
    EXPECT_THAT(TakeSends(), ElementsAre("A", "B", "C", "D"));
    EXPECT_THAT(mAssertions.Records(), IsEmpty());
}

}  // namespace
}  // namespace nuoplexasupport
