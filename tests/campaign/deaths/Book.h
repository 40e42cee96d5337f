/// What became of each message to a victim: said by the victim before it died, or told to the sender.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace campaign::deaths {

struct Tally {
    std::uint64_t mSent = 0;
    std::uint64_t mReceived = 0;      ///< the listener has returned, and no error was told
    std::uint64_t mNotDelivered = 0;  ///< told so
    std::uint64_t mNotConfirmed = 0;  ///< told so
    std::uint64_t mMissing = 0;       ///< neither
    std::uint64_t mDenied = 0;        ///< told as not delivered, although the listener had it
    std::uint64_t mRepeated = 0;      ///< received twice, or told twice
    std::uint64_t mForeign = 0;       ///< told or received, and never sent
};

/// Any thread. Takes all its memory at once, so that it doesn't count as somebody's growth later.
class Book {
  public:
    using Number = std::uint32_t;

    explicit Book(std::size_t inCapacity) : mFates(inCapacity) {}

    /// The next message's number; nothing when the book is full.
    std::optional<Number> Begin();
    void Began(Number inMessage);
    void Received(Number inMessage);
    void Told(Number inMessage, std::string_view inError);

    /// Whether something is known about every message sent.
    [[nodiscard]] bool AllAccounted();
    [[nodiscard]] Tally Count();

  private:
    struct Fate {
        std::uint8_t mBegan = 0;
        std::uint8_t mReceived = 0;
        std::uint8_t mNotDelivered = 0;
        std::uint8_t mNotConfirmed = 0;
        [[nodiscard]] bool Known() const { return (mReceived | mNotDelivered | mNotConfirmed) != 0; }
    };
    void Note(Number inMessage, std::uint8_t Fate::*inWhat);

    std::mutex mMutex;
    std::vector<Fate> mFates;
    std::size_t mSent = 0;
    std::size_t mKnown = 0;  // all before this one are known
    std::uint64_t mForeign = 0;
};

/// The type of a message, and back; nothing for another type.
std::string TypeOfNumber(Book::Number inMessage);
std::optional<Book::Number> NumberOfType(std::string_view inType);

}  // namespace campaign::deaths
