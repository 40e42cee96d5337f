/// What the tests of strings, variants, JSON and XML share.
#pragma once

#include <locale>
#include <string>

namespace data_test {

/// While it lives, the global C++ locale writes a decimal comma and groups digits with points.
class CommaLocale {
  public:
    CommaLocale() : mBefore(std::locale::global(std::locale(std::locale::classic(), new Punctuation))) {}
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
    ~CommaLocale() { std::locale::global(mBefore); }

  private:
    struct Punctuation final : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale mBefore;
};

}  // namespace data_test
