// A small host that answers questions: how many words does a text have? Ends with Ctrl-C.
//
//   question  org.example.words.question  {"requestId": ..., "text": "to be or not"}    (JSON)
//   answer    org.example.words.answer    {"requestId": ..., "words": 4}                (JSON)
//   news      org.example.words.counted   <message><words>4</words></message>           (XML, for
//   subscribers)

#include <csignal>
#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <PlexaMessage5/PlexaMessage5.h>
#include <nuocore/Config.h>
#include <nuocore/JSON.h>
#include <nuoplexasupport/nuoplexasupport.h>
#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>

using namespace nuoplexasupport;
namespace api5 = orvane::plexa::api5;
using nuocore::serialization::MakeValue;

namespace {

std::string TypeOf(const api5::PlexaMessage& inMessage) {
    std::vector<char> text(inMessage.GetMessageTextSize());
    inMessage.GetMessageText(text.data());
    std::istringstream stream(text.data());
    boost::property_tree::ptree envelope;
    boost::property_tree::read_xml(stream, envelope);
    return envelope.get<std::string>("message.type", "");
}

// The library takes the request id out of what it hands to clients, so who answers reads the question as it
// came, at the message library. What goes wrong with own messages is told here too, as an ErrorMessage.
class Answerer final : public api5::IPlexaMessageListener {
  public:
    // On the delivery thread. What is thrown, for a question that is no JSON object with a "text", is
    // reported by the message library, and the next message is served.
    void Receive(const api5::PlexaMessage& inMessage) override {
        if (const auto* const message = dynamic_cast<const api5::SuiteMessage*>(&inMessage)) {
            if (TypeOf(*message) == "org.example.words.question") Answer(*message);
        } else if (const auto* const error = dynamic_cast<const api5::ErrorMessage*>(&inMessage)) {
            std::vector<char> fault(error->GetFaultSize());
            error->GetFault(fault.data());
            std::cerr << "not delivered: " << fault.data() << std::endl;
        }
    }

  private:
    static void Answer(const api5::SuiteMessage& inQuestion) {
        std::vector<char> payload(inQuestion.GetPayloadSize());
        inQuestion.GetPayload(payload.data());
        const auto question = nuocore::serialization::ParseJSON(payload.data());
        const auto& dictionary = boost::any_cast<const VariantObject&>(*question);
        const UTF8String text = nuocore::serialization::ExtractTextFromObject(dictionary, "text");

        std::int64_t words = 0;
        std::istringstream stream{std::string(text)};
        for (std::string word; stream >> word;) ++words;
        std::cout << "answered: \"" << text << "\" has " << words << " words" << std::endl;

        // To all: only the one who asked knows the id.
        VariantObject answer;
        answer["requestId"] = dictionary.at("requestId");
        answer["words"] = MakeValue(std::int64_t{words});
        SendPlexaMessage(ImmutableString("org.example.words.answer"), answer, kPlexaSerializationFlavor_JSON,
                         "", "");

        // XML has no form for numbers: every scalar goes in as a text.
        VariantObject news;
        news["words"] = MakeValue(UTF8String(std::string_view(std::to_string(words))));
        SendPlexaMessage(ImmutableString("org.example.words.counted"), news, kPlexaSerializationFlavor_XML,
                         kXMLRootTagDefault_Message, "");
    }
};

}  // namespace

int main() {
    // Blocked before there are other threads, so that only `sigwait` below takes them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    nuocore::config::SetProductConfig({"WORDS", "1.0", {}});
    Startup();  // held for the life of the process

    api5::IPlexaMessageDispatcher* dispatcher = nullptr;
    api5::IPlexaMessageDispatcher::GetInstance(&dispatcher);
    if (dispatcher == nullptr) {
        std::cerr << "no message broker on this machine" << std::endl;
        return 1;
    }
    Answerer answerer;
    dispatcher->AddListener(&answerer);
    dispatcher->EnableListener(&answerer);

    std::cout << "answering org.example.words.question; Ctrl-C ends" << std::endl;
    int signal = 0;
    sigwait(&signals, &signal);

    dispatcher->DisableListener(&answerer);
    dispatcher->RemoveListener(&answerer);
    api5::IPlexaMessageDispatcher::ReleaseInstance();
    Shutdown();
    return 0;
}
