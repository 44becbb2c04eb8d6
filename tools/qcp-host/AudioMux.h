#pragma once
#include <string>

namespace qcphost {

// Puts the recorded sound into the recorded video with ffmpeg, in time: the
// sound begins `offsetSeconds` after the video does (before it when negative:
// that part is cut), and is padded with silence or cut to the video's
// `videoSeconds`. The video is copied as it is; the file is replaced only
// when the new one is whole. False with ffmpeg's reason.
bool MuxAudio(const std::string& video, const std::string& wav, double offsetSeconds, double videoSeconds,
              std::string& error);

} // namespace qcphost
