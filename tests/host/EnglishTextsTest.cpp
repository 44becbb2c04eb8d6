// The host's translator against the keys the plug-in's sources pass to their
// translate function, so that a key added there without a text shows up here.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "EnglishTexts.h"

namespace {

// The key-like literals ("word_word...") of every source file that translates.
std::set<std::string> TranslatedKeys() {
    std::set<std::string> keys;
    const std::regex literal("\"([a-z][a-z0-9]*(_[a-z0-9]+)+)\"");
    for (const char* folder : {"SourceSDK", "audio", "common", "platform", "src"}) {
        const std::filesystem::path root = std::filesystem::path(QCP_SOURCE_DIR) / folder;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            if (entry.path().extension() != ".cpp" && entry.path().extension() != ".mm") continue;
            std::ostringstream text;
            text << std::ifstream(entry.path()).rdbuf();
            const std::string code = text.str();
            if (code.find("TranslateString(") == std::string::npos) continue;
            for (auto it = std::sregex_iterator(code.begin(), code.end(), literal); it != std::sregex_iterator(); ++it)
                keys.insert((*it)[1]);
        }
    }
    return keys;
}

} // namespace

TEST(EnglishTexts, EveryKeyThePluginTranslatesHasAText) {
    const std::set<std::string> keys = TranslatedKeys();
    for (const char* key : {"obr_capture_name", "obr_system_audio_name", "obr_close_mon_win_dialog", "dialog_ok",
                            "mac_audio_driver_install_required"})
        EXPECT_TRUE(keys.count(key)) << "the scan finds " << key;
    for (const std::string& key : keys) {
        const std::string text = qcphost::EnglishText(key.c_str());
        EXPECT_NE(text, key);
        EXPECT_FALSE(text.empty()) << key;
    }
    EXPECT_STREQ(qcphost::EnglishText("obr_capture_name"), "Screen Capture");
    EXPECT_STREQ(qcphost::EnglishText("obr_system_audio_name"), "System Audio");
}

TEST(EnglishTexts, OtherKeysAnswerThemselves) {
    const char* key = "obr_not_a_key";
    EXPECT_EQ(qcphost::EnglishText(key), key);
    EXPECT_EQ(qcphost::EnglishText(nullptr), nullptr);
}
