#include "Pipe.h"

#include <fcntl.h>
#include <unistd.h>

namespace qcphost {

bool OpenPipe(int ends[2], bool nonBlocking) {
#if defined(__APPLE__)
    if (pipe(ends) != 0) return false;
    for (int i = 0; i < 2; ++i) {
        const bool set = fcntl(ends[i], F_SETFD, FD_CLOEXEC) == 0 &&
                         (!nonBlocking || fcntl(ends[i], F_SETFL, fcntl(ends[i], F_GETFL) | O_NONBLOCK) == 0);
        if (!set) {
            close(ends[0]);
            close(ends[1]);
            return false;
        }
    }
    return true;
#else
    return pipe2(ends, O_CLOEXEC | (nonBlocking ? O_NONBLOCK : 0)) == 0;
#endif
}

} // namespace qcphost
