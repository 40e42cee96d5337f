/// Joins the pieces in which text arrives into the chunks that a handler gets.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace nuocore::xml {

/// Where a chunk ends depends only on the text and on the limit, never on the pieces. All text is UTF-8; the
/// limit is in UTF-16 units, of which no text has more than bytes. Chunks are handed to a function that takes
/// a `std::string_view`.
class TextJoiner {
  public:
    /// Forgets what is pending. `inMaxUnits` is the length of the longest chunk; at least 2, so that a
    /// surrogate pair fits.
    void Start(std::size_t inMaxUnits);
    /// Adds text that ends with a whole character; hands out chunks when the limit is passed.
    template <typename HandOut>
    void Append(std::string_view inText, HandOut&& inHandOut) {
        while (!inText.empty()) {
            const std::string_view slice = inText.substr(0, SliceSize(inText));
            mPending.append(slice);
            inText.remove_prefix(slice.size());
            if (mPending.size() > mMaxUnits) {
                HandOutFull(inHandOut);
            }
        }
    }
    /// Hands out what is pending.
    template <typename HandOut>
    void Flush(HandOut&& inHandOut) {
        if (!mPending.empty()) {
            inHandOut(std::string_view(mPending));
            Forget();
        }
    }

  private:
    template <typename HandOut>
    void HandOutFull(HandOut&& inHandOut) {
        std::size_t begin = 0;
        while (CountUpToLimit()) {
            inHandOut(std::string_view(mPending).substr(begin, mCountedBytes - begin));
            begin = mCountedBytes;
            mCountedUnits = 0;
        }
        mPending.erase(0, begin);
        mCountedBytes -= begin;
    }
    static std::size_t SliceSize(std::string_view inText);
    /// Goes on counting units; stops in front of the character that would pass the limit and says true.
    bool CountUpToLimit();
    void Forget() {
        mPending.clear();
        mCountedBytes = 0;
        mCountedUnits = 0;
    }

    std::size_t mMaxUnits = 0;
    std::string mPending;
    std::size_t mCountedBytes =
        0;  ///< how far units have been counted; only texts as long as the limit need it
    std::size_t mCountedUnits = 0;
};

}  // namespace nuocore::xml
