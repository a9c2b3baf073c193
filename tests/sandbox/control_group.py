"""A control group of one's own, for everything that a container starts."""

import contextlib
import os
import pathlib
import secrets

from confined import SandboxError
from waiting import wait_until


def _hierarchies():
    """Where the unified hierarchy and, beside an older one, systemd's own are
    mounted."""
    found = []
    for line in pathlib.Path("/proc/self/mountinfo").read_text(
            encoding="utf-8").splitlines():
        before, after = line.split(" - ", 1)
        kind, _, options = after.split(" ", 2)
        if kind == "cgroup2":
            found.insert(0, pathlib.Path(before.split()[4]))
        elif kind == "cgroup" and "name=systemd" in options.split(","):
            found.append(pathlib.Path(before.split()[4]))
    return found


class ControlGroup:
    """Containers in the same group would end each other's services."""

    def __init__(self):
        name = f"orvad-machine-{secrets.token_hex(4)}"
        self._folders = [folder / name for folder in _hierarchies()]
        if not self._folders or not (
                self._folders[0].parent / "cgroup.procs").exists():
            raise SandboxError("no machine can be booted here: "
                               "there is no control group hierarchy (cgroup2)")
        try:
            for folder in self._folders:
                folder.mkdir()
        except OSError as error:
            self.destroy()
            raise SandboxError("no machine can be booted here: "
                               f"no control group: {error}") from error

    @property
    def entrances(self):
        """The files that a process writes its id to, to be in the group."""
        return [folder / "cgroup.procs" for folder in self._folders]

    def destroy(self):
        """Ends everything in the group."""
        with contextlib.suppress(FileNotFoundError):
            (self._folders[0] / "cgroup.kill").write_text("1")
        for folder in self._folders:
            wait_until(lambda folder=folder: self._remove(folder),
                       f"{folder} to be empty")

    @staticmethod
    def _remove(folder):
        """Whether it is gone; what has just been killed may still be in it."""
        with contextlib.suppress(OSError):
            for path, _, _ in os.walk(folder, topdown=False):
                os.rmdir(path)
        return not folder.exists()
