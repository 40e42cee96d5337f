#include "Search.h"

#include <algorithm>
#include <cstdio>
#include <deque>
#include <new>

#include <boost/unordered/unordered_flat_set.hpp>

#include "Arena.h"

namespace orvane::plexa::test {
namespace {

using Clock = std::chrono::steady_clock;

/// The one model of a search. It lives in the arena and is never destroyed, only forgotten.
class Stage {
  public:
    explicit Stage(const Setup& inSetup) : mSetup(inSetup) { Begin(); }

    void Begin() {
        Arena::Clear();
        const Arena::Open open;
        mModel = new Model(mSetup);
    }
    bool Take(const Step& inStep) {
        const Arena::Open open;
        return mModel->Take(inStep);
    }
    Model& TheModel() { return *mModel; }

  private:
    const Setup& mSetup;
    Model* mModel = nullptr;
};

class Searcher {
  public:
    Searcher(const Setup& inSetup, std::chrono::seconds inMost, std::string_view inWanted)
        : mStage(inSetup), mEnd(Clock::now() + inMost), mWanted(inWanted) {}

    Outcome Run() {
        const auto began = Clock::now();
        const std::uint64_t first = mStage.TheModel().Fingerprint();
        mKnown.insert(first);
        mOnPath.insert(first);
        Explore(first);
        mOutcome.states = mKnown.size();
        if (!mOutcome.broken.empty()) {
            Shorten();
            Tell();
        }
        mOutcome.seconds = std::chrono::duration<double>(Clock::now() - began).count();
        return std::move(mOutcome);
    }

  private:
    struct Level {
        std::vector<std::byte> image;
        std::vector<Step> steps;
    };

    void Explore(std::uint64_t inHere) {
        const std::size_t depth = mPath.size();
        mOutcome.depth = std::max(mOutcome.depth, depth);
        if (depth == mLevels.size()) {
            mLevels.emplace_back();
        }
        Level& level = mLevels[depth];
        Arena::Save(level.image);
        mStage.TheModel().Steps(level.steps);
        bool atRest = true;
        bool touched = false;
        const Step* impossible = nullptr;
        for (const Step& step : level.steps) {
            // Of a write whose rest does not matter, a smaller rest does not either.
            if (impossible != nullptr && impossible->action == step.action &&
                impossible->client == step.client) {
                continue;
            }
            if (touched) {
                Arena::Restore(level.image);
            }
            touched = true;
            if (!mStage.Take(step)) {
                impossible = &step;
                continue;
            }
            ++mOutcome.transitions;
            const std::uint64_t there = mStage.TheModel().Fingerprint();
            if (there == inHere) {
                continue;
            }
            atRest = atRest && !step.Progress();
            mPath.push_back(step);
            Enter(there);
            if (!mOutcome.broken.empty() || !mOutcome.finished) {
                return;
            }
            mPath.pop_back();
        }
        if (atRest) {
            ++mOutcome.ends;
            Arena::Restore(level.image);
            Judge(mStage.TheModel().LeftOver());
        }
    }

    /// False: the search goes no further from here.
    bool Judge(std::string inBroken) {
        if (inBroken.find(mWanted) != std::string::npos) {
            mOutcome.broken = std::move(inBroken);
        }
        return inBroken.empty() && mOutcome.broken.empty();
    }

    void Enter(std::uint64_t inThere) {
        if (!Judge(mStage.TheModel().Broken())) {
            return;
        }
        if (!mKnown.insert(inThere).second) {
            if (mOnPath.contains(inThere)) {
                Judge("the world runs in a circle");
            }
            return;
        }
        if ((mKnown.size() & 0x3FFU) == 0 && Clock::now() > mEnd) {
            mOutcome.finished = false;
            return;
        }
        mOnPath.insert(inThere);
        Explore(inThere);
        mOnPath.erase(inThere);
    }

    /// Is the same promise broken on this path? Steps that are impossible there are passed over.
    std::string Replay(std::vector<Step>& ioPath) {
        mStage.Begin();
        std::vector<Step> taken;
        std::vector<std::byte> image;
        std::vector<Step> possible;
        for (const Step& step : ioPath) {
            Arena::Save(image);
            mStage.TheModel().Steps(possible);
            if (std::find(possible.begin(), possible.end(), step) == possible.end() || !mStage.Take(step)) {
                Arena::Restore(image);
                continue;
            }
            taken.push_back(step);
            const std::string broken = mStage.TheModel().Broken();
            if (!broken.empty()) {
                ioPath = std::move(taken);
                return broken;
            }
        }
        ioPath = std::move(taken);
        return AtRest() ? mStage.TheModel().LeftOver() : std::string();
    }

    bool AtRest() {
        std::vector<std::byte> image;
        Arena::Save(image);
        std::vector<Step> steps;
        mStage.TheModel().Steps(steps);
        const std::uint64_t here = mStage.TheModel().Fingerprint();
        bool atRest = true;
        for (const Step& step : steps) {
            Arena::Restore(image);
            atRest =
                atRest && (!step.Progress() || !mStage.Take(step) || mStage.TheModel().Fingerprint() == here);
        }
        Arena::Restore(image);
        return atRest;
    }

    void Shorten() {
        for (bool shorter = true; shorter;) {
            shorter = false;
            for (std::size_t i = mPath.size(); i-- != 0;) {
                std::vector<Step> candidate = mPath;
                candidate.erase(candidate.begin() + static_cast<std::ptrdiff_t>(i));
                if (Replay(candidate) == mOutcome.broken && candidate.size() < mPath.size()) {
                    mPath = std::move(candidate);
                    shorter = true;
                    i = std::min(i, mPath.size());
                }
            }
        }
    }

    void Tell() {
        for (const Step& step : mPath) {
            mOutcome.story.push_back(mStage.TheModel().Text(step));
        }
    }

    Stage mStage;
    Clock::time_point mEnd;
    std::string_view mWanted;
    Outcome mOutcome;
    boost::unordered_flat_set<std::uint64_t> mKnown;
    boost::unordered_flat_set<std::uint64_t> mOnPath;
    std::vector<Step> mPath;
    std::deque<Level> mLevels;
};

}  // namespace

Outcome Search(const Setup& inSetup, std::chrono::seconds inMost, std::string_view inWanted) {
    Outcome outcome = Searcher(inSetup, inMost, inWanted).Run();
    std::printf("%-58s %9llu states %10llu steps %7llu ends, depth %3zu, %6.2f s%s\n", inSetup.name.c_str(),
                static_cast<unsigned long long>(outcome.states),
                static_cast<unsigned long long>(outcome.transitions),
                static_cast<unsigned long long>(outcome.ends), outcome.depth, outcome.seconds,
                outcome.finished ? "" : ", not finished");
    std::fflush(stdout);
    return outcome;
}

}  // namespace orvane::plexa::test
