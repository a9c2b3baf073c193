# shellcheck shell=bash disable=SC2034
# Shared by the scripts; sourced, not run. Expects $0 to be the script's path.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
PYTHON=/usr/bin/python3
export PYTHONDONTWRITEBYTECODE=1
BUILD_PACKAGES=(
	build-essential pkg-config meson ninja-build python3
	libglib2.0-dev libglib2.0-dev-bin libjson-glib-dev
	libgtest-dev libgmock-dev
	libgpiod-dev libfuse3-dev fuse3 libsystemd-dev
	dbus-daemon bubblewrap python3-gi gir1.2-glib-2.0
)
TEST_PACKAGES=(
	libglib2.0-bin python3-pytest python3-pytest-xdist locales
	linux-libc-dev-mipsel-cross mandoc lintian shellcheck
	python3-seccomp systemd udev
	mmdebstrap systemd-container python3-markdown-it
)
PICTURE_PACKAGES=(termtosvg)

# What happens now, for the person who is watching.
step() {
	printf '==> %s\n' "$*"
}

# What the comment at the script's head says, if that is all that is asked for:
# offer_help "$@"
offer_help() {
	[[ $# -eq 1 && $1 == --help ]] || return 0
	sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0"
	exit 0
}

# Ends a script that was called in another way than its head says.
wrong_usage() {
	sed -n 's/^# \(Usage: .*\)/\1/p' "$0" >&2
	exit 2
}

# The one line that says why it does not go on.
die() {
	printf '%s: %s\n' "$(basename "$0")" "$*" >&2
	exit 1
}

# Goes on as root, with the script's arguments.
become_root() {
	[[ $EUID -eq 0 ]] && return
	command -v sudo >/dev/null || die "needs root, and there is no sudo"
	[[ -t 0 ]] || sudo -n true 2>/dev/null ||
		die "needs root, and sudo would ask for a password"
	exec sudo -- "$0" "$@"
}

# Installs those of the named packages that are missing; needs no network when
# none is.
install_packages() {
	local missing=() tool package status
	for tool in dpkg-query apt-get; do
		command -v "$tool" >/dev/null || die "needs Debian: no $tool"
	done
	for package in "$@"; do
		status=$(dpkg-query -W -f '${db:Status-Status}' "$package" \
			2>/dev/null) || true
		[[ $status == installed ]] || missing+=("$package")
	done
	[[ ${#missing[@]} -eq 0 ]] && return
	step "Installing ${missing[*]}"
	export DEBIAN_FRONTEND=noninteractive
	apt-get update -q || die "apt-get update failed"
	apt-get install -q -y --no-install-recommends "${missing[@]}" ||
		die "could not install ${missing[*]}"
}

# Stops here when no sandbox can be made.
require_sandbox() {
	local reason
	reason=$("$PYTHON" "$ROOT/tests/sandbox/sandbox.py" 2>&1) ||
		die "$reason"
}

# Several sources are compiled at a time: headers take longer than what is ours.
# A name at file scope, anonymous namespace or not, is given once in a folder.
UNITY=(-Dunity=on -Dunity_size=16)

# As shipped, with the line numbers that a backtrace shows: all that a debugger
# could know besides takes the compiler another half of its time.
PLAIN=(--buildtype=debugoptimized -Dc_args=-g1 -Dcpp_args=-g1)

# configure FOLDER OPTION...: sets a build folder up, unless it is.
configure() {
	local folder=$1
	shift
	[[ -f $folder/build.ninja ]] ||
		meson setup --wrap-mode=nodownload "${UNITY[@]}" \
			"$folder" "$ROOT" "$@"
}

# compile FOLDER TARGET...: one at a time in a folder, or two would spoil each
# other's objects.
compile() {
	flock "$1/compile.lock" ninja -C "$@"
}

# Leaves what root has built to who called sudo.
give_back() {
	[[ -n ${SUDO_UID-} && -n ${SUDO_GID-} ]] || return 0
	chown -R "$SUDO_UID:$SUDO_GID" "$ROOT/build"
}
