/// Result codes and the exception that carries them.
#pragma once

#include <cstdint>
#include <stdexcept>

#include "nuocore/Strings.h"
#include "nuocore/export.h"

namespace nuocore {

/// Result code of an operation that failed for no known reason.
inline constexpr int eUnknown = static_cast<int>(0xA00F0001U);

namespace config {

/// Base of the product family's exceptions: a message and a 32-bit result code. `what()` is the message
/// followed by " (0x" and the code as eight upper-case hexadecimal digits and ")"; without a message only the
/// code, unbracketed.
class NUOCORE_API nuo_exception : public std::runtime_error {
  public:
    nuo_exception(const StringValue& inMessage, int inCode);
    nuo_exception(const nuo_exception& inOther) = default;
    nuo_exception& operator=(const nuo_exception& inOther) = default;
    ~nuo_exception() override;

    /// The result code.
    [[nodiscard]] int GetCode() const noexcept { return mCode; }
    /// The message without the code.
    [[nodiscard]] const StringValue& GetMessageText() const noexcept { return mMessage; }

  private:
    StringValue mMessage;
    int mCode;
};

}  // namespace config
}  // namespace nuocore
