#!/bin/bash
# scripts/demo.sh: installs what is missing, builds, starts the reference platform with data of its own and shows every
# window there is, each called over real RPC. Without a display it takes a private one and leaves pictures in out/demo/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
bin=$root/build/release/bin
out=$root/out/demo

step() { printf '\n== [%3d s] %s\n' "$SECONDS" "$*"; }

build() {
    step "packages"
    scripts/install-deps.sh build run test bench
    step "build"
    mkdir -p build
    cmake --preset release >build/configure-release.log 2>&1 || {
        cat build/configure-release.log
        exit 1
    }
    NINJA_STATUS='[%f/%t, %es] ' cmake --build --preset release -j "$(nproc)" --target programs winshot wmready
}

if [ "${1:-}" != --on-desktop ]; then
    build
    if [ -z "${DISPLAY:-}" ]; then
        step "no display: a private one, pictures go to out/demo/"
        rm -rf "$out"
        TARN_DEMO_PICTURES=1 exec tests/support/with-x.sh -s 1600x900x24 -- "$0" --on-desktop
    fi
fi

# A hub, sockets, data and a shared-memory segment of its own: the user's running platform is not touched.
work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-demo.XXXXXX")
host=''
# Every process that runs a program of this copy: the host, and the hub and services that it brought up.
end_platform() {
    local signal proc exe found
    for signal in TERM TERM KILL; do
        found=''
        for proc in /proc/[0-9]*; do
            exe=$(readlink "$proc/exe" 2>/dev/null) || continue
            [[ $exe == "$work"/bin/* ]] || continue
            kill -$signal "${proc#/proc/}" 2>/dev/null || true
            found=1
        done
        [ -n "$found" ] || return 0
        sleep 1
    done
}
finish() {
    end_platform
    rm -rf "$work"
}
trap finish EXIT
trap 'exit 130' INT TERM
cp -a "$bin" "$work/bin"
mkdir -m 700 "$work/run" "$work/data" "$work/tmp"
export XDG_RUNTIME_DIR=$work/run XDG_DATA_HOME=$work/data TMPDIR=$work/tmp QT_QPA_PLATFORM=xcb
cd "$work"

step "start"
# The host alone: it brings up the hub, and the hub the services.
"$work/bin/visualized-host" >"$work/host.log" 2>&1 &
host=$!
deadline=$((SECONDS + 20))
until "$work/bin/tarnctl" status >"$work/status.log" 2>&1; do
    if [ $SECONDS -ge $deadline ] || ! kill -0 "$host" 2>/dev/null; then
        echo "demo: the platform did not come up" >&2
        cat "$work/status.log" "$work/host.log" >&2
        exit 1
    fi
    sleep 0.1
done
cat "$work/status.log"

last=0
# window ROLE PICTURE COMMAND...: runs a tarnctl command and waits for the window it brings.
window() {
    local role=$1 picture=$2
    shift 2
    local shown="tarnctl $*"
    shown=${shown//$'\n'/ }
    step "$picture: ${shown:0:100}"
    "$work/bin/tarnctl" "$@"
    if ! last=$("$root/build/release/tools/winshot/winshot" "$role" "$work/$picture.png" 15000 "$last"); then
        echo "demo: no window with the role $role" >&2
        cat "$work/host.log" >&2
        exit 1
    fi
    if [ -n "${TARN_DEMO_PICTURES:-}" ]; then
        mkdir -p "$out"
        cp "$work/$picture.png" "$out/"
        echo "out/demo/$picture.png"
    elif [ -t 0 ]; then
        read -r -p "Enter for the next one " || true
    else
        sleep 4
    fi
}

window NotifyWnd notify-short message push --title '更新提醒' --content '岚川软件平台有新的可用版本。' --unread 0
window NotifyWnd notify-link message push --title '系统维护通知' --content $'服务器将于今晚 22:00 至 24:00 维护，\n届时云端功能暂不可用。' \
    --link 'https://example.com/notice' --link-text '查看详情' --unread 7
window NotifyWnd notify-picture message push --title '安装完成' --content '所有补丁都已安装。' \
    --picture "$root/src/resources/images/success.png" --link 'https://example.com/notes' --link-text '更新说明'
long=$(printf '这是第 %d 行很长的通知内容，用于说明窗口高度的上限与滚动条。\n' $(seq 40))
window NotifyWnd notify-long message push --title '长通知' --content "$long" --unread 51

window CCheckUpdateDial check-update upgrade check
window CUpdateExplainDial update-notes upgrade notes 云杉绘图
window CUpgradeDialog online-upgrade upgrade start 远帆仿真

step "silent patch: tarnctl upgrade silent 云杉绘图"
# Its window is there for as long as the request is judged, too short for a picture; docs/gallery has one.
"$work/bin/tarnctl" upgrade silent 云杉绘图

printf 'Demo-2026\n' | "$work/bin/tarnctl" cloud account add 演示用户 --phone 13800138000
window CYunLoginDialog cloud-login call ShowCloudLogin '{"软件标识":"demo","EXE名称":"demo"}'
# Last, since it stays on top.
window CMsgCenterDlg message-center call ShowMessageCenter '{"msg_center_rect":{"$rect":[300,100,1000,700]}}'

step "end"
kill "$host"
code=0
wait "$host" || code=$?
host=''
[ "$code" = 0 ] || { echo "demo: the host ended with $code" >&2; exit 1; }
echo "All windows were shown and the platform has ended."
