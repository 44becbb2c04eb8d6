#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qcp::platform::x11 {

// Who owns a client window, as the inventory groups windows into
// applications (by WindowInfo::ownerPID).
//
// A window's _NET_WM_PID names its process only when the client runs on this
// machine (its WM_CLIENT_MACHINE is this host's name, or unset) and the id is
// one Linux could hand out. Every other window (classic clients such as
// xeyes, xlogo and xclock set no _NET_WM_PID; a remote client's pid would
// name an unrelated local process) belongs to its client program: one owner
// per WM_CLASS class and WM_CLIENT_MACHINE, with a synthetic id.
//
// Synthetic ids lie in [2^30, 2^31): positive, so the core's "pid N"
// application id stays a plain number and nothing that reads an id <= 0 as
// "unknown" applies, yet far above the pids Linux hands out (below
// PID_MAX_LIMIT, 2^22 on 64-bit kernels, the ceiling of pid_max), so they
// never equal a real process, the plug-in's own (ownPID) included. A claimed
// pid outside the kernel's range is no process either, and is treated as
// none, so a claim can never take a synthetic id. The id is the FNV-1a hash
// of the class and the lower-cased machine name in the low 30 bits: the same
// program on the same machine has the same id in every refresh and every
// run; different programs differ except for a hash collision (about one in
// 2^30 per pair).
namespace X11ClientIdentity {

// Process ids Linux hands out are below this.
inline constexpr int32_t kProcessIDLimit = 1 << 22;
// Synthetic ids are this plus 30 bits.
inline constexpr int32_t kSyntheticBase = 1 << 30;

struct Owner {
    // The process id, or the client program's synthetic id.
    int32_t id = 0;
    // Whether `id` is a process of this machine, one /proc can name.
    bool isProcess = false;
};

// The owner of a window with these properties: `claimedPID` (_NET_WM_PID),
// `className` (the class part of WM_CLASS), `clientMachine`
// (WM_CLIENT_MACHINE), on a machine called `localHost`.
Owner Identify(std::optional<unsigned long> claimedPID, const std::optional<std::string>& className,
               const std::optional<std::string>& clientMachine, const std::string& localHost);

// The synthetic id of a client program on a machine.
int32_t ProgramID(std::string_view className, std::string_view clientMachine);

// Whether `clientMachine` names the machine called `localHost`: the same name
// ignoring case and a trailing dot, one the short form of the other
// ("box" and "box.example.org"), or localhost. True when `localHost` is
// unknown (empty): the pid is then trusted as before.
bool IsThisMachine(std::string_view clientMachine, std::string_view localHost);

// This machine's host name (gethostname); empty when it cannot be had.
std::string LocalHostName();

} // namespace X11ClientIdentity
} // namespace qcp::platform::x11
