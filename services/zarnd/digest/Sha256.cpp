#include "digest/Sha256.h"

#include <openssl/evp.h>

#include <new>
#include <stdexcept>
#include <string_view>

namespace orvane::plexa::zarnd {

namespace {

void Check(int inResult) {
    if (inResult != 1) throw std::runtime_error("the library of digests fails");
}

}  // namespace

void Sha256::Free::operator()(evp_md_ctx_st* inContext) const noexcept { ::EVP_MD_CTX_free(inContext); }

Sha256::Sha256() : mContext(::EVP_MD_CTX_new()) {
    if (!mContext) throw std::bad_alloc();
    Begin();
}

void Sha256::Begin() { Check(::EVP_DigestInit_ex(mContext.get(), ::EVP_sha256(), nullptr)); }

void Sha256::Update(std::span<const std::byte> inBytes) {
    Check(::EVP_DigestUpdate(mContext.get(), inBytes.data(), inBytes.size()));
}

Sha256::Digest Sha256::FinishDigest() {
    Digest digest{};
    Check(::EVP_DigestFinal_ex(mContext.get(), reinterpret_cast<unsigned char*>(digest.data()), nullptr));
    Begin();
    return digest;
}

std::string Sha256::Hex(const Digest& inDigest) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : inDigest) {
        text += kDigits[std::to_integer<std::size_t>(byte >> 4)];
        text += kDigits[std::to_integer<std::size_t>(byte & std::byte{15})];
    }
    return text;
}

}  // namespace orvane::plexa::zarnd
