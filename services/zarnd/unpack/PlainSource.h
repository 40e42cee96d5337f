/// An archive's bytes with their compression taken off.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <stop_token>
#include <vector>

#include "unpack/Codec.h"

namespace orvane::plexa::zarnd {

/// Gives the next bytes of an archive, valid until the next call; none at its end.
using ByteSource = std::function<std::span<const std::byte>()>;

/// Takes off one layer of compression, so that the work for a byte that comes is bounded; streams one behind
/// another are one content. What follows the last stream and is none is not looked at.
class PlainSource {
  public:
    /// `inOnBytes` is told how many bytes of the source are done with.
    PlainSource(const ByteSource& inSource, const std::function<void(std::uint64_t)>& inOnBytes,
                std::stop_token inStop);

    /// The next bytes, valid until the next call; none at the end. Throws `Failure`, `Cancelled`, and what
    /// the source throws.
    std::span<const std::byte> Read();

  private:
    bool Refill();
    void BeginStream();
    std::span<const std::byte> Decode();

    const ByteSource& mSource;
    const std::function<void(std::uint64_t)>& mOnBytes;
    std::stop_token mStop;
    std::uint64_t mRead = 0;
    std::span<const std::byte> mIn;  // what the source gave and is not done with
    std::vector<std::byte> mBegin;   // of a stream, when it came in pieces
    std::unique_ptr<ICodec> mCodec;
    std::vector<std::byte> mOut;
    bool mIsPlain = false;
    bool mHasBegun = false;
    bool mHasEnded = false;  // the source
};

}  // namespace orvane::plexa::zarnd
