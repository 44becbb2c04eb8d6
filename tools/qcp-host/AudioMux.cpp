#include "AudioMux.h"

#include <filesystem>

#include "ChildProcess.h"

namespace qcphost {

bool MuxAudio(const std::string& video, const std::string& wav, double offsetSeconds, double videoSeconds,
              std::string& error) {
    const std::string shift = offsetSeconds >= 0
                                  ? "adelay=delays=" + std::to_string(offsetSeconds * 1000) + ":all=1"
                                  : "atrim=start=" + std::to_string(-offsetSeconds) + ",asetpts=PTS-STARTPTS";
    const std::string partial = video + ".part";
    if (!ChildProcess::Run({"ffmpeg", "-hide_banner", "-loglevel", "error", "-y", "-i", video, "-i", wav, "-map",
                            "0:v", "-map", "1:a", "-c:v", "copy", "-af", shift + ",apad", "-c:a", "aac", "-t",
                            std::to_string(videoSeconds), "-f", "mp4", partial},
                           error)) {
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        return false;
    }
    std::error_code renamed;
    std::filesystem::rename(partial, video, renamed);
    if (renamed) error = renamed.message();
    return !renamed;
}

} // namespace qcphost
