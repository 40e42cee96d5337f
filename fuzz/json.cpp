// JSON text: either refused, or read into a value that survives being written and read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "nuocore/JSON.h"

using nuocore::UTF8String;
using namespace nuocore::serialization;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize);

int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize) {
    VariantValuePtr value;
    try {
        value = ParseJSON({reinterpret_cast<const char*>(inData), inSize});
    } catch (const JSONError&) {
        return 0;
    }
    const UTF8String text = GetJSONUTF8String(*value, false);
    const UTF8String pretty = GetJSONUTF8String(*value, true);
    if (GetJSONUTF8String(*ParseJSON(text), false) != text ||
        GetJSONUTF8String(*ParseJSON(pretty), false) != text) {
        std::abort();
    }
    return 0;
}
