#include "CommandLine.h"

#include <glib.h>

#include <algorithm>
#include <memory>

namespace orvane::plexa::control {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kArgumentCodes = "fFuU";

bool SetsVariable(std::string_view inWord) {
    const std::size_t sign = inWord.find('=');
    return sign != std::string_view::npos && sign != 0 && inWord.front() != '-' &&
           inWord.substr(0, sign).find('/') == std::string_view::npos;
}

bool TakesArguments(std::string_view inWord) {
    return inWord.size() == 2 && inWord[0] == '%' && kArgumentCodes.find(inWord[1]) != std::string_view::npos;
}

// Fills in one word; the arguments from ioNext on may be used up.
class WordFiller {
  public:
    WordFiller(const FieldValues& inValues, const Words& inArguments)
        : mValues(inValues), mArguments(inArguments) {}

    void Fill(std::string_view inWord, Words& ioResult) {
        if (TakesArguments(inWord)) {
            TakeRest(ioResult);
        } else if (inWord == "%i") {
            if (!mValues.mIcon.empty())
                ioResult.insert(ioResult.end(), {"--icon", std::string(mValues.mIcon)});
        } else {
            ioResult.push_back(FillPart(inWord));
        }
    }
    void TakeRest(Words& ioResult) {
        for (; mNext != mArguments.size(); ++mNext) ioResult.push_back(mArguments[mNext]);
    }

  private:
    std::string FillPart(std::string_view inWord) {
        std::string text;
        for (std::size_t i = 0; i != inWord.size(); ++i) {
            if (inWord[i] != '%' || i + 1 == inWord.size()) {
                text += inWord[i];
            } else {
                text += Value(inWord[++i]);
            }
        }
        return text;
    }
    // Codes that nobody knows, or that have been given up, stand for nothing.
    std::string_view Value(char inCode) {
        if (inCode == '%') return "%";
        if (inCode == 'c') return mValues.mName;
        if (inCode == 'k') return mValues.mFile;
        if (kArgumentCodes.find(inCode) != std::string_view::npos && mNext != mArguments.size())
            return mArguments[mNext++];
        return {};
    }

    const FieldValues& mValues;
    const Words& mArguments;
    std::size_t mNext = 0;
};

}  // namespace

std::optional<Words> SplitWords(std::string_view inText) {
    if (inText.find_first_not_of(kBlanks) == std::string_view::npos) return Words();
    int count = 0;
    char** words = nullptr;
    GError* error = nullptr;
    if (g_shell_parse_argv(std::string(inText).c_str(), &count, &words, &error) == FALSE) {
        // A text of nothing but a comment is no mistake.
        const bool isEmpty = g_error_matches(error, G_SHELL_ERROR, G_SHELL_ERROR_EMPTY_STRING) != FALSE;
        g_error_free(error);
        return isEmpty ? std::optional<Words>(Words()) : std::nullopt;
    }
    const std::unique_ptr<char*, decltype(&g_strfreev)> owner(words, &g_strfreev);
    return Words(words, words + count);
}

std::size_t ProgramWord(const Words& inWords) {
    const std::string& first = inWords.front();
    if (first.substr(first.rfind('/') + 1) != "env") return 0;
    const auto program = std::find_if_not(inWords.begin() + 1, inWords.end(), SetsVariable);
    // Of its options we know nothing.
    if (program == inWords.end() || program->starts_with('-')) return 0;
    return static_cast<std::size_t>(program - inWords.begin());
}

bool IsRelativePath(std::string_view inName) {
    return !inName.starts_with('/') && inName.find('/') != std::string_view::npos;
}

Words FillIn(const Words& inCommand, const FieldValues& inValues, const Words& inArguments) {
    Words result;
    WordFiller filler(inValues, inArguments);
    for (const std::string& word : inCommand) filler.Fill(word, result);
    filler.TakeRest(result);
    return result;
}

}  // namespace orvane::plexa::control
