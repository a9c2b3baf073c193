"""The root file system of a Debian machine without anything of ours."""

import contextlib
import fcntl
import hashlib
import os
import pathlib
import re
import subprocess
import tempfile

from confined import SandboxError

SUITE = "bookworm"
# What boots, with what apt needs to install a package.
_PACKAGES = ["?essential", "usr-is-merged", "apt", "systemd", "systemd-sysv",
             "dbus", "udev"]
_OPTIONS = ["--mode=root", "--variant=custom", "--dpkgopt=force-unsafe-io",
            "--hook-dir=/usr/share/mmdebstrap/hooks/merged-usr"]
# Made in memory, which nobody else sees and which goes with the process.
_IN_MEMORY = 'mount -t tmpfs -o mode=0755 machine "$TMPDIR" && exec "$@"'


def field(package, name):
    """A field of a package file's control data."""
    return subprocess.run(["dpkg-deb", "--field", package, name], check=True,
                          stdout=subprocess.PIPE, text=True).stdout.strip()


def dependencies(packages):
    """What the package files need, as the first of each alternatives, sorted;
    not each other."""
    relations = ",".join(field(package, name) for package in packages
                         for name in ("Pre-Depends", "Depends"))
    names = {re.split(r"[\s(|:\[<]", relation.strip())[0]
             for relation in relations.split(",") if relation.strip()}
    return sorted(names - {field(package, "Package") for package in packages})


def _make(archive, include):
    with tempfile.TemporaryDirectory(prefix="orvad-root-") as folder:
        made = subprocess.run(
            ["unshare", "--mount", "sh", "-c", _IN_MEMORY, "sh",
             "mmdebstrap", *_OPTIONS,
             *(f"--include={package}" for package in include),
             "--format=tar", SUITE, archive],
            env={**os.environ, "TMPDIR": folder}, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            check=False)
    if made.returncode != 0:
        raise SandboxError(f"mmdebstrap made no machine:\n{made.stdout}")


def root_archive(folder, packages):
    """A tar archive of a minimal Debian on which the package files can be
    installed without a network. It is made once and kept in the folder."""
    include = [*_PACKAGES, *dependencies(packages)]
    recipe = repr((SUITE, _OPTIONS, include)).encode()
    digest = hashlib.sha256(recipe).hexdigest()[:16]
    archive = pathlib.Path(folder) / f"machine-{digest}.tar"
    with open(archive.with_suffix(".lock"), "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not archive.exists():
            for old in archive.parent.glob("machine-*.tar"):
                old.unlink()
            unfinished = archive.with_suffix(".unfinished")
            try:
                _make(unfinished, include)
                unfinished.rename(archive)
            finally:
                with contextlib.suppress(FileNotFoundError):
                    unfinished.unlink()
    return archive
