#pragma once

namespace qcphost {

// The host's translator, as QCP_RegisterLocalizeStringCallback takes it: the
// English text of a key the plug-in shows to the user, or the key itself for
// any other. The texts are static, so they outlive any use the plug-in makes
// of them; nothing is allocated and nothing throws.
const char* EnglishText(const char* key);

} // namespace qcphost
