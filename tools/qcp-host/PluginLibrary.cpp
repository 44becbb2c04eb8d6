#include "PluginLibrary.h"

#include <dlfcn.h>
#include <unistd.h>
#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif

#include <climits>
#include <cstdlib>

namespace qcphost {

PluginLibrary::PluginLibrary(const std::string& path) {
    // Kept mapped until the process exits, as hosts keep their plug-ins:
    // what the plug-in holds for the process's lifetime stays visible to
    // leak checkers instead of turning into unrooted blocks at dlclose.
    fHandle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!fHandle) throw std::runtime_error("cannot load the plug-in: " + std::string(dlerror()));
    auto resolve = [&](auto& entry, const char* name) {
        entry = reinterpret_cast<std::remove_reference_t<decltype(entry)>>(dlsym(fHandle, name));
        if (!entry) throw std::runtime_error("the plug-in " + path + " lacks " + name);
    };
    try {
#define QCP_HOST_ENTRY(name) resolve(name, #name);
#include "PluginEntries.inc"
#undef QCP_HOST_ENTRY
    } catch (...) {
        dlclose(fHandle);
        throw;
    }
}

PluginLibrary::~PluginLibrary() {
    if (fHandle) dlclose(fHandle);
}

std::filesystem::path PluginLibrary::Folder() const {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<const void*>(QCP_IntitializeLibrary), &info) || !info.dli_fname || !*info.dli_fname)
        throw std::runtime_error("cannot tell where the plug-in was loaded from");
    const std::filesystem::path folder = std::filesystem::canonical(info.dli_fname).parent_path();
#if defined(__APPLE__)
    return folder.parent_path(); // Contents/MacOS/MacCapture, beside Contents/Resources
#else
    return folder;
#endif
}

namespace {
// The plug-in beside the host, as the build lays them out.
#if defined(__APPLE__)
constexpr const char* kPluginFile = "MacCapture.plugin/Contents/MacOS/MacCapture";
#else
constexpr const char* kPluginFile = "libMacCapture.so";
#endif

// This program's own file; empty when the system does not say.
std::string OwnFile() {
    char self[PATH_MAX];
#if defined(__APPLE__)
    uint32_t size = sizeof self;
    return _NSGetExecutablePath(self, &size) == 0 ? std::string(self) : std::string();
#else
    const ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    return size > 0 ? std::string(self, size_t(size)) : std::string();
#endif
}
} // namespace

std::string PluginLibrary::DefaultPath() {
    if (const char* path = std::getenv("QCP_PLUGIN"); path && *path) return path;
    const std::string self = OwnFile();
    if (self.empty()) return kPluginFile;
    return self.substr(0, self.rfind('/') + 1) + kPluginFile;
}

} // namespace qcphost
