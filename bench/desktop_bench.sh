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

# set_prefs AUTOPLAY SYNC [FOLDER [TRANSITION]]
set_prefs() {
    "$defaults" write videoFoldersBookmarks -array \
        -data "$(printf '%s' "${3:-$work/clips}" | od -An -tx1 | tr -d ' \n')" >/dev/null
    "$defaults" write transitionType -int "${4:-0}" >/dev/null
    "$defaults" write transitionDuration -float 1.5 >/dev/null
    "$defaults" write autoPlayOnLaunch -bool "$1" >/dev/null
    "$defaults" write syncDisplays -bool "$2" >/dev/null
}

# start_orvanta LABEL: starts the program in the background, its log lines stamped with the
# time they arrived, and sets orvanta_pid.
start_orvanta() {
    QT_LOGGING_RULES="com.orvanta.playback.debug=true" "$orvanta" \
        > >(while IFS= read -r line; do printf '%s %s\n' "$EPOCHREALTIME" "$line"; done \
            >"$work/$1.log") 2>&1 &
    orvanta_pid=$!
}
stop_orvanta() {
    kill -TERM "$orvanta_pid" 2>/dev/null || true
    wait "$orvanta_pid" || true
}

# ticks_of PID: its CPU time so far (user + sys) in clock ticks.
ticks_of() {
    local stat
    read -r -a stat <"/proc/$1/stat" || { echo 0; return; }
    echo $((stat[13] + stat[14]))
}
xserver_ticks() {
    if [[ -n "$xserver_pid" ]]; then ticks_of "$xserver_pid"; else echo 0; fi
}

# follow PID OUT: every 0.1 s until PID ends, writes "time ticks xserver-ticks" to OUT.
follow() {
    : >"$2"
    while [[ -r "/proc/$1/stat" ]]; do
        printf '%s %s %s\n' "$EPOCHREALTIME" "$(ticks_of "$1")" "$(xserver_ticks)" >>"$2"
        sleep 0.1
    done
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

# Paused: played for a while, then paused from the media keys; a paused wallpaper draws nothing.
set_prefs true false
start_orvanta orvanta-paused
sleep 5
playerctl -p orvanta pause
sleep 2
paused_before="$(ticks_of "$orvanta_pid") $(xserver_ticks)"
sleep 20
paused_after="$(ticks_of "$orvanta_pid") $(xserver_ticks)"
stop_orvanta
awk -v b="$paused_before" -v a="$paused_after" -v t="$ticks" 'BEGIN {
    split(b, before, " "); split(a, after, " ")
    printf "%-34s %6.2f s CPU, X server %.2f s  (goal <= 0.05)\n", "orvanta paused for 20 s",
        (after[1] - before[1]) / t, (after[2] - before[2]) / t
}'

# Cross dissolves: two 6 s clips with 1.5 s dissolves; the CPU of each dissolve against the 1.5 s
# of plain playback just before it, summed over the dissolves of 26 s.
mkdir -p "$work/dissolve"
for hue in 0 180; do
    [[ -s "$work/dissolve/clip-$hue.mp4" ]] ||
        ffmpeg -loglevel error -y -f lavfi \
            -i "testsrc2=size=1920x1080:rate=30:duration=6,hue=h=$hue" \
            -c:v libx264 -preset veryfast -pix_fmt yuv420p "$work/dissolve/clip-$hue.mp4"
done
set_prefs true false "$work/dissolve" 2
start_orvanta orvanta-dissolve
follow "$orvanta_pid" "$work/dissolve.samples" &
sampler=$!
sleep 26
stop_orvanta
wait "$sampler" || true
grep -h "Cross dissolve over" "$work/orvanta-dissolve.log" | awk '{ print $1 }' \
    >"$work/dissolve.starts"
awk -v t="$ticks" '
    FNR == NR { time[++n] = $1; own[n] = $2; xs[n] = $3; next }
    # The ticks at a moment: the last sample taken by then.
    function at(moment, which,    i) {
        for (i = n; i > 1 && time[i] > moment; --i) {}
        return which == "x" ? xs[i] : own[i]
    }
    {
        start = $1
        if (start - 1.5 < time[1] || start + 1.5 > time[n]) next
        ++dissolves
        during += at(start + 1.5, "o") - at(start, "o")
        before += at(start, "o") - at(start - 1.5, "o")
        xduring += at(start + 1.5, "x") - at(start, "x")
        xbefore += at(start, "x") - at(start - 1.5, "x")
    }
    END {
        if (!dissolves || !before) { print "no cross dissolve measured"; exit 1 }
        printf "%-34s %6.2f s CPU in %d dissolves, %.2f s in the 1.5 s before each\n",
            "orvanta cross dissolve", during / t, dissolves, before / t
        printf "  with the X server:                %6.2f s against %.2f s\n",
            (during + xduring) / t, (before + xbefore) / t
        printf "dissolve / plain playback    %.2f  (with the X server %.2f; goal <= 2)\n",
            during / before, (during + xduring) / (before + xbefore)
    }' "$work/dissolve.samples" "$work/dissolve.starts"
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
