#include "HttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace zarnd_test {

namespace {

// False when nobody listens any more.
bool Send(int inConnection, const std::string& inText) {
    std::size_t sent = 0;
    while (sent != inText.size()) {
        const ssize_t count = ::send(inConnection, inText.data() + sent, inText.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

void SendInPieces(int inConnection, const std::string& inText, const Answer& inAnswer) {
    for (std::size_t place = 0; place < inText.size(); place += inAnswer.mPieceBytes) {
        if (!Send(inConnection, inText.substr(place, inAnswer.mPieceBytes))) return;
        std::this_thread::sleep_for(inAnswer.mPause);
    }
}

Question Parse(const std::string& inHead) {
    Question question;
    std::istringstream lines(inHead);
    std::string line;
    std::getline(lines, line);
    const std::size_t path = line.find(' ') + 1;
    question.mPath = line.substr(path, line.find(' ', path) - path);
    while (std::getline(lines, line) && line != "\r") {
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char inByte) { return static_cast<char>(std::tolower(inByte)); });
        question.mHeaders[name] = line.substr(colon + 2, line.size() - colon - 3);
    }
    return question;
}

}  // namespace

std::optional<std::size_t> Question::RangeBegin() const {
    const auto range = mHeaders.find("range");
    if (range == mHeaders.end()) return std::nullopt;
    return std::stoull(range->second.substr(std::string("bytes=").size()));
}

HttpServer::HttpServer(Answerer inAnswerer)
    : mAnswerer(std::move(inAnswerer)), mListener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (::bind(mListener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(mListener, 64) != 0 ||
        ::getsockname(mListener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        throw std::runtime_error("cannot serve");
    }
    mPort = ntohs(address.sin_port);
    mAcceptor = std::thread([this] { Accept(); });
}

HttpServer::~HttpServer() {
    mIsEnding = true;
    ::shutdown(mListener, SHUT_RDWR);
    mAcceptor.join();
    {
        const std::lock_guard lock(mMutex);
        for (const int connection : mConnections) ::shutdown(connection, SHUT_RDWR);
    }
    for (std::thread& thread : mThreads) thread.join();
    for (const int connection : mConnections) ::close(connection);
    ::close(mListener);
}

std::string HttpServer::Address(const std::string& inPath) const {
    return "http://127.0.0.1:" + std::to_string(mPort) + inPath;
}

void HttpServer::Accept() {
    while (!mIsEnding) {
        const int connection = ::accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) continue;
        const std::lock_guard lock(mMutex);
        mConnections.push_back(connection);
        mThreads.emplace_back([this, connection] { Serve(connection); });
    }
}

void HttpServer::Serve(int inConnection) {
    std::string head;
    std::array<char, 4096> buffer{};
    while (head.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = ::recv(inConnection, buffer.data(), buffer.size(), 0);
        if (count <= 0) return;
        head.append(buffer.data(), static_cast<std::size_t>(count));
    }
    Question question = Parse(head);
    question.mNumber = mQuestions++;
    const Answer answer = mAnswerer(question);
    std::string text = "HTTP/1.1 " + std::to_string(answer.mStatus) + " Said\r\nConnection: close\r\n";
    if (answer.mLength != Answer::Length::kNone) {
        const bool isTrue = answer.mLength == Answer::Length::kTrue;
        text += "Content-Length: " + std::to_string(isTrue ? answer.mBody.size() : answer.mClaimed) + "\r\n";
    }
    for (const std::string& header : answer.mHeaders) {
        if (answer.mHeadPause.count() > 0) {
            if (mIsEnding) return;
            Send(inConnection, std::exchange(text, {}));
            std::this_thread::sleep_for(answer.mHeadPause);
        }
        text += header + "\r\n";
    }
    const std::string body = answer.mBody.substr(0, answer.mCutAfter.value_or(std::string::npos));
    const std::size_t first = std::min(answer.mPauseAfter, body.size());
    Send(inConnection, text + "\r\n" + body.substr(0, first));
    if (answer.mPieceBytes > 0) {
        SendInPieces(inConnection, body.substr(first), answer);
    } else {
        if (answer.mPause.count() > 0) std::this_thread::sleep_for(answer.mPause);
        Send(inConnection, body.substr(first));
    }
    if (!answer.mStalls) ::shutdown(inConnection, SHUT_RDWR);
}

Answer Content(const Question& inQuestion, const std::string& inContent, const std::string& inTag) {
    Answer answer{200, inContent, {"ETag: " + inTag, "Accept-Ranges: bytes"}};
    const auto condition = inQuestion.mHeaders.find("if-range");
    const bool isSame = condition == inQuestion.mHeaders.end() || condition->second == inTag;
    if (const auto begin = inQuestion.RangeBegin(); begin && isSame) {
        if (*begin >= inContent.size()) return {416, "", {}};
        answer.mStatus = 206;
        answer.mBody = inContent.substr(*begin);
        answer.mHeaders.push_back("Content-Range: bytes " + std::to_string(*begin) + "-" +
                                  std::to_string(inContent.size() - 1) + "/" +
                                  std::to_string(inContent.size()));
    }
    return answer;
}

HttpServer::Answerer Cut(const std::string& inContent, std::size_t inAfter) {
    return [=](const Question& inQuestion) {
        Answer answer = Content(inQuestion, inContent);
        answer.mCutAfter = inAfter;
        return answer;
    };
}

HttpServer::Answerer Stalled(const std::string& inContent, std::size_t inAfter) {
    return [cut = Cut(inContent, inAfter)](const Question& inQuestion) {
        Answer answer = cut(inQuestion);
        answer.mStalls = true;
        return answer;
    };
}

}  // namespace zarnd_test
