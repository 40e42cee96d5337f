/// What this library throws to hosts.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "nuoscripting/export.h"

namespace nuoscripting {

/// An operation that can't be done: a name that is taken, the wrong thread, an engine that can't be loaded, a
/// UI thread that doesn't answer. Thrown by a native method it becomes an exception of the script.
class NUOSCRIPTING_API ScriptError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    ~ScriptError() override;
};

/// A script ended with an exception that it didn't catch, or left a rejected promise that nobody handles.
/// `what()` is the exception as text, such as "TypeError: x is not a function".
class NUOSCRIPTING_API ScriptException : public ScriptError {
  public:
    ScriptException(const std::string& inText, std::string inFile, int inLine, int inColumn,
                    std::string inStack, std::shared_ptr<const void> inThrown = nullptr);
    ~ScriptException() override;

    /// The name that the host gave the source; empty when unknown.
    [[nodiscard]] const std::string& GetFile() const noexcept { return mFile; }
    /// Counted from 1; 0 when unknown, as for thrown values that are no errors.
    [[nodiscard]] int GetLine() const noexcept { return mLine; }
    [[nodiscard]] int GetColumn() const noexcept { return mColumn; }
    /// One frame a line, the innermost first: function, "@", file, line and column. Empty when unknown.
    [[nodiscard]] const std::string& GetStack() const noexcept { return mStack; }
    /// The library's own: what the script threw, which it gets again when a native method passes it on.
    [[nodiscard]] const std::shared_ptr<const void>& GetThrown() const noexcept { return mThrown; }

  private:
    std::string mFile;
    int mLine;
    int mColumn;
    std::string mStack;
    std::shared_ptr<const void> mThrown;
};

/// A script was stopped because it took more than the host allows. It could not catch that.
class NUOSCRIPTING_API ScriptLimitExceeded : public ScriptError {
  public:
    enum class Limit { kTime, kMemory };

    ScriptLimitExceeded(Limit inLimit, const std::string& inText) : ScriptError(inText), mLimit(inLimit) {}
    ~ScriptLimitExceeded() override;

    [[nodiscard]] Limit GetLimit() const noexcept { return mLimit; }

  private:
    Limit mLimit;
};

}  // namespace nuoscripting
