#!/usr/bin/env bash
# CPU cost of the desktop video against mpv playing the same 20 s 1080p30 H.264 clip on one
# 1920x1080 monitor of the harness's X server: decode only (mpv --vo=null, the floor) and a plain
# mpv window (--vo=x11). Every CPU figure of a ratio is whole-process CPU seconds (user + sys)
# plus the X server's (Xvfb) CPU over the same time, as drawing into a window costs both; the
# figures without the X server follow as details. Also: frames mpv rendered against frames Qt
# showed, Orvanta with nothing playing, paused and covered by a fullscreen window (and how soon
# it pauses), cross dissolves against plain playback, and two monitors in sync mode against one.
#
# Usage: desktop_bench.sh ORVANTA_BIN [WORK_DIR]   (runs itself inside scripts/harness)
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
orvanta="${1:?usage: desktop_bench.sh ORVANTA_BIN [WORK_DIR]}"
defaults="$(dirname "$orvanta")/orvanta-defaults"
# Nothing started here reads the caller's input (ffmpeg and mpv would take it for keys).
exec </dev/null
if [[ "${ORVANTA_HARNESS:-}" != 1 ]]; then
    exec "$here/../scripts/harness" "$0" "$@"
fi
for tool in mpv ffmpeg /usr/bin/time openbox xterm wmctrl xprop; do
    command -v "$tool" >/dev/null || { echo "desktop_bench: $tool is missing" >&2; exit 1; }
done

work="${2:-$ORVANTA_HARNESS_ROOT/bench}"
mkdir -p "$work/clips"
clip="$work/clips/clip-1080p30.mp4"
if [[ ! -s "$clip" ]]; then
    ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc2=size=1920x1080:rate=30:duration=20 \
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

# line NAME VALUE UNIT ANCHOR-NAME ANCHOR-VALUE ANCHOR-UNIT GOAL MET: one line of the table every
# benchmark prints (bench/BenchUtil.cpp prints the same).
line() {
    awk -v n="$1" -v v="$2" -v u="$3" -v an="$4" -v av="$5" -v au="$6" -v g="$7" -v m="$8" 'BEGIN {
        printf "  %-40s %9.2f %-4s  %-36s %9.2f %-4s  %7.3f  %-18s %s\n",
            n, v, u, an, av, au, av != 0 ? v / av : 0, g, m ? "ok" : "MISS"
    }'
}

# measure LABEL COMMAND...: runs the command to its end (or $seconds + 1.5 s, then SIGTERM),
# prints its CPU seconds and the X server's, and keeps them in LABEL.cpu and LABEL.xcpu.
measure() {
    local label="$1"
    shift
    local before after out="$work/time.out"
    before="$(xserver_cpu)"
    /usr/bin/time -f '%U %S' -o "$out" timeout -s TERM "$((seconds + 2))" "$@" \
        >"$work/$label.log" 2>&1 || true
    after="$(xserver_cpu)"
    awk -v l="$label" -v b="$before" -v a="$after" \
        '{ printf "    %-34s %6.2f s CPU (user %.2f, sys %.2f), X server %.2f s\n", l, $1 + $2, $1, $2, a - b }' \
        <(tail -n 1 "$out")
    tail -n 1 "$out" | awk '{ print $1 + $2 }' >"$work/$label.cpu"
    awk -v b="$before" -v a="$after" 'BEGIN { print a - b }' >"$work/$label.xcpu"
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

# cpu_between BEFORE AFTER: CPU seconds of the program and of the X server between two readings
# of "$(ticks_of PID) $(xserver_ticks)".
cpu_between() {
    awk -v b="$1" -v a="$2" -v t="$ticks" 'BEGIN {
        split(b, before, " "); split(a, after, " ")
        printf "%.2f %.2f\n", (after[1] - before[1]) / t, (after[2] - before[2]) / t
    }'
}

# follow PID OUT: every 0.1 s until PID ends, writes "time ticks xserver-ticks" to OUT.
follow() {
    : >"$2"
    while [[ -r "/proc/$1/stat" ]]; do
        printf '%s %s %s\n' "$EPOCHREALTIME" "$(ticks_of "$1")" "$(xserver_ticks)" >>"$2"
        sleep 0.1
    done
}

echo "desktop: 20 s of a 1080p30 H.264 clip on one 1920x1080 monitor (Xvfb, no GPU); CPU seconds"
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
read -r paused_cpu paused_xcpu < <(cpu_between "$paused_before" "$paused_after")
printf '    %-34s %6.2f s CPU, X server %.2f s\n' "orvanta paused for 20 s" "$paused_cpu" "$paused_xcpu"

