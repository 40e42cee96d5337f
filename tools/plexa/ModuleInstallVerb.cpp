#include <poll.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "BusConnection.h"
#include "DesktopService.h"
#include "Failure.h"
#include "InstallProgress.h"
#include "Mailbox.h"
#include "ModuleOptions.h"
#include "Output.h"
#include "PayloadText.h"
#include "Verbs.h"
#include "bus/MessageTypes.h"
#include "common/Failure.h"
#include "nuocore/Exception.h"
#include "nuocore/VersionInfo.h"
#include "nuoplexasupport/nuoplexasupport.h"

namespace orvane::plexa::tool {

using nuocore::ImmutableString;
using nuocore::async::Future;
using nuocore::serialization::ExtractPropertyFromObject;
using nuocore::serialization::VariantObject;

namespace {

constexpr std::chrono::seconds kBetweenLooks{1};
constexpr int kPercentBetweenLines = 10;

struct InstallOptions {
    ConnectionOptions mConnection;
    ModuleOptions mModule;
    bool mIsJSON = false;
};

// What happens, in the order in which it does.
struct Share {
    int mPercent;
};
struct Reason {
    std::string mCode;
    std::string mText;
};
struct End {
    bool mIsInstalled;
    int mResult;
};
struct NothingToCancel {};
using News = std::variant<Share, Reason, End, NothingToCancel>;

// The library tells results only; the service's own words stand in its events.
class Listener final : public nuoplexasupport::IPlexaClient {
  public:
    Listener(std::string inModule, std::shared_ptr<Mailbox<News>> inNews)
        : mModule(std::move(inModule)), mNews(std::move(inNews)) {}

    void ReceiveSubscribedMessage(const ImmutableString& /*inMessageType*/,
                                  const VariantObject& inPayload) override {
        if (TextOf(inPayload, "module-id") != mModule || TextOf(inPayload, "event-type") != "error") return;
        const auto& data = ExtractPropertyFromObject<VariantObject>(inPayload, "error-data");
        mNews->Put(Reason{TextOf(data, "error-code"), TextOf(data, "error-metadata")});
    }
    // To the cancellation. Other refusals leave the end to an event.
    void ReceiveResponse(const ImmutableString& /*inMessageType*/,
                         const nuocore::utility::Guid& /*inRequestId*/, const VariantObject& inPayload,
                         const nuocore::UTF8String& /*inErrorText*/) override {
        if (TextOf(inPayload, "result") != "error") return;
        const auto& data = ExtractPropertyFromObject<VariantObject>(inPayload, "error-data");
        static const std::string sNothing =
            std::to_string(static_cast<int>(zarnd::ErrorCode::kNothingToCancel));
        if (TextOf(data, "error-code") == sNothing) mNews->Put(NothingToCancel());
    }

  private:
    std::string mModule;
    std::shared_ptr<Mailbox<News>> mNews;
};

End EndOf(const Future<void>& inDone) {
    try {
        inDone.Get();
        return {true, 0};
    } catch (const nuocore::config::nuo_exception& exception) {
        return {false, exception.GetCode()};
    }
}

// Shows the course of one installation.
class Display {
  public:
    Display(const std::string& inModule, bool inIsJSON)
        : mModule(inModule), mIsJSON(inIsJSON), mIsBar(!inIsJSON && ::isatty(STDOUT_FILENO) == 1) {}

    void Show(const Share& inShare) {
        if (mIsJSON) {
            mOutput.Line(ProgressLine(mModule, inShare.mPercent));
        } else if (mIsBar) {
            mOutput.Write(ProgressBar(mModule, inShare.mPercent));
        } else if (inShare.mPercent >= mNextLine) {
            mOutput.Line(PlainLine(mModule) + ": " + std::to_string(inShare.mPercent) + " %");
            mNextLine = inShare.mPercent - inShare.mPercent % kPercentBetweenLines + kPercentBetweenLines;
        }
        mHasShown = true;
    }
    // Ends the line that a bar stands on.
    void Break() {
        if (mIsBar && std::exchange(mHasShown, false)) mOutput.Line("");
    }
    void Finish(const std::string& inJSON, const std::string& inText) {
        Break();
        if (mIsJSON) {
            mOutput.Line(inJSON);
        } else if (!inText.empty()) {
            mOutput.Line(inText);
        }
    }

