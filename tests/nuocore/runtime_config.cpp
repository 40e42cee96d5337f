// The host's identity: set by the host, completed from the environment.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nuocore/Config.h"
#include "nuocore/VersionInfo.h"
#include "runtime_support.h"

namespace {

using namespace nuocore::config;
using nuocore::versioninfo::GetVardoVersionString;
using runtime_test::EndByVerdict;
using runtime_test::FreshProcessDeathTest;
using runtime_test::SetVariable;

class ProductConfigTest : public testing::Test {
  protected:
    ~ProductConfigTest() override { SetProductConfig({}); }
};

TEST_F(ProductConfigTest, IsEmptyUntilSet) {
    EXPECT_FALSE(IsSAPCodeAvailable());
    EXPECT_EQ(GetSAPCode(), u"");
    EXPECT_EQ(GetSAPCodeMaybeBeta(), u"");
    EXPECT_EQ(GetClientVersion(), u"");
    EXPECT_EQ(GetVardoVersionString(), "");
}

TEST_F(ProductConfigTest, IsWhatTheHostHasSet) {
    SetProductConfig({"KOD\xC3\x89", "7.1", "7.1.42", false});
    EXPECT_TRUE(IsSAPCodeAvailable());
    EXPECT_EQ(GetSAPCode(), u"KOD\u00C9");
    EXPECT_EQ(GetSAPCodeMaybeBeta(), u"KOD\u00C9");
    EXPECT_EQ(GetClientVersion(), u"7.1");
    EXPECT_EQ(GetVardoVersionString(), "7.1.42");
}

TEST_F(ProductConfigTest, GivesABetaItsSuffix) {
    SetProductConfig({"KOD", "", "", true});
    EXPECT_EQ(GetSAPCode(), u"KOD");
    EXPECT_EQ(GetSAPCodeMaybeBeta(), u"KODBETA");
}

TEST_F(ProductConfigTest, OfABetaWithoutAProductCodeHasNoSuffixEither) {
    SetProductConfig({"", "", "", true});
    EXPECT_EQ(GetSAPCodeMaybeBeta(), u"");
}

TEST_F(ProductConfigTest, UsesTheClientVersionWhereThereIsNoOther) {
    SetProductConfig({"KOD", "7.1", "", false});
    EXPECT_EQ(GetVardoVersionString(), "7.1");
}

using ProductConfigDeathTest = FreshProcessDeathTest;

TEST_F(ProductConfigDeathTest, ComesFromTheEnvironmentWhereTheHostSetsNothing) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_SAP_CODE", "ENVI");
            SetVariable("NUOCORE_CLIENT_VERSION", "1.0");
            SetVariable("NUOCORE_VERSION", "1.0.7");
            SetVariable("NUOCORE_BETA", "1");
            EXPECT_TRUE(IsSAPCodeAvailable());
            EXPECT_EQ(GetSAPCodeMaybeBeta(), u"ENVIBETA");
            EXPECT_EQ(GetClientVersion(), u"1.0");
            EXPECT_EQ(GetVardoVersionString(), "1.0.7");
            SetProductConfig({"HOST", "", "2.0", false});
            EXPECT_EQ(GetSAPCode(), u"HOST");
            EXPECT_EQ(GetClientVersion(), u"1.0");
            EXPECT_EQ(GetVardoVersionString(), "2.0");
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(ProductConfigDeathTest, IsNoBetaForAnyOtherValueOfTheVariable) {
    EXPECT_EXIT(
        {
            SetVariable("NUOCORE_SAP_CODE", "ENVI");
            SetVariable("NUOCORE_BETA", "0");
            EXPECT_EQ(GetSAPCodeMaybeBeta(), u"ENVI");
            EndByVerdict();
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