# Cross dissolves: two 6 s clips with 1.5 s dissolves; the CPU of each dissolve against the 1.5 s
# of plain playback just before it, summed over the dissolves of 26 s.
mkdir -p "$work/dissolve"
for hue in 0 180; do
    [[ -s "$work/dissolve/clip-$hue.mp4" ]] ||
        ffmpeg -nostdin -loglevel error -y -f lavfi \
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
        if (!dissolves || !before) { print "no cross dissolve measured" >"/dev/stderr"; exit 1 }
        printf "    %-34s %6.2f s CPU in %d dissolves, %.2f s in the 1.5 s before each\n",
            "orvanta cross dissolve", during / t, dissolves, before / t >"/dev/stderr"
        printf "%.2f %.2f\n", (during + xduring) / t, (before + xbefore) / t
    }' "$work/dissolve.samples" "$work/dissolve.starts" 2>&1 >"$work/dissolve.cpu"
read -r dissolve_cpu plain_cpu <"$work/dissolve.cpu"

# Covered: under openbox, a terminal made fullscreen over the one monitor. The time from the
# request to the pause, beside the time the window manager takes to make the window fullscreen as
# another X client sees it; then the covered screen's CPU over 20 s.
openbox --sm-disable >"$work/openbox.log" 2>&1 &
wm_pid=$!
set_prefs true false
start_orvanta orvanta-covered
sleep 5
xterm -title orvanta-covering -geometry 80x24+100+100 &
term_pid=$!
for _ in $(seq 100); do
    wmctrl -l | grep -q orvanta-covering && break
    sleep 0.1
done
sleep 1
fullscreen_asked="$EPOCHREALTIME"
wmctrl -r orvanta-covering -b add,fullscreen
for _ in $(seq 1000); do
    xprop -name orvanta-covering _NET_WM_STATE | grep -q FULLSCREEN && break
done
fullscreen_seen="$EPOCHREALTIME"
sleep 2
covered_before="$(ticks_of "$orvanta_pid") $(xserver_ticks)"
sleep 20
covered_after="$(ticks_of "$orvanta_pid") $(xserver_ticks)"
stop_orvanta
kill "$term_pid" "$wm_pid" 2>/dev/null || true
wait "$term_pid" "$wm_pid" 2>/dev/null || true
paused_at="$(grep -m 1 'is covered; pausing' "$work/orvanta-covered.log" | awk '{ print $1 }')"
[[ -n "$paused_at" ]] || { echo "desktop_bench: the covered screen never paused" >&2; exit 1; }
read -r covered_cpu covered_xcpu < <(cpu_between "$covered_before" "$covered_after")
printf '    %-34s %6.2f s CPU, X server %.2f s\n' "orvanta covered for 20 s" "$covered_cpu" \
    "$covered_xcpu"
read -r pause_ms fullscreen_ms < <(awk -v a="$fullscreen_asked" -v s="$fullscreen_seen" \
    -v p="$paused_at" 'BEGIN { printf "%.1f %.1f\n", (p - a) * 1000, (s - a) * 1000 }')
two_monitors
sleep 1
set_prefs true true
measure orvanta-sync-two-monitors "$orvanta"
grep -h "Frames on" "$work/orvanta-sync-two-monitors.log" | sed 's/^/    /'

