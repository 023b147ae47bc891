# Sourced by scripts that run a platform beside the user's: start_platform copies the programs and starts the host with its own
# runtime directory, data and shared-memory segment; end_platform ends every program of the copy. Sets $work and $host.

work=''
host=''

# Every process that runs a program of this copy: the host, and the hub and services that it started.
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
        [ -n "$found" ] || break
        sleep 1
    done
    rm -rf "$work"
}

# start_platform BIN: BIN is the build's directory of programs. Fails after 60 seconds.
start_platform() {
    work=$(mktemp -d "${TMPDIR:-/tmp}/tarn-private.XXXXXX")
    trap end_platform EXIT
    trap 'exit 130' INT TERM
    cp -a "$1" "$work/bin"
    mkdir -m 700 "$work/run" "$work/data" "$work/tmp"
    export XDG_RUNTIME_DIR=$work/run XDG_DATA_HOME=$work/data TMPDIR=$work/tmp QT_QPA_PLATFORM=xcb
    cd "$work"
    "$work/bin/visualized-host" >"$work/host.log" 2>&1 &
    host=$!
    local deadline=$((SECONDS + 60))
    until "$work/bin/tarnctl" status >"$work/status.log" 2>&1; do
        if [ $SECONDS -ge $deadline ] || ! kill -0 "$host" 2>/dev/null; then
            echo "the platform did not come up" >&2
            cat "$work/status.log" "$work/host.log" >&2
            return 1
        fi
        sleep 0.1
    done
}
