/// The state machine of deployments with tests in place of the work.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "deployment/Deployment.h"

namespace zarnd_test {

using namespace orvane::plexa::zarnd;

inline const Asker kAnna{"ANNA-1", 1, 11};
inline const Asker kBert{"BERT-1", 2, 22};
inline const ProgressMeter::Time kBegin{std::chrono::hours(1)};

inline std::string TextOf(const Course& inCourse) {
    if (const auto* const progress = std::get_if<Progress>(&inCourse))
        return std::to_string(progress->mPercent);
    if (const auto* const error = std::get_if<Error>(&inCourse)) {
        return "error " + std::to_string(static_cast<int>(error->mCode)) + " " + error->mMetadata;
    }
    return std::holds_alternative<Completed>(inCourse) ? "completed" : "cancelled";
}

/// A module of the plans below: "A<B,C" needs B and C, which stand before it.
inline PlannedModule Planned(const std::string& inText, std::uint64_t inWeight) {
    PlannedModule planned;
    planned.mSpec.mId = inText.substr(0, 1);
    for (std::size_t place = 2; place < inText.size(); place += 2)
        planned.mSpec.mNeeds.push_back({inText[place]});
    planned.mWeight = inWeight;
    return planned;
}

class Deploying : public testing::Test, protected IDeploymentActions {
  protected:
    void StartWork(const ModuleKey& inKey, const ModuleSpec& inModule) override {
        mSpecs[inKey.mModule] = inModule;
        EXPECT_TRUE(mWorking.insert(inKey.mModule).second) << inKey.mModule << " is worked on twice at once";
        EXPECT_LE(mWorking.size(), Deployment::kMaxWorking);
        ++mStarted[inKey.mModule];
    }
    void StopWork(const ModuleKey& inKey) override { mStopped.insert(inKey.mModule); }
    void Tell(const Asker& inAsker, const DeploymentEvent& inEvent) override {
        mTold.push_back(inAsker.mAppId.substr(0, 1) + inEvent.mKey.mModule + " " + TextOf(inEvent.mCourse));
        mVersion = inEvent.mVersion;
    }

    void Request(const Asker& inAsker, const std::vector<std::string>& inPlan,
                 const std::string& inVersion = "20.0") {
        Plan plan;
        for (const std::string& text : inPlan) plan.push_back(Planned(text, 100));
        RequestPlan(inAsker, plan, inVersion);
    }
    void RequestPlan(const Asker& inAsker, const Plan& inPlan, const std::string& inVersion = "20.0") {
        mDeployment.OnRequest({inAsker, {"QRTX", inPlan.back().mSpec.mId}, inVersion}, inPlan, mNow);
    }
    void RequestFrom(const Asker& inAsker, const std::string& inModule, std::uint64_t inStart) {
        mDeployment.OnRequest({inAsker, {"QRTX", inModule}, "20.0", inStart}, {Planned(inModule, 100)}, mNow);
    }
    void Refuse(const Asker& inAsker, const std::string& inModule) {
        mDeployment.Refuse({inAsker, {"QRTX", inModule}, "20.0"}, {ErrorCode::kUnknownModule, "no such"});
    }
    bool Cancel(const Asker& inAsker, const std::string& inModule) {
        return mDeployment.OnCancel(inAsker, {"QRTX", inModule});
    }
    void Share(const std::string& inModule, double inShare) {
        mNow += std::chrono::seconds(1);
        mDeployment.OnShare({"QRTX", inModule}, inShare, mNow);
    }
    void Done(const std::string inModule, const Outcome& inOutcome = Completed{}) {
        EXPECT_EQ(mWorking.erase(inModule), 1U) << inModule;
        mStopped.erase(inModule);
        mDeployment.OnDone({"QRTX", inModule}, inOutcome, mNow);
    }
    /// What has been told since the last call.
    std::vector<std::string> Told() { return std::exchange(mTold, {}); }

    Deployment mDeployment{*this};
    std::set<std::string> mWorking;
    std::set<std::string> mStopped;
    std::map<std::string, int> mStarted;
    std::map<std::string, ModuleSpec> mSpecs;  // of the latest work
    std::vector<std::string> mTold;
    std::string mVersion;
    ProgressMeter::Time mNow = kBegin;
};

}  // namespace zarnd_test
