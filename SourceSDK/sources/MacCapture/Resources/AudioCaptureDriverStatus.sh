#!/bin/sh
# Reports whether the audio capture driver is installed and current, as the
# plug-in judges it: installed when the device played into exists, current
# unless its version orders numerically before this one's. Exits 0 when
# installed and current, 4 when not installed, 5 when outdated, and as the
# installer does, 2 without pactl and 3 without a sound server.
set -eu
. "$(dirname "$0")/AudioCaptureDriver.sh"
require_server

# Whether the server has a `$1` ("sinks" or "sources") named `$2`.
has() {
    pactl list short "$1" | awk -v name="$2" '$2 == name { found = 1 } END { exit !found }'
}

# Whether version `$1` orders before `$2`: field by field, numerically
# ("1.0.10" is after "1.0.3"); of two otherwise equal, the shorter first.
older() {
    awk -v a="$1" -v b="$2" 'BEGIN {
        n = split(a, x, "."); m = split(b, y, ".")
        for (i = 1; i <= n && i <= m; i++)
            if (x[i] + 0 != y[i] + 0) exit !(x[i] + 0 < y[i] + 0)
        exit !(n < m)
    }'
}

played=present
has sinks "$PLAYED_INTO" || played=missing
recorded=present
has sources "$RECORDED_FROM" || recorded=missing
version=""
[ "$played" = missing ] || version=$(installed_version)

if [ "$played" = missing ]; then
    installed=no current=no status=4
elif [ -z "$version" ] || older "$version" "$VERSION"; then
    installed=yes current=no status=5
else
    installed=yes current=yes status=0
fi
echo "installed: $installed"
echo "version: ${version:-none} (expected $VERSION)"
echo "current: $current"
echo "played into: $PLAYED_INTO ($played)"
echo "recorded from: $RECORDED_FROM ($recorded)"
exit "$status"
