#pragma once

namespace qcphost {

// Opens a pipe whose ends are closed in programs this one starts, and do not
// block when `nonBlocking`; false, with errno set, when the system refuses.
// (pipe2 where the system has it, pipe and fcntl elsewhere.)
bool OpenPipe(int ends[2], bool nonBlocking);

} // namespace qcphost
