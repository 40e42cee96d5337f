/// Reads and writes the same documents with our codecs and with well-known ones, prints the times, and
/// compares them with the goals. `--check` makes a missed goal the exit code 1.
#include <expat.h>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <cstdio>
#include <exception>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Comparison.h"
#include "Documents.h"
#include "nuocore/Assertion.h"
#include "nuocore/JSON.h"
#include "nuocore/XML.h"
#include "xml/PlexaXMLSupport.h"

namespace codecs {

namespace {

using nuocore::UTF8String;

constexpr char kExpat[] = "expat, empty handlers";
constexpr char kCoreSax[] = "core SAX, empty handler";
constexpr char kReader[] = "payload reader";
constexpr char kPropertyTree[] = "Boost.PropertyTree read_xml";
constexpr char kWriter[] = "payload writer";
constexpr char kPugiSave[] = "pugixml save to string";
constexpr char kCoreJSON[] = "core ParseJSON";
constexpr char kNlohmann[] = "nlohmann::json::parse";

void XMLCALL ExpatStart(void* /*inUser*/, const XML_Char* /*inName*/, const XML_Char** /*inAttributes*/) {}
void XMLCALL ExpatEnd(void* /*inUser*/, const XML_Char* /*inName*/) {}
void XMLCALL ExpatText(void* /*inUser*/, const XML_Char* /*inText*/, int /*inSize*/) {}

struct FreeExpat {
    void operator()(XML_Parser inParser) const { XML_ParserFree(inParser); }
};
using ExpatParser = std::shared_ptr<std::remove_pointer_t<XML_Parser>>;

class EmptyHandler final : public nuocore::xml::AbstractParseHandler {};

struct StringWriter final : pugi::xml_writer {
    std::string mText;
    void write(const void* inData, std::size_t inSize) override {
        mText.append(static_cast<const char*>(inData), inSize);
    }
};

/// One of our figures over a peer's, and what it may be at most.
struct Goal {
    const char* mOurs;
    const char* mPeer;
    double mAtMost;
};

constexpr Goal kGoals[] = {{kCoreSax, kExpat, 1.4},
                           {kReader, kExpat, 2.5},
                           {kReader, kPropertyTree, 1.0},
                           {kWriter, kPugiSave, 2.0},
                           {kCoreJSON, kNlohmann, 1.0}};

void AddReading(Comparison& ioComparison, const Document& inDocument) {
    const std::string& xml = inDocument.mXML;
    const ExpatParser expat(XML_ParserCreate(nullptr), FreeExpat());
    ioComparison.Add(kExpat, [&xml, expat] {
        XML_ParserReset(expat.get(), nullptr);
        XML_SetElementHandler(expat.get(), ExpatStart, ExpatEnd);
        XML_SetCharacterDataHandler(expat.get(), ExpatText);
        return XML_Parse(expat.get(), xml.data(), static_cast<int>(xml.size()), 1) == XML_STATUS_OK;
    });
    ioComparison.Add(kCoreSax, [&xml] {
        nuocore::xml::GetParser(std::make_unique<EmptyHandler>())->Parse(xml);
        return true;
    });
    const auto payload = std::make_shared<UTF8String>(xml);
    ioComparison.Add(kReader,
                     [payload] { return nuoplexasupport::ParsePlexaXMLPayload(*payload) != nullptr; });
    ioComparison.Add(kPropertyTree, [&xml] {
        std::istringstream text(xml);
        boost::property_tree::ptree tree;
        boost::property_tree::read_xml(text, tree);
        return !tree.empty();
    });
    ioComparison.Add(
        kCoreJSON, [&json = inDocument.mJSON] { return nuocore::serialization::ParseJSON(json) != nullptr; });
    ioComparison.Add(kNlohmann, [&json = inDocument.mJSON] {
        return !nlohmann::json::parse(json, nullptr, false).is_discarded();
    });
}

/// Both write the same tree: what a dictionary can hold of the document.
void AddWriting(Comparison& ioComparison, const Document& inDocument) {
    const auto value = nuoplexasupport::ParsePlexaXMLPayload(UTF8String(inDocument.mXML));
    const UTF8String root("delivery");
    const auto text = std::make_shared<UTF8String>(nuoplexasupport::CreateXMLPayload(*value, root));
    ioComparison.Add(kWriter, [value, root, text] {
        return nuoplexasupport::CreateXMLPayload(*value, root).size() == text->size();
    });
    const auto tree = std::make_shared<pugi::xml_document>();
    if (!tree->load_buffer(text->data(), text->size())) {
        throw std::runtime_error("the written document can't be read back");
    }
    const auto writer = std::make_shared<StringWriter>();
    ioComparison.Add(kPugiSave, [tree, writer] {
        writer->mText.clear();
        tree->save(*writer, "", pugi::format_raw);
        return !writer->mText.empty();
    });
}

double TimeOf(const std::vector<Comparison::Figure>& inFigures, std::string_view inName) {
    for (const Comparison::Figure& figure : inFigures) {
        if (figure.mName == inName) {
            return figure.mMicroseconds;
        }
    }
    throw std::logic_error("no figure for " + std::string(inName));
}

bool MeasureDocument(const Document& inDocument) {
    std::printf("%s: XML %zu bytes, %zu elements; JSON %zu bytes\n", inDocument.mLabel.c_str(),
                inDocument.mXML.size(), inDocument.mElements, inDocument.mJSON.size());
    Comparison comparison;
    AddReading(comparison, inDocument);
    AddWriting(comparison, inDocument);
    const std::vector<Comparison::Figure> figures = comparison.Measure(15, 0.02);
    for (const Comparison::Figure& figure : figures) {
        std::printf("  %-30s %10.2f us  +-%.0f%%\n", figure.mName.c_str(), figure.mMicroseconds,
                    figure.mSpread * 100);
    }
    bool allMet = true;
    for (const Goal& goal : kGoals) {
        const double ratio = TimeOf(figures, goal.mOurs) / TimeOf(figures, goal.mPeer);
        const bool met = ratio <= goal.mAtMost;
        allMet = allMet && met;
        std::printf("  %-24s over %-28s %.2f (goal %.1f)%s\n", goal.mOurs, goal.mPeer, ratio, goal.mAtMost,
                    met ? "" : "  MISSED");
    }
    return allMet;
}

bool MeasureAll() {
#ifndef NDEBUG
    std::puts("Built without optimisation: these figures say nothing.");
#endif
    // Repeated tags raise an assertion each; the log isn't what is measured here.
    nuocore::debug::SetAssertionHandler([](const nuocore::debug::AssertionRecord&) { return false; });
    bool allMet = true;
    allMet = MeasureDocument(MakeDocument("1 KiB", 1024, true)) && allMet;
    allMet = MeasureDocument(MakeDocument("64 KiB", 65536, true)) && allMet;
    allMet = MeasureDocument(MakeDocument("64 KiB, repeated tags", 65536, false)) && allMet;
    return allMet;
}

}  // namespace

}  // namespace codecs

int main(int inCount, char** inArguments) {
    const bool check = inCount > 1 && std::string_view(inArguments[1]) == "--check";
    try {
        const bool allMet = codecs::MeasureAll();
        return check && !allMet ? 1 : 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "bench_codecs: %s\n", problem.what());
        return 2;
    }
}
