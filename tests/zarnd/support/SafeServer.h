/// A server of https of a test's own.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"
#include "support/ScratchFolder.h"

namespace zarnd_test {

/// A server of https that serves the files of a folder, with a certificate that an authority of its own
/// signed.
class SafeServer {
  public:
    explicit SafeServer(const std::string& inFolder, const std::string& inAuthority = "authority")
        : mFolder(inFolder) {
        OpenSsl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                 "-keyout", Path("ca.key"), "-out", Authority(), "-days", "1", "-subj", "/CN=" + inAuthority,
                 "-addext", "keyUsage=critical,keyCertSign"});
        OpenSsl({"req", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                 Path("server.key"), "-out", Path("server.request"), "-subj", "/CN=server"});
        Write(Path("extensions"), "subjectAltName=IP:127.0.0.1\n");
        OpenSsl({"x509", "-req", "-in", Path("server.request"), "-CA", Authority(), "-CAkey", Path("ca.key"),
                 "-CAcreateserial", "-out", Path("server.pem"), "-days", "1", "-extfile",
                 Path("extensions")});
        mServer.emplace(support::Command{
            {"/bin/sh", "-c",
             "cd '" + mFolder +
                 "' && exec /usr/bin/openssl s_server -accept 127.0.0.1:0 -cert server.pem -key "
                 "server.key -HTTP"}});
        const std::string announced = "ACCEPT 127.0.0.1:";
        if (!mServer->AwaitOutput(announced) || !mServer->AwaitOutput("\n")) {
            throw std::runtime_error(mServer->Errors());
        }
        const std::string& output = mServer->Output();
        mPort = std::stoi(output.substr(output.find(announced) + announced.size()));
    }

    [[nodiscard]] std::string Authority() const { return Path("ca.pem"); }
    [[nodiscard]] std::string Address() const {
        return "https://127.0.0.1:" + std::to_string(mPort) + "/archive";
    }

  private:
    [[nodiscard]] std::string Path(const std::string& inName) const { return mFolder + "/" + inName; }
    static void OpenSsl(std::vector<std::string> inArguments) {
        inArguments.insert(inArguments.begin(), "/usr/bin/openssl");
        const auto made = support::Run({std::move(inArguments)});
        if (made.mExitCode != 0) throw std::runtime_error(made.mErrors);
    }

    std::string mFolder;
    std::optional<support::ChildProcess> mServer;
    int mPort = 0;
};

}  // namespace zarnd_test
