// What ThreadSanitizer is to overlook in these tests (read by it at start;
// unused otherwise).
//
// The sound server's client library hands packets and memory blocks between
// its loop threads through lock-free free lists whose atomics are not
// instrumented, so its packet copies look unordered. Only races on the
// library's own top frames and packet copies are overlooked; its locks still
// order the layer's accesses, which stay watched.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() {
    return "race_top:libpulsecommon\nrace_top:libpulse.so\nrace:pa_srbchannel_read\nrace:pa_packet_new_data\n";
}
