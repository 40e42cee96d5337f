/// Compression of archives, one layer of it. No I/O.
#pragma once

#include <cstddef>
#include <memory>
#include <span>

namespace orvane::plexa::zarnd {

/// One compressed stream, turned into what it was.
class ICodec {
  public:
    ICodec() = default;
    ICodec(const ICodec&) = delete;
    ICodec& operator=(const ICodec&) = delete;
    virtual ~ICodec() = default;

    /// Takes bytes from the front of `ioIn` and puts others to the front of `ioOut`; both shrink. True at the
    /// end of the stream, false when it needs more of either. Throws `Failure`.
    virtual bool Step(std::span<const std::byte>& ioIn, std::span<std::byte>& ioOut) = 0;
};

/// As many bytes as are looked at to tell how a stream is compressed.
inline constexpr std::size_t kSignatureBytes = 10;

/// What turns a stream that begins so (gzip, bzip2, xz or zstd) into what it was; null when it isn't
/// compressed. Memory is bounded: windows of more than 32 MiB are refused (`kArchiveTooLarge`).
std::unique_ptr<ICodec> CodecFor(std::span<const std::byte> inBegin);

}  // namespace orvane::plexa::zarnd
