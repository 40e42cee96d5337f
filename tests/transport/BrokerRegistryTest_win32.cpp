// The search on Windows: real environment, real files, a real key of a registry that is the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "doubles/BrokerFile.h"
#include "doubles/NuocoreWatch.h"
#include "transport/BrokerLocation.h"
#include "transport/RegistryCalls_win32.h"

namespace nuoplexasupport {
namespace {

namespace fs = std::filesystem;
using doubles::BrokerFile;
using transport_test::SeenRegistryCalls;

constexpr const wchar_t* kKey = L"SOFTWARE\\Orvane\\Plexa\\5.0";

// While it lives, what this process finds under HKEY_LOCAL_MACHINE is a key of the user's.
class OwnRegistry {
  public:
    OwnRegistry() {
        Remove();
        EXPECT_EQ(::RegCreateKeyExW(HKEY_CURRENT_USER, mName.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                    &mRoot, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(::RegOverridePredefKey(HKEY_LOCAL_MACHINE, mRoot), ERROR_SUCCESS);
    }
    OwnRegistry(const OwnRegistry&) = delete;
    OwnRegistry& operator=(const OwnRegistry&) = delete;
    ~OwnRegistry() {
        ::RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
        ::RegCloseKey(mRoot);
        Remove();
    }

    void Store(const std::wstring& inPath, DWORD inType = REG_SZ) const {
        StoreBytes(inPath.c_str(), (inPath.size() + 1) * sizeof(wchar_t), inType);
    }
    void StoreBytes(const void* inData, std::size_t inCount, DWORD inType = REG_SZ) const {
        HKEY key = nullptr;
        ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                                    nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        EXPECT_EQ(::RegSetValueExW(key, L"OrvaneIPCBroker", 0, inType, static_cast<const BYTE*>(inData),
                                   static_cast<DWORD>(inCount)),
                  ERROR_SUCCESS);
        ::RegCloseKey(key);
    }

  private:
    void Remove() const { ::RegDeleteTreeW(HKEY_CURRENT_USER, mName.c_str()); }

    // Tests run side by side, each in a process of its own.
    const std::wstring mName = L"Software\\nuoplexasupport-test-" + std::to_wstring(::GetCurrentProcessId());
    HKEY mRoot = nullptr;
};

void WriteFile(const fs::path& inPath) {
    fs::create_directories(inPath.parent_path());
    std::ofstream(inPath) << "x";
}

class BrokerRegistry : public testing::Test {
  protected:
    fs::path MakeBroker(const std::wstring& inFolder = L"opt") const {
        const fs::path path = mNone.Folder() / inFolder / L"OrvaneIPCBroker.exe";
        WriteFile(path);
        return path;
    }
    std::wstring MakeBrokerWithPathOf(std::size_t inUnits, wchar_t inLetter = L'd') const {
        const std::size_t rest =
            mNone.Folder().wstring().size() + 1 + std::wstring(L"\\OrvaneIPCBroker.exe").size();
        EXPECT_LT(rest, inUnits);
        const std::wstring path = MakeBroker(std::wstring(inUnits - rest, inLetter)).wstring();
        EXPECT_EQ(path.size(), inUnits);
        return path;
    }
    BrokerFile mNone{false};
    OwnRegistry mRegistry;
};

TEST_F(BrokerRegistry, NothingAnywhereGivesSixWithoutAWord) {
    const doubles::TraceWatch trace("*=9");
    const doubles::LogWatch log;
    const doubles::AssertionWatch assertions;
    EXPECT_EQ(LocateBroker(), 6);
    EXPECT_THAT(trace.Lines(), testing::IsEmpty());
    EXPECT_THAT(log.Records(), testing::IsEmpty());
    EXPECT_THAT(assertions.Records(), testing::IsEmpty());
}

TEST_F(BrokerRegistry, EitherStandardLocationIsFound) {
    for (const char* variable : {"CommonProgramFiles(x86)", "CommonProgramFiles"}) {
        const BrokerFile none(false);
        const fs::path base = none.Folder() / "base";
        WriteFile(base / "Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe");
        EXPECT_EQ(LocateBroker(), 6);
        support::SetVariable(variable, base.string());
        EXPECT_EQ(LocateBroker(), 0) << variable;
    }
}

TEST_F(BrokerRegistry, ABaseWithLettersOfAllKindsIsFound) {
    const fs::path base = mNone.Folder() / L"\u00FCber \u65E5\u672C";
    WriteFile(base / L"Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe");
    ASSERT_EQ(::_wputenv_s(L"CommonProgramFiles", base.c_str()), 0);
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, WithoutVariablesTheFixedBaseIsUsed) {
    support::UnsetVariable("CommonProgramFiles(x86)");
    support::UnsetVariable("CommonProgramFiles");
    const fs::path broker =
        L"C:\\Program Files\\Common Files\\Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe";
    EXPECT_EQ(LocateBroker(), 6);
    WriteFile(broker);
    EXPECT_EQ(LocateBroker(), 0);
    fs::remove_all(L"C:\\Program Files\\Common Files\\Orvane");
}

// Only a process that is started with one has a variable without text: the C library sets none.
TEST(BrokerEnvironmentDeathTest, AVariableWithoutTextIsAnEmptyBase) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const wchar_t* variable : {L"CommonProgramFiles(x86)", L"CommonProgramFiles"}) {
        ASSERT_NE(::SetEnvironmentVariableW(variable, L""), FALSE);
    }
    const fs::path top = L"C:\\Orvane";
    const auto locate = [] {
        fs::current_path(L"C:\\");
        return LocateBroker();
    };
    EXPECT_EXIT(std::_Exit(locate()), testing::ExitedWithCode(6), "");
    WriteFile(top / L"Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe");
    EXPECT_EXIT(std::_Exit(locate()), testing::ExitedWithCode(0), "");
    fs::remove_all(top);
}

// A 64-bit program sees no difference between the views; one of 32 bits does.
TEST_F(BrokerRegistry, TheKeyIsOpenedForReadingInTheViewOf64BitPrograms) {
    EXPECT_EQ(LocateBroker(), 6);
    EXPECT_EQ(SeenRegistryCalls().mRoot, HKEY_LOCAL_MACHINE);
    EXPECT_EQ(SeenRegistryCalls().mKey, kKey);
    EXPECT_EQ(SeenRegistryCalls().mAccess, REGSAM{KEY_READ | KEY_WOW64_64KEY});
    EXPECT_EQ(SeenRegistryCalls().mOpened, 0);
}

TEST_F(BrokerRegistry, TheRegistryIsNotOpenedForAFileAtAStandardLocation) {
    const BrokerFile there;
    EXPECT_EQ(LocateBroker(), 0);
    support::SetVariable("CommonProgramFiles(x86)", mNone.Folder().string());
    EXPECT_EQ(LocateBroker(), 0);
    EXPECT_EQ(SeenRegistryCalls().mKey, L"");
}

TEST_F(BrokerRegistry, TheKeyIsClosedWhateverItHolds) {
    int opened = 0;
    for (const std::wstring& path : {std::wstring(L"x"), std::wstring(200, L'x'), MakeBroker().wstring()}) {
        mRegistry.Store(path);
        LocateBroker();
        EXPECT_EQ(SeenRegistryCalls().mOpened, ++opened);
        EXPECT_EQ(SeenRegistryCalls().mAskedBytes, 260U);
    }
    EXPECT_EQ(SeenRegistryCalls().mClosed, opened);
}

TEST_F(BrokerRegistry, TheStoredPathIsRead) {
    mRegistry.Store(MakeBroker().wstring());
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, SlashesCountAsSeparatorsToo) {
    mRegistry.Store(MakeBroker().generic_wstring());
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, AnotherFileNameIsRefusedEvenWhenItExists) {
    // The file system doesn't tell the letters apart; the comparison does.
    const fs::path folder = MakeBroker().parent_path();
    mRegistry.Store((folder / L"orvaneipcbroker.exe").wstring());
    ASSERT_TRUE(fs::exists(folder / L"orvaneipcbroker.exe"));
    EXPECT_EQ(LocateBroker(), 6);
    mRegistry.Store(folder.wstring());
    EXPECT_EQ(LocateBroker(), 6);
    mRegistry.Store(L"");
    EXPECT_EQ(LocateBroker(), 6);
}

TEST_F(BrokerRegistry, APathThatIsNotThereIsRefused) {
    mRegistry.Store((mNone.Folder() / L"none\\OrvaneIPCBroker.exe").wstring());
    EXPECT_EQ(LocateBroker(), 6);
}

TEST_F(BrokerRegistry, AKeyWithoutTheValueGivesSix) {
    HKEY key = nullptr;
    ASSERT_EQ(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                                nullptr, &key, nullptr),
              ERROR_SUCCESS);
    ::RegCloseKey(key);
    EXPECT_EQ(LocateBroker(), 6);
}

TEST_F(BrokerRegistry, APathOfAHundredAndThirtyUnitsIsRefused) {
    mRegistry.Store(MakeBrokerWithPathOf(129));
    EXPECT_EQ(LocateBroker(), 0);
    mRegistry.Store(MakeBrokerWithPathOf(130));
    EXPECT_EQ(LocateBroker(), 6);
    mRegistry.Store(MakeBrokerWithPathOf(129, L'\u00FC'));
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, AValueWithoutItsNulIsReadWithinTheBuffer) {
    const std::wstring path = MakeBroker().wstring();
    // To what is stored as text the system adds its NUL.
    mRegistry.StoreBytes(path.c_str(), path.size() * sizeof(wchar_t), REG_BINARY);
    EXPECT_EQ(LocateBroker(), 0);
    // As many bytes as are asked for, none of them NUL.
    const std::wstring full = MakeBrokerWithPathOf(130);
    mRegistry.StoreBytes(full.c_str(), full.size() * sizeof(wchar_t), REG_BINARY);
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, WhatStandsBehindTheFirstNulIsNotRead) {
    const std::wstring values = MakeBroker().wstring() + L'\0' + L"C:\\other" + L'\0';
    mRegistry.StoreBytes(values.c_str(), (values.size() + 1) * sizeof(wchar_t), REG_MULTI_SZ);
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, AFolderOfTheBrokersNameIsThereToo) {
    const fs::path base = mNone.Folder() / "base";
    fs::create_directories(base / "Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe");
    mRegistry.Store((base / "Orvane\\Orvane Desktop Common\\IPCBox\\OrvaneIPCBroker.exe").wstring());
    EXPECT_EQ(LocateBroker(), 0);
    mRegistry.Store(L"");
    EXPECT_EQ(LocateBroker(), 6);
    support::SetVariable("CommonProgramFiles", base.string());
    EXPECT_EQ(LocateBroker(), 0);
}

TEST_F(BrokerRegistry, ValuesOfOtherTypesAreTakenAsTheyAre) {
    for (const DWORD type : {REG_EXPAND_SZ, REG_BINARY, REG_MULTI_SZ, REG_NONE}) {
        mRegistry.Store(MakeBroker().wstring(), type);
        EXPECT_EQ(LocateBroker(), 0) << type;
    }
}

}  // namespace
}  // namespace nuoplexasupport
