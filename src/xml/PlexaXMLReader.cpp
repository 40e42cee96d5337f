#include <memory>

#include "nuocore/XML.h"
#include "xml/ComApartment.h"
#include "xml/PlexaMessageXMLParseHandler.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {

boost::shared_ptr<VariantValue> ParsePlexaXMLPayload(const UTF8String& inXML) {
    return ParsePlexaXMLPayload(inXML, SystemComApartment());
}

boost::shared_ptr<VariantValue> ParsePlexaXMLPayload(const UTF8String& inXML,
                                                     const ComApartment& inApartment) {
    constexpr std::uint32_t kMultithreaded = 0;
    const std::int32_t joined = inApartment.mInitialize(nullptr, kMultithreaded);

    auto handler = std::make_unique<PlexaMessageXMLParseHandler>();
    boost::shared_ptr<VariantValue> result = handler->GetResult();
    const auto parser = nuocore::xml::GetParser(std::move(handler));
    // A document that can't be parsed leaves the thread in the apartment: the join isn't undone on that way.
    parser->Parse(inXML);

    if (joined == ComApartment::kOk || joined == ComApartment::kFalse) {
        inApartment.mUninitialize();
    }
    return result;
}

}  // namespace nuoplexasupport
