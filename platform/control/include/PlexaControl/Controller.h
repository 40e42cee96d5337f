/// The applications of this desktop: which are installed, where they are, whether they run, and starting
/// them.
///
/// An application is known by its app id, which is also the app id of its end points on the bus, so that a
/// listed application can be addressed. Its desktop entry carries the id; docs/applications.md says how, and
/// what each answer is made of.
#pragma once

#include <cstddef>

#include "PlexaControl/ErrorCode.h"
#include "PlexaControl/Export.h"

namespace orvane::plexa::api5 {

/// Thread rule: all operations may be called on any thread; those of an instance while the caller holds a
/// reference. None throws. What an operation needs a text for refuses null. The last argument, where it is
/// called reserved, is null. The order of the virtual operations is part of the binary interface; there is no
/// virtual destructor among them.
class PLEXA_CONTROL_API IPlexaController {
  public:
    /// Gives the process's controller and takes one reference to it. Errors, with a null controller:
    /// `InvalidParameter` for a null address, `Unknown` when there is no memory.
    static PlexaControlErrorCode GetInstance(IPlexaController** outController) noexcept;

    /// Drops one reference; with the last one what was learnt of the installed applications is forgotten.
    /// Without a reference it does nothing.
    static void ReleaseInstance() noexcept;

    /// The processes of inCount applications, as `GetProcessId` gives them, found in one look at all
    /// processes instead of one for each. Takes a reference of its own. Errors, with outProcessIds left
    /// alone: `InvalidParameter` for a null address, `Unknown` when the processes can't be looked at.
    static PlexaControlErrorCode GetProcessIds(const char* const* inAppIds, std::size_t inCount,
                                               int* outProcessIds) noexcept;

    virtual void Reserved0() = 0;
    virtual void Reserved1() = 0;

    /// Starts an application; inArguments are quoted as for a shell, which takes no part in it (see
    /// docs/applications.md).
    ///
    /// With inNewInstance false an application that runs already isn't started again: true without arguments,
    /// false with some, since nobody would get them. The new process belongs to no one: it is no child of
    /// this process and outlives it. False also when the application isn't installed, when the arguments
    /// can't be read, and when its program can't be started.
    virtual bool LaunchApp(const char* inAppId, bool inNewInstance, const char* inArguments,
                           void* inReserved) = 0;

    virtual void Reserved3() = 0;

    /// The process of an application that runs for this user, the one that has run longest; 0 when none does.
    virtual int GetProcessId(const char* inAppId, void* inReserved) = 0;

    virtual bool CheckAppInstalled(const char* inAppId, void* inReserved) = 0;

    /// The absolute path, in UTF-8, of the program that an application starts. The caller gives it back with
    /// `ReleaseAppPath`. False, with the pointer left alone, when the application isn't installed.
    virtual bool GetAppPath(const char* inAppId, const char** outPath, void* inReserved) = 0;
    virtual void ReleaseAppPath(const char* inPath) = 0;

    /// The app ids of all installed applications, sorted by their bytes. The caller gives them back with
    /// `ReleaseTargetSpecifierList`. False, with both results left alone, when there is no memory.
    virtual bool GetTargetSpecifierList(const char*** outSpecifiers, std::size_t* outCount,
                                        void* inReserved) = 0;

    virtual void Reserved9() = 0;

    virtual void ReleaseTargetSpecifierList(const char** inSpecifiers, std::size_t inCount) = 0;

  protected:
    IPlexaController() = default;
    ~IPlexaController() = default;

  public:
    IPlexaController(const IPlexaController&) = delete;
    IPlexaController& operator=(const IPlexaController&) = delete;
};

}  // namespace orvane::plexa::api5
