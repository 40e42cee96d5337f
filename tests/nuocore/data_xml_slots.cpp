// The order of the handler's virtual operations is part of the binary interface of the core library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "data_xml_recorder.h"

namespace {

using namespace nuocore::xml;
using data_test::RecordingHandler;
using nuocore::UTF16String;
using testing::ElementsAre;

// Calls an operation by its place behind the destructor, which takes two, as a library built by another
// compiler does.
template <typename... Arguments>
void CallSlot(AbstractParseHandler& inHandler, std::size_t inSlot, const Arguments&... inArguments) {
    void** const table = *reinterpret_cast<void***>(&inHandler);
    reinterpret_cast<void (*)(AbstractParseHandler*, const Arguments&...)>(table[2 + inSlot])(&inHandler,
                                                                                              inArguments...);
}

TEST(XMLHandler, OperationsStandInTheirSlots) {
    std::vector<std::string> calls;
    RecordingHandler handler(calls);
    const UTF16String one(u"1");
    const UTF16String two(u"2");
    const UTF16String three(u"3");
    CallSlot(handler, 0);
    CallSlot(handler, 1, one, AttributeMap{{u"x", u"y"}});
    CallSlot(handler, 2, one, two, three, AttributeList());
    CallSlot(handler, 3, one);
    CallSlot(handler, 4, one, two, three);
    CallSlot(handler, 5);
    CallSlot(handler, 6);
    CallSlot(handler, 7, one);
    CallSlot(handler, 8, one);
    CallSlot(handler, 9);
    CallSlot(handler, 10, one, two);
    CallSlot(handler, 11, one);
    EXPECT_THAT(calls, ElementsAre("start", "<1 x=y>", "<{1}2|3>", "</1>", "</{1}2|3>", "cdata", "/cdata",
                                   "[1]", "!1", "end", "+1=2", "-1"));
}

}  // namespace
