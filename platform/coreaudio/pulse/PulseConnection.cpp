#include "PulseConnection.h"

#include <pulse/error.h>

namespace qcp::coreaudio::pulse {

OSStatus StatusOf(int error) {
    switch (error) {
    case PA_OK: return kAudioHardwareNoError;
    case PA_ERR_NOENTITY: return kAudioHardwareBadDeviceError;
    case PA_ERR_ACCESS:
    case PA_ERR_AUTHKEY: return kAudioDevicePermissionsError;
    case PA_ERR_INVALID:
    case PA_ERR_NOTSUPPORTED:
    case PA_ERR_NOTIMPLEMENTED: return kAudioHardwareIllegalOperationError;
    case PA_ERR_CONNECTIONREFUSED:
    case PA_ERR_CONNECTIONTERMINATED:
    case PA_ERR_KILLED:
    case PA_ERR_BADSTATE: return kAudioHardwareNotRunningError;
    default: return kAudioHardwareUnspecifiedError;
    }
}

PulseConnection::Lock::Lock(const PulseConnection& connection) : fLoop(connection.fLoop) {
    pa_threaded_mainloop_lock(fLoop);
}

PulseConnection::Lock::~Lock() { pa_threaded_mainloop_unlock(fLoop); }

void PulseConnection::Wait() const { pa_threaded_mainloop_wait(fLoop); }

void PulseConnection::Signal() const { pa_threaded_mainloop_signal(fLoop, 0); }

PulseConnection::PulseConnection() : fLoop(pa_threaded_mainloop_new()) {
    pa_threaded_mainloop_set_name(fLoop, "com.qcp.coreaudio.pulse");
    pa_threaded_mainloop_start(fLoop);
}

PulseConnection::~PulseConnection() {
    if (fContext) {
        Lock lock(*this);
        fHandler = nullptr;
        pa_context_disconnect(fContext);
    }
    pa_threaded_mainloop_stop(fLoop);
    if (fContext) pa_context_unref(fContext);
    pa_threaded_mainloop_free(fLoop);
}

void PulseConnection::OnState(pa_context* context, void* self) {
    auto* connection = static_cast<PulseConnection*>(self);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) && !connection->fLost) {
        connection->fLost = true;
        if (connection->fHandler) connection->fHandler->OnLost();
    }
    pa_threaded_mainloop_signal(connection->fLoop, 0);
}

void PulseConnection::OnSubscription(pa_context*, pa_subscription_event_type_t type, uint32_t index, void* self) {
    auto* connection = static_cast<PulseConnection*>(self);
    if (connection->fHandler) connection->fHandler->OnEvent(connection->fContext, type, index);
}

void PulseConnection::OnOperation(pa_operation*, void* self) {
    pa_threaded_mainloop_signal(static_cast<PulseConnection*>(self)->fLoop, 0);
}

void PulseConnection::Forget(pa_operation* operation) {
    if (operation) pa_operation_unref(operation);
}

void PulseConnection::Succeeded(pa_context*, int success, void* result) { *static_cast<int*>(result) = success; }

bool PulseConnection::Connect(const std::string& server, Handler* handler, pa_subscription_mask_t events) {
    {
        Lock lock(*this);
        if (fContext) {
            if (PA_CONTEXT_IS_GOOD(pa_context_get_state(fContext))) return false;
            // Streams of the old one hold their own references to it.
            pa_context_set_state_callback(fContext, nullptr, nullptr);
            pa_context_set_subscribe_callback(fContext, nullptr, nullptr);
            pa_context_unref(fContext);
        }
        fLost = false;
        fHandler = nullptr;
        fContext = pa_context_new(pa_threaded_mainloop_get_api(fLoop), "qcp-coreaudio");
        pa_context_set_state_callback(fContext, &OnState, this);
        if (pa_context_connect(fContext, server.empty() ? nullptr : server.c_str(), PA_CONTEXT_NOAUTOSPAWN,
                               nullptr) < 0) {
            fLost = true;
            return false;
        }
        // Refused or unreachable servers fail at once; a silent one fails
        // when the library's reply timeout runs out.
        pa_context_state_t state;
        while ((state = pa_context_get_state(fContext)) != PA_CONTEXT_READY) {
            if (!PA_CONTEXT_IS_GOOD(state)) return false;
            pa_threaded_mainloop_wait(fLoop);
        }
        if (!handler) return true;
        fHandler = handler;
        pa_context_set_subscribe_callback(fContext, &OnSubscription, this);
    }
    int subscribed = 0;
    const OSStatus status =
        Run([&](pa_context* context) { return pa_context_subscribe(context, events, &Succeeded, &subscribed); });
    return status == kAudioHardwareNoError && subscribed;
}

bool PulseConnection::IsUp() const {
    Lock lock(*this);
    return fContext && pa_context_get_state(fContext) == PA_CONTEXT_READY;
}

OSStatus PulseConnection::LastError() const {
    Lock lock(*this);
    return fContext ? StatusOf(pa_context_errno(fContext)) : kAudioHardwareNotRunningError;
}

OSStatus PulseConnection::Run(const std::function<pa_operation*(pa_context*)>& issue) {
    Lock lock(*this);
    if (!fContext || pa_context_get_state(fContext) != PA_CONTEXT_READY) return kAudioHardwareNotRunningError;
    pa_operation* operation = issue(fContext);
    if (!operation) return StatusOf(pa_context_errno(fContext));
    pa_operation_set_state_callback(operation, &OnOperation, this);
    while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING) pa_threaded_mainloop_wait(fLoop);
    const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
    pa_operation_unref(operation);
    return done ? kAudioHardwareNoError : kAudioHardwareNotRunningError;
}

} // namespace qcp::coreaudio::pulse
