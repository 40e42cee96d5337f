#include "DesktopService.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/smart_ptr/make_shared.hpp>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <vector>

#include "Asker.h"
#include "Failure.h"
#include "PayloadText.h"
#include "bus/MessageTypes.h"
#include "bus/OtherService.h"
#include "bus/QuestionLimits.h"
#include "nuocore/JSON.h"
#include "nuoplexasupport/nuoplexasupport.h"
#include "program/ExitCodes.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::ExtractTextFromObject;
using nuocore::serialization::VariantObject;

namespace {

constexpr double kStartSeconds = 20;
constexpr std::chrono::milliseconds kBetweenLooks{50};
constexpr std::chrono::seconds kBetweenStarts{1};
constexpr std::chrono::seconds kBetweenGlances{1};  // whether it is still there

/// The service's program, started until one of them stays.
class Starts {
  public:
    /// False when there is no such program.
    bool Start() {
        std::error_code error;
        const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
        const std::filesystem::path beside = self.parent_path() / "zarnd";
        std::string program = !error && ::access(beside.c_str(), X_OK) == 0 ? beside.string() : "zarnd";
        std::string mode = "--on-demand";
        const std::array<char*, 3> arguments{program.data(), mode.data(), nullptr};
        mNext = Clock::now() + kBetweenStarts;
        return ::posix_spawnp(&mId, program.c_str(), nullptr, nullptr, arguments.data(), environ) == 0;
    }
    /// A service that has left the bus may keep its data folder a while longer; one that is started meanwhile
    /// ends at once, and is no failure, nor is one that finds that another has come. False when the program
    /// has failed.
    bool GoOn() {
        if (Clock::now() < mNext) return true;
        int status = 0;
        if (::waitpid(mId, &status, WNOHANG) != mId) return true;
        const bool isNeedless =
            status == 0 || (WIFEXITED(status) && WEXITSTATUS(status) == zarnd::kExitOtherServes);
        return isNeedless && Start();
    }

  private:
    pid_t mId = 0;
    Clock::time_point mNext;
};

[[noreturn]] void FailToStart(const std::string& inReason) {
    throw Failure(kExitNoBroker, "the desktop service was started and " + inReason +
                                     "; look into zarnd.log in its data folder (orvane/zarnd in "
                                     "$XDG_DATA_HOME, or in ~/.local/share), and whether it serves another "
                                     "bus");
}

// Of several the one that will stay.
std::optional<api5::EndPoint> FindService(const BusConnection& inBus) {
    std::vector<zarnd::Asker> processes;
    for (const api5::EndPoint& endPoint : inBus.EndPoints()) {
        processes.push_back({AppIdOf(endPoint), endPoint.GetInstance(), endPoint.GetProcessId()});
    }
    const auto service = zarnd::OldestService(processes, &zarnd::StartOfSystemProcess);
    if (!service) return std::nullopt;
    return api5::EndPoint(service->mAppId.c_str(), service->mInstance, service->mProcessId);
}

}  // namespace

bool IsOnBus(const BusConnection& inBus, const api5::EndPoint& inService) {
    const auto endPoints = inBus.EndPoints();
    return std::any_of(endPoints.begin(), endPoints.end(), [&](const api5::EndPoint& inEndPoint) {
        return AppIdOf(inEndPoint) == AppIdOf(inService) &&
               inEndPoint.GetProcessId() == inService.GetProcessId();
    });
}

api5::EndPoint RequireService(const BusConnection& inBus, const Interruption& inInterruption) {
    if (const auto service = FindService(inBus)) return *service;
    Starts starts;
    if (!starts.Start()) {
        throw Failure(kExitNoBroker,
                      "the desktop service is not on the bus and its program was not found; install zarnd "
                      "beside this tool or into a folder of PATH, or start it yourself");
    }
    const Deadline deadline = After(kStartSeconds);
    for (;;) {
        if (const auto service = FindService(inBus)) return *service;
        (void)inInterruption.Await(-1, Clock::now() + kBetweenLooks);
        if (inInterruption.HasCome()) {
            throw Failure(kExitNoBroker, "interrupted before the desktop service was there");
        }
        if (!starts.GoOn()) FailToStart("could not serve");
        if (Clock::now() >= *deadline) FailToStart("has not come onto the bus in time");
    }
}

