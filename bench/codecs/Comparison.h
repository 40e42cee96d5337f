/// Takes the time of several tasks side by side.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace codecs {

/// Tasks take turns sample by sample, so that a machine whose speed drifts favours none; what counts is the
/// median of the processor time, which other programs on the machine disturb little.
class Comparison {
  public:
    struct Figure {
        std::string mName;
        double mMicroseconds;  ///< median of one run
        double mSpread;        ///< half the distance of the quartiles over the median
    };

    /// Adds a task; `inRun` returns whether it did what it should.
    void Add(std::string inName, std::function<bool()> inRun);
    /// Measures all tasks. Throws `std::runtime_error` when one fails.
    [[nodiscard]] std::vector<Figure> Measure(std::size_t inSamples, double inSecondsPerSample);

  private:
    struct Task {
        std::string mName;
        std::function<bool()> mRun;
        std::size_t mBatch = 1;
        std::vector<double> mSamples = {};
    };

    static double TimeBatch(const Task& inTask);
    static void Calibrate(Task& ioTask, double inSeconds);

    std::vector<Task> mTasks;
};

}  // namespace codecs
