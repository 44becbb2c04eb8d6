// `qcp-host capture` on the simulated desktop as a user runs it: recordings in
// true time, a clean finish on Ctrl-C, and failures said and not hidden.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <thread>

#include "HostRun.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;

// One frame of the recording, and the microsecond ffprobe rounds to.
constexpr double kOneFrame = 1 / 60.0 + 1e-6;

std::string Read(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// A number after "name": in a summary, NAN when missing.
double Field(const std::string& json, const std::string& name) {
    std::smatch match;
    if (!std::regex_search(json, match, std::regex("\"" + name + "\": ([-0-9.eE]+)"))) return NAN;
    return std::stod(match[1]);
}

// What ffprobe says of one stream of a recording: "codec,duration".
std::string Probe(const fs::path& video, const char* stream) {
    const std::string command = std::string("ffprobe -v error -select_streams ") + stream +
                                " -show_entries stream=codec_name,duration -of csv=p=0 " + Quoted(video.string());
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe)) out += buffer;
        pclose(pipe);
    }
    return out.substr(0, out.find('\n'));
}

double Seconds(const std::string& probed) { return probed.empty() ? NAN : std::stod(probed.substr(probed.find(',') + 1)); }

class Recording : public testing::Test {
protected:
    void SetUp() override {
        if (std::system("command -v ffprobe >/dev/null 2>&1") != 0) GTEST_SKIP() << "ffmpeg is not installed";
        fs::remove_all(fDir);
    }
    void TearDown() override { fs::remove_all(fDir); }

    // Every frame of the MP4 is where the capture put it: it plays as long
    // as the capture lasted, to within one frame.
    void ExpectTrueTime(const std::string& json) {
        const double captured = Field(json, "seconds");
        const std::string video = Probe(fDir / "capture.mp4", "v:0");
        EXPECT_NEAR(Seconds(video), captured, kOneFrame) << video << "\n" << json;
        EXPECT_NEAR(Field(json, "video_seconds"), captured, kOneFrame) << json;
    }

    const fs::path fDir = fs::path(testing::TempDir()) / ("qcp-recording-" + std::to_string(getpid()));
};

} // namespace

TEST_F(Recording, TheVideoLastsAsLongAsTheCaptureWithTheSoundInIt) {
    const HostRun run = RunHost({"capture", "--audio", "--duration", "1.5", "--output", fDir.string()});
    ASSERT_EQ(run.status, 0) << run.err << run.out;
    const std::string json = Read(fDir / "summary.json");
    ExpectTrueTime(json);
    const std::string sound = Probe(fDir / "capture.mp4", "a:0");
    EXPECT_EQ(sound.substr(0, 4), "aac,") << sound;
    EXPECT_NEAR(Seconds(sound), Field(json, "seconds"), 0.05) << sound;

    // The figures agree with each other, and nothing is claimed that was not measured.
    std::smatch sizes;
    ASSERT_TRUE(std::regex_search(json, sizes, std::regex(R"("sizes": \[\{[^}]*"frames": ([0-9]+)\}\])"))) << json;
    const double sized = std::stod(sizes[1]);
    EXPECT_EQ(sized, Field(json, "frames")) << "the sizes add up to the frames: " << json;
    EXPECT_NE(json.find("\"capture_to_callback\": null"), std::string::npos) << "the sim stamps no frames: " << json;
    EXPECT_NE(run.out.find("capture to callback: no time stamps"), std::string::npos) << run.out;
    // stderr is no terminal here: plain lines, none rewritten in place.
    EXPECT_EQ(run.err.find('\r'), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(" frames "), std::string::npos) << run.err;
}

TEST_F(Recording, CtrlCEndsTheCaptureAndKeepsWhatWasRecorded) {
    for (const int signal : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal == SIGINT ? "SIGINT" : "SIGTERM");
        fs::remove_all(fDir);
        // Started as from a terminal: the host leads a process group, and
        // the signal goes to the whole group, as Ctrl-C does.
        const std::string output = fDir.string() + ".out";
        const std::string host = QCP_TEST_HOST, dir = fDir.string();
        const char* argv[] = {"env", "QCP_PLATFORM=sim", host.c_str(), "capture", "--duration", "60",
                              "--png-interval", "0.05", "--output", dir.c_str(), nullptr};
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        posix_spawnattr_setpgroup(&attributes, 0);
        pid_t pid = -1;
        const int spawned = posix_spawnp(&pid, "env", &files, &attributes, const_cast<char**>(argv), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&files);
        ASSERT_EQ(spawned, 0);
        // Once frames are being written, the host is recording.
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        const auto recording = [&] {
            std::error_code ignored;
            for (const auto& entry : fs::directory_iterator(fDir, ignored))
                if (entry.path().extension() == ".png") return true;
            return false;
        };
        while (!recording() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (!recording()) kill(-pid, SIGKILL);
        ASSERT_TRUE(recording()) << Read(output);
        kill(-pid, signal);
        int status = 0;
        waitpid(pid, &status, 0);
        const std::string said = Read(output);
        fs::remove(output);
        ASSERT_TRUE(WIFEXITED(status)) << "ended by the signal: " << said;
        EXPECT_EQ(WEXITSTATUS(status), 0) << said;
        const std::string json = Read(fDir / "summary.json");
        EXPECT_LT(Field(json, "seconds"), 30) << json;
        EXPECT_NE(json.find(signal == SIGINT ? "\"stopped_by\": \"SIGINT\"" : "\"stopped_by\": \"SIGTERM\""),
                  std::string::npos)
            << json;
        ExpectTrueTime(json);
        // Every PNG is whole: none empty, none left under its temporary name.
        for (const auto& entry : fs::directory_iterator(fDir)) {
            EXPECT_NE(entry.path().extension(), ".part") << entry.path();
            if (entry.path().extension() == ".png") {
                EXPECT_GT(fs::file_size(entry.path()), 1000u) << entry.path();
            }
        }
    }
}

TEST(HostCapture, SaysWhyItCannotWriteItsFiles) {
    const fs::path file = fs::path(testing::TempDir()) / ("qcp-not-a-folder-" + std::to_string(getpid()));
    std::ofstream(file) << "x";
    const HostRun run = RunHost({"capture", "--duration", "0.2", "--output", file.string()});
    fs::remove(file);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "qcp-host: cannot write into " + file.string() + ": Not a directory\n");
    EXPECT_EQ(run.out, "") << "no outputs claimed";
}