VariantObject AsSent(VariantObject inQuestion) {
    inQuestion["requestId"] =
        nuocore::serialization::MakeValue(nuocore::UTF8String("00000000-0000-0000-0000-000000000000"));
    return inQuestion;
}

void CheckQuestion(const VariantObject& inQuestion) {
    const std::string text(nuocore::serialization::GetJSONUTF8String(
        nuocore::serialization::VariantValue(AsSent(inQuestion)), false));
    CheckQuestionLength(text.size());
    try {
        nuocore::serialization::ParseJSON(
            text, {zarnd::kMaxQuestionBytes, zarnd::kMaxQuestionDepth, zarnd::kMaxQuestionValues});
    } catch (const nuocore::serialization::JSONError&) {
        throw Failure(kExitUsage, "cannot ask this: the desktop service takes dictionaries of " +
                                      std::to_string(zarnd::kMaxQuestionDepth) + " levels and " +
                                      std::to_string(zarnd::kMaxQuestionValues) + " values at most in all");
    }
}

void CheckQuestionLength(std::size_t inBytes) {
    if (inBytes <= zarnd::kMaxQuestionBytes) return;
    throw Failure(kExitUsage, "cannot ask this: it has " + std::to_string(inBytes) +
                                  " bytes, and the desktop service takes " +
                                  std::to_string(zarnd::kMaxQuestionBytes) + " at most");
}

VariantObject AskService(const BusConnection& inBus, const api5::EndPoint& inService,
                         const std::string& inType, const VariantObject& inQuestion,
                         const Interruption& inInterruption, std::optional<double> inSeconds) {
    const auto answers = std::make_shared<Asker::Answers>();
    const auto asker = boost::make_shared<Asker>(answers);
    nuoplexasupport::SendClientRequest(
        asker, ImmutableString(inType), ImmutableString(inType + zarnd::kAnswerSuffix),
        nuocore::utility::Guid(), inQuestion, nuoplexasupport::kPlexaSerializationFlavor_JSON,
        nuoplexasupport::kPlexaRequestIDKeyType_RequestId, "");
    const Deadline deadline = After(inSeconds);
    Departure departure([&] { return IsOnBus(inBus, inService); });
    while (!inInterruption.Await(answers->Descriptor(), Clock::now() + kBetweenGlances)) {
        if (inInterruption.HasCome()) {
            throw Failure(kExitTimeout, "interrupted before the desktop service answered");
        }
        if (departure.HasCome()) {
            throw Failure(kExitTimeout, "the desktop service has left the bus without an answer; ask again");
        }
        if (deadline && Clock::now() >= *deadline) {
            throw Failure(kExitTimeout, "the desktop service does not answer; is it busy?");
        }
    }
    VariantObject answer = *answers->Take();
    if (TextOf(answer, "result") == "done") return answer;
    VariantObject data;
    if (nuocore::serialization::ObjectHasProperty(answer, "error-data", true)) {
        data = ExtractPropertyFromObject<VariantObject>(answer, "error-data");
    }
    throw Failure(kExitFailure, "the desktop service refuses: " + PlainLine(TextOf(data, "error-metadata")) +
                                    " (error " + PlainLine(TextOf(data, "error-code")) + ")");
}

std::string TextOf(const VariantObject& inObject, const char* inKey) try {
    if (!nuocore::serialization::ObjectHasProperty(inObject, inKey, true)) return {};
    return std::string(ExtractTextFromObject(inObject, inKey));
} catch (const boost::bad_any_cast&) {
    return {};
}

}  // namespace orvane::plexa::tool
