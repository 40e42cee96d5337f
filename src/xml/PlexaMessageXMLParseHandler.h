/// Builds a dictionary from the parser's callbacks.
#pragma once

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "nuocore/Strings.h"
#include "nuocore/XML.h"
#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// One object for one document. Dictionaries are made lazily: for an element when its first child starts, or
/// at once when it has attributes. Between callbacks `mObjectStack` has as many entries as `mTagStack` (the
/// innermost open element has its dictionary) or one fewer; the root, whose dictionary is the result itself,
/// is the exception.
///
/// A parser that has UTF-8 hands it over as it is; the operations in UTF-16 do the same with what they
/// convert.
class PlexaMessageXMLParseHandler final : public nuocore::xml::AbstractParseHandler,
                                          public nuocore::xml::UTF8ParseReceiver {
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

    void StartElementUTF8(std::string_view inName, std::span<const Attribute> inAttributes) override;
    void EndElementUTF8(std::string_view inName) override;
    void CharactersUTF8(std::string_view inText) override;

  private:
    struct TagStackEntry {
        UTF8String mTag;
        boost::shared_ptr<VariantValue> mAttributes;  // a dictionary; none for an element without attributes
    };

    // Closed elements' entries stay, and the next ones use their memory.
    class TagStack {
      public:
        [[nodiscard]] std::size_t Size() const { return mSize; }
        [[nodiscard]] TagStackEntry& Top() { return mEntries[mSize - 1]; }
        // The new entry still holds what it was last used for.
        TagStackEntry& Push() {
            if (mSize == mEntries.size()) {
                mEntries.emplace_back();
            }
            return mEntries[mSize++];
        }
        void Pop() { --mSize; }

      private:
        std::vector<TagStackEntry> mEntries;
        std::size_t mSize = 0;
    };

    void ExpectNothingOpen(const char* inFunction) const;
    void EndLeaf();
    void EndRoot();
    void EndDictionary();

    boost::shared_ptr<VariantValue> mResult;
    TagStack mTagStack;
    std::vector<boost::shared_ptr<VariantValue>> mObjectStack;
    nuocore::oUTF8StringStream mLatestCharacters;
};

}  // namespace nuoplexasupport
