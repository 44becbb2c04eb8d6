#pragma once
#include <pulse/context.h>
#include <pulse/subscribe.h>
#include <pulse/thread-mainloop.h>

#include <functional>
#include <string>

#include "CoreAudio/AudioHardwareBase.h"

namespace qcp::coreaudio::pulse {

// What the server's errors become: PA_ERR_NOENTITY kAudioHardwareBadDeviceError,
// PA_ERR_ACCESS and PA_ERR_AUTHKEY kAudioDevicePermissionsError,
// PA_ERR_INVALID, PA_ERR_NOTSUPPORTED and PA_ERR_NOTIMPLEMENTED
// kAudioHardwareIllegalOperationError, a lost or refused connection
// kAudioHardwareNotRunningError, anything else kAudioHardwareUnspecifiedError.
OSStatus StatusOf(int error);

// One client connection to the sound server with the threaded main loop that
// serves it. Made and destroyed by its owner on any thread but the loop's
// own; Run and Connect are called from any thread but the loop's. The
// handler and the operations' callbacks run on the loop's thread with the
// loop's lock held: they must not call Run, nor wait for a thread that does.
class PulseConnection {
public:
    // Called on the loop's thread.
    class Handler {
    public:
        virtual ~Handler() = default;
        virtual void OnEvent(pa_context* context, pa_subscription_event_type_t type, uint32_t index) = 0;
        // The connection failed or the server went away; it stays down
        // until Connect succeeds again.
        virtual void OnLost() = 0;
    };

    PulseConnection();
    // Disconnects and stops the loop's thread: no callback runs afterwards.
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    // Connects to `server` (empty: the client library's usual lookup, which
    // honours PULSE_SERVER) without spawning one, waiting until the server
    // answers or refuses; with a handler, subscribes it to `events`. False
    // when no server could be reached, or the connection is up already. A
    // connection that failed or was lost may connect again: operations and
    // streams then work on the new one.
    bool Connect(const std::string& server, Handler* handler = nullptr,
                 pa_subscription_mask_t events = PA_SUBSCRIPTION_MASK_NULL);
    bool IsUp() const;

    // Calls `issue` with the loop locked to start operations, then waits
    // until the operation it returns has completed or the connection fails
    // (the server's own reply timeout bounds the wait). `issue` may return
    // null when it could not start one (the context's error is answered).
    // The operation's callbacks have run when this returns.
    OSStatus Run(const std::function<pa_operation*(pa_context*)>& issue);
    // For success callbacks: their `userdata` is an int the result goes to.
    static void Succeeded(pa_context* context, int success, void* result);
    // The context's last error as a status.
    OSStatus LastError() const;
    // Lets go of an operation whose callbacks do all there is to do.
    static void Forget(pa_operation* operation);

    // The loop's lock, held for a scope, for code that drives its own
    // streams on the connection's context. Not on the loop's thread.
    class Lock {
    public:
        explicit Lock(const PulseConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* fLoop;
    };
    // With the lock held: the context (null before Connect), and a wait
    // until the loop signals (a stream's or the connection's state changed,
    // or a stream's callback called Signal).
    pa_context* Context() const { return fContext; }
    void Wait() const;
    // Wakes every thread in Wait; from the loop's callbacks or with the lock.
    void Signal() const;

private:
    static void OnState(pa_context* context, void* self);
    static void OnSubscription(pa_context* context, pa_subscription_event_type_t type, uint32_t index, void* self);
    static void OnOperation(pa_operation* operation, void* self);

    pa_threaded_mainloop* fLoop = nullptr;
    pa_context* fContext = nullptr;
    Handler* fHandler = nullptr;
    bool fLost = false; // under the loop's lock
};

} // namespace qcp::coreaudio::pulse
