// What is installed, and what could be.
#include <gmock/gmock.h>

#include "bus/MessageTypes.h"
#include "support/ServingFixture.h"

namespace zarnd_test {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

TEST_F(Serving, ListsChecksAndRemovesModules) {
    ModuleSpec top = Named("TOP", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")));
    top.mNeeds = {"BASE"};
    mDesk.Offer({top, Named("BASE", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))),
                 Named("MORE", ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar")))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("TOP")), "QRTX 20.0 TOP completed");
    const std::string list = mDesk.Ask(kListType, {});
    EXPECT_THAT(
        list, HasSubstr(R"("module-id":"TOP","offered-version":"1.0","product-sapcode":"QRTX","size":400005,)"
                        R"("state":"installed","version":"1.0")"));
    EXPECT_THAT(list, HasSubstr(R"("module-id":"MORE","offered-version":"1.0","product-sapcode":"QRTX")"));
    EXPECT_THAT(list, HasSubstr(R"("folder":")" + mDesk.Files("BASE").string()));
    EXPECT_THAT(mDesk.Ask(kListType, {"product-sapcode=OTHER"}), HasSubstr(R"("modules":[])"));

    EXPECT_THAT(mDesk.Ask(kListType, {"filler=" + std::string(20'000, 'x')}),
                HasSubstr(R"("error-code":"209")"));

    EXPECT_THAT(mDesk.Ask(kCheckType, {}), AllOf(HasSubstr("\"intact\""), Not(HasSubstr("\"damaged\""))));
    fs::remove(mDesk.Files("TOP") / "text");
    EXPECT_THAT(mDesk.Ask(kCheckType, {"product-sapcode=QRTX", R"(modules:={"module-id":"TOP"})"}),
                AllOf(HasSubstr(R"({"damage":"is missing","file":"text"})"), Not(HasSubstr("BASE"))));
    EXPECT_THAT(mDesk.Ask(kCheckType, {"product-sapcode=QRTX", R"(modules:={"module-id":"MORE"})"}),
                HasSubstr(R"("error-code":"206")"));

    const auto remove = [&](const std::string& inModule) {
        return mDesk.Ask(kRemoveType,
                         {"product-sapcode=QRTX", R"(modules:={"module-id":")" + inModule + "\"}"});
    };
    EXPECT_THAT(remove("BASE"),
                AllOf(HasSubstr(R"("error-code":"207")"), HasSubstr("the module TOP needs it")));
    EXPECT_THAT(remove("TOP"), HasSubstr(R"("result":"done")"));
    EXPECT_THAT(remove("BASE"), HasSubstr(R"("result":"done")"));
    EXPECT_THAT(remove("BASE"), HasSubstr(R"("error-code":"206")"));
    EXPECT_THAT(remove("../QRTX"), HasSubstr(R"("error-code":"206")"));
    EXPECT_FALSE(fs::exists(mDesk.Data() / "modules" / "QRTX" / "TOP"));
}

TEST_F(Serving, ShowsWhatIsOutdatedAndBringsItUpToDate) {
    const std::string fresh = MakeArchive({{Entry::Kind::kFile, "text", "fresh"}});
    mDesk.Offer({ModuleOf(kArchive, mDesk.Store(kArchive, "a.tar"))});
    mDesk.StartService();
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    ModuleSpec next = ModuleOf(fresh, mDesk.Store(fresh, "b.tar"));
    next.mVersion = "2.0";
    mDesk.Offer({next});
    EXPECT_THAT(mDesk.Ask(kListType, {"product-sapcode=QRTX"}),
                AllOf(HasSubstr("\"outdated\""), HasSubstr(R"("offered-version":"2.0")"),
                      HasSubstr(R"("version":"1.0")")));
    EXPECT_EQ(mDesk.EndOf(*mDesk.Host("KQ7L")), "QRTX 20.0 KQ7L completed");
    EXPECT_EQ(Read(mDesk.Files("KQ7L") / "text"), "fresh");
}

TEST_F(Serving, RemovesNothingThatIsBeingWorkedOn) {
    Gate gate(kArchive);
    mDesk.Offer({ModuleOf(kArchive, gate.Server().Address())});
    mDesk.StartService();
    const auto host = mDesk.Host("KQ7L");
    ASSERT_TRUE(host->AwaitOutput("progress")) << host->Output();
    EXPECT_THAT(mDesk.Ask(kRemoveType, {"product-sapcode=QRTX", R"(modules:={"module-id":"KQ7L"})"}),
                HasSubstr(R"("error-code":"208")"));
    EXPECT_THAT(mDesk.Ask(kCancelType, {"product-sapcode=QRTX", R"(modules:={"module-id":"KQ7L"})"}),
                HasSubstr(R"("error-code":"210")"));
    gate.Open();
    EXPECT_EQ(mDesk.EndOf(*host), "QRTX 20.0 KQ7L completed");
}

}  // namespace zarnd_test
