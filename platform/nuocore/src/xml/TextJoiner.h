/// Joins the pieces in which text arrives into the chunks that a handler gets.
#pragma once

#include <cstddef>
#include <string_view>

#include "nuocore/XML.h"

namespace nuocore::xml {

/// Where a chunk ends depends only on the text and on the limit, never on the pieces.
class TextJoiner {
  public:
    /// Forgets what is pending. `inMaxUnits` is the length of the longest chunk; at least 2, so that a
    /// surrogate pair fits.
    void Start(std::size_t inMaxUnits);
    /// Adds UTF-8 text that ends with a whole character; hands out chunks when the limit is passed.
    void Append(std::string_view inText, AbstractParseHandler& inHandler);
    /// Hands out what is pending.
    void Flush(AbstractParseHandler& inHandler) {
        if (!mPending.empty()) {
            inHandler.Characters(mPending);
            mPending.clear();
        }
    }

  private:
    void HandOutFull(AbstractParseHandler& inHandler);

    std::size_t mMaxUnits = 0;
    UTF16String mPending;
};

}  // namespace nuocore::xml
