#!/usr/bin/env bash
# CPU cost of the desktop video against mpv playing the same 20 s 1080p30 H.264 clip on one
# 1920x1080 monitor of the harness's X server: decode only (mpv --vo=null, the floor) and a plain
# mpv window (--vo=x11). Prints whole-process CPU seconds (user + sys) and the X server's share,
# frames mpv rendered against frames Qt showed, Orvanta with nothing playing, and two monitors in
# sync mode against one.
#
# Usage: desktop_bench.sh ORVANTA_BIN [WORK_DIR]   (runs itself inside scripts/harness)
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
orvanta="${1:?usage: desktop_bench.sh ORVANTA_BIN [WORK_DIR]}"
defaults="$(dirname "$orvanta")/orvanta-defaults"
if [[ "${ORVANTA_HARNESS:-}" != 1 ]]; then
    exec "$here/../scripts/harness" "$0" "$@"
fi
for tool in mpv ffmpeg /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "desktop_bench: $tool is missing" >&2; exit 1; }
done

work="${2:-$ORVANTA_HARNESS_ROOT/bench}"
mkdir -p "$work/clips"
clip="$work/clips/clip-1080p30.mp4"
if [[ ! -s "$clip" ]]; then
    ffmpeg -loglevel error -y -f lavfi -i testsrc2=size=1920x1080:rate=30:duration=20 \
        -c:v libx264 -preset veryfast -pix_fmt yuv420p "$clip"
fi
seconds=20

xserver_pid="$(head -n 1 "$ORVANTA_HARNESS_ROOT/pids")"
[[ "$(cat "/proc/$xserver_pid/comm" 2>/dev/null)" == Xvfb ]] || xserver_pid=""
ticks="$(getconf CLK_TCK)"
xserver_cpu() {
    [[ -n "$xserver_pid" ]] || { echo 0; return; }
    awk -v t="$ticks" '{ printf "%.2f", ($14 + $15) / t }' "/proc/$xserver_pid/stat"
}

# measure LABEL COMMAND...: runs the command to its end (or $seconds + 1.5 s, then SIGTERM),
# prints its CPU seconds and the X server's.
measure() {
    local label="$1"
    shift
    local before after out="$work/time.out"
    before="$(xserver_cpu)"
    /usr/bin/time -f '%U %S' -o "$out" timeout -s TERM "$((seconds + 2))" "$@" \
        >"$work/$label.log" 2>&1 || true
    after="$(xserver_cpu)"
    awk -v l="$label" -v b="$before" -v a="$after" \
        '{ printf "%-34s %6.2f s CPU (user %.2f, sys %.2f), X server %.2f s\n", l, $1 + $2, $1, $2, a - b }' \
        <(tail -n 1 "$out")
    tail -n 1 "$out" | awk '{ print $1 + $2 }' >"$work/$label.cpu"
}

one_monitor() { xrandr --delmonitor DP-2 >/dev/null; }
two_monitors() {
    xrandr --listmonitors | grep -q ' DP-2 ' ||
        xrandr --setmonitor DP-2 1920/508x1080/286+1920+0 none >/dev/null
}
trap two_monitors EXIT

set_prefs() {
    "$defaults" write videoFoldersBookmarks -array -data "$(printf '%s' "$work/clips" | od -An -tx1 | tr -d ' \n')" >/dev/null
    "$defaults" write transitionType -int 0 >/dev/null
    "$defaults" write autoPlayOnLaunch -bool "$1" >/dev/null
    "$defaults" write syncDisplays -bool "$2" >/dev/null
}

echo "20 s of a 1080p30 H.264 clip on one 1920x1080 monitor (Xvfb, no GPU)"
one_monitor
sleep 1
measure decode-only mpv --no-config --vo=null --ao=null "$clip"
measure mpv-x11 mpv --no-config --vo=x11 --ao=null --geometry=1920x1080+0+0 --no-border "$clip"
set_prefs true false
measure orvanta "$orvanta"
grep -h "Frames on" "$work/orvanta.log" | sed 's/^/    /'
set_prefs false false
measure orvanta-not-playing "$orvanta"
two_monitors
sleep 1
set_prefs true true
measure orvanta-sync-two-monitors "$orvanta"
grep -h "Frames on" "$work/orvanta-sync-two-monitors.log" | sed 's/^/    /'

cpu() { cat "$work/$1.cpu"; }
awk -v o="$(cpu orvanta)" -v x="$(cpu mpv-x11)" -v d="$(cpu decode-only)" \
    -v s="$(cpu orvanta-sync-two-monitors)" 'BEGIN {
    printf "orvanta / mpv --vo=x11       %.2f  (goal <= 0.75)\n", o / x
    printf "orvanta / decode only        %.2f  (goal <= 1.5)\n", o / d
    printf "sync on two / one monitor    %.2f  (goal <= 1.3)\n", s / o
}'
