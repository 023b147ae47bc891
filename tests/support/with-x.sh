#!/bin/bash
# with-x.sh [-w WM] [-s WxHxDEPTH] [-d DPI] -- COMMAND [ARG...]
# Runs COMMAND on a private desktop: an X server on a free display, a session bus, a window manager (openbox unless -w says
# otherwise; "none" for none), and a home, temporary and runtime directory of its own. Ends only what it started; the exit
# status is COMMAND's (3: no X server, 4: no window manager).
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
wm=openbox size=1920x1080x24 dpi=96
while getopts w:s:d: opt; do
    case $opt in
    w) wm=$OPTARG ;;
    s) size=$OPTARG ;;
    d) dpi=$OPTARG ;;
    *) exit 2 ;;
    esac
done
shift $((OPTIND - 1))
[ $# -gt 0 ] || { echo "with-x: no command" >&2; exit 2; }

tmp=$(mktemp -d "${TMPDIR:-/tmp}/withx.XXXXXX")
pids=()
child=''
# Whatever runs from the temporary folder: a test that was killed leaves the programs of its private platform behind.
end_left_overs() {
    local exe
    for exe in /proc/[0-9]*/exe; do
        [[ $(readlink "$exe" 2>/dev/null) == "$tmp"/* ]] && kill -9 "$(basename "$(dirname "$exe")")" 2>/dev/null
    done
}
cleanup() {
    local i
    end_left_overs
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do
        kill "${pids[i]}" 2>/dev/null
        wait "${pids[i]}" 2>/dev/null
    done
    [ "$wm" = openbox ] || sleep 0.3 # settings daemons of other desktops write once more when the bus goes
    rm -rf "$tmp"
}
trap cleanup EXIT
trap '[ -n "$child" ] && kill "$child" 2>/dev/null' TERM INT HUP

mkfifo "$tmp/display" "$tmp/bus"
Xvfb -displayfd 7 -dpi "$dpi" -nolisten tcp -noreset -screen 0 "$size" 7>"$tmp/display" >"$tmp/server.log" 2>&1 &
pids+=($!)
if ! read -r -t 30 number <"$tmp/display"; then
    echo "with-x: no X server" >&2
    cat "$tmp/server.log" >&2
    exit 3
fi

export DISPLAY=:$number HOME=$tmp/home TMPDIR=$tmp/tmp
export XDG_RUNTIME_DIR=$tmp/run XDG_CONFIG_HOME=$tmp/config XDG_DATA_HOME=$tmp/data XDG_CACHE_HOME=$tmp/cache
mkdir -m 700 "$HOME" "$TMPDIR" "$XDG_RUNTIME_DIR" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME"
unset WAYLAND_DISPLAY QT_QPA_PLATFORM SESSION_MANAGER DESKTOP_SESSION XDG_CURRENT_DESKTOP
export LANG=C.UTF-8 LC_ALL=C.UTF-8 QT_QPA_PLATFORMTHEME='' QT_STYLE_OVERRIDE=Fusion NO_AT_BRIDGE=${NO_AT_BRIDGE-1}
export FONTCONFIG_FILE=${FONTCONFIG_FILE-$here/fonts.conf}

dbus-daemon --session --nofork --nopidfile --print-address=8 8>"$tmp/bus" >"$tmp/dbus.log" 2>&1 &
pids+=($!)
read -r -t 20 DBUS_SESSION_BUS_ADDRESS <"$tmp/bus" || { echo "with-x: no session bus" >&2; exit 3; }
export DBUS_SESSION_BUS_ADDRESS

if [ "$wm" != none ] && ! command -v "$wm" >/dev/null; then
    echo "with-x: the window manager $wm is not installed" >&2
    exit 4
fi
case $wm in
none) ;;
openbox) openbox --sm-disable --config-file "$here/openbox-rc.xml" >"$tmp/wm.log" 2>&1 & ;;
xfwm4) xfwm4 --compositor=off --sm-client-disable >"$tmp/wm.log" 2>&1 & ;;
metacity) metacity --sm-disable --no-composite >"$tmp/wm.log" 2>&1 & ;;
*) "$wm" >"$tmp/wm.log" 2>&1 & ;;
esac
if [ "$wm" != none ]; then
    pids+=($!)
    wmready=${TARN_WMREADY:-}
    for preset in release dev asan; do # started by hand: whichever is built
        [ -n "$wmready" ] || [ ! -x "$here/../../build/$preset/tests/wmready" ] || wmready=$here/../../build/$preset/tests/wmready
    done
    if ! "$wmready" 20000; then
        echo "with-x: the window manager $wm did not start" >&2
        cat "$tmp/wm.log" >&2
        exit 4
    fi
fi

"$@" <&0 &
child=$!
wait "$child"
rc=$?
while kill -0 "$child" 2>/dev/null; do # a trapped signal ends the first wait early
    wait "$child"
    rc=$?
done
exit "$rc"
