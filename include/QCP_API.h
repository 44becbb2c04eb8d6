/*
 * QCP_API.h — the capture plug-in's host interface.
 *
 * Plain C. The host loads the plug-in, calls QCP_IntitializeLibrary first and
 * QCP_UninitializeLibrary last, and talks to two devices: "pc-capture" (screen)
 * and "pc-audio-capture" (system audio). Boolean results are int 0 or 1.
 * Strings follow "size query then fill": pass a null buffer and a length
 * pointer to learn the length without the terminating NUL, then pass a buffer
 * of at least length + 1 bytes. See docs/host-interface.md.
 *
 * Threads. Between QCP_IntitializeLibrary and QCP_UninitializeLibrary every
 * function may be called from any host thread, several at once, while the
 * plug-in's own threads capture and deliver. Initialisation and
 * uninitialisation themselves must not overlap any other call. Changes of one
 * source (settings, start and stop, removal) are applied one after another in
 * the order they take its lock, interleaved with the window monitor's
 * re-aims but never mixed with them; reads never wait for a change.
 */
#ifndef QCP_API_H
#define QCP_API_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define QCP_EXPORT __declspec(dllexport)
#else
#define QCP_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Four-character codes: the first character is the most significant byte. */
#define QCP_FOURCC(a, b, c, d) \
    ((uint32_t)(((uint32_t)(a) << 24) | ((uint32_t)(b) << 16) | ((uint32_t)(c) << 8) | (uint32_t)(d)))

enum {
    QCP_DEVICE_STATE_READY = 0x6B726564,   /* 'kred' */
    QCP_SOURCE_STATE_EXISTS = 0x6B736176,  /* 'ksav' */
    QCP_SOURCE_STATE_UNKNOWN = 0x6B6E6F73, /* 'knos' */
    QCP_EVENT_SETTINGS_CHANGED = 0x6B736574, /* 'kset' */
    QCP_VIDEO_FORMAT_IOSURFACE = 0x696F7372, /* 'iosr' */
    QCP_AUDIO_FORMAT_PCM = 0x6670636D        /* 'fpcm' */
};

#define QCP_SCREEN_DEVICE_ID "pc-capture"
#define QCP_AUDIO_DEVICE_ID "pc-audio-capture"
#define QCP_AUDIO_SOURCE_ID "System Audio Capture"

/* One video frame, filled in place for every frame. `surfaceId` points at the
 * frame surface's global id and is valid only during the video callback. */
typedef struct QCP_VideoBuffer {
    uint32_t format;       /* QCP_VIDEO_FORMAT_IOSURFACE */
    uint32_t width;        /* pixels */
    uint32_t height;       /* pixels */
    uint32_t bytesPerRow;
    float elementAspect;   /* element width / element height */
    uint32_t reserved0;
    uint64_t timeStamp;    /* microseconds */
    uint32_t one;          /* always 1 */
    uint32_t reserved1;
    uint32_t* surfaceId;
} QCP_VideoBuffer;

/* One audio packet: 48 kHz, 2 channels, 16-bit interleaved PCM. `data` is
 * valid only during the audio callback. */
typedef struct QCP_AudioBuffer {
    uint32_t format;        /* QCP_AUDIO_FORMAT_PCM */
    uint32_t sampleRate;    /* 48000 */
    uint32_t channels;      /* 2 */
    uint32_t bitsPerSample; /* 16 */
    uint32_t dataBytes;     /* a multiple of 4 */
    uint32_t reserved0;
    uint64_t timeStamp;     /* always 0 */
    uint32_t one;           /* always 1 */
    uint32_t reserved1;
    void* data;
} QCP_AudioBuffer;

typedef enum QCP_PropertyType {
    QCP_PROPERTY_INT32 = 0, /* value points to an int32_t */
    QCP_PROPERTY_TEXT = 6   /* value points to a NUL-terminated text */
} QCP_PropertyType;

typedef void (*QCP_LogCallback)(void* context, int level, const char* format, ...);
typedef void (*QCP_DeviceStateChangedCallback)(void* context, uint32_t state);
typedef void (*QCP_SourceChangedCallback)(void* context, int event);
typedef void (*QCP_VideoDataCallback)(void* context, QCP_VideoBuffer* frame);
typedef void (*QCP_AudioDataCallback)(void* context, QCP_AudioBuffer* audio);
typedef const char* (*QCP_LocalizeStringCallback)(const char* key);
typedef void (*QCP_GetPreferenceCallback)(void* context, const char* key, char* buffer, int* length);
typedef void (*QCP_SetPreferenceCallback)(void* context, const char* key, const char* value);
typedef void (*QCP_PropertyCallback)(void* context, QCP_PropertyType type, void* value);

