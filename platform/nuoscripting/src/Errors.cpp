#include "nuoscripting/Errors.h"

#include <utility>

namespace nuoscripting {

ScriptError::~ScriptError() = default;

ScriptException::ScriptException(const std::string& inText, std::string inFile, int inLine, int inColumn,
                                 std::string inStack, std::shared_ptr<const void> inThrown)
    : ScriptError(inText),
      mFile(std::move(inFile)),
      mLine(inLine),
      mColumn(inColumn),
      mStack(std::move(inStack)),
      mThrown(std::move(inThrown)) {}

ScriptException::~ScriptException() = default;

ScriptLimitExceeded::~ScriptLimitExceeded() = default;

}  // namespace nuoscripting
