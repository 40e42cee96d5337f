#include "SaxSession.h"

// expat declares its expansion limits only to those who say that it was built with document types.
#define XML_DTD 1
#include <expat.h>

#include <climits>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include "nuocore/Guid.h"
#include "nuocore/StringConversion.h"

namespace nuocore::xml {

namespace {

/// Parts namespace, local name and prefix in what expat reports; a character that no document can contain.
constexpr char kNameSeparator = '\x01';

/// What a document type may have. expat stores it many times larger and follows chains of entities by
/// recursion.
constexpr std::size_t kMaxDoctypeBytes = std::size_t{16} << 10;

/// What entities may expand to: anything below the threshold, beyond it a multiple of the document's own
/// bytes. The same holds for default attributes, which expat doesn't count.
constexpr std::size_t kExpansionThreshold = std::size_t{1} << 20;
constexpr std::size_t kMaxAmplification = 10;

std::string_view TextOrEmpty(const char* inText) { return inText != nullptr ? inText : std::string_view(); }

/// Splits "namespace, local name, prefix", of which the first and the last may be missing.
void SplitName(std::string_view inName, UTF16String& outNamespace, UTF16String& outLocalName,
               UTF16String& outQualifiedName) {
    const std::size_t first = inName.find(kNameSeparator);
    if (first == std::string_view::npos) {
        outNamespace.clear();
        string::AssignUTF8to16(inName, outLocalName);
        outQualifiedName = outLocalName;
        return;
    }
    string::AssignUTF8to16(inName.substr(0, first), outNamespace);
    const std::string_view rest = inName.substr(first + 1);
    const std::size_t second = rest.find(kNameSeparator);
    string::AssignUTF8to16(rest.substr(0, second), outLocalName);
    outQualifiedName.clear();
    if (second != std::string_view::npos) {
        string::AssignUTF8to16(rest.substr(second + 1), outQualifiedName);
        outQualifiedName += u':';
    }
    outQualifiedName += outLocalName;
}

/// A secret of this session, so that nobody can choose names that collide in expat's tables. expat would ask
/// the system for one with each document.
unsigned long MakeHashSalt() {
    unsigned long salt = 0;
    while (salt == 0) {  // 0 has expat ask
        const utility::Guid random;
        std::memcpy(&salt, random.AsBytes().data(), sizeof salt);
    }
    return salt;
}

std::string Describe(XML_Parser inParser, const char* inReason) {
    return std::string("Cannot read XML: ") + inReason + " at line " +
           std::to_string(XML_GetCurrentLineNumber(inParser)) + ", column " +
           std::to_string(XML_GetCurrentColumnNumber(inParser) + 1);
}

}  // namespace

/// The functions that expat calls, each handing over to the session.
struct SaxSession::Callbacks {
    static SaxSession& Self(void* inUserData) { return *static_cast<SaxSession*>(inUserData); }

