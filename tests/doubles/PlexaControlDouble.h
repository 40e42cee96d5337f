/// A double of the control library: records every call in order and answers as a test says.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "PlexaControl/PlexaControl.h"

namespace doubles {

namespace api = orvane::plexa::api5;

/// The one controller of the double. Calls are recorded as texts such as "CheckAppInstalled A-1"; a last
/// argument that isn't null is added as " and more".
class ControlDouble final : public api::IPlexaController {
  public:
    static ControlDouble& Get();

    std::vector<std::string> Calls() const;
    void Record(std::string inCall);

    // What the operations answer.
    api::PlexaControlErrorCode mGetInstanceResult = api::kPlexaControlErrorCode_None;
    bool mGivesController = true;
    bool mAnswer = true;  ///< of every operation that tells success
    int mProcessId = 4711;
    const char* mPath = "/opt/app";
    std::vector<const char*> mSpecifiers;
    std::function<void(const std::string&)> mOnCall;  ///< runs inside every operation, with what is recorded

    void Reserved0() override;
    void Reserved1() override;
    bool LaunchApp(const char* inAppId, bool inNewInstance, const char* inArguments,
                   void* inReserved) override;
    void Reserved3() override;
    int GetProcessId(const char* inAppId, void* inReserved) override;
    bool CheckAppInstalled(const char* inAppId, void* inReserved) override;
    bool GetAppPath(const char* inAppId, const char** outPath, void* inReserved) override;
    void ReleaseAppPath(const char* inPath) override;
    bool GetTargetSpecifierList(const char*** outSpecifiers, std::size_t* outCount,
                                void* inReserved) override;
    void Reserved9() override;
    void ReleaseTargetSpecifierList(const char** inSpecifiers, std::size_t inCount) override;

  private:
    mutable std::mutex mMutex;
    std::vector<std::string> mCalls;
};

}  // namespace doubles
