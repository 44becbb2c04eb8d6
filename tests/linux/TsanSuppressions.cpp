// What ThreadSanitizer is to overlook in these tests (read by it at start;
// unused otherwise).
//
// After an I/O error, libX11 1.8 unlocks the display's mutex in _XIOError
// and once more in the call that met the error, when a client's exit handler
// returns instead of exiting, as the plug-in's does. That call may be in an
// extension's library (libXext's XShmGetImage for a display stream's read,
// libXrandr's for its monitors), whose unlock is compiled in there: the
// pattern names every libX* library. Each connection is used by one thread at
// a time, so the second unlock releases nothing anyone holds.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "mutex:libX\n";
}
