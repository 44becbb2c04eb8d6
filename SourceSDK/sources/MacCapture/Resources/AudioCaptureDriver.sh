# The audio capture driver on a Linux sound server (PulseAudio, or PipeWire's
# PulseAudio server): a null sink that system audio is played into, and a
# source that records from its monitor, both named with the driver's UIDs and
# carrying its version. Sourced by the install and uninstall scripts.

PLAYED_INTO=5C0D2E71-8A4B-4F36-B1C9-2E7D90A4F6B3
RECORDED_FROM=7F6B3A10-2C5D-4E8A-9B21-D4C6E8F0A2B7
VERSION=1.0.3
DESCRIPTION="Ostrel Audio Capture"
MARK="qcp audio capture driver"

# Each is one argument: the module's own parser reads the quotes. Both run
# at the capture chain's own rate, 48 kHz stereo, whatever the server's
# default, so that what is recorded needs no conversion on the way.
FORMAT="rate=48000 channels=2"
SINK_ARGS="sink_name=$PLAYED_INTO $FORMAT sink_properties='device.description=\"$DESCRIPTION\" qcp.driver.version=$VERSION'"
SOURCE_ARGS="master=$PLAYED_INTO.monitor source_name=$RECORDED_FROM $FORMAT source_properties='device.description=\"$DESCRIPTION\" qcp.driver.version=$VERSION'"

fail() {
    echo "Audio capture driver: $1" >&2
    exit "${2:-1}"
}

# Stops with a clear message unless a sound server answers for this user.
require_server() {
    command -v pactl >/dev/null 2>&1 || fail "pactl is missing; install the sound server's client tools (pulseaudio-utils)." 2
    pactl info >/dev/null 2>&1 || fail "no sound server is running for this user; start PulseAudio or PipeWire and try again." 3
}

# Whether the server is PipeWire's PulseAudio server.
is_pipewire() {
    pactl info 2>/dev/null | grep -q "^Server Name: .*PipeWire"
}

PULSE_CONFIG="${XDG_CONFIG_HOME:-$HOME/.config}/pulse/default.pa"
PIPEWIRE_CONFIG="${XDG_CONFIG_HOME:-$HOME/.config}/pipewire/pipewire-pulse.conf.d/qcp-audio-capture.conf"

# The index of the loaded module whose arguments name `$1`, if any.
module_naming() {
    pactl list short modules | awk -v name="$1" 'index($0, name) { print $1; exit }'
}

# pactl translates its labels; they are read here in English.
LC_ALL=C
export LC_ALL

# The version the device played into carries; empty without one.
installed_version() {
    pactl list sinks | awk -v name="$PLAYED_INTO" '
        /^Sink #/ { mine = 0 }
        $1 == "Name:" { mine = $2 == name }
        mine && $1 == "qcp.driver.version" { sub(/^[^=]*= */, ""); gsub(/"/, ""); print; exit }'
}
