#include "service/Notes.h"

#include "nuocore/Log.h"

namespace orvane::plexa::zarnd {

void Note(const std::string& inText) noexcept {
    try {
        nuocore::log::Log({"zarnd", "", "", inText, {}});
    } catch (...) {  // no memory for the record
    }
}

}  // namespace orvane::plexa::zarnd
