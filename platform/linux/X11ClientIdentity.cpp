#include "X11ClientIdentity.h"

#include <limits.h>
#include <unistd.h>

namespace qcp::platform::x11::X11ClientIdentity {
namespace {

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return lower;
}

// Lower-cased, without a trailing dot (the root of a fully qualified name).
std::string HostKey(std::string_view host) {
    std::string key = Lower(host);
    if (!key.empty() && key.back() == '.') key.pop_back();
    return key;
}

std::string_view FirstLabel(std::string_view host) { return host.substr(0, host.find('.')); }

} // namespace

Owner Identify(std::optional<unsigned long> claimedPID, const std::optional<std::string>& className,
               const std::optional<std::string>& clientMachine, const std::string& localHost) {
    const bool local = !clientMachine || IsThisMachine(*clientMachine, localHost);
    if (claimedPID && local && *claimedPID > 0 && *claimedPID < static_cast<unsigned long>(kProcessIDLimit))
        return {int32_t(*claimedPID), true};
    return {ProgramID(className.value_or(""), clientMachine.value_or("")), false};
}

int32_t ProgramID(std::string_view className, std::string_view clientMachine) {
    // FNV-1a, 32 bits, over the class, a separator no class or host name
    // holds, and the machine.
    uint32_t hash = 2166136261u;
    const auto add = [&](unsigned char byte) {
        hash ^= byte;
        hash *= 16777619u;
    };
    for (const char c : className) add(static_cast<unsigned char>(c));
    add(0);
    for (const char c : HostKey(clientMachine)) add(static_cast<unsigned char>(c));
    return kSyntheticBase + int32_t(hash & uint32_t(kSyntheticBase - 1));
}

bool IsThisMachine(std::string_view clientMachine, std::string_view localHost) {
    if (localHost.empty()) return true;
    const std::string client = HostKey(clientMachine), here = HostKey(localHost);
    if (client == here || client == "localhost" || client.starts_with("localhost.")) return true;
    const bool clientShort = client.find('.') == std::string::npos, hereShort = here.find('.') == std::string::npos;
    return (clientShort || hereShort) && !client.empty() && FirstLabel(client) == FirstLabel(here);
}

std::string LocalHostName() {
    char name[HOST_NAME_MAX + 1] = {};
    if (gethostname(name, sizeof name - 1) != 0) return {};
    return name;
}

} // namespace qcp::platform::x11::X11ClientIdentity
