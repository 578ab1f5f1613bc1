#pragma once

// JR_AsioEventManager: the event manager on Boost.Asio. Handlers, sockets, timers and posted functions share one loop, and
// there is no limit to the number of handlers.
//
//   JR_AsioEventManager manager;
//   gIF_EventManager = &manager;                          // for all ready-made handlers, as with a Cmn_EventManager
//   manager.EnableWatchdogThread(5, nullptr);             // the log names who blocks the loop for 5 s
//   manager.StartEventThread(eHigh, [] { ... });          // or: manager.Run() on a thread of the program's
//   manager.Post([] { Cmn_Trace("On the loop.\n"); });    // from any thread
//   boost::asio::ip::tcp::socket socket(manager.GetService());
//   ...
//   manager.StopEventThread();
//   manager.WaitForEventThread(1'000);
//
// docs/threading.md tells what differs from a Cmn_EventManager.
//
// Threads:   one thread runs the loop: the event thread, or the one that calls Run or a processing function; not both.
//            Registration, unregistration and Shutdown belong to it (before StartEventThread and after
//            WaitForEventThread, to any one thread). Post, Stop, StopEventThread, WaitForEventThread and
//            GetCurrentEventLoopThreadId: any. The watchdog's callback runs on the watchdog's thread.
// Ownership: points to the handlers, copies their names, waits on duplicates of their handles. An io_service that the
//            program gives must outlive the manager. The destructor, which no handler may call, stops and waits for an
//            event thread that still runs; what was posted and has not run is dropped with the manager's own
//            io_service. It clears gIF_EventManager if that points here.
// Errors:    reported and false. A boost::system::system_error out of a handler, a posted function or the io_service is
//            traced and reported and leaves no function here; the event thread goes on. What else they throw leaves
//            Run and the processing functions, and on the event thread it ends the program. A handler that throws
//            stays registered.
// Units:     milliseconds, the watchdog's are seconds; 0xFFFFFFFF waits without a limit

#include <memory>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/IF_EventManager.h"

namespace boost::asio {
class io_context;  // io_service is another name of it
}

class NORVIK_API JR_AsioEventManager : public IF_EventManager {
public:
    // Without an io_service the manager makes its own, which it keeps from stopping for want of work. That is up to the
    // program for one of its own: a stopped one runs nothing until it is reset, which ProcessOneEvent does not do.
    explicit JR_AsioEventManager(boost::asio::io_context* service = nullptr);
    ~JR_AsioEventManager() override;
    JR_AsioEventManager(const JR_AsioEventManager&) = delete;
    JR_AsioEventManager& operator=(const JR_AsioEventManager&) = delete;

    // The default manager, which must be one of this kind: else it fails an assertion, which throws.
    static JR_AsioEventManager& GetGlobalInstance();

    // False without a word after Shutdown; reported for a null handler and for a handle that is registered already, by
    // whichever handler. A null handle is reported, too, but registered: it is never called. A handle that cannot be
    // waited for is reported ten times a second. No mutexes: a thread of the platform's would own them.
    bool RegisterHandler(IF_EventHandler* inEventHandler, const char* name) override;
    // This handler, or else the one that is registered with the same handle; also true when there is none. From here on
    // it is not called, even when its event is set already: the set state of an auto-reset event may be used up then.
    bool UnregisterHandler(IF_EventHandler* inEventHandler) override;

    // Once: later calls change nothing. A handler that runs this long is traced with its thread's stack, but not while
    // that thread shows a question. Then `callback` is asked, when there is one, with (whether a question is shown, the
    // event that is set when a handler returns); false means that the loop is not blocked any more. Posted functions
    // and sockets are not watched; nothing is, while a debugger is attached.
    void EnableWatchdogThread(unsigned int inTimeoutSeconds,
                              std::function<bool(bool, void*)> callback) override;

    // For good. The event thread ends when there is no more work.
    void Shutdown() override;

    // Run and the event thread return after what they call now. While nothing runs, it is kept for the next Run or event
    // thread, and ProcessOneEvent does nothing until then.
    void Stop() override;

    // Runs what becomes ready for the whole time. Always true.
    bool ProcessPendingMessagesAndEvents(unsigned int timeoutMs) override;
    // Runs what is ready. Always true. A handler gets ready some tenths of a millisecond after its event was set.
    bool ProcessPendingMessagesAndEvents() override;

    // Once in the manager's life; false, and the function is discarded, when it was started before or after Shutdown.
    bool StartEventThread(Cmn_ThreadPriority priority, std::function<void()> onThreadStart) override;
    void StopEventThread() override;
    bool WaitForEventThread(unsigned int timeoutMs) override;

    Cmn_TimerService_IF& GetTimerService() override;

    // At most one completion: a handler, a posted function, a socket's, also the end of a wait that was given up. Whether
    // there was one. Looks every 5 ms, or waits when there is no limit. Reported and false after Shutdown.
    virtual bool ProcessOneEvent(unsigned int timeoutMs);

    // Runs the function later, on the thread that runs the loop. An empty one throws std::bad_function_call there.
    void Post(std::function<void()> fn);

    // Until Stop, an error, or until there is nothing to wait for: no handler, no socket, no posted function. Can be
    // called again.
    void Run();

    // Of the thread that called the latest handler; 0 before.
    unsigned int GetCurrentEventLoopThreadId() const;

    // For sockets and timers of Boost.Asio, with <boost/asio.hpp>. The manager's own one is run through the manager only.
    boost::asio::io_context& GetService();

private:
    class Private;
    const std::unique_ptr<Private> mPrivate;
};
