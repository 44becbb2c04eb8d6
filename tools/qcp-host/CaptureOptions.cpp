#include "CaptureOptions.h"

#include <cmath>
#include <cstdlib>
#include <optional>

#include "Region.h"
#include "WholeNumber.h"

namespace qcphost {
namespace {

bool Seconds(const std::string& text, double& value) {
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && !*end && std::isfinite(value);
}

// One option that takes a value; the empty text when it is good.
std::string Take(const std::string& flag, const std::string& value, CaptureOptions& options) {
    if (flag == "--display") {
        if (!ReadWholeNumber(value, options.display) || options.display < 0) return "--display takes a display index";
    } else if (flag == "--region") {
        const std::optional<Region> region = Region::Parse(value);
        if (!region || !region->HasArea())
            return "--region takes LEFT,TOP,RIGHT,BOTTOM with right >= left and bottom >= top";
        options.region = value;
    } else if (flag == "--window") {
        options.window = value;
    } else if (flag == "--app") {
        options.app = value;
    } else if (flag == "--cursor") {
        if (value != "on" && value != "off") return "--cursor takes on or off";
        options.cursor = value == "on";
    } else if (flag == "--duration") {
        if (!Seconds(value, options.seconds) || options.seconds <= 0)
            return "--duration takes a positive number of seconds";
    } else if (flag == "--frames") {
        if (!ReadWholeNumber(value, options.frames) || options.frames < 1) return "--frames takes a positive count";
    } else if (flag == "--output") {
        options.output = value;
    } else if (flag == "--png-interval") {
        if (!Seconds(value, options.pngInterval) || options.pngInterval < 0)
            return "--png-interval takes seconds (0: no PNG files)";
    } else {
        return "unknown option " + flag;
    }
    return {};
}

} // namespace

bool CaptureOptions::Parse(const std::vector<std::string>& args, CaptureOptions& options, std::string& error) {
    error.clear();
    for (size_t i = 0; i < args.size() && error.empty(); ++i) {
        const std::string& flag = args[i];
        if (flag == "--game")
            options.game = true;
        else if (flag == "--no-video")
            options.video = false;
        else if (flag == "--audio")
            options.audio = true;
        else if (i + 1 >= args.size())
            error = flag + " needs a value";
        else
            error = Take(flag, args[++i], options);
    }
    if (error.empty() && options.window.empty() != options.app.empty()) error = "--window and --app go together";
    return error.empty();
}

SettingsRecord CaptureOptions::Settings() const {
    SettingsRecord settings;
    settings.Add("cursor", cursor ? "true" : "false");
    if (!window.empty()) {
        settings.Add("Type", game ? "2" : "1");
        settings.Add("capture_window", window);
        settings.Add("capture_app", app);
    } else {
        settings.Add("Type", "0");
        settings.Add("capture_monitor", std::to_string(display));
        if (!region.empty()) {
            settings.Add("capture_monitor_region", region);
            settings.Add("capture_monitor_state", "1");
        }
    }
    return settings;
}

} // namespace qcphost
