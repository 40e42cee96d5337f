#include "digest/Sha256.h"

#include <openssl/evp.h>

#include <array>
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

std::string Sha256::Finish() {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    Check(::EVP_DigestFinal_ex(mContext.get(), digest.data(), &size));
    std::string text;
    for (unsigned place = 0; place != size; ++place) {
        text += kDigits[digest[place] >> 4U];
        text += kDigits[digest[place] & 15U];
    }
    Begin();
    return text;
}

}  // namespace orvane::plexa::zarnd
