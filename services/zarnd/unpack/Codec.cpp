#include "unpack/Codec.h"

#include <bzlib.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <new>
#include <string>
#include <string_view>

#include "common/Failure.h"

namespace orvane::plexa::zarnd {

namespace {

constexpr int kMaxWindowBits = 25;  // 32 MiB
// A decoder of xz needs a little more than its window.
constexpr std::uint64_t kMaxXzBytes = (std::uint64_t{1} << kMaxWindowBits) + (std::uint64_t{1} << 20U);
constexpr int kGzipOnly = 16;  // beside the bits of the window

[[noreturn]] void Break(const char* inCompression) {
    throw Failure(ErrorCode::kArchiveBroken,
                  std::string("the archive can't be read: its ") + inCompression + " compression is broken");
}

[[noreturn]] void RefuseWindow() {
    throw Failure(ErrorCode::kArchiveTooLarge, "the archive is compressed with a window of more than 32 MiB");
}

unsigned char* Bytes(std::span<const std::byte> inBytes) {
    // The libraries take input by pointers to what they don't change.
    return const_cast<unsigned char*>(reinterpret_cast<const unsigned char*>(inBytes.data()));
}

/// The libraries of gzip, bzip2 and xz are driven by a structure with the same members.
template <typename Stream>
class StreamCodec : public ICodec {
  protected:
    template <typename Run>
    auto Drive(std::span<const std::byte>& ioIn, std::span<std::byte>& ioOut, Run inRun) {
        using In = decltype(mStream.avail_in);
        mStream.next_in = reinterpret_cast<decltype(mStream.next_in)>(Bytes(ioIn));
        mStream.avail_in = static_cast<In>(ioIn.size());
        mStream.next_out = reinterpret_cast<decltype(mStream.next_out)>(Bytes(ioOut));
        mStream.avail_out = static_cast<In>(ioOut.size());
        const auto result = inRun(&mStream);
        ioIn = ioIn.last(mStream.avail_in);
        ioOut = ioOut.last(mStream.avail_out);
        return result;
    }

    Stream mStream{};
};

class Gzip final : public StreamCodec<z_stream> {
  public:
    Gzip() {
        if (::inflateInit2(&mStream, MAX_WBITS + kGzipOnly) != Z_OK) throw std::bad_alloc();
    }
    ~Gzip() override { ::inflateEnd(&mStream); }
    bool Step(std::span<const std::byte>& ioIn, std::span<std::byte>& ioOut) override {
        const int result =
            Drive(ioIn, ioOut, [](z_stream* ioStream) { return ::inflate(ioStream, Z_NO_FLUSH); });
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR) Break("gzip");
        return result == Z_STREAM_END;
    }
};

class Bzip2 final : public StreamCodec<bz_stream> {
  public:
    Bzip2() {
        if (::BZ2_bzDecompressInit(&mStream, 0, 0) != BZ_OK) throw std::bad_alloc();
    }
    ~Bzip2() override { ::BZ2_bzDecompressEnd(&mStream); }
    bool Step(std::span<const std::byte>& ioIn, std::span<std::byte>& ioOut) override {
        const int result = Drive(ioIn, ioOut, &::BZ2_bzDecompress);
        if (result != BZ_OK && result != BZ_STREAM_END) Break("bzip2");
        return result == BZ_STREAM_END;
    }
};

class Xz final : public StreamCodec<lzma_stream> {
  public:
    Xz() {
        if (::lzma_stream_decoder(&mStream, kMaxXzBytes, 0) != LZMA_OK) throw std::bad_alloc();
    }
    ~Xz() override { ::lzma_end(&mStream); }
    bool Step(std::span<const std::byte>& ioIn, std::span<std::byte>& ioOut) override {
        const lzma_ret result =
            Drive(ioIn, ioOut, [](lzma_stream* ioStream) { return ::lzma_code(ioStream, LZMA_RUN); });
        if (result == LZMA_MEMLIMIT_ERROR) RefuseWindow();
        if (result != LZMA_OK && result != LZMA_STREAM_END && result != LZMA_BUF_ERROR) Break("xz");
        return result == LZMA_STREAM_END;
    }
};

class Zstd final : public ICodec {
  public:
    Zstd() : mContext(::ZSTD_createDCtx(), &::ZSTD_freeDCtx) {
        if (!mContext) throw std::bad_alloc();
        ::ZSTD_DCtx_setParameter(mContext.get(), ZSTD_d_windowLogMax, kMaxWindowBits);
    }
    bool Step(std::span<const std::byte>& ioIn, std::span<std::byte>& ioOut) override {
        ZSTD_inBuffer in{ioIn.data(), ioIn.size(), 0};
        ZSTD_outBuffer out{ioOut.data(), ioOut.size(), 0};
        const std::size_t result = ::ZSTD_decompressStream(mContext.get(), &out, &in);
        if (::ZSTD_isError(result) != 0) {
            if (::ZSTD_getErrorCode(result) == ZSTD_error_frameParameter_windowTooLarge) RefuseWindow();
            Break("zstd");
        }
        ioIn = ioIn.subspan(in.pos);
        ioOut = ioOut.subspan(out.pos);
        return result == 0;
    }

  private:
    std::unique_ptr<ZSTD_DCtx, decltype(&::ZSTD_freeDCtx)> mContext;
};

}  // namespace

std::unique_ptr<ICodec> CodecFor(std::span<const std::byte> inBegin) {
    using namespace std::string_view_literals;
    const std::string_view begin(reinterpret_cast<const char*>(inBegin.data()), inBegin.size());
    if (begin.starts_with("\x1F\x8B\x08"sv)) return std::make_unique<Gzip>();
    if (begin.starts_with("\xFD\x37zXZ\x00"sv)) return std::make_unique<Xz>();
    if (begin.starts_with("\x28\xB5\x2F\xFD"sv)) return std::make_unique<Zstd>();
    // A frame to be skipped, as parallel compressors begin with.
    if (begin.size() >= 4 && (begin[0] & '\xF0') == '\x50' && begin.substr(1, 3) == "\x2A\x4D\x18"sv) {
        return std::make_unique<Zstd>();
    }
    // Its three letters alone could begin a file's name in a plain archive.
    if (begin.starts_with("BZh"sv) && begin.size() >= kSignatureBytes &&
        (begin.substr(4, 6) == "1AY&SY"sv || begin.substr(4, 6) == "\x17\x72\x45\x38\x50\x90"sv)) {
        return std::make_unique<Bzip2>();
    }
    return nullptr;
}

}  // namespace orvane::plexa::zarnd
