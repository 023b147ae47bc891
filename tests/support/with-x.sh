#!/bin/bash
# with-x.sh [-w WM] [-s WxHxDEPTH] [-2] -- COMMAND [ARG...]
# Runs COMMAND on a private desktop: an X server on a free display, a session bus, a window manager (openbox unless -w says
# otherwise; "none" for none), and a private home, temporary and runtime directory. -2: two screens, 1024x768 and right of
# it the primary one of 1280x1000. Ends only the programs that it started; the exit status is COMMAND's (3: no X server,
# 4: no window manager).
set -u
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
wm=openbox size=1920x1080x24 two=''
while getopts w:s:2 opt; do
    case $opt in
    w) wm=$OPTARG ;;
    s) size=$OPTARG ;;
    2) two=1 ;;
    *) exit 2 ;;
    esac
done
shift $((OPTIND - 1))
[ $# -gt 0 ] || { echo "with-x: no command" >&2; exit 2; }

tmp=$(mktemp -d "${TMPDIR:-/tmp}/withx.XXXXXX")
pids=()
child=''
# Ends every process that has the private directories in its environment or command line (the environment of some cannot be
# read), but for the desktop's servers: programs of a killed test, browsers, settings daemons.
end_others() {
    local file pid
    for file in $(grep -lsaF -- "$tmp/" /proc/[0-9]*/environ /proc/[0-9]*/cmdline); do
        pid=${file//[!0-9]/}
        [[ " ${pids[*]} " == *" $pid "* ]] || kill -9 "$pid" 2>/dev/null
    done
}
cleanup() {
    local i pid tries
    end_others
    for ((i = ${#pids[@]} - 1; i >= 0; i--)); do # in five seconds each
        pid=${pids[i]} tries=0
        while kill "$pid" 2>/dev/null && ((++tries < 100)); do sleep 0.05; done
        kill -9 "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    end_others # of the bus
    rm -rf "$tmp"
}
trap cleanup EXIT
trap '[ -n "$child" ] && kill "$child" 2>/dev/null' TERM INT HUP

mkfifo "$tmp/display" "$tmp/bus"
server=(Xvfb -screen 0 "$size")
if [ -n "$two" ]; then # Xvfb has one output only
    printf 'Section "Device"\nIdentifier "card"\nDriver "dummy"\nVideoRam 65536\nEndSection\n' >"$tmp/two.conf"
    printf 'Section "ServerFlags"\nOption "AutoAddDevices" "false"\nEndSection\n' >>"$tmp/two.conf" # not the user's keyboard
    server=(Xorg -config "$tmp/two.conf" -logfile "$tmp/xorg.log")
fi
"${server[@]}" -displayfd 7 -dpi 96 -nolisten tcp -noreset 7>"$tmp/display" >"$tmp/server.log" 2>&1 &
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

if [ -n "$two" ]; then
    mode=1280x1000
    xrandr --newmode $mode 100 1280 1300 1400 1500 1000 1003 1010 1030
    xrandr --output DUMMY1 --set WIDTH_MM 338 --set HEIGHT_MM 264 # the driver takes it for connected
    xrandr --addmode DUMMY1 $mode
    xrandr --output DUMMY0 --mode 1024x768 --pos 0x0 --output DUMMY1 --mode $mode --pos 1024x0 --primary
    xrandr >"$tmp/outputs" # makes the server look for connected outputs again
fi

dbus-daemon --session --nofork --nopidfile --print-address=8 8>"$tmp/bus" >"$tmp/dbus.log" 2>&1 &
pids+=($!)
read -r -t 20 DBUS_SESSION_BUS_ADDRESS <"$tmp/bus" || { echo "with-x: no session bus" >&2; exit 3; }
export DBUS_SESSION_BUS_ADDRESS

case $wm in
none) ;;
openbox) openbox --sm-disable --config-file "$here/openbox-rc.xml" >"$tmp/wm.log" 2>&1 & ;;
xfwm4) xfwm4 --compositor=off --sm-client-disable >"$tmp/wm.log" 2>&1 & ;;
metacity) metacity --sm-disable --no-composite >"$tmp/wm.log" 2>&1 & ;;
*) "$wm" >"$tmp/wm.log" 2>&1 & ;;
esac
if [ "$wm" != none ]; then
    pids+=($!)
    if ! "$here/wmready.py"; then
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
[ "$rc" -le 128 ] || echo "with-x: signal $((rc - 128)) ended $1" >&2
exit "$rc"
