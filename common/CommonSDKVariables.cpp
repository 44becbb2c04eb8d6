#include "CommonSDKVariables.h"

#include <cstdlib>

namespace CSDK {

CommonSDKVariables* CommonSDKVariables::_instance = nullptr;
int CommonSDKVariables::_initCount = 0;

void CommonSDKVariables::initialize() {
    if (!_instance)
        _instance = new CommonSDKVariables();
    else
        ++_initCount;
}

void initialize() { CommonSDKVariables::initialize(); }

void uninitialize() {
    CommonSDKVariables*& instance = CommonSDKVariables::_instance;
    if (CommonSDKVariables::_initCount > 0) {
        --CommonSDKVariables::_initCount;
        return;
    }
    if (!instance) return;
    {
        std::lock_guard lock(instance->localisationLock);
        instance->localize = nullptr;
    }
    {
        std::lock_guard lock(instance->preferencesLock);
        instance->getPreference = nullptr;
        instance->setPreference = nullptr;
        instance->preferenceContext = nullptr;
    }
    delete instance;
    instance = nullptr;
}

bool isInitialized() { return CommonSDKVariables::_instance != nullptr; }

void registerLocalizeStringCallback(QCP_LocalizeStringCallback callback) {
    if (!isInitialized()) initialize();
    CommonSDKVariables& services = *CommonSDKVariables::_instance;
    std::lock_guard lock(services.localisationLock);
    services.localize = callback;
}

void registerPreferenceCallback(QCP_GetPreferenceCallback get, QCP_SetPreferenceCallback set, void* context) {
    if (!isInitialized()) initialize();
    CommonSDKVariables& services = *CommonSDKVariables::_instance;
    std::lock_guard lock(services.preferencesLock);
    services.getPreference = get;
    services.setPreference = set;
    services.preferenceContext = context;
}

const char* TranslateString(const char* key) {
    CommonSDKVariables* services = CommonSDKVariables::_instance;
    if (!services) return nullptr;
    std::lock_guard lock(services->localisationLock);
    return services->localize ? services->localize(key) : key;
}

bool isPreferencesRegistered() {
    CommonSDKVariables* services = CommonSDKVariables::_instance;
    if (!services) return false;
    std::lock_guard lock(services->preferencesLock);
    return services->getPreference && services->setPreference && services->preferenceContext;
}

bool getPreferences(const char* key, char*& value, int* length) {
    CommonSDKVariables* services = CommonSDKVariables::_instance;
    if (!services) return false;
    std::lock_guard lock(services->preferencesLock);
    if (!isPreferencesRegistered()) return false;
    int size = 0;
    services->getPreference(services->preferenceContext, key, nullptr, &size);
    if (size <= 0) return false;
    if (length) *length = size;
    auto* buffer = static_cast<char*>(std::calloc(size_t(size) + 1, 1));
    if (!buffer) return false;
    services->getPreference(services->preferenceContext, key, buffer, &size);
    value = buffer;
    return true;
}

bool setPreferences(const char* key, const char* value) {
    CommonSDKVariables* services = CommonSDKVariables::_instance;
    if (!services || !value) return false;
    std::lock_guard lock(services->preferencesLock);
    if (!isPreferencesRegistered()) return false;
    services->setPreference(services->preferenceContext, key, value);
    return true;
}

bool removePreferences(const char*) {
    CommonSDKVariables* services = CommonSDKVariables::_instance;
    if (services) {
        std::lock_guard lock(services->preferencesLock);
    }
    return false;
}

} // namespace CSDK