    static void XMLCALL StartUTF8(void* inUser, const XML_Char* inName, const XML_Char** inAttributes) {
        Self(inUser).Guard([&] { Self(inUser).StartUTF8(inName, inAttributes); });
    }
    static void XMLCALL EndUTF8(void* inUser, const XML_Char* inName) {
        Self(inUser).Guard([&] { Self(inUser).EndUTF8(inName); });
    }
    static void XMLCALL StartPlain(void* inUser, const XML_Char* inName, const XML_Char** inAttributes) {
        Self(inUser).Guard([&] { Self(inUser).StartPlain(inName, inAttributes); });
    }
    static void XMLCALL EndPlain(void* inUser, const XML_Char* /*inName*/) {
        Self(inUser).Guard([&] { Self(inUser).EndPlain(); });
    }
    static void XMLCALL StartQualified(void* inUser, const XML_Char* inName, const XML_Char** inAttributes) {
        Self(inUser).Guard([&] { Self(inUser).StartQualified(inName, inAttributes); });
    }
    static void XMLCALL EndQualified(void* inUser, const XML_Char* /*inName*/) {
        Self(inUser).Guard([&] { Self(inUser).EndQualified(); });
    }
    static void XMLCALL Characters(void* inUser, const XML_Char* inText, int inSize) {
        SaxSession& self = Self(inUser);
        self.Guard([&] {
            self.mText.Append({inText, static_cast<std::size_t>(inSize)},
                              [&](std::string_view inChunk) { self.HandOut(inChunk); });
        });
    }
    static void XMLCALL StartCDATA(void* inUser) {
        Self(inUser).Guard([&] { Self(inUser).mHandler->StartCDATA(); });
    }
    static void XMLCALL EndCDATA(void* inUser) {
        Self(inUser).Guard([&] { Self(inUser).mHandler->EndCDATA(); });
    }
    static void XMLCALL Comment(void* inUser, const XML_Char* inText) {
        Self(inUser).Guard([&] {
            SaxSession& self = Self(inUser);
            string::AssignUTF8to16(inText, self.mScratch);
            self.mHandler->Comment(self.mScratch);
        });
    }
    static void XMLCALL StartPrefix(void* inUser, const XML_Char* inPrefix, const XML_Char* inNamespace) {
        Self(inUser).Guard([&] {
            SaxSession& self = Self(inUser);
            self.FlushText();
            string::AssignUTF8to16(TextOrEmpty(inPrefix), self.mScratch);
            string::AssignUTF8to16(TextOrEmpty(inNamespace), self.mSecondScratch);
            self.mHandler->StartPrefixMapping(self.mScratch, self.mSecondScratch);
        });
    }
    static void XMLCALL EndPrefix(void* inUser, const XML_Char* inPrefix) {
        Self(inUser).Guard([&] {
            SaxSession& self = Self(inUser);
            string::AssignUTF8to16(TextOrEmpty(inPrefix), self.mScratch);
            self.mHandler->EndPrefixMapping(self.mScratch);
        });
    }
    static void XMLCALL StartDoctype(void* inUser, const XML_Char* /*inName*/, const XML_Char* /*inSystemId*/,
                                     const XML_Char* /*inPublicId*/, int /*inHasInternalSubset*/) {
        Self(inUser).mInDoctype = true;
    }
    static void XMLCALL EndDoctype(void* inUser) { Self(inUser).mInDoctype = false; }
    static void XMLCALL Other(void* inUser, const XML_Char* /*inText*/, int inSize) {
        Self(inUser).Guard([&] { Self(inUser).CountDoctype(static_cast<std::size_t>(inSize)); });
    }
    static int XMLCALL ExternalEntity(XML_Parser inParser, const XML_Char* /*inContext*/,
                                      const XML_Char* /*inBase*/, const XML_Char* /*inSystemId*/,
                                      const XML_Char* /*inPublicId*/) {
        SaxSession& self = Self(XML_GetUserData(inParser));
        self.Guard([&] { self.Refuse("external entity"); });
        return XML_STATUS_ERROR;
    }
    static void XMLCALL SkippedEntity(void* inUser, const XML_Char* /*inName*/, int /*inIsParameter*/) {
        Self(inUser).Guard([&] { Self(inUser).Refuse("entity that isn't declared in the document"); });
    }
};

void SaxSession::FreeParser::operator()(XML_ParserStruct* inParser) const noexcept {
    XML_ParserFree(inParser);
}

SaxSession::SaxSession(bool inNamespaces)
    : mNamespaces(inNamespaces),
      mHashSalt(MakeHashSalt()),
      mParser(inNamespaces ? XML_ParserCreateNS(nullptr, kNameSeparator) : XML_ParserCreate(nullptr)) {
    if (mParser == nullptr) {
        throw std::bad_alloc();
    }
}

void SaxSession::Prepare(AbstractParseHandler& inHandler, const ParserLimits& inLimits) {
    mHandler = &inHandler;
    mReceiver = mNamespaces ? nullptr : dynamic_cast<UTF8ParseReceiver*>(&inHandler);
    mLimits = inLimits;
    mFailure = nullptr;
    mText.Start(inLimits.mMaxChunkUnits);
    mDepth = 0;
    mInDoctype = false;
    mDoctypeBytes = 0;

    XML_ParserStruct* const parser = mParser.get();
    XML_ParserReset(parser, nullptr);
    XML_SetUserData(parser, this);
    XML_SetHashSalt(parser, mHashSalt);
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser, static_cast<float>(kMaxAmplification));
    XML_SetBillionLaughsAttackProtectionActivationThreshold(parser, kExpansionThreshold);
    XML_SetCharacterDataHandler(parser, Callbacks::Characters);
    XML_SetCdataSectionHandler(parser, Callbacks::StartCDATA, Callbacks::EndCDATA);
    XML_SetCommentHandler(parser, Callbacks::Comment);
    XML_SetDoctypeDeclHandler(parser, Callbacks::StartDoctype, Callbacks::EndDoctype);
    XML_SetDefaultHandlerExpand(parser, Callbacks::Other);
    XML_SetExternalEntityRefHandler(parser, Callbacks::ExternalEntity);
    XML_SetSkippedEntityHandler(parser, Callbacks::SkippedEntity);
    SetElementHandlers();
}

void SaxSession::SetElementHandlers() {
    XML_ParserStruct* const parser = mParser.get();
    if (mNamespaces) {
        XML_SetReturnNSTriplet(parser, 1);
        XML_SetElementHandler(parser, Callbacks::StartQualified, Callbacks::EndQualified);
        XML_SetNamespaceDeclHandler(parser, Callbacks::StartPrefix, Callbacks::EndPrefix);
    } else if (mReceiver != nullptr) {
        XML_SetElementHandler(parser, Callbacks::StartUTF8, Callbacks::EndUTF8);
    } else {
        XML_SetElementHandler(parser, Callbacks::StartPlain, Callbacks::EndPlain);
    }
}

