#!/bin/bash
# Mounts (or unmounts) small tmpfs volumes for the free-space tests, one per test so that no
# two tests share the space they measure. Where mounting is not allowed (no root, a container
# without the right), it says so and succeeds: the tests then skip with that reason.
set -u
action=$1
root=$2
shift 2
for name in "$@"; do
    dir="$root/$name"
    if mountpoint -q "$dir" 2>/dev/null; then
        umount "$dir" || umount -l "$dir"
    fi
    [ "$action" = unmount ] && continue
    mkdir -p "$dir"
    if ! error=$(mount -t tmpfs -o size=2m,mode=0777 tmpfs "$dir" 2>&1); then
        echo "small volume $dir not mounted: $error"
    fi
done
exit 0
