/// A private broker, and figures about it.
#pragma once

#include <cstdint>
#include <string>

#include <sys/types.h>

namespace bench {

class PrivateBroker {
  public:
    /// Starts inProgram on a temporary directory and waits until it serves. Throws std::system_error or
    /// std::runtime_error.
    explicit PrivateBroker(const std::string& inProgram);
    ~PrivateBroker();
    PrivateBroker(const PrivateBroker&) = delete;
    PrivateBroker& operator=(const PrivateBroker&) = delete;

    std::string SocketPath() const { return mDirectory + "/broker.sock"; }
    /// Seconds of processor time it has used.
    double ProcessorTime() const;

  private:
    std::string mDirectory;
    pid_t mProcess = -1;
};

struct Throughput {
    double messagesPerSecond = 0;
    /// Messages per second of the broker's own processor time: what one core would carry if the broker had it
    /// alone.
    double messagesPerBrokerSecond = 0;
};
Throughput MeasureThroughput(const std::string& inProgram, std::uint64_t inCount, std::size_t inPayload);

struct RoundTrip {
    double medianMicroseconds = 0;
    double p99Microseconds = 0;
};
RoundTrip MeasureRoundTrip(const std::string& inProgram, std::uint64_t inCount, std::size_t inPayload);

}  // namespace bench