void SaxSession::Run(std::string_view inDocument, AbstractParseHandler& inHandler,
                     const ParserLimits& inLimits) {
    if (inDocument.size() > inLimits.mMaxBytes || inDocument.size() > INT_MAX) {
        throw XMLError("Cannot read XML: document of " + std::to_string(inDocument.size()) +
                       " bytes, more than the limit");
    }
    Prepare(inHandler, inLimits);
    mDefaultsBudget = kExpansionThreshold + kMaxAmplification * inDocument.size();
    inHandler.StartDocument();
    XML_ParserStruct* const parser = mParser.get();
    const XML_Status status =
        XML_Parse(parser, inDocument.data(), static_cast<int>(inDocument.size()), XML_TRUE);
    if (mFailure != nullptr) {
        std::rethrow_exception(std::exchange(mFailure, nullptr));
    }
    if (status != XML_STATUS_OK) {
        throw XMLError(Describe(parser, XML_ErrorString(XML_GetErrorCode(parser))));
    }
    inHandler.EndDocument();
}

template <typename Work>
void SaxSession::Guard(Work&& inWork) noexcept {
    if (mFailure != nullptr) {
        return;  // expat may still report the rest of what it has at hand
    }
    try {
        inWork();
    } catch (...) {
        mFailure = std::current_exception();
        XML_StopParser(mParser.get(), XML_FALSE);
    }
}

void SaxSession::Refuse(const char* inReason) const { throw XMLError(Describe(mParser.get(), inReason)); }

void SaxSession::CountElement() {
    if (mDepth >= mLimits.mMaxDepth) {
        Refuse("elements nested too deeply");
    }
    ++mDepth;
}

SaxSession::OpenElement& SaxSession::Open() {
    CountElement();
    if (mDepth > mElements.size()) {
        mElements.resize(mDepth);
    }
    return mElements[mDepth - 1];
}

void SaxSession::HandOut(std::string_view inText) {
    if (mReceiver != nullptr) {
        mReceiver->CharactersUTF8(inText);
    } else {
        string::AssignUTF8to16(inText, mScratch);
        mHandler->Characters(mScratch);
    }
}

void SaxSession::FlushText() {
    mText.Flush([this](std::string_view inText) { HandOut(inText); });
}

std::size_t SaxSession::CountAttributes(const char* const* inAttributes) {
    std::size_t count = 0;
    while (inAttributes[2 * count] != nullptr) {
        ++count;
    }
    if (count > mLimits.mMaxAttributes) {
        Refuse("too many attributes");
    }
    // Those that the document type adds stand behind those of the tag.
    const int own = XML_GetSpecifiedAttributeCount(mParser.get());
    for (const char* const* text = inAttributes + own; *text != nullptr; ++text) {
        const std::size_t size = 1 + std::strlen(*text);
        if (size > mDefaultsBudget) {
            Refuse("default attributes expand too far");
        }
        mDefaultsBudget -= size;
    }
    return count;
}

void SaxSession::CountDoctype(std::size_t inBytes) {
    if (mInDoctype) {
        mDoctypeBytes += inBytes;
        if (mDoctypeBytes > kMaxDoctypeBytes) {
            Refuse("document type too long");
        }
    }
}

void SaxSession::StartUTF8(const char* inName, const char* const* inAttributes) {
    FlushText();
    CountElement();
    mUTF8Attributes.resize(CountAttributes(inAttributes));
    for (UTF8ParseReceiver::Attribute& attribute : mUTF8Attributes) {
        attribute = {inAttributes[0], inAttributes[1]};
        inAttributes += 2;
    }
    mReceiver->StartElementUTF8(inName, mUTF8Attributes);
}

void SaxSession::EndUTF8(const char* inName) {
    FlushText();
    --mDepth;
    mReceiver->EndElementUTF8(inName);
}

void SaxSession::StartPlain(const char* inName, const char* const* inAttributes) {
    FlushText();
    OpenElement& element = Open();
    string::AssignUTF8to16(inName, element.mQualifiedName);
    mHandler->StartElement(element.mQualifiedName,
                           mAttributes.Build(inAttributes, CountAttributes(inAttributes)));
}

void SaxSession::EndPlain() {
    FlushText();
    mHandler->EndElement(mElements[--mDepth].mQualifiedName);
}

void SaxSession::StartQualified(const char* inName, const char* const* inAttributes) {
    FlushText();
    OpenElement& element = Open();
    SplitName(inName, element.mNamespace, element.mLocalName, element.mQualifiedName);
    mAttributeList.resize(CountAttributes(inAttributes));
    for (std::size_t i = 0; *inAttributes != nullptr; ++i, inAttributes += 2) {
        Attribute& attribute = mAttributeList[i];
        SplitName(inAttributes[0], attribute.mNamespace, attribute.mLocalName, attribute.mQualifiedName);
        string::AssignUTF8to16(inAttributes[1], attribute.mValue);
    }
    mHandler->StartElementWithNamespace(element.mNamespace, element.mLocalName, element.mQualifiedName,
                                        mAttributeList);
}

void SaxSession::EndQualified() {
    FlushText();
    const OpenElement& element = mElements[--mDepth];
    mHandler->EndElementWithNamespace(element.mNamespace, element.mLocalName, element.mQualifiedName);
}

}  // namespace nuocore::xml
