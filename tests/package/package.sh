#!/bin/bash
# tests/package/package.sh BUILD_DIR: makes the Debian packages of a build, installs them into a scratch root, drives the installed
# programs and the examples, removes the packages and looks for leftovers. Runs inside tests/support/with-x.sh.
set -euo pipefail
build=$1
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
[ "$(id -u)" = 0 ] || {
    echo "SKIPPED: installing packages needs root"
    exit 77
}
work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-package.XXXXXX")
root=$work/root
programs=$root/usr/libexec/tarn-visualized
export XDG_RUNTIME_DIR=$work/run XDG_DATA_HOME=$work/data TMPDIR=$work/tmp TARN_PROTO=$root/usr/share/tarn/proto
mkdir -p "$XDG_DATA_HOME" "$TMPDIR" "$root"/var/lib/dpkg/{info,updates}
mkdir -m 700 "$XDG_RUNTIME_DIR"
touch "$root"/var/lib/dpkg/{status,available}
finish() {
    "$programs/tarnctl" stop >/dev/null 2>&1 || true
    rm -rf "$work"
}
trap finish EXIT
fail() {
    echo "FAILED: $*" >&2
    exit 1
}
scratch_dpkg() { dpkg --root="$root" --force-depends --force-script-chrootless --log="$work/dpkg.log" "$@" >>"$work/dpkg.out" 2>&1 || fail "dpkg $*: $(tail -3 "$work/dpkg.out")"; }

cpack --config "$build/CPackConfig.cmake" -B "$work/packages" >"$work/cpack.log" 2>&1 || fail "cpack: $(tail -5 "$work/cpack.log")"
ls "$work"/packages/*.deb
if command -v lintian >/dev/null; then
    lintian --allow-root --fail-on warning --suppress-tags-from-file "$source/packaging/lintian-suppressed" "$work"/packages/*.deb || fail "lintian"
fi
scratch_dpkg -i "$work"/packages/*.deb
[ "$(readlink -f "$root/usr/bin/tarnctl")" = "$programs/tarnctl" ] || fail "no link to tarnctl"
for file in etc/xdg/autostart/tarn-visualized.desktop usr/lib/systemd/user/tarn-visualized.service usr/share/man/man1/tarnctl.1.gz \
    usr/share/bash-completion/completions/tarnctl usr/include/tarn-visualized/tarn/rpc/Rpc.h; do
    [ -f "$root/$file" ] || fail "not installed: $file"
done

for program in visualized-host ServiceHub tarn-services; do
    page=$(zcat "$root/usr/share/man/man1/$program.1.gz" | tr -d '\\')
    for option in $("$programs/$program" --help | grep -oE '^ +(-., )?--[a-z-]+' | grep -oE -- '--.*' | grep -vE 'help|version'); do
        [[ $page == *"$option"* ]] || fail "not in the man page of $program: $option"
    done
done

until_answered() {
    local deadline=$((SECONDS + 60))
    until "$root/usr/bin/tarnctl" status >"$work/status" 2>&1; do
        [ $SECONDS -lt $deadline ] || fail "the platform did not come up: $(cat "$work/status" "$work/host.log")"
        sleep 0.1
    done
}
"$root/usr/bin/visualized-host" >"$work/host.log" 2>&1 &
until_answered
offered=$("$root/usr/bin/tarnctl" upgrade check --list)
[[ $offered == *云杉绘图* ]] || fail "the sample products are not found: $offered"
/usr/bin/python3 "$source/examples/python/client.py" || fail "the Python example"
if command -v npm >/dev/null && cp -r "$source/examples/node" "$work/node" &&
    (cd "$work/node" && timeout 60 npm install --no-audit --no-fund --silent >/dev/null 2>&1); then
    (cd "$work/node" && node client.js) || fail "the Node example"
else
    echo "SKIPPED: the Node example needs npm and its registry"
fi
"$root/usr/bin/tarnctl" stop
wait

cmake -S "$source/examples/host" -B "$work/host" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >"$work/cmake.log" 2>&1 &&
    cmake --build "$work/host" >>"$work/cmake.log" 2>&1 || fail "the example host: $(tail -5 "$work/cmake.log")"
"$work/host/example-host" >"$work/host.log" 2>&1 || fail "the example host ended with $?: $(tail -5 "$work/host.log")"
"$root/usr/bin/tarnctl" stop

scratch_dpkg -P tarn-visualized-sample tarn-visualized-dev tarn-visualized
left=$(find "$root" -path "$root/var" -prune -o ! -type d -print)
[ -z "$left" ] || fail "left behind: $left"
echo "installed, driven and removed"
