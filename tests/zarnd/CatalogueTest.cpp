#include <gmock/gmock.h>

#include <chrono>

#include "catalogue/Catalogue.h"
#include "catalogue/CatalogueFolders.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

const std::string kDigest(64, 'a');

std::string Module(const std::string& inMore = "") {
    return R"({"version":"1.4","fits":["20.0","21.*"],"archive":"https://example.org/a.tar","sha256":")" +
           kDigest + R"(","size":10)" + inMore + "}";
}

std::string Whole(const std::string& inModules) {
    return R"({"schema":1,"product":"QRTX","modules":{)" + inModules + "}}";
}

// Why a catalogue is refused; empty when it isn't.
std::string Refusal(const std::string& inText) {
    try {
        ParseCatalogue(inText, "QRTX");
        return "";
    } catch (const CatalogueError& error) {
        return error.what();
    }
}

}  // namespace

TEST(Catalogue, SaysWhatEachModuleIs) {
    const Catalogue catalogue = ParseCatalogue(
        Whole(R"("KQ7L":)" + Module(R"(,"unpacked-size":99,"conflicts":["editor"],"needs":["BASE"])") +
              R"(,"BASE":)" + Module()),
        "QRTX");
    const ModuleSpec& module = catalogue.mModules.at("KQ7L");
    EXPECT_EQ(module.mVersion, "1.4");
    EXPECT_THAT(module.mFits, ElementsAre("20.0", "21.*"));
    EXPECT_EQ(module.mArchive, "https://example.org/a.tar");
    EXPECT_EQ(module.mSha256, kDigest);
    EXPECT_EQ(module.mSize, 10U);
    EXPECT_EQ(module.mUnpackedSize, 99U);
    EXPECT_THAT(module.mConflicts, ElementsAre("editor"));
    EXPECT_THAT(module.mNeeds, ElementsAre("BASE"));
    EXPECT_GT(catalogue.mModules.at("BASE").mUnpackedSize, std::uint64_t{10});
}

TEST(Catalogue, NamesThePlaceOfEachFault) {
    const auto with = [](const std::string& inFrom, const std::string& inTo) {
        std::string module = Module();
        const std::size_t place = module.find(inFrom);
        EXPECT_NE(place, std::string::npos) << inFrom;
        return Refusal(Whole(R"("KQ7L":)" + module.replace(place, inFrom.size(), inTo)));
    };
    EXPECT_EQ(with(R"("version":"1.4",)", ""), "modules.KQ7L.version: is missing");
    EXPECT_THAT(with(R"("1.4")", "14"), StartsWith("modules.KQ7L.version: must be a text"));
    EXPECT_THAT(with(R"("1.4")", R"("")"), StartsWith("modules.KQ7L.version: must not be empty"));
    EXPECT_THAT(with(R"("1.4")", "\"1\\n4\""), StartsWith("modules.KQ7L.version: has a control"));
    EXPECT_THAT(with(R"("21.*")", R"("2*1")"), StartsWith("modules.KQ7L.fits[1]: has a \"*\""));
    EXPECT_THAT(with(R"("20.0","21.*")", ""), StartsWith("modules.KQ7L.fits: must not be empty"));
    EXPECT_THAT(with(R"("21.*")", R"("20.0")"), StartsWith("modules.KQ7L.fits[1]: stands there twice"));
    EXPECT_THAT(with("https:", "ftp:"), StartsWith("modules.KQ7L.archive: must begin with"));
    EXPECT_THAT(with("https://example.org/a.tar", "file://elsewhere/a"),
                StartsWith("modules.KQ7L.archive: must begin with"));
    EXPECT_THAT(with("a.tar", "a b"), StartsWith("modules.KQ7L.archive: has a blank"));
    EXPECT_THAT(with(kDigest, "A" + kDigest.substr(1)), StartsWith("modules.KQ7L.sha256: must be 64"));
    for (const char* const size : {"0", "-1", "1e3", "99999999999999", "\"10\""}) {
        EXPECT_THAT(with(":10", std::string(":") + size), StartsWith("modules.KQ7L.size: must be")) << size;
    }
    EXPECT_THAT(with(":10", R"(:10,"sizes":1)"), StartsWith("modules.KQ7L.sizes: is no key"));
    EXPECT_THAT(with(":10", R"(:10,"conflicts":["/bin/a"])"),
                StartsWith("modules.KQ7L.conflicts[0]: must be"));
    EXPECT_THAT(with(":10", R"(:10,"conflicts":["a,b"])"), StartsWith("modules.KQ7L.conflicts[0]: must be"));
    EXPECT_THAT(with(":10", R"(:10,"needs":["../a"])"), StartsWith("modules.KQ7L.needs[0]: must be 1 to 64"));
    EXPECT_THAT(with(":10", R"(:10,"needs":"BASE")"), StartsWith("modules.KQ7L.needs: must be a list"));
}

TEST(Catalogue, IsRefusedWhenItIsNoneAtAll) {
    EXPECT_THAT(Refusal(""), StartsWith("is no JSON"));
    EXPECT_THAT(Refusal("{\"schema\":1,"), StartsWith("is no JSON"));
    EXPECT_EQ(Refusal("[]"), "is no JSON object");
    EXPECT_THAT(Refusal(R"({"schema":2,"product":"QRTX","modules":{}})"), StartsWith("schema: must be 1"));
    EXPECT_THAT(Refusal(R"({"schema":1,"product":"OTHER","modules":{}})"), StartsWith("product: must be"));
    EXPECT_THAT(Refusal(R"({"schema":1,"product":"QRTX","modules":[]})"),
                StartsWith("modules: must be an object"));
    EXPECT_THAT(Refusal(Whole(R"("../x":)" + Module())), StartsWith("modules: has a key"));
    EXPECT_EQ(Refusal(Whole("")), "");
}

