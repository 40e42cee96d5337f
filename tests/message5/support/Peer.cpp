#include "Peer.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Eventually.h"

namespace {

std::array<int, 2> Pipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::system_category(), "pipe");
    return ends;
}

}  // namespace

Peer::Peer() {
    const auto input = Pipe();
    const auto output = Pipe();
    mProcess = ::fork();
    if (mProcess < 0) throw std::system_error(errno, std::system_category(), "fork");
    if (mProcess == 0) {
        ::dup2(input[0], STDIN_FILENO);
        ::dup2(output[1], STDOUT_FILENO);
        ::execl(NUOPLEXA_PEER_PROGRAM, NUOPLEXA_PEER_PROGRAM, nullptr);
        ::_exit(127);
    }
    ::close(input[0]);
    ::close(output[1]);
    mInput = input[1];
    mOutput = output[0];
}

Peer::~Peer() {
    Kill();
    ::close(mInput);
    ::close(mOutput);
}

void Peer::Tell(const std::string& inCommand) {
    const std::string line = inCommand + "\n";
    ASSERT_EQ(::write(mInput, line.data(), line.size()), static_cast<ssize_t>(line.size()));
}

void Peer::Set(const std::string& inCommand) {
    Tell(inCommand);
    Await("set");
}

std::optional<std::string> Peer::NextLine() {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    for (;;) {
        const std::size_t end = mRead.find('\n');
        if (end != std::string::npos) {
            std::string line = mRead.substr(0, end);
            mRead.erase(0, end + 1);
            return line;
        }
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd wait{mOutput, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&wait, 1, static_cast<int>(left.count())) <= 0) return std::nullopt;
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(mOutput, bytes.data(), bytes.size());
        if (count <= 0) return std::nullopt;
        mRead.append(bytes.data(), static_cast<std::size_t>(count));
    }
}

std::string Peer::Await(std::string_view inBeginning) {
    std::string seen;
    for (;;) {
        std::optional<std::string> line;
        if (mLines.empty()) {
            line = NextLine();
        } else {
            line = std::move(mLines.front());
            mLines.pop_front();
        }
        if (!line) {
            ADD_FAILURE() << "\"" << inBeginning << "\" hasn't come; instead:\n" << seen;
            return {};
        }
        if (line->starts_with(inBeginning)) return *line;
        seen += "  " + *line + "\n";
    }
}

bool Peer::HasCome(std::string_view inBeginning) {
    // Events are told before a later command is answered, for one thread each; what another thread is about
    // to tell can't be asked for.
    Tell("is-it-so");
    bool come = false;
    for (;;) {
        const std::optional<std::string> line = NextLine();
        if (!line || line->starts_with("what is")) break;
        mLines.push_back(*line);
    }
    for (const std::string& line : mLines) come = come || line.starts_with(inBeginning);
    return come;
}

void Peer::Join(const std::string& inApp) {
    Tell("start " + inApp);
    EXPECT_EQ(Await("started"), "started 0");
    Await("refresh");
}

void Peer::AwaitEndPoints(std::size_t inCount) {
    std::string list;
    EXPECT_TRUE(Eventually([&] {
        Tell("list");
        list = Await("list");
        std::istringstream words(list);
        std::size_t count = 0;
        for (std::string word; words >> word;) ++count;
        return count == inCount + 1 || list.empty();
    })) << list;
}

std::string Peer::AwaitCount(const std::string& inSender, long inCount) {
    const std::string wanted = "counted " + inSender + " " + std::to_string(inCount) + " ";
    std::string last;
    EXPECT_TRUE(Eventually([&] {
        Tell("counts");
        for (std::string line; !(line = Await("counted")).empty() && line != "counted all";) {
            if (line.starts_with("counted " + inSender + " ")) last = line;
        }
        return last.starts_with(wanted);
    })) << last;
    return last;
}

void Peer::Kill() {
    if (mProcess > 0) {
        ::kill(mProcess, SIGKILL);
        ::waitpid(mProcess, nullptr, 0);
        mProcess = -1;
    }
}

std::optional<int> Peer::AwaitExit() {
    int status = 0;
    if (!Eventually([&] { return ::waitpid(mProcess, &status, WNOHANG) == mProcess; })) return std::nullopt;
    mProcess = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void JoinAll(std::initializer_list<Peer*> inPeers) {
    char letter = 'A';
    for (Peer* const peer : inPeers) {
        peer->Join(std::string(1, letter++) + "-1");
    }
    (*inPeers.begin())->AwaitEndPoints(inPeers.size());
}
