#include "nuocore/Strings.h"

namespace nuocore {
namespace detail {

UTF8StringBuffer::~UTF8StringBuffer() = default;

std::streamsize UTF8StringBuffer::xsputn(const char* inBytes, std::streamsize inCount) {
    mText.append(inBytes, static_cast<std::size_t>(inCount));
    return inCount;
}

UTF8StringBuffer::int_type UTF8StringBuffer::overflow(int_type inByte) {
    if (traits_type::eq_int_type(inByte, traits_type::eof())) {
        return traits_type::not_eof(inByte);
    }
    mText.push_back(traits_type::to_char_type(inByte));
    return inByte;
}

}  // namespace detail

}  // namespace nuocore
