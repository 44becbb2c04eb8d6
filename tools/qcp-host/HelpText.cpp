#include "HelpText.h"

namespace qcphost {
namespace {

constexpr std::string_view kList = R"(usage: qcp-host [--plugin PATH] list

Prints what the plug-in offers:
  - its model;
  - its devices, with their categories and names, and each device's sources;
  - the displays: index (what --display and "capture_monitor" take), id,
    name, size in points, scale (pixels per point) and size in pixels;
  - the applications and their windows that can be captured (what --window
    and --app take).
Names come in English: the host gives the plug-in the texts of its keys.

Options: none.
Exit status: 0, also when there is no display (stderr then says why).
)";

constexpr std::string_view kSettings = R"(usage: qcp-host [--plugin PATH] settings get SOURCE
       qcp-host [--plugin PATH] settings set SOURCE XML|@FILE

Every run of the host starts with no sources: both make a screen source
named SOURCE first.
  get  prints its settings record (reading it starts the source on the main
       display, as it does for any host).
  set  checks the record (XML text, or @FILE to read it from FILE), applies
       it, then prints the record the plug-in answers.

A record is refused, with one line on stderr, nothing printed and exit
status 2, when it is not well-formed XML, its root is not "settings", or a
parameter
  - has a name the plug-in does not know (Type, cursor, capture_audio,
    capture_video, capture_window, capture_app, capture_game_fullscreen,
    capture_monitor, capture_monitor_region, capture_monitor_state);
  - cursor, capture_audio, capture_video, capture_game_fullscreen: is not
    true or false;
  - Type: is not a capture type the plug-in lists for the source;
  - capture_monitor: is not -1 (none) or the index of a display the plug-in
    lists (see `qcp-host list`);
  - capture_monitor_state: is not -1, 0 (whole display) or 1 (region);
  - capture_monitor_region: is not LEFT,TOP,RIGHT,BOTTOM (integers, edges
    inclusive; 0,0,-1,-1 or any other empty rectangle for none), or, with
    capture_monitor naming a display, does not lie inside it (in its points,
    from its top-left corner).
capture_window and capture_app take any text.

Options: none.
Exit status: 0 done, 1 the file cannot be read, 2 bad usage or a refused
record.
)";

constexpr std::string_view kCapture = R"(usage: qcp-host [--plugin PATH] capture [OPTIONS]

Captures for a while and reports what arrived, in the terminal and in
DIR/summary.json.

Options:
  --display N               the display to capture, by its index in
                            `qcp-host list` (default 0)
  --region L,T,R,B          only this part of it: in the display's points
                            from its top-left corner, edges inclusive, inside
                            the display (default: the whole display)
  --window TITLE --app APP  a window instead, by its title and its
                            application's name as `qcp-host list` shows them,
                            in any letter case (default: none, a display)
  --game                    with --window: as a full-screen game (default off)
  --cursor on|off           draw the mouse cursor (default on)
  --duration SECONDS        how long to capture (default 3)
  --frames N                stop after N video frames (default: by time only)
  --output DIR              where the files go (default capture-out)
  --png-interval SECONDS    seconds between PNG samples, 0 for none
                            (default 1)
  --no-video                no MP4 (default: one, in DIR); with
                            --audio, no screen capture at all
  --audio                   also records the system audio (default off) into
                            DIR/audio.wav, 48 kHz 16-bit stereo, and reports
                            its packets and their sizes, the peak level in
                            dBFS (in the progress line: over the last second),
                            gaps (audio missing on the host's clock: a packet
                            whose audio would start over 10 ms after the
                            previous one's ended, less what a burst after a
                            stall makes up) and the dominant frequency
                            (Goertzel filters every 10 Hz from 20 Hz to
                            20 kHz, then every 0.05 Hz near the strongest,
                            over the loudest second)

The MP4 (made with ffmpeg when installed) keeps every frame's capture time:
at 60 frames a second, each frame is shown from its capture until the next
one's (repeated while nothing new arrives), so the video plays as long as
the capture lasted; with --audio the sound is muxed into it, in sync. PNG
samples are written under a temporary name, then renamed. Ctrl-C (SIGINT)
or SIGTERM ends the capture early and still writes the MP4 and the summary.
"dropped by the recorder" counts frames this host could not keep up with;
the plug-in delivered them, and the frame before stays on screen longer.

