// XML text in both modes: either refused, or told to the handler in good order.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

#include "nuocore/StringConversion.h"
#include "nuocore/XML.h"

using nuocore::UTF16String;
using namespace nuocore::xml;

namespace {

void Require(bool inHolds) {
    if (!inHolds) {
        std::abort();
    }
}

/// Tags match, chunks of text stand between tags and keep to their limit, attributes are in order.
class CheckingHandler final : public AbstractParseHandler {
  public:
    explicit CheckingHandler(std::size_t inMaxChunk) : mMaxChunk(inMaxChunk) {}
    ~CheckingHandler() override = default;

    void StartElement(const UTF16String& inName, const AttributeMap& inAttributes) override {
        for (auto place = inAttributes.begin(); place != inAttributes.end(); ++place) {
            Require(place == inAttributes.begin() || (place - 1)->first < place->first);
            Require(nuocore::string::IsValidUTF16(place->second));
        }
        Open(inName);
    }
    void EndElement(const UTF16String& inName) override { Close(inName); }
    void StartElementWithNamespace(const UTF16String& /*inNamespace*/, const UTF16String& inLocalName,
                                   const UTF16String& inQualifiedName,
                                   const AttributeList& /*inAttributes*/) override {
        Require(inQualifiedName.ends_with(inLocalName));
        Open(inQualifiedName);
    }
    void EndElementWithNamespace(const UTF16String& /*inNamespace*/, const UTF16String& /*inLocalName*/,
                                 const UTF16String& inQualifiedName) override {
        Close(inQualifiedName);
    }
    void Characters(const UTF16String& inText) override {
        Require(!mOpen.empty() && !inText.empty() && inText.size() <= mMaxChunk);
        Require(nuocore::string::IsValidUTF16(inText) && inText.find(u'\0') == UTF16String::npos);
        Require(mLastChunk == 0 || mLastChunk + 1 >= mMaxChunk);
        mLastChunk = inText.size();
    }
    void EndDocument() override { Require(mOpen.empty()); }

  private:
    void Open(const UTF16String& inName) {
        mOpen.push_back(inName);
        mLastChunk = 0;
    }
    void Close(const UTF16String& inName) {
        Require(!mOpen.empty() && mOpen.back() == inName);
        mOpen.pop_back();
        mLastChunk = 0;
    }

    const std::size_t mMaxChunk;
    std::vector<UTF16String> mOpen;
    std::size_t mLastChunk = 0;  ///< units of the chunk before, if no tag stands between
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    const std::string_view document(reinterpret_cast<const char*>(inData), inSize);
    for (const bool namespaces : {false, true}) {
        ParserOptions options;
        options.mNamespaces = namespaces;
        options.mLimits.mMaxChunkUnits = 8;
        try {
            GetParser(std::make_unique<CheckingHandler>(options.mLimits.mMaxChunkUnits), options)
                ->Parse(document);
        } catch (const XMLError&) {
            continue;
        }
    }
    return 0;
}
