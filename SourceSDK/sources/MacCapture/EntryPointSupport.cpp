#include "EntryPointSupport.h"

#include <exception>
#include <string>

namespace qcp {

void TraceEntryPointFailure(const char* function) noexcept {
    try {
        std::string what = "unknown exception";
        try {
            throw;
        } catch (const std::exception& error) {
            what = error.what();
        } catch (...) {
        }
        zTraceManager::Default().TraceMessage(QCP_FOURCC('n', 'o', 't', 'e'),
                                              std::string(function) + " failed: " + what);
    } catch (...) {
        // Out of memory while reporting: nothing more can be done.
    }
}

} // namespace qcp
