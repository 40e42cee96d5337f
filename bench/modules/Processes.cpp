#include "Processes.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace bench {

namespace {

void Answer(int inConnection, int inFile) {
    char question[4096];
    if (::recv(inConnection, question, sizeof question, 0) <= 0) return;
    struct stat status {};
    ::fstat(inFile, &status);
    const std::string head =
        "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " + std::to_string(status.st_size) +
        "\r\n\r\n";
    if (::send(inConnection, head.data(), head.size(), MSG_NOSIGNAL) < 0) return;
    off_t place = 0;
    while (place < status.st_size) {
        if (::sendfile(inConnection, inFile, &place, static_cast<std::size_t>(status.st_size - place)) <= 0)
            return;
    }
}

[[noreturn]] void Serve(int inListener, const std::filesystem::path& inPath) {
    std::signal(SIGPIPE, SIG_IGN);
    const int file = ::open(inPath.c_str(), O_RDONLY | O_CLOEXEC);
    for (;;) {
        const int connection = ::accept(inListener, nullptr, nullptr);
        Answer(connection, file);
        ::close(connection);
    }
}

}  // namespace

Measured Measure(const std::function<int()>& inWork) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t process = ::fork();
    if (process == 0) ::_exit(inWork());
    int status = 0;
    rusage usage{};
    ::wait4(process, &status, 0, &usage);
    if (status != 0) throw std::runtime_error("what is measured has failed");
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    return {time.count(), usage.ru_maxrss};
}

FileServer::FileServer(const std::filesystem::path& inPath) {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener, 16) != 0 ||
        ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("cannot serve");
    }
    mPort = ntohs(address.sin_port);
    mProcess = ::fork();
    if (mProcess == 0) Serve(listener, inPath);
    ::close(listener);
}

FileServer::~FileServer() {
    ::kill(mProcess, SIGKILL);
    ::waitpid(mProcess, nullptr, 0);
}

std::string FileServer::Address() const { return "http://127.0.0.1:" + std::to_string(mPort) + "/archive"; }

}  // namespace bench
