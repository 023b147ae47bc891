#!/bin/sh
# alone.sh PROGRAM [ARG...]
# Runs a copy of PROGRAM in a folder that no other run uses, and that is its temporary directory too: for a test that reads
# and writes beside its program, or publishes a hub's port.
folder=$(mktemp -d "${TMPDIR:-/tmp}/alone.XXXXXX") || exit
trap 'rm -rf "$folder"' EXIT
trap 'exit 1' TERM INT HUP
mkdir "$folder/tmp"
cp "$1" "$folder" || exit
program=$folder/$(basename "$1")
shift
TMPDIR=$folder/tmp "$program" "$@"