# Layer shell: the same clip on one 1920x1080 output of a headless sway (pixman renderer; sway
# refuses to run as root, so it runs as nobody there), the program on the background layer
# beside a plain mpv window (--vo=wlshm) under the same compositor; the compositor's CPU takes
# the X server's place in every figure.
if command -v sway >/dev/null; then
    sway_dir="$(mktemp -d /tmp/orvanta-bench-sway-XXXXXX)"
    printf 'xwayland disable\noutput HEADLESS-1 mode 1920x1080\n' >"$sway_dir/config"
    as_user=()
    if [[ "$(id -u)" == 0 ]]; then
        chown nobody: "$sway_dir"
        as_user=(setpriv --reuid="$(id -u nobody)" --regid="$(id -g nobody)" --clear-groups)
    fi
    env -u DISPLAY -u WAYLAND_DISPLAY -u LD_PRELOAD XDG_RUNTIME_DIR="$sway_dir" HOME="$sway_dir" \
        WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
        "${as_user[@]}" sway -c "$sway_dir/config" >"$work/sway.log" 2>&1 &
    sway_pid=$!
    for _ in $(seq 100); do
        [[ -S "$sway_dir/wayland-1" ]] && break
        sleep 0.1
    done
    x_pid="$xserver_pid"
    xserver_pid="$sway_pid"
    set_prefs true false
    (
        export WAYLAND_DISPLAY="$sway_dir/wayland-1" XDG_SESSION_TYPE=wayland
        unset DISPLAY QT_QPA_PLATFORM
        measure mpv-wlshm mpv --no-config --vo=wlshm --ao=null "$clip"
        measure orvanta-layer-shell "$orvanta"
    )
    grep -h "background layer\|Frames on" "$work/orvanta-layer-shell.log" | sed 's/^/    /'
    xserver_pid="$x_pid"
    kill "$sway_pid" 2>/dev/null || true
    wait "$sway_pid" 2>/dev/null || true
    rm -rf "$sway_dir"
fi

# CPU of a measured run with the X server's over the same time.
cpu() { awk '{ c += $1 } END { printf "%.2f", c }' "$work/$1.cpu" "$work/$1.xcpu"; }
# at_most VALUE ANCHOR RATIO: 1 when VALUE <= RATIO x ANCHOR.
at_most() { awk -v v="$1" -v a="$2" -v r="$3" 'BEGIN { print (v <= r * a) ? 1 : 0 }'; }

orvanta_cpu="$(cpu orvanta)"
line "orvanta playing, with X server" "$orvanta_cpu" s "mpv --vo=x11, with X server" \
    "$(cpu mpv-x11)" s "ratio <= 0.75" "$(at_most "$orvanta_cpu" "$(cpu mpv-x11)" 0.75)"
line "orvanta playing, with X server" "$orvanta_cpu" s "mpv --vo=null (decode only)" \
    "$(cpu decode-only)" s "ratio <= 1.50" "$(at_most "$orvanta_cpu" "$(cpu decode-only)" 1.5)"
line "orvanta paused 20 s, with X server" \
    "$(awk -v a="$paused_cpu" -v b="$paused_xcpu" 'BEGIN { print a + b }')" s \
    "orvanta playing 20 s, with X server" "$orvanta_cpu" s "<= 0.05 s" \
    "$(awk -v a="$paused_cpu" -v b="$paused_xcpu" 'BEGIN { print (a + b <= 0.05) ? 1 : 0 }')"
line "orvanta covered 20 s, with X server" \
    "$(awk -v a="$covered_cpu" -v b="$covered_xcpu" 'BEGIN { print a + b }')" s \
    "orvanta playing 20 s, with X server" "$orvanta_cpu" s "<= 0.05 s" \
    "$(awk -v a="$covered_cpu" -v b="$covered_xcpu" 'BEGIN { print (a + b <= 0.05) ? 1 : 0 }')"
line "fullscreen window to pause" "$pause_ms" ms "openbox fullscreen, seen by xprop" \
    "$fullscreen_ms" ms "<= 300 ms" "$(awk -v v="$pause_ms" 'BEGIN { print (v <= 300) ? 1 : 0 }')"
line "orvanta 1.5 s dissolves, with X server" "$dissolve_cpu" s \
    "orvanta 1.5 s before each, with X" "$plain_cpu" s "ratio <= 2.00" \
    "$(at_most "$dissolve_cpu" "$plain_cpu" 2)"
line "orvanta sync, two monitors, with X" "$(cpu orvanta-sync-two-monitors)" s \
    "orvanta one monitor, with X server" "$orvanta_cpu" s "ratio <= 1.30" \
    "$(at_most "$(cpu orvanta-sync-two-monitors)" "$orvanta_cpu" 1.3)"
if [[ -s "$work/orvanta-layer-shell.cpu" ]]; then
    layer_cpu="$(cpu orvanta-layer-shell)"
    line "orvanta layer shell, with sway" "$layer_cpu" s "mpv --vo=wlshm, with sway" \
        "$(cpu mpv-wlshm)" s "ratio <= 0.75" "$(at_most "$layer_cpu" "$(cpu mpv-wlshm)" 0.75)"
    line "orvanta layer shell, with sway" "$layer_cpu" s "orvanta X11, with X server" \
        "$orvanta_cpu" s "ratio <= 1.30" "$(at_most "$layer_cpu" "$orvanta_cpu" 1.3)"
fi