  private:
    // Not cut short by an interruption: what comes of that is to be read too.
    Output mOutput;
    std::string mModule;
    bool mIsJSON;
    bool mIsBar;
    bool mHasShown = false;
    int mNextLine = 0;
};

class Installation {
  public:
    Installation(const InstallOptions& inOptions, const BusConnection& inBus, const api5::EndPoint& inService,
                 const Interruption& inInterruption)
        : mOptions(inOptions),
          mBus(inBus),
          mService(inService),
          mInterruption(inInterruption),
          mListener(boost::make_shared<Listener>(inOptions.mModule.mId, mNews)),
          mDisplay(inOptions.mModule.mId, inOptions.mIsJSON) {
        nuoplexasupport::SubscribeToMessage(mListener, mEventType);
    }
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;
    ~Installation() {
        mNews->Close();
        nuoplexasupport::UnsubscribeFromMessage(mListener, mEventType);
    }

    void Run() {
        const auto future = nuoplexasupport::RequestModuleDownload(
            ImmutableString(mOptions.mModule.mId),
            [news = mNews](const ImmutableString& /*inId*/, float inShare) {
                news->Put(Share{PercentOf(inShare)});
            },
            true);
        Departure departure([this] { return IsOnBus(mBus, mService); });
        (void)future.Then([news = mNews](const Future<void>& inDone) { news->Put(EndOf(inDone)); });
        for (;;) {
            if (Await()) {
                const News news = *mNews->Take();
                if (const auto* const share = std::get_if<Share>(&news)) mDisplay.Show(*share);
                if (const auto* const reason = std::get_if<Reason>(&news)) mReason = *reason;
                if (const auto* const end = std::get_if<End>(&news)) return Finish(*end);
                if (std::holds_alternative<NothingToCancel>(news)) {
                    Fail(
                        kExitFailure,
                        "may be installed or not: its end was told while this tool was cut off from the bus; "
                        "look with \"plexa module list\"");
                }
            } else if (mInterruption.HasCome() && !mIsCancelled) {
                Cancel();
            } else if (departure.HasCome()) {
                Fail(kExitFailure, "is not installed: the desktop service has left the bus; ask again");
            }
        }
    }

  private:
    // False when nothing came for a while, or at the first interruption.
    bool Await() {
        const Deadline next = Clock::now() + kBetweenLooks;
        if (!mIsCancelled) return mInterruption.Await(mNews->Descriptor(), next);
        pollfd wanted{mNews->Descriptor(), POLLIN, 0};
        return ::poll(&wanted, 1, static_cast<int>(std::chrono::milliseconds(kBetweenLooks).count())) == 1;
    }

    // The end is told by an event, as for every installation, and may be that it is installed.
    void Cancel() {
        mIsCancelled = true;
        mDisplay.Break();
        std::cerr << "plexa: taking the request back; Ctrl-C again leaves at once\n" << std::flush;
        nuoplexasupport::SendClientRequest(
            mListener, ImmutableString(zarnd::kCancelType),
            ImmutableString(std::string(zarnd::kCancelType) + zarnd::kAnswerSuffix), nuocore::utility::Guid(),
            mOptions.mModule.AsQuestion(), nuoplexasupport::kPlexaSerializationFlavor_JSON,
            nuoplexasupport::kPlexaRequestIDKeyType_RequestId, "");
    }

    void Finish(const End& inEnd) {
        const std::string& id = mOptions.mModule.mId;
        if (inEnd.mIsInstalled) {
            return mDisplay.Finish(EndLine(id, "completed"), PlainLine(id) + ": installed");
        }
        if (inEnd.mResult == nuoplexasupport::kModuleDownloadCancelled) {
            mDisplay.Finish(EndLine(id, "cancelled"), "");
            throw Failure(kExitCancelled, PlainLine(id) + ": cancelled");
        }
        if (mReason.mText.empty()) mReason.mText = "the desktop service gives no reason";
        mDisplay.Finish(ErrorLine(id, mReason.mCode, mReason.mText, inEnd.mResult), "");
        if (inEnd.mResult == nuoplexasupport::kModuleOperationsBlockedByConflictingProcess) {
            throw Failure(kExitConflict, PlainLine(id) + " is not installed: close these programs first: " +
                                             PlainLine(mReason.mText));
        }
        throw Failure(HasCodeOfItsOwn(inEnd.mResult) ? kExitInstallError : kExitFailure,
                      PlainLine(id) + " is not installed: " + PlainLine(mReason.mText) +
                          (mReason.mCode.empty() ? "" : " (error " + PlainLine(mReason.mCode) + ")"));
    }

