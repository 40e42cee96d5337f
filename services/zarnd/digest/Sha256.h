/// SHA-256 of what streams by.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>

struct evp_md_ctx_st;

namespace orvane::plexa::zarnd {

/// One thread at a time.
class Sha256 {
  public:
    using Digest = std::array<std::byte, 32>;

    /// Throws `std::bad_alloc`.
    Sha256();

    void Update(std::span<const std::byte> inBytes);
    /// The digest of all bytes so far; then it begins anew.
    Digest FinishDigest();
    /// The same as 64 lower-case hexadecimal digits.
    std::string Finish() { return Hex(FinishDigest()); }

    static std::string Hex(const Digest& inDigest);

  private:
    struct Free {
        void operator()(evp_md_ctx_st* inContext) const noexcept;
    };
    void Begin();

    std::unique_ptr<evp_md_ctx_st, Free> mContext;
};

}  // namespace orvane::plexa::zarnd
