/// The message library's connection to the broker.
///
/// One process has one dispatcher. It connects in the background, starts the broker when none runs, and calls
/// listeners and end point callbacks on a thread of its own, the delivery thread, one call after another.
///
/// Connection and threads stay with the process that made them: one that was forked off without running
/// another program begins without an instance, and may obtain one of its own. A process may end without
/// `ReleaseInstance`; what it has sent is then handed over only as far as it had got.
#pragma once

#include <cstddef>

#include "PlexaMessage5/EndPoint.h"
#include "PlexaMessage5/ErrorCode.h"
#include "PlexaMessage5/Export.h"
#include "PlexaMessage5/Message.h"

namespace orvane::plexa::api5 {

/// Receives messages. Inside `Receive` everything is allowed: sending, registering, also the last
/// `ReleaseInstance`. The order of the virtual operations is part of the binary interface.
class PLEXA_MESSAGE5_API IPlexaMessageListener {
  public:
    IPlexaMessageListener();
    IPlexaMessageListener(const IPlexaMessageListener&) = delete;
    IPlexaMessageListener& operator=(const IPlexaMessageListener&) = delete;

    /// A message for this process, on the delivery thread. The message is valid during the call. What it
    /// throws is reported as an assertion and discarded.
    virtual void Receive(const PlexaMessage& inMessage) = 0;
    virtual ~IPlexaMessageListener();
};

/// Told on the delivery thread when the list of end points has changed, and when the connection has become
/// ready.
using EndPointRefreshCallback = void (*)(void* inContext);

/// Thread rule: all operations may be called on any thread, also inside `Receive` and end point callbacks.
/// `AddListener`, `EnableListener`, the registrations and `GetInstance` never wait for a callback. A
/// dispatcher pointer stays callable after `ReleaseInstance`; its operations then do nothing. The order of
/// the virtual operations is part of the binary interface; there is no virtual destructor among them.
class PLEXA_MESSAGE5_API IPlexaMessageDispatcher {
  public:
    /// Names the product that this process is: its app id is `inSAPCode` + "-" + `inClientVersion`. Both are
    /// copied. Errors: `InvalidParameter` for a null or empty text, one with control characters, or an app id
    /// of more than 255 bytes. `AlreadyDone` when the same values are set already; while an instance exists
    /// other values are refused with `InvalidParameter`. `Unknown` when there is no memory.
    static PlexaMessageErrorCode SetConfig(const char* inSAPCode, const char* inClientVersion);

    /// Gives the process's dispatcher and takes one reference to it. Doesn't wait for the broker. Errors,
    /// with a null dispatcher: `NotConfigured` before `SetConfig`, `InvalidParameter` for a null address,
    /// `BrokerFileDoesNotExist` when no broker runs and its program can't be found, `Unknown` when the system
    /// gives no thread or descriptor.
    static PlexaMessageErrorCode GetInstance(IPlexaMessageDispatcher** outDispatcher);

    /// Drops one reference. The last one leaves the bus: it stops deliveries, then waits until what was sent
    /// has been handed over, 5 s at most; on the delivery thread it returns at once and the hand-over goes on
    /// behind it. Without a reference it does nothing.
    static void ReleaseInstance();

    virtual void Reserved0() = 0;

    /// Takes a message for its destination, or for every other end point when it has none; source and
    /// destination are those of the message, the source's app id is this process's own whatever was set.
    /// Success means that the message will arrive or that an `ErrorMessage` will say why not. May wait while
    /// the bounds of unconfirmed messages are reached, 5 s without progress at most, never on the delivery
    /// thread. Errors: `InvalidParameter` for a type of more than 4096 bytes or a payload of more than 1 MiB,
    /// `NotConfigured` after `ReleaseInstance`.
    virtual PlexaMessageErrorCode SendMessage(const SuiteMessage& inMessage) = 0;

    /// Registers a listener; it receives nothing until it is enabled. `AlreadyDone` when it is registered.
    virtual PlexaMessageErrorCode AddListener(IPlexaMessageListener* inListener) = 0;
    /// Takes a listener back, enabled or not. On other threads than the delivery thread it returns only when
    /// no call to this listener is running any more. `InvalidParameter` when it is not registered.
    virtual PlexaMessageErrorCode RemoveListener(IPlexaMessageListener* inListener) = 0;
    /// From now on a registered listener receives. Messages that arrived before the first listener was
    /// enabled come first.
    virtual PlexaMessageErrorCode EnableListener(IPlexaMessageListener* inListener) = 0;
    /// The reverse; waits as `RemoveListener` does.
    virtual PlexaMessageErrorCode DisableListener(IPlexaMessageListener* inListener) = 0;

    /// Asks to be told of end point refreshes; a refresh that has been completed before is told again to the
    /// newcomer.
    virtual PlexaMessageErrorCode RegisterEndPointRefreshCallback(EndPointRefreshCallback inCallback,
                                                                  void* inContext) = 0;
    /// The reverse, for the same pair; waits as `RemoveListener` does.
    virtual PlexaMessageErrorCode UnregisterEndPointRefreshCallback(EndPointRefreshCallback inCallback,
                                                                    void* inContext) = 0;

    virtual void Reserved8() = 0;
    virtual void Reserved9() = 0;

    /// This process's end point; `INVALID_ENDPOINT` until the broker has given it.
    virtual EndPoint GetSelfEndPoint() = 0;
    /// Whether this process is known to a broker and knows the end points.
    virtual bool IsDispatcherReady() = 0;
    /// The end points of all processes that receive, this one included, in a stable order (by member, oldest
    /// first). The array belongs to the library and is given back with `ReleaseEndPointList`; it is null when
    /// there is none.
    virtual PlexaMessageErrorCode GetEndPointList(EndPoint** outEndPoints, std::size_t* outCount) = 0;
    virtual void ReleaseEndPointList(EndPoint* inEndPoints) = 0;

  protected:
    IPlexaMessageDispatcher() = default;
    IPlexaMessageDispatcher(const IPlexaMessageDispatcher&) = delete;
    IPlexaMessageDispatcher& operator=(const IPlexaMessageDispatcher&) = delete;
    ~IPlexaMessageDispatcher() = default;
};

}  // namespace orvane::plexa::api5
