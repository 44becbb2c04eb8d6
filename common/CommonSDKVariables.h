#pragma once
#include <mutex>

#include "QCP_API.h"

// What the host lends the plug-in: translation of localisation keys and a
// small preference store. The host may register both before the library is
// initialised.
namespace CSDK {

class CommonSDKVariables {
public:
    static void initialize();
    static CommonSDKVariables* _instance;
    static int _initCount;

    std::recursive_mutex localisationLock;
    QCP_LocalizeStringCallback localize = nullptr;
    std::recursive_mutex preferencesLock;
    QCP_GetPreferenceCallback getPreference = nullptr;
    QCP_SetPreferenceCallback setPreference = nullptr;
    void* preferenceContext = nullptr;
};

// Creates the services, or counts one more initialisation.
void initialize();
// Undoes one initialisation; the last destroys the services.
void uninitialize();
bool isInitialized();

void registerLocalizeStringCallback(QCP_LocalizeStringCallback callback);
void registerPreferenceCallback(QCP_GetPreferenceCallback get, QCP_SetPreferenceCallback set, void* context);

// The host's text for a key, or the key itself without a translator; null
// without the services. Callers copy the text and never free it.
const char* TranslateString(const char* key);

bool isPreferencesRegistered();
// On success `value` holds a NUL-terminated copy the caller frees with free().
bool getPreferences(const char* key, char*& value, int* length);
bool setPreferences(const char* key, const char* value);
// The host's interface cannot remove a preference: always false.
bool removePreferences(const char* key);

} // namespace CSDK
