#include "PluginLibrary.h"

#include <dlfcn.h>
#include <unistd.h>

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
    return std::filesystem::canonical(info.dli_fname).parent_path();
}

std::string PluginLibrary::DefaultPath() {
    if (const char* path = std::getenv("QCP_PLUGIN"); path && *path) return path;
    char self[PATH_MAX];
    ssize_t size = readlink("/proc/self/exe", self, sizeof self - 1);
    if (size <= 0) return "libMacCapture.so";
    std::string directory(self, size_t(size));
    return directory.substr(0, directory.rfind('/') + 1) + "libMacCapture.so";
}

} // namespace qcphost