    static bool HasCodeOfItsOwn(int inResult) {
        return inResult == nuoplexasupport::kModuleInstallError118 ||
               inResult == nuoplexasupport::kModuleInstallError413 ||
               inResult == nuoplexasupport::kModuleInstallError414;
    }

    [[noreturn]] void Fail(ExitCode inCode, const char* inText) {
        mDisplay.Finish(
            ErrorLine(mOptions.mModule.mId, "", inText, nuoplexasupport::kModuleDownloadFailedDefault), "");
        throw Failure(inCode, PlainLine(mOptions.mModule.mId) + " " + inText);
    }

    const InstallOptions& mOptions;
    const BusConnection& mBus;
    api5::EndPoint mService;
    const Interruption& mInterruption;
    const ImmutableString mEventType{zarnd::kEventType};
    // The library may be calling while this goes.
    const std::shared_ptr<Mailbox<News>> mNews = std::make_shared<Mailbox<News>>();
    boost::shared_ptr<Listener> mListener;
    Display mDisplay;
    Reason mReason;
    bool mIsCancelled = false;
};

// The request as the library will send it.
void CheckRequest(const ModuleOptions& inModule) {
    VariantObject request = AsSent(inModule.AsQuestion());
    const auto add = [&request](const char* inKey, std::string_view inText) {
        request[inKey] = nuocore::serialization::MakeValue(nuocore::UTF8String(inText));
    };
    add("product-vardo-version", nuocore::versioninfo::GetVardoVersionString());
    add("silent-mode", "true");
    CheckQuestionLength(EncodePayload(request, PayloadFormat::kXML, "request").size());
}

void Install(InstallOptions ioOptions) {
    RequireProduct(ioOptions.mModule);
    CheckQuestion(ioOptions.mModule.AsQuestion());
    // The library asks for modules of the product that the process says it is.
    ioOptions.mConnection.mCode = ioOptions.mModule.mProduct;
    const Interruption interruption;
    BusConnection bus(ioOptions.mConnection);
    CheckRequest(ioOptions.mModule);
    bus.Connect(interruption);
    const api5::EndPoint service = RequireService(bus, interruption);
    Installation(ioOptions, bus, service, interruption).Run();
}

}  // namespace

void AddModuleInstallVerb(CLI::App& ioModule) {
    CLI::App* const verb =
        ioModule.add_subcommand("install", "Have a module installed, and show how it goes");
    const auto options = std::make_shared<InstallOptions>();
    AddModuleId(*verb, options->mModule, true);
    AddProduct(*verb, options->mModule);
    verb->add_option("--product-version", options->mConnection.mVersion,
                     "Version of the product (default: $NUOCORE_CLIENT_VERSION, else the tool's own)")
        ->type_name("VERSION");
    verb->add_flag("--json", options->mIsJSON, "Print one JSON object a line");
    AddWait(*verb, options->mConnection);
    verb->callback([options] { Install(*options); });
    verb->footer(
        "The tool speaks as the product. On a terminal there is a progress bar, elsewhere a line every ten\n"
        "percent. Ctrl-C takes the request back and waits for the end; a second one leaves at once. If the\n"
        "desktop service zarnd is not on the bus, the tool starts it.\n\n"
        "Examples:\n"
        "  plexa module install KQ7L --product QRTX --product-version 20.0\n"
        "  plexa module install KQ7L --product QRTX --product-version 20.0 --json\n\n"
        "JSON lines have \"module\" and \"event\": progress (with \"percent\"), completed, cancelled, or error\n"
        "(with \"code\", \"text\" and the library's \"result\").\n"
        "Exit codes: 0 installed, 1 failed, 2 wrong command line, 4 no broker or no desktop service,\n"
        "5 programs run that must not, 6 cancelled, 7 install error 118, 413 or 414.");
}

}  // namespace orvane::plexa::tool
