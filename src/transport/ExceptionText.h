/// What an exception says that must not reach a caller.
#pragma once

#include <exception>

#include "nuoplexasupport/Types.h"

namespace nuoplexasupport {

/// The text of an exception. Throws `std::bad_alloc`.
inline UTF8String ExceptionText(const std::exception_ptr& inException) {
    try {
        std::rethrow_exception(inException);
    } catch (const std::exception& exception) {
        return exception.what();
    } catch (...) {
        return "unknown exception";
    }
}

}  // namespace nuoplexasupport
