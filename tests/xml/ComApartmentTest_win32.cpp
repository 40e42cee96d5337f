// The system's own count of a thread's joins, before and after a document is read.
#include <gtest/gtest.h>
#include <objbase.h>

#include <optional>
#include <thread>

#include "nuocore/XML.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {
namespace {

// The kind of apartment that the thread is in; nothing when it is in none.
std::optional<APTTYPE> Apartment() {
    APTTYPE type{};
    APTTYPEQUALIFIER qualifier{};
    const HRESULT result = ::CoGetApartmentType(&type, &qualifier);
    EXPECT_TRUE(result == S_OK || result == CO_E_NOTINITIALIZED) << result;
    // A thread counts as one of the shared apartment's while any other has joined that.
    return result == S_OK && qualifier != APTTYPEQUALIFIER_IMPLICIT_MTA ? std::optional(type) : std::nullopt;
}

// Each on a thread that has joined nothing.
template <class Body>
void OnAThread(Body inBody) {
    std::thread(inBody).join();
}

constexpr std::nullopt_t kNone = std::nullopt;

TEST(ComApartment, AThreadIsInNoneBeforeAndAfterAParse) {
    OnAThread([] {
        ASSERT_EQ(Apartment(), kNone);
        ParsePlexaXMLPayload("<message><a>1</a></message>");
        EXPECT_EQ(Apartment(), kNone);
    });
}

TEST(ComApartment, AMalformedDocumentLeavesTheThreadJoinedOnce) {
    OnAThread([] {
        EXPECT_THROW(ParsePlexaXMLPayload("<message>"), nuocore::xml::XMLError);
        EXPECT_EQ(Apartment(), APTTYPE_MTA);
        ParsePlexaXMLPayload("<message/>");
        EXPECT_EQ(Apartment(), APTTYPE_MTA);
        ::CoUninitialize();
        EXPECT_EQ(Apartment(), kNone);
    });
}

TEST(ComApartment, AJoinOfTheHostsIsKept) {
    OnAThread([] {
        ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        ParsePlexaXMLPayload("<message/>");
        EXPECT_EQ(Apartment(), APTTYPE_MTA);
        ::CoUninitialize();
        EXPECT_EQ(Apartment(), kNone);
    });
}

TEST(ComApartment, AThreadWithAnApartmentOfItsOwnKeepsIt) {
    OnAThread([] {
        ASSERT_EQ(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        const auto own = Apartment();
        ASSERT_TRUE(own == APTTYPE_STA || own == APTTYPE_MAINSTA);
        ParsePlexaXMLPayload("<message/>");
        EXPECT_THROW(ParsePlexaXMLPayload("<message>"), nuocore::xml::XMLError);
        EXPECT_EQ(Apartment(), own);
        ::CoUninitialize();
        EXPECT_EQ(Apartment(), kNone);
    });
}

}  // namespace
}  // namespace nuoplexasupport
