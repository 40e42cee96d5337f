/// Builds a dictionary from the parser's callbacks.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <vector>

#include "nuocore/Strings.h"
#include "nuocore/XML.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// One object for one document. Dictionaries are made lazily: for an element when its first child starts, or
/// at once when it has attributes. Between callbacks `mObjectStack` has as many entries as `mTagStack` (the
/// innermost open element has its dictionary) or one fewer; the root, whose dictionary is the result itself,
/// is the exception.
class PlexaMessageXMLParseHandler final : public nuocore::xml::AbstractParseHandler {
  public:
    PlexaMessageXMLParseHandler();
    ~PlexaMessageXMLParseHandler() override;

    /// The dictionary of the root element; complete after `EndDocument`.
    [[nodiscard]] const boost::shared_ptr<VariantValue>& GetResult() const { return mResult; }

    void StartDocument() override;
    void StartElement(const UTF16String& inName, const nuocore::xml::AttributeMap& inAttributes) override;
    void EndElement(const UTF16String& inName) override;
    void Characters(const UTF16String& inText) override;
    void EndDocument() override;

  private:
    struct TagStackEntry {
        UTF8String mTag;
        nuocore::xml::AttributeMap mAttributes;
    };

    void ExpectNothingOpen(const char* inFunction) const;
    void PushTag(const UTF16String& inName, const nuocore::xml::AttributeMap& inAttributes);
    void PopTag();
    void EndLeaf();
    void EndRoot();
    void EndDictionary();

    boost::shared_ptr<VariantValue> mResult;
    std::vector<TagStackEntry> mTagStack;
    std::vector<boost::shared_ptr<VariantValue>> mObjectStack;
    nuocore::oUTF8StringStream mLatestCharacters;

    std::vector<TagStackEntry> mSpareTags;  // closed elements' entries, whose memory the next ones use
};

}  // namespace nuoplexasupport
