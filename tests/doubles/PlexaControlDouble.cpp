#include "doubles/PlexaControlDouble.h"

#include <utility>

namespace doubles {

namespace {

std::string Call(const char* inName, const std::string& inArguments, const void* inReserved) {
    return std::string(inName) + ' ' + inArguments + (inReserved != nullptr ? " and more" : "");
}

}  // namespace

ControlDouble& ControlDouble::Get() {
    static auto& sInstance = *new ControlDouble;
    return sInstance;
}

std::vector<std::string> ControlDouble::Calls() const {
    const std::scoped_lock lock(mMutex);
    return mCalls;
}

void ControlDouble::Record(std::string inCall) {
    if (mOnCall) mOnCall(inCall);
    const std::scoped_lock lock(mMutex);
    mCalls.push_back(std::move(inCall));
}

void ControlDouble::Reserved0() { Record("Reserved0"); }
void ControlDouble::Reserved1() { Record("Reserved1"); }
void ControlDouble::Reserved3() { Record("Reserved3"); }
void ControlDouble::Reserved9() { Record("Reserved9"); }

bool ControlDouble::LaunchApp(const char* inAppId, bool inNewInstance, const char* inArguments,
                              void* inReserved) {
    Record(Call("LaunchApp", std::string(inAppId) + (inNewInstance ? " true " : " false ") + inArguments,
                inReserved));
    return mAnswer;
}

int ControlDouble::GetProcessId(const char* inAppId, void* inReserved) {
    Record(Call("GetProcessId", inAppId, inReserved));
    return mProcessId;
}

bool ControlDouble::CheckAppInstalled(const char* inAppId, void* inReserved) {
    Record(Call("CheckAppInstalled", inAppId, inReserved));
    return mAnswer;
}

bool ControlDouble::GetAppPath(const char* inAppId, const char** outPath, void* inReserved) {
    Record(
        Call("GetAppPath", std::string(inAppId) + (*outPath != nullptr ? " with a path" : ""), inReserved));
    *outPath = mPath;
    return mAnswer;
}

void ControlDouble::ReleaseAppPath(const char* inPath) {
    Record(inPath == mPath ? "ReleaseAppPath" : "ReleaseAppPath of another");
}

bool ControlDouble::GetTargetSpecifierList(const char*** outSpecifiers, std::size_t* outCount,
                                           void* inReserved) {
    Record(Call("GetTargetSpecifierList", *outSpecifiers != nullptr || *outCount != 0 ? "with a list" : "",
                inReserved));
    *outSpecifiers = mSpecifiers.data();
    *outCount = mSpecifiers.size();
    return mAnswer;
}

void ControlDouble::ReleaseTargetSpecifierList(const char** inSpecifiers, std::size_t inCount) {
    Record((inSpecifiers == mSpecifiers.data() ? "ReleaseTargetSpecifierList "
                                               : "ReleaseTargetSpecifierList of another ") +
           std::to_string(inCount));
}

}  // namespace doubles

namespace orvane::plexa::api5 {

PlexaControlErrorCode IPlexaController::GetInstance(IPlexaController** outController) noexcept {
    auto& control = doubles::ControlDouble::Get();
    control.Record(*outController != nullptr ? "GetInstance with a controller" : "GetInstance");
    if (control.mGivesController) *outController = &control;
    return control.mGetInstanceResult;
}

void IPlexaController::ReleaseInstance() noexcept { doubles::ControlDouble::Get().Record("ReleaseInstance"); }

}  // namespace orvane::plexa::api5
