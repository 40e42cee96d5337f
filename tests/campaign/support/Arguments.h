/// What a campaign is told on its command line: words of the form name=value, each value a whole number.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>

namespace campaign {

class Arguments {
  public:
    /// Throws `std::invalid_argument`, with a text for the user, for a word of another form.
    explicit Arguments(std::span<char* const> inWords);

    /// The value of inName, or inDefault when it isn't given. What is asked for is what may be given.
    std::uint64_t Number(const std::string& inName, std::uint64_t inDefault);

    /// Throws `std::invalid_argument` when something was given that nobody asked for.
    void CheckAllUsed() const;

  private:
    struct Value {
        std::uint64_t mNumber = 0;
        bool mUsed = false;
    };

    std::map<std::string, Value> mValues;
};

}  // namespace campaign
