#include "Comparison.h"

#include <algorithm>
#include <ctime>
#include <stdexcept>
#include <utility>

namespace codecs {

void Comparison::Add(std::string inName, std::function<bool()> inRun) {
    mTasks.push_back({std::move(inName), std::move(inRun)});
}

std::vector<Comparison::Figure> Comparison::Measure(std::size_t inSamples, double inSecondsPerSample) {
    for (Task& task : mTasks) {
        Calibrate(task, inSecondsPerSample);
    }
    for (std::size_t i = 0; i < inSamples; ++i) {
        for (Task& task : mTasks) {
            task.mSamples.push_back(TimeBatch(task) / static_cast<double>(task.mBatch));
        }
    }
    std::vector<Figure> figures;
    for (Task& task : mTasks) {
        std::sort(task.mSamples.begin(), task.mSamples.end());
        const double median = task.mSamples[inSamples / 2];
        const double quartiles = task.mSamples[inSamples * 3 / 4] - task.mSamples[inSamples / 4];
        figures.push_back({task.mName, median * 1e6, quartiles / 2 / median});
    }
    return figures;
}

double Comparison::TimeBatch(const Task& inTask) {
    const std::clock_t start = std::clock();
    for (std::size_t i = 0; i < inTask.mBatch; ++i) {
        if (!inTask.mRun()) {
            throw std::runtime_error(inTask.mName + " did not do its work");
        }
    }
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

void Comparison::Calibrate(Task& ioTask, double inSeconds) {
    for (;;) {
        const double seconds = TimeBatch(ioTask);
        if (seconds >= inSeconds) {
            return;
        }
        const double factor = std::clamp(1.2 * inSeconds / std::max(seconds, 1e-9), 1.5, 16.0);
        ioTask.mBatch = static_cast<std::size_t>(static_cast<double>(ioTask.mBatch) * factor) + 1;
    }
}

}  // namespace codecs
