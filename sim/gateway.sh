#!/bin/sh
# Runs the unchanged agent inside the simulated gateway, in the foreground.
# Usage: gateway.sh --root ROOT --mnt DIR [--fast-sleeps] [-- AGENT ARGUMENTS...]
#   ROOT  the root file system made by build-rootfs.sh (never written)
#   DIR   an empty directory to mount the gateway's private view on
#   --fast-sleeps  the agent's sleeps under a second last a hundredth (load tests)
# The gateway has private mount and PID namespaces and the caller's network: from
# the host, the agent is on 127.0.0.1 port 263. Everything it writes lives in a
# tmpfs that disappears with it; stopping it (Ctrl-C) leaves nothing behind.
set -eu
root= mnt=
while [ $# -gt 0 ]; do
	case $1 in
	--root) root=$2; shift 2 ;;
	--mnt) mnt=$2; shift 2 ;;
	--inside) inside=1; shift ;;
	--fast-sleeps) export PEMO_FAST_SLEEPS=1; shift ;;
	--) shift; break ;;
	*) echo "gateway.sh: unknown option $1" >&2; exit 2 ;;
	esac
done
[ -d "$root/sim" ] && [ -d "$mnt" ] || { echo "gateway.sh: --root and --mnt must name directories" >&2; exit 2; }

if [ -z "${inside:-}" ]; then
	if ! unshare --mount --pid --fork true 2>/dev/null; then
		echo "gateway.sh: cannot create private mount and PID namespaces: run as root" >&2
		exit 1
	fi
	exec unshare --mount --pid --fork --kill-child --propagation private -- \
		"$0" --inside --root "$root" --mnt "$mnt" -- "$@"
fi

mount -t tmpfs -o mode=755 gateway "$mnt"
mkdir "$mnt/upper" "$mnt/work" "$mnt/root"
mount -t overlay overlay -o "lowerdir=$root,upperdir=$mnt/upper,workdir=$mnt/work" "$mnt/root"
for node in null zero random urandom; do mount --bind "/dev/$node" "$mnt/root/dev/$node"; done
exec chroot "$mnt/root" /sim/init "$@"