/* Library and devices.
 * QCP_IntitializeLibrary returns 0 when no platform could be set up (for
 * instance QCP_PLATFORM names an unknown one), leaving nothing behind; 1
 * otherwise, also when there is no display to capture yet (the screen device
 * then lists nothing and says why once in the user log). The log callback
 * runs under the plug-in's log lock, on whichever thread logs: it must not
 * call back into the plug-in. */
QCP_EXPORT int QCP_IntitializeLibrary(void);
QCP_EXPORT void QCP_UninitializeLibrary(void);
QCP_EXPORT void QCP_GetModelInfo(const char* deviceId, char* buffer, uint32_t* length);
QCP_EXPORT int QCP_ConnectDevice(const char* deviceId);
QCP_EXPORT void QCP_DisconnectDevice(const char* deviceId);
QCP_EXPORT uint32_t QCP_GetDeviceState(const char* deviceId);
QCP_EXPORT void QCP_RegisterDeviceStateChangedCallback(const char* deviceId, QCP_DeviceStateChangedCallback callback,
                                                       void* context);
QCP_EXPORT void QCP_GetErrorMessage(const char* deviceId, char* buffer, uint32_t* length);
QCP_EXPORT void QCP_RegisterLogCallback(const char* deviceId, QCP_LogCallback callback, void* context);
QCP_EXPORT int32_t QCP_GetDeviceCount(void);
QCP_EXPORT void QCP_GetDeviceId(int32_t index, char* buffer, uint32_t* length);
QCP_EXPORT uint32_t QCP_GetDeviceCategories(const char* deviceId);
QCP_EXPORT void QCP_GetDeviceGroupDisplayNameForID(const char* deviceId, const char* locale, char* buffer,
                                                   uint32_t* length);
QCP_EXPORT uint32_t QCP_GetTimescaleTicksPerSec(void);

/* Sources.
 * Callbacks arrive on plug-in threads, never on the thread that registered
 * them: video on the source's stream queue, render queue, display-link thread
 * or feed-detection queue (one at a time per source); audio on the audio
 * thread (system audio: 7,200-byte packets, one at a time, for as long as a
 * callback with a non-null context is registered on "pc-audio-capture"; an
 * audio callback must not register audio callbacks or create or remove
 * sources); source-changed on the thread that applied the change. A source's
 * callbacks are called under that source's callback lock, so registering or
 * clearing one waits for a call in progress and no call follows the clearing.
 * From inside a callback a host may read anything (counts, ids, names,
 * states, settings, properties, surfaces) and register callbacks; it must not
 * change, start, stop or remove sources (post that to a thread of its own):
 * changes of the calling source are refused there, and those of other sources
 * may wait for their own callbacks. QCP_RemoveSource returns once the source
 * is out of the registry; its last callback may still be returning on another
 * thread, and none starts after QCP_RemoveSource has returned. */
QCP_EXPORT uint32_t QCP_GetSourceCount(const char* deviceId);
QCP_EXPORT void QCP_GetSourceId(const char* deviceId, uint32_t index, char* buffer, uint32_t* length);
QCP_EXPORT void QCP_GetSourceDisplayName(const char* deviceId, const char* sourceId, const char* locale, char* buffer,
                                         uint32_t* length);
QCP_EXPORT uint32_t QCP_GetSourceState(const char* deviceId, const char* sourceId);
QCP_EXPORT int QCP_CreateSource(const char* deviceId, char** outSourceId);
QCP_EXPORT int QCP_CreateNamedSource(const char* deviceId, const char* sourceId);
QCP_EXPORT void QCP_DeleteString(char* text);
QCP_EXPORT int QCP_RemoveSource(const char* deviceId, const char* sourceId);
QCP_EXPORT void QCP_RegisterSourceChangedCallback(const char* deviceId, const char* sourceId,
                                                  QCP_SourceChangedCallback callback, void* context);
QCP_EXPORT void QCP_RegisterVideoDataArrivedCallback(const char* deviceId, const char* sourceId,
                                                     QCP_VideoDataCallback callback, void* context);
QCP_EXPORT void QCP_RegisterAudioDataArrivedCallback(const char* deviceId, const char* sourceId,
                                                     QCP_AudioDataCallback callback, void* context);