TEST(Catalogue, NamesModulesThatAreNeededAndUnknownOrNeedEachOther) {
    EXPECT_EQ(Refusal(Whole(R"("A":)" + Module(R"(,"needs":["B"])"))),
              "modules.A.needs[0]: there is no module \"B\"");
    EXPECT_THAT(Refusal(Whole(R"("A":)" + Module(R"(,"needs":["A"])"))), HasSubstr("in a circle: A, A"));
    EXPECT_THAT(Refusal(Whole(R"("A":)" + Module(R"(,"needs":["B"])") + R"(,"B":)" +
                              Module(R"(,"needs":["C"])") + R"(,"C":)" + Module(R"(,"needs":["B"])"))),
                HasSubstr("in a circle: B, C, B"));
}

TEST(Catalogue, RefusesChainsOfNeedsThatAreTooLong) {
    const auto chain = [](std::size_t inModules) {
        std::string modules = R"("Z0":)" + Module();
        for (std::size_t i = 1; i != inModules; ++i) {
            modules += ",\"" + std::string(i % 2 == 0 ? "A" : "Z") + std::to_string(i) + "\":" +
                       Module(R"(,"needs":[")" +
                              std::string(i % 2 == 0 ? "Z"
                                          : i == 1   ? "Z"
                                                     : "A") +
                              std::to_string(i - 1) + "\"]");
        }
        return Whole(modules);
    };
    EXPECT_NO_THROW(ParseCatalogue(chain(kMaxNeedsChain), "QRTX"));
    EXPECT_THAT(Refusal(chain(kMaxNeedsChain + 1)),
                HasSubstr("more than 64 modules need each other one after another"));
}

TEST(Catalogue, PutsWhatIsNeededFirstAndOnce) {
    const Catalogue catalogue = ParseCatalogue(
        Whole(R"("A":)" + Module(R"(,"needs":["B","C"])") + R"(,"B":)" + Module(R"(,"needs":["D"])") +
              R"(,"C":)" + Module(R"(,"needs":["D"])") + R"(,"D":)" + Module()),
        "QRTX");
    std::vector<std::string> order;
    for (const ModuleSpec* const module : InstallOrder(catalogue, "A")) order.push_back(module->mId);
    EXPECT_THAT(order, ElementsAre("D", "B", "C", "A"));
}

TEST(Catalogue, KnowsWhichVersionsOfTheProductAModuleFits) {
    ModuleSpec module;
    module.mFits = {"20.0", "21.*"};
    for (const char* const version : {"20.0", "21", "21.0", "21.3.4"}) {
        EXPECT_TRUE(FitsVersion(module, version)) << version;
    }
    for (const char* const version : {"", "20", "20.0.1", "210", "22"}) {
        EXPECT_FALSE(FitsVersion(module, version)) << version;
    }
    module.mFits = {"*"};
    EXPECT_TRUE(FitsVersion(module, ""));
}

TEST(CatalogueFolders, TakeTheFirstFileOfAProduct) {
    const ScratchFolder scratch;
    Write(scratch.Path() / "user" / "QRTX.json", Whole(R"("A":)" + Module()));
    Write(scratch.Path() / "system" / "QRTX.json", Whole(R"("B":)" + Module()));
    Write(scratch.Path() / "system" / "OTHER.json", "{");
    const CatalogueFolders folders(
        {scratch.Path() / "missing", scratch.Path() / "user", scratch.Path() / "system"});
    EXPECT_TRUE(folders.Load("QRTX")->mModules.contains("A"));
    EXPECT_FALSE(folders.Load("NONE"));
    EXPECT_FALSE(folders.Load("../user/QRTX"));
    EXPECT_THAT(folders.Products(), ElementsAre("OTHER", "QRTX"));
    try {
        (void)folders.Load("OTHER");
        FAIL();
    } catch (const CatalogueError& error) {
        EXPECT_THAT(error.what(),
                    StartsWith((scratch.Path() / "system" / "OTHER.json: is no JSON").string()));
    }
}

TEST(CatalogueFolders, ReadACatalogueAgainOnlyWhenItHasChanged) {
    const ScratchFolder scratch;
    const auto path = scratch.Path() / "QRTX.json";
    Write(path, Whole(R"("A":)" + Module()));
    const CatalogueFolders folders({scratch.Path()});
    const auto first = folders.Load("QRTX");
    // So soon after a change the next one might not show.
    EXPECT_NE(folders.Load("QRTX"), first);
    const auto until = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (folders.Load("QRTX") != folders.Load("QRTX")) ASSERT_LT(std::chrono::steady_clock::now(), until);
    const auto known = folders.Load("QRTX");
    EXPECT_EQ(folders.Load("QRTX"), known);
    Write(path, Whole(R"("B":)" + Module()));  // as long as before
    EXPECT_TRUE(folders.Load("QRTX")->mModules.contains("B"));
    EXPECT_TRUE(known->mModules.contains("A"));
    std::filesystem::remove(path);
    EXPECT_FALSE(folders.Load("QRTX"));
}

TEST(CatalogueFolders, RefuseWhatIsTooLargeOrNoFile) {
    const ScratchFolder scratch;
    Write(scratch.Path() / "BIG.json", std::string(kMaxCatalogueBytes + 1, ' '));
    std::filesystem::create_directory(scratch.Path() / "FOLDER.json");
    const CatalogueFolders folders({scratch.Path()});
    EXPECT_THROW((void)folders.Load("BIG"), CatalogueError);
    EXPECT_THROW((void)folders.Load("FOLDER"), CatalogueError);
}

}  // namespace zarnd_test
