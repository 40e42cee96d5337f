// What requests and events say.
#include <cmath>

#include "modules/ModuleSupport.h"
#include "modules/ModulesFixture.h"
#include "nuocore/Exception.h"
#include "nuocore/StringConversion.h"
#include "xml/PlexaXMLSupport.h"

namespace nuoplexasupport {
namespace {

using modules::CreateModuleDownloadPayload;
using modules::ExtractResultFromPlexaErrorMessage;
using modules::ExtractValueFromPlexaProgressMessage;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::MakeValue;

constexpr const char* kHeader = R"(<?xml version="1.0" encoding="utf-8" ?>)";

UTF8String PayloadText(const char* inModuleId, bool inSilentMode) {
    return CreateXMLPayload(CreateModuleDownloadPayload(ImmutableString(inModuleId), inSilentMode),
                            kXMLRootTagDefault_Request);
}

VariantObject Nested(const char* inKey, const char* inInnerKey, const VariantValue& inValue) {
    VariantObject inner;
    inner[inInnerKey] = MakeValue(inValue);
    VariantObject message;
    message[inKey] = MakeValue(std::move(inner));
    return message;
}

int ResultOf(const char* inCode) {
    return ExtractResultFromPlexaErrorMessage(Nested("error-data", "error-code", UTF8String(inCode)));
}

float ShareOf(const std::string& inPercentage) {
    return ExtractValueFromPlexaProgressMessage(
        Nested("progress-data", "progress-value", UTF8String(std::string_view(inPercentage))));
}

TEST(ModulePayload, IsWrittenInTheOrderOfItsKeys) {
    nuocore::config::SetProductConfig({"QRTX", "20.0", "20.0.1", false});
    EXPECT_EQ(PayloadText("module_1", true),
              UTF8String(kHeader) +
                  "<request><modules><module-id>module_1</module-id></modules><product-sapcode>QRTX"
                  "</product-sapcode><product-vardo-version>20.0.1</product-vardo-version>"
                  "<silent-mode>true</silent-mode></request>");
    EXPECT_EQ(PayloadText("", false),
              UTF8String(kHeader) +
                  "<request><modules><module-id></module-id></modules><product-sapcode>QRTX"
                  "</product-sapcode><product-vardo-version>20.0.1</product-vardo-version>"
                  "<silent-mode>false</silent-mode></request>");
}

TEST(ModulePayload, HoldsAnIdTwoWideTextsAndAFlag) {
    nuocore::config::SetProductConfig({"QRTX", "20.0", "20.0\xC3\xA9", true});
    const VariantObject payload = CreateModuleDownloadPayload(ImmutableString("KQ7L"), true);
    EXPECT_EQ(payload.size(), 4U);
    const auto& list = ExtractPropertyFromObject<VariantObject>(payload, "modules");
    EXPECT_EQ(list.size(), 1U);
    EXPECT_EQ(ExtractPropertyFromObject<ImmutableString>(list, "module-id"), ImmutableString("KQ7L"));
    EXPECT_TRUE(ExtractPropertyFromObject<UTF16String>(payload, "product-sapcode") == u"QRTXBETA");
    EXPECT_TRUE(ExtractPropertyFromObject<UTF16String>(payload, "product-vardo-version") == u"20.0\u00E9");
    EXPECT_TRUE(ExtractPropertyFromObject<bool>(payload, "silent-mode"));
}

TEST(ModuleResults, HaveTheirNumbers) {
    EXPECT_EQ(static_cast<std::uint32_t>(kModuleInstallError118), 0xED440076U);
    EXPECT_EQ(static_cast<std::uint32_t>(kModuleOperationsBlockedByConflictingProcess), 0xED440083U);
    EXPECT_EQ(static_cast<std::uint32_t>(kModuleInstallError413), 0xED44019DU);
    EXPECT_EQ(static_cast<std::uint32_t>(kModuleInstallError414), 0xED44019EU);
    EXPECT_EQ(static_cast<std::uint32_t>(kModuleDownloadCancelled), 0xA00F0007U);
    EXPECT_EQ(static_cast<std::uint32_t>(kModuleDownloadFailedDefault), 0xF865001EU);
}

TEST(ModuleResults, OfFourErrorsAreTheirOwnAndOfAllOthersUnknown) {
    EXPECT_EQ(ResultOf("118"), kModuleInstallError118);
    EXPECT_EQ(ResultOf("131"), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(ResultOf("413"), kModuleInstallError413);
    EXPECT_EQ(ResultOf("414"), kModuleInstallError414);
    for (const char* const other : {"0", "1", "117", "119", "130", "132", "412", "415", "999", "-118"}) {
        EXPECT_EQ(ResultOf(other), nuocore::eUnknown) << other;
    }
}

TEST(ModuleResults, DependOnTheLowSixteenBitsOnly) {
    EXPECT_EQ(ResultOf("65654"), kModuleInstallError118);
    EXPECT_EQ(ResultOf("-65418"), kModuleInstallError118);
    EXPECT_EQ(ResultOf("-2147483235"), kModuleInstallError413);
    EXPECT_EQ(ResultOf("2147418526"), kModuleInstallError414);
}

TEST(ModuleResults, AreReadAsDecimalNumbersFromTheBeginning) {
    EXPECT_EQ(ResultOf(" \t131"), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(ResultOf("+131"), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(ResultOf("0131"), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(ResultOf("131 and more"), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(ResultOf("131.9"), kModuleOperationsBlockedByConflictingProcess);
    for (const char* const other : {"", " ", "x131", "0x83", "1,31"}) {
        EXPECT_EQ(ResultOf(other), nuocore::eUnknown) << other;
    }
}

TEST(ModuleResults, BeyondTheRangeAreUnknown) {
    // The nearest numbers end in 0xFFFF and 0x0000; 4294967427 is 131 modulo 2 to the power of 32.
    for (const char* const other : {"4294967427", "99999999999999999999", "-99999999999999999999"}) {
        EXPECT_EQ(ResultOf(other), nuocore::eUnknown) << other;
    }
}

TEST(ModuleResults, WithoutDataOrCodeAreUnknown) {
    EXPECT_EQ(ExtractResultFromPlexaErrorMessage({}), nuocore::eUnknown);
    EXPECT_EQ(ExtractResultFromPlexaErrorMessage(Nested("error-data", "else", UTF8String("131"))),
              nuocore::eUnknown);
    EXPECT_EQ(ExtractResultFromPlexaErrorMessage(Nested("else", "error-code", UTF8String("131"))),
              nuocore::eUnknown);
}

TEST(ModuleResults, AreReadFromTextsOfEveryKindAndNothingElse) {
    const auto result = [](const VariantValue& inCode) {
        return ExtractResultFromPlexaErrorMessage(Nested("error-data", "error-code", inCode));
    };
    EXPECT_EQ(result(UTF16String(u"131")), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_EQ(result(ImmutableString("131")), kModuleOperationsBlockedByConflictingProcess);
    EXPECT_THROW(result(std::int64_t{131}), boost::bad_any_cast);
    EXPECT_THROW(result(VariantObject()), boost::bad_any_cast);
    VariantObject text;
    text["error-data"] = MakeValue(UTF8String("131"));
    EXPECT_THROW(ExtractResultFromPlexaErrorMessage(text), boost::bad_any_cast);
}

// Many of the products differ from what they would be were they made of doubles, and then narrowed.
TEST(ModuleProgress, IsThePercentageNarrowedAndThenMultiplied) {
    for (int percentage = 0; percentage <= 100; ++percentage) {
        EXPECT_EQ(ShareOf(std::to_string(percentage)), static_cast<float>(percentage) * 0.01F) << percentage;
    }
    EXPECT_EQ(ShareOf("55"), 55.F * 0.01F);
    EXPECT_EQ(ShareOf("33.3"), static_cast<float>(33.3) * 0.01F);
}

TEST(ModuleProgress, IsNotClamped) {
    EXPECT_EQ(ShareOf("150"), 150.F * 0.01F);
    EXPECT_EQ(ShareOf("-5"), -5.F * 0.01F);
    EXPECT_TRUE(std::isinf(ShareOf("1e999")));
}

TEST(ModuleProgress, IsReadFromTheBeginning) {
    EXPECT_EQ(ShareOf(" \t55 %"), 55.F * 0.01F);
    EXPECT_EQ(ShareOf("5.5e1"), 55.F * 0.01F);
    for (const char* const none : {"", " ", "half", "%55"}) {
        EXPECT_EQ(ShareOf(none), 0.F) << none;
    }
}

TEST(ModuleProgress, WithoutDataOrValueIsNothing) {
    EXPECT_EQ(ExtractValueFromPlexaProgressMessage({}), 0.F);
    EXPECT_EQ(ExtractValueFromPlexaProgressMessage(Nested("progress-data", "else", UTF8String("55"))), 0.F);
    EXPECT_EQ(ExtractValueFromPlexaProgressMessage(Nested("else", "progress-value", UTF8String("55"))), 0.F);
}

TEST(ModuleProgress, IsReadFromTextsOfEveryKindAndNothingElse) {
    const auto share = [](const VariantValue& inValue) {
        return ExtractValueFromPlexaProgressMessage(Nested("progress-data", "progress-value", inValue));
    };
    EXPECT_EQ(share(UTF16String(u"55")), 55.F * 0.01F);
    EXPECT_EQ(share(ImmutableString("55")), 55.F * 0.01F);
    EXPECT_THROW(share(55.0), boost::bad_any_cast);
    EXPECT_THROW(share(VariantObject()), boost::bad_any_cast);
    VariantObject text;
    text["progress-data"] = MakeValue(UTF8String("55"));
    EXPECT_THROW(ExtractValueFromPlexaProgressMessage(text), boost::bad_any_cast);
}

TEST(ModuleDownloadFailed, HasADefaultCodeAndKeepsItsOwnInCopies) {
    const ModuleDownloadFailedException standard;
    EXPECT_EQ(standard.GetCode(), kModuleDownloadFailedDefault);
    EXPECT_EQ(standard.GetMessageText(), "Failed to download the requested module");
    const ModuleDownloadFailedException blocked(kModuleOperationsBlockedByConflictingProcess);
    const ModuleDownloadFailedException copy(blocked);  // NOLINT(performance-unnecessary-copy-initialization)
    ModuleDownloadFailedException assigned;
    assigned = blocked;
    for (const ModuleDownloadFailedException* exception : {&blocked, &copy, &std::as_const(assigned)}) {
        EXPECT_EQ(exception->GetCode(), kModuleOperationsBlockedByConflictingProcess);
        EXPECT_EQ(exception->GetMessageText(), "Failed to download the requested module");
        EXPECT_STREQ(exception->what(), "Failed to download the requested module (0xED440083)");
    }
}

TEST(ModuleDownloadFailed, IsCaughtAsWhatItDerivesFrom) {
    EXPECT_THROW(throw ModuleDownloadFailedException(5), nuocore::config::nuo_exception);
    EXPECT_THROW(throw ModuleDownloadFailedException(5), std::runtime_error);
}

}  // namespace
}  // namespace nuoplexasupport
