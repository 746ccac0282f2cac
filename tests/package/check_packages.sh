#!/usr/bin/env bash
# Tries packages in bare roots: check_packages.sh BARE_ROOT.tar.gz DEB...
# They install and go by piuparts, their tests run by autopkgtest, and a user records, reads, completes and removes.
# As root; needs the network that the root's package sources need.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
bare=$(realpath "$1")
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# in_root COMMAND...: with a fresh copy of the bare root, $work/now, that has the kernel's file systems for as long.
in_root() {
    rm -rf "$work/now"
    mkdir "$work/now"
    tar -C "$work/now" -xf "$bare"
    cp /etc/resolv.conf /etc/hosts "$work/now/etc"
    # shellcheck disable=SC2016
    unshare --mount --pid --fork --propagation private bash -euc '
        mount -t proc proc "$0/proc"
        mount --rbind /sys "$0/sys"
        mount --rbind /dev "$0/dev"
        exec "$@"' "$work/now" "$@"
}

echo "== piuparts"
piuparts --distribution bookworm --basetgz "$bare" --no-upgrade-test "$@"

echo "== autopkgtest"
mkdir "$work/source"
git -C "$root" ls-files -z debian tests/install | tar -C "$root" --null -T - -cf - | tar -C "$work/source" -xf -
in_root autopkgtest --setup-commands "apt-get update" --no-built-binaries "$@" "$work/source/" -- chroot "$work/now"

echo "== a user"
# shellcheck disable=SC2016
in_root bash -euc 'mkdir "$0/check"
    cp "$1" "$2" "${@:3}" "$0/check"
    chroot "$0" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 bash /check/check_as_user.sh' \
    "$work/now" "$root/tests/package/check_as_user.sh" "$root/tests/usage/completion_test.py" "$@"
