#include "fetch/Authorities.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>

namespace orvane::plexa::zarnd {

void CheckAuthorities(const std::filesystem::path& inFile) {
    std::error_code error;
    // What is a folder, or a pipe, would not be read to an end.
    const bool isFile = std::filesystem::is_regular_file(inFile, error);
    const std::unique_ptr<BIO, decltype(&::BIO_free)> file(
        isFile ? ::BIO_new_file(inFile.c_str(), "r") : nullptr, &::BIO_free);
    if (!file) {
        throw std::runtime_error("the file of certificates to trust can't be read: " + inFile.string());
    }
    const std::unique_ptr<X509, decltype(&::X509_free)> first(
        ::PEM_read_bio_X509_AUX(file.get(), nullptr, nullptr, nullptr), &::X509_free);
    ::ERR_clear_error();
    if (!first) {
        throw std::runtime_error("the file of certificates to trust has none in the form PEM: " +
                                 inFile.string());
    }
}

}  // namespace orvane::plexa::zarnd
