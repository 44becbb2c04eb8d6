#pragma once
#include <filesystem>
#include <stdexcept>
#include <string>

#include "QCP_API.h"

namespace qcphost {

// The plug-in loaded with dlopen and the entry points the host calls.
class PluginLibrary {
public:
    // Throws std::runtime_error when the library or an entry point is missing.
    explicit PluginLibrary(const std::string& path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    // The plug-in next to the running executable, unless QCP_PLUGIN names one.
    static std::string DefaultPath();

    // The folder that holds the plug-in's Resources, as the plug-in itself
    // finds them: the folder of the file it was loaded from, links resolved
    // (in a macOS bundle, the Contents folder above it). Throws when it cannot
    // be told.
    std::filesystem::path Folder() const;

#define QCP_HOST_ENTRY(name) decltype(&::name) name = nullptr;
#include "PluginEntries.inc"
#undef QCP_HOST_ENTRY

private:
    void* fHandle = nullptr;
};

} // namespace qcphost
