#!/bin/bash
# scripts/demo.sh: installs the missing packages, builds, starts a private reference platform and shows every
# window by an RPC call. Without a display the script starts a private one and saves pictures in out/demo/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
bin=$root/build/release/bin
out=$root/out/demo

step() { printf '\n== [%3d s] %s\n' "$SECONDS" "$*"; }

build() {
    step "packages"
    scripts/install-deps.sh build run test
    step "build"
    scripts/configure.sh release
    NINJA_STATUS='[%f/%t, %es] ' cmake --build --preset release -j "$(nproc)" --target programs
}

if [ "${1:-}" != --on-desktop ]; then
    build
    if [ -z "${DISPLAY:-}" ]; then
        step "no display: a private one, pictures go to out/demo/"
        rm -rf "$out"
        TARN_DEMO_PICTURES=1 exec tests/support/with-x.sh -s 1600x900x24 -- "$0" --on-desktop
    fi
fi

. scripts/private-platform.sh
step "start"
start_platform "$bin"
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
    if ! last=$("$root/tools/winshot.py" "$role" "$work/$picture.png" "$last"); then
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