Exit status:
  0  something was recorded, also when Ctrl-C or SIGTERM ended the capture
     (the status is never 130 or 143)
  1  failed: nothing arrived, the output folder is not writable, ...
  2  bad usage: an unknown option or a bad value, or a display, region or
     window the plug-in does not list
)";

constexpr std::string_view kDriver = R"(usage: qcp-host [--plugin PATH] driver status|install|uninstall

The audio capture driver, through the scripts in the Resources folder beside
the plug-in (the plug-in is loaded, not initialised).
  status     whether it is installed, its version, whether that is current,
             and its two devices
  install    loads it, and makes that last
  uninstall  unloads it, and makes that last

Options: none.
Exit status: 0 done (status: installed and current), 1 failed, 2 bad usage or
pactl missing, 3 no sound server; status also 4 not installed, 5 outdated.
)";

constexpr std::string_view kConfigure = R"(usage: qcp-host [--plugin PATH] configure SOURCE [XML|@FILE]

Makes a screen source named SOURCE, applies the record if one is given
(checked as `settings set` checks it), and opens the plug-in's selection
dialog for it: the display picker for a display source (the default), the
application and window picker for a window or game source ("Type" 1 or 2).
Once the user presses OK, prints the source's settings record.

The dialog needs a display and a plug-in built with its windows (GTK 3 on
Linux). Return presses OK, Escape Cancel; typing over a list finds an entry.
Ctrl-C closes the dialog.

Options: none.
Exit status: 0 answered with OK, 1 no dialog could be shown, the file cannot
be read, or stopped by a signal, 2 bad usage or a refused record,
3 cancelled.
)";

constexpr std::string_view kChooseRegion = R"(usage: qcp-host [--plugin PATH] choose-region --display N

Opens the plug-in's selection dialog on display N (its index in `qcp-host
list`). Choose the region entry: the display darkens around a rectangle to
move by dragging inside it and to size by its eight handles; Return keeps it,
Escape drops it. Then press OK. Prints the region as LEFT,TOP,RIGHT,BOTTOM
(the display's points from its top-left corner, edges inclusive), as
`qcp-host capture --region` takes it.

Options:
  --display N  the display to draw on (required)

Exit status: 0 a region was chosen, 1 no dialog could be shown or stopped by
a signal, 2 bad usage or no such display, 3 cancelled or the whole display
chosen.
)";

// The summaries' column: past the longest name.
constexpr size_t kNameColumn = 15;

constexpr CommandHelp kCommands[] = {
    {"list", "the model, devices, sources, displays, applications, windows", kList},
    {"settings", "a source's settings record: get SOURCE, or set SOURCE XML|@FILE", kSettings},
    {"configure", "opens the selection dialog for a source and prints its answer", kConfigure},
    {"choose-region", "lets the user draw a region on a display and prints it", kChooseRegion},
    {"capture", "captures a display, a region or a window, and the system audio", kCapture},
    {"driver", "the audio capture driver: status, install or uninstall", kDriver},
};

constexpr std::string_view kOverviewHead = R"(usage: qcp-host [--plugin PATH] COMMAND [ARGUMENTS]

Loads the capture plug-in and drives it through its C interface, as a host
application would.

Commands:
)";

constexpr std::string_view kOverviewTail = R"(
qcp-host help COMMAND (or COMMAND --help) for its options.

Options:
  --plugin PATH  the plug-in to load (default: QCP_PLUGIN, else
                 libMacCapture.so next to this program)

Environment:
  QCP_PLUGIN    the plug-in to load when --plugin is not given
  QCP_PLATFORM  sim or linux: the platform the plug-in uses (native by default)
  QCP_LOG       stderr or a file path: where the plug-in's trace goes

Exit status: 0 done, 1 failed, 2 bad usage; driver, configure and
choose-region have more (see their help).
)";

} // namespace

const CommandHelp* FindCommandHelp(std::string_view name) {
    for (const CommandHelp& command : kCommands)
        if (command.name == name) return &command;
    return nullptr;
}

std::string OverviewHelp() {
    std::string text(kOverviewHead);
    for (const CommandHelp& command : kCommands) {
        text += "  ";
        text += command.name;
        text.append(kNameColumn - command.name.size(), ' ');
        text += command.summary;
        text += '\n';
    }
    text += "  help";
    text.append(kNameColumn - 4, ' ');
    text += "this text; help COMMAND, that command's\n";
    return text + std::string(kOverviewTail);
}

} // namespace qcphost
