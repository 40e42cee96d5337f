// Servers that have to prove who they are.
#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <thread>

#include "fetch/Authorities.h"
#include "support/Fetching.h"
#include "support/HttpServer.h"
#include "support/SafeServer.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

using namespace std::chrono_literals;

TEST(Fetch, BringsContentFromAServerThatATrustedAuthorityVouchesFor) {
    const ScratchFolder scratch;
    Write(scratch.Path() / "archive",
          "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kContent.size()) +
              "\r\nConnection: close\r\n\r\n" + kContent);
    const SafeServer server(scratch.Path().string());
    FetchSettings settings = Quick();
    settings.mPace = {};
    settings.mAuthorities = server.Authority();
    Collector sink;
    EXPECT_EQ(CodeOf(server.Address(), kContent.size(), sink, settings), std::nullopt);
    EXPECT_TRUE(sink.mText == kContent);
}

TEST(Fetch, TrustsNoServerThatNobodyVouchesFor) {
    const ScratchFolder scratch;
    const SafeServer server(scratch.Path().string());
    Collector sink;
    try {
        Fetch(server.Address(), 1, Quick(), sink, {});
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Code(), ErrorCode::kUnreachable);
        EXPECT_THAT(failure.what(), testing::StartsWith("the server can't be trusted"));
    }
}

// The thread sees authorities of the test's own where the system's are.
TEST(Fetch, TrustsNoAuthorityOfTheSystemWhenOthersAreNamed) {
    const ScratchFolder scratch;
    const ScratchFolder elsewhere;
    const ScratchFolder system;
    Write(scratch.Path() / "archive", "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nConnection: close\r\n\r\nx");
    const SafeServer server(scratch.Path().string());
    const SafeServer other(elsewhere.Path().string(), "other");
    std::filesystem::copy_file(server.Authority(), system.Path() / "ca-certificates.crt");
    const auto listed = support::Run({{"/usr/bin/openssl", "rehash", system.Path().string()}});
    ASSERT_EQ(listed.mExitCode, 0) << listed.mErrors;
    bool isMounted = false;
    std::optional<ErrorCode> codeWithSystems;
    std::optional<ErrorCode> codeWithOthers;
    std::thread([&] {
        isMounted = ::unshare(CLONE_NEWNS) == 0 &&
                    ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                    ::mount(system.Path().c_str(), "/etc/ssl/certs", nullptr, MS_BIND, nullptr) == 0;
        if (!isMounted) return;
        FetchSettings settings = Quick();
        settings.mPace = {};
        Collector sink;
        codeWithSystems = CodeOf(server.Address(), 1, sink, settings);
        settings.mAuthorities = other.Authority();
        codeWithOthers = CodeOf(server.Address(), 1, sink, settings);
    }).join();
    if (!isMounted) {
        GTEST_SKIP() << "NOT TESTED: that the system's authorities are left alone. A folder must be mounted "
                        "over theirs, which only root may";
    }
    EXPECT_EQ(codeWithSystems, std::nullopt);
    EXPECT_EQ(codeWithOthers, ErrorCode::kUnreachable);
}

TEST(Fetch, DoesNotTryAgainWithAuthoritiesThatItCannotUse) {
    const ScratchFolder scratch;
    const SafeServer server(scratch.Path().string());
    Write(scratch.Path() / "words", "no certificate");
    FetchSettings settings = Quick();
    settings.mAuthorities = (scratch.Path() / "words").string();
    Collector sink;
    try {
        Fetch(server.Address(), 1, settings, sink, {});
        FAIL();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.Code(), ErrorCode::kUnreachable);
        EXPECT_THAT(failure.what(), testing::StartsWith("the certificates to trust can't be used"));
    }
}

TEST(Authorities, AreCheckedBeforeTheyAreNeeded) {
    const ScratchFolder scratch;
    const SafeServer server(scratch.Path().string());
    EXPECT_NO_THROW(CheckAuthorities(server.Authority()));
    Write(scratch.Path() / "words", "no certificate");
    const auto faultOf = [&](const std::string& inName) -> std::string {
        try {
            CheckAuthorities(scratch.Path() / inName);
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    EXPECT_THAT(faultOf("words"), testing::HasSubstr("has none in the form PEM"));
    for (const char* const name : {"nothing", "."}) {
        EXPECT_THAT(faultOf(name), testing::HasSubstr("can't be read")) << name;
    }
}

}  // namespace zarnd_test
