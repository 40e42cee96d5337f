/// The socket that clients connect to. Single-threaded.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

#include "FileDescriptor.h"

namespace orvane::plexa::broker {

enum class AcceptResult : std::uint8_t {
    /// A connection was taken.
    kAccepted,
    /// Nobody waits.
    kNone,
    /// Somebody was turned away, since this process or the system has no descriptor left.
    kTurnedAway,
    /// The system can take nobody in now: try again a little later, not at once.
    kLater,
};

/// Tells a file from all others of the machine.
struct FileNumber {
    dev_t device = 0;
    ino_t inode = 0;
    friend bool operator==(const FileNumber&, const FileNumber&) = default;
};

class Listener {
  public:
    /// Makes the socket at inPath in place of what is there; nobody else may be serving it. Readable and
    /// writable for its owner only. Throws std::system_error.
    static Listener Bind(const std::string& inPath);
    /// Serves a listening socket that somebody else made and removes, and which clients find at inPath.
    /// Throws std::system_error.
    static Listener Adopt(FileDescriptor inSocket, const std::string& inPath);
    /// True when somebody, whoever it is, listens at inPath.
    static bool IsServed(const std::string& inPath) noexcept;

    Listener(Listener&&) noexcept = default;
    Listener& operator=(Listener&&) noexcept = default;
    ~Listener() = default;

    int Descriptor() const noexcept { return mSocket.Get(); }
    /// Takes one connection in, not blocking and not inherited by children.
    AcceptResult Accept(FileDescriptor& outConnection);
    /// Takes the path away, if it is still this socket's, so that nobody new connects; those who wait can
    /// still be taken in.
    void Unlink() noexcept;
    /// False when the path was taken away or is another's now.
    bool InPlace() const noexcept;
    bool Adopted() const noexcept { return mAdopted; }

  private:
    Listener(FileDescriptor inSocket, std::string inPath, bool inAdopted);

    FileDescriptor mSocket;
    /// Given up for a moment when there is no other descriptor left, so that a waiting connection can be
    /// taken and closed instead of staying ready for ever.
    FileDescriptor mSpare;
    std::string mPath;
    bool mAdopted;
    std::optional<FileNumber> mFile;
};

}  // namespace orvane::plexa::broker