QCP_EXPORT int QCP_ShowCustomConfigDialog(const char* deviceId, const char* sourceId, int flag);
QCP_EXPORT void QCP_QueryParameterOptions(const char* deviceId, const char* sourceId, const char* parameter,
                                          const char* locale, uint32_t* count);
QCP_EXPORT int QCP_SourceSupportsProperty(const char* deviceId, const char* sourceId, const char* property);
QCP_EXPORT int QCP_GetVisibleParameters(const char* deviceId);

/* Settings record. The query serialises and reports the byte size; the fill
 * copies exactly that many bytes, without a terminating NUL. Query and fill
 * pair up per host thread. */
QCP_EXPORT void QCP_GetSourceSettings(const char* deviceId, const char* sourceId, char* buffer, uint32_t* length);
QCP_EXPORT int QCP_SetSourceSettings(const char* deviceId, const char* sourceId, const char* xml);
QCP_EXPORT int QCP_GetValidParameterValues(const char* deviceId, const char* sourceId, char* buffer,
                                           uint32_t* length);

/* Properties. The callback runs on the calling thread, before the function
 * returns; the value is valid only during it. */
QCP_EXPORT int QCP_GetProperty(void* context, QCP_PropertyCallback callback, const char* property,
                               const char* deviceId, const char* sourceId);

/* Frame surfaces, for hosts on systems without IOSurface. A video frame
 * names its surface by id; look it up (which retains it), lock it while
 * reading its pixels (32-bit, premultiplied alpha, B G R A in memory), then
 * unlock and release it. A surface stays valid while retained; its pixels
 * are those of the frame only during the video callback. Any thread. */
typedef struct QCP_Surface QCP_Surface;
QCP_EXPORT QCP_Surface* QCP_SurfaceLookup(uint32_t surfaceId); /* null when gone */
QCP_EXPORT void QCP_SurfaceRetain(QCP_Surface* surface);
QCP_EXPORT void QCP_SurfaceRelease(QCP_Surface* surface);
QCP_EXPORT void QCP_SurfaceLock(QCP_Surface* surface);
QCP_EXPORT void QCP_SurfaceUnlock(QCP_Surface* surface);
QCP_EXPORT const void* QCP_SurfaceGetBaseAddress(QCP_Surface* surface);
QCP_EXPORT uint32_t QCP_SurfaceGetWidth(QCP_Surface* surface);
QCP_EXPORT uint32_t QCP_SurfaceGetHeight(QCP_Surface* surface);
QCP_EXPORT uint32_t QCP_SurfaceGetBytesPerRow(QCP_Surface* surface);
QCP_EXPORT uint32_t QCP_SurfaceGetPixelFormat(QCP_Surface* surface);

/* Host services; these two may be called before QCP_IntitializeLibrary. */
QCP_EXPORT void QCP_RegisterLocalizeStringCallback(QCP_LocalizeStringCallback callback);
QCP_EXPORT void QCP_RegisterPreferenceCallback(QCP_GetPreferenceCallback getCallback,
                                               QCP_SetPreferenceCallback setCallback, void* context);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* The layouts are part of the host interface. */
#if defined(__cplusplus)
#define QCP_STATIC_ASSERT static_assert
#else
#define QCP_STATIC_ASSERT _Static_assert
#endif
#if UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
QCP_STATIC_ASSERT(offsetof(QCP_VideoBuffer, elementAspect) == 16, "video: element aspect at 16");
QCP_STATIC_ASSERT(offsetof(QCP_VideoBuffer, timeStamp) == 24, "video: time stamp at 24");
QCP_STATIC_ASSERT(offsetof(QCP_VideoBuffer, one) == 32, "video: constant at 32");
QCP_STATIC_ASSERT(offsetof(QCP_VideoBuffer, surfaceId) == 40, "video: surface id pointer at 40");
QCP_STATIC_ASSERT(sizeof(QCP_VideoBuffer) == 48, "video record is 48 bytes");
QCP_STATIC_ASSERT(offsetof(QCP_AudioBuffer, dataBytes) == 16, "audio: byte count at 16");
QCP_STATIC_ASSERT(offsetof(QCP_AudioBuffer, timeStamp) == 24, "audio: time stamp at 24");
QCP_STATIC_ASSERT(offsetof(QCP_AudioBuffer, one) == 32, "audio: constant at 32");
QCP_STATIC_ASSERT(offsetof(QCP_AudioBuffer, data) == 40, "audio: data pointer at 40");
QCP_STATIC_ASSERT(sizeof(QCP_AudioBuffer) == 48, "audio record is 48 bytes");
#endif

#endif /* QCP_API_H */
