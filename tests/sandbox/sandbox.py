#!/usr/bin/python3
"""A mount sandbox in which the real daemon runs with its fixed paths.

    with Sandbox(build, config=XML) as box:
        daemon = box.start()
        ... a D-Bus client of box.bus_address, box.etc / "orvad/orvad.conf" ...
        daemon.stop()

/etc, /usr/share/orvad, /run, /tmp and /sys are private, the rest of the system
is read-only, and a dbus-daemon of its own is the system bus. Needs root and
bubblewrap; run as a program, this file says in one line whether that works.
"""

import os
import pathlib
import secrets
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile

from gi.repository import Gio, GLib

import sanitizers
from confined import Confined, SandboxError
from waiting import DEADLINE, wait_until

QEL_UID = 64123
QEL_GID = 64124
STATE_NAME = "com.vexa.IOControl.State"

_ROOT = pathlib.Path(__file__).resolve().parents[2]
_FOLDERS = _ROOT / "data/tmpfiles.d/orvad.conf"
_BUS_SOCKET = "run/dbus/system_bus_socket"
BUILD = "/opt/orvad"  # where the build folder is seen inside
_SYSTEM = ("lib", "lib64", "bin", "sbin", "libexec")
_SYSTEM_DATA = ("locale", "zoneinfo", "glib-2.0")
_PRIVATE = {"etc": "/etc", "run": "/run", "tmp": "/tmp", "sys": "/sys",
            "share": "/usr/share/orvad"}
_BUS_POLICY = """
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
"""
_BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC
  "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
  "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <listen>unix:path=/{socket}</listen>
  <auth>EXTERNAL</auth>
  {policy}
</busconfig>
"""
_NSSWITCH = "passwd: files\ngroup: files\nshadow: files\n"


def obstacle():
    """Why no sandbox can be made here, in one line; empty when one can."""
    if os.geteuid() != 0:
        return "the sandbox needs root"
    for tool in ("bwrap", "dbus-daemon"):
        if shutil.which(tool) is None:
            return f"the sandbox needs the program {tool}"
    if not os.access("/dev/fuse", os.R_OK | os.W_OK):
        return "the simulated board needs /dev/fuse"
    trial = subprocess.run(
        ["bwrap", "--unshare-pid", "--cap-add", "ALL", "--ro-bind", "/", "/",
         "--proc", "/proc", "--dev", "/dev", "--tmpfs", "/run", "true"],
        stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
    if trial.returncode != 0:
        reason = (trial.stderr.strip().splitlines() or ["no reason given"])[-1]
        return f"bubblewrap cannot make a sandbox here: {reason}"
    return ""


class Daemon(Confined):
    """A run of the program under test. Every way to its end checks that the
    exit status is the expected one and that nothing was reported."""

    check = None

    def stop(self, expect=0, timeout=DEADLINE):
        """SIGTERM, then the end; the exit status."""
        self.send(signal.SIGTERM)
        return self.wait(expect, timeout)

    def kill(self):
        """SIGKILL."""
        self.send(signal.SIGKILL)
        return self.wait(128 + signal.SIGKILL)

    def wait(self, expect=0, timeout=DEADLINE):
        """The end that comes by itself; the exit status."""
        self.finish(timeout)
        self.check(self, expect)
        return self.status


class Sandbox:
    """See the head of this file. The options:

    build: the build folder. program: what to run, relative to it.
    config, orvad_conf: texts of conf.xml and of orvad.conf; none: no file.
    dropins: name -> text of the files in /etc/orvad.d.
    with_bus: whether start() starts a bus. bus_policy: its policy elements.
    with_user_qel, with_group_qel: whether the daemon's user and group exist.
    conf_owner: who owns /etc/orvad, "qel" as it is installed, or "root".
    users: name -> (uid, gid) of further users who may use the bus.
    binds: (path outside, path inside) pairs, writable, devices allowed; below
        /dev they are links, which dangle while the device is away.
    env: additions to the daemon's environment.
    launcher: what to put before the commands that start the daemon and other
        programs in the sandbox, such as the board's, which gives them event
        descriptors.
    """

    def __init__(self, build, *, program="src/orvad", config=None,
                 dropins=None, orvad_conf=None, with_bus=True,
                 bus_policy=_BUS_POLICY, with_user_qel=True,
                 with_group_qel=True, conf_owner="qel", users=None, binds=(),
                 env=None, launcher=()):
        self.build = pathlib.Path(build).resolve()
        self.program = program
        self.env = dict(env or {})
        self.daemon = None
        self._config = config
        self._orvad_conf = orvad_conf
        self._dropins = dropins or {}
        self._with_bus = with_bus
        self._bus_policy = bus_policy
        self._with_qel = (with_user_qel, with_group_qel)
        self._conf_owner = conf_owner
        self._users = users or {}
        self._launcher = list(launcher)
        self._binds = list(binds)
        self._runs = []
        self._bus = None
        self._sanitizers = {}
        self.root = None

    # Where things are, seen from outside.
    etc = property(lambda self: self.root / "etc")
    run = property(lambda self: self.root / "run")
    tmp = property(lambda self: self.root / "tmp")
    sys = property(lambda self: self.root / "sys")
    share = property(lambda self: self.root / "share")
    log = property(lambda self: self.root / "log")

    @property
    def bus_address(self):
        """The system bus, for clients outside."""
        return f"unix:path={self.root / _BUS_SOCKET}"

    def __enter__(self):
        # Short: the path of the bus's socket is limited to 107 bytes.
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="orvad-", dir="/tmp"))
        try:
            self._fill()
        except BaseException:
            shutil.rmtree(self.root)
            raise
        return self

    def __exit__(self, kind, error, trace):
        try:
            if kind is None and self.daemon is not None and \
                    self.daemon.status is None:
                self.daemon.stop()
        finally:
            for run in [*self._runs, *([self._bus] if self._bus else [])]:
                run.destroy()
            self.transcript = self.outputs()
            left = sanitizers.collect(self.run / "sanitizer", [])
            shutil.rmtree(self.root)
        if left and kind is None:
            raise SandboxError("unexpected reports:\n" + "\n".join(left))

    def _fill(self):
        """Everything that the sandbox shows, except what is the system's."""
        self.root.chmod(0o711)
        for folder in ("etc/dbus-1", "run/dbus", "tmp", "sys", "share",
                       "log"):
            (self.root / folder).mkdir(parents=True)
        self.tmp.chmod(0o1777)
        self._make_folders()
        sanitizers.prepare(self.run / "sanitizer")
        self._sanitizers = sanitizers.built_into(self.build / self.program)
        shutil.copytree(_ROOT / "data/event-types", self.share / "event-types")
        self._fill_etc()
        self._put(self.share / "conf.xml", self._config)
        self._put(self.etc / "orvad/orvad.conf", self._orvad_conf)
        for name, text in self._dropins.items():
            self._put(self.etc / "orvad.d" / name, text)

    def _make_folders(self):
        """The folders that the daemon writes to, as they are installed;
        tmpfiles.d(5)."""
        ids = {"root": (0, 0), "qel": (QEL_UID, QEL_GID)}
        lines = _FOLDERS.read_text(encoding="utf-8").splitlines()
        for entry in filter(None, (shlex.split(line, comments=True)
                                   for line in lines)):
            _, path, mode, user, group, _ = entry
            folder = self.root / path.lstrip("/")
            folder.mkdir()
            os.chown(folder, ids[user][0], ids[group][1])
            folder.chmod(int(mode, 8))
        if self._conf_owner == "root":
            os.chown(self.etc / "orvad", 0, 0)

    def _fill_etc(self):
        users = {"root": (0, 0), **self._users}
        groups = {"root": 0}
        if self._with_qel[0]:
            users["qel"] = (QEL_UID, QEL_GID)
        if self._with_qel[1]:
            groups["qel"] = QEL_GID
        self._put(self.etc / "passwd", "".join(
            f"{name}:x:{uid}:{gid}::/:/usr/sbin/nologin\n"
            for name, (uid, gid) in users.items()))
        self._put(self.etc / "group", "".join(
            f"{name}:x:{gid}:\n" for name, gid in groups.items()))
        self._put(self.etc / "nsswitch.conf", _NSSWITCH)
        self._put(self.etc / "machine-id", secrets.token_hex(16) + "\n")
        self._put(self.etc / "dbus-1/sandbox.conf", _BUS_CONFIG.format(
            socket=_BUS_SOCKET, policy=self._bus_policy))

    @staticmethod
    def _put(path, contents):
        if isinstance(contents, bytes):
            path.write_bytes(contents)
        elif contents is not None:
            path.write_text(contents, encoding="utf-8")

    def _bubblewrap(self, env):
        """The arguments that make the sandbox."""
        # Every parent is made first: bubblewrap makes missing ones so that
        # only root can enter them.
        args = ["--die-with-parent", "--unshare-pid", "--cap-add", "ALL",
                "--chdir", "/", "--clearenv", "--dir", "/usr",
                "--dir", "/usr/share", "--dir", "/opt", "--dir", "/var"]
        for name in _SYSTEM:
            if (pathlib.Path("/usr") / name).is_dir():
                args += ["--ro-bind", f"/usr/{name}", f"/usr/{name}"]
                args += ["--symlink", f"usr/{name}", f"/{name}"]
        for name in _SYSTEM_DATA:
            path = f"/usr/share/{name}"
            args += ["--ro-bind-try", path, path]
        args += ["--proc", "/proc", "--dev", "/dev"]
        for name, target in _PRIVATE.items():
            args += ["--dir", target, "--bind", str(self.root / name), target]
        args += ["--ro-bind", str(self.build), BUILD]
        for source, target in self._binds:
            args += self._bind(pathlib.Path(source), target)
        env = {"PATH": "/usr/sbin:/usr/bin", "LANG": "C.UTF-8", "HOME": "/",
               "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path=/{_BUS_SOCKET}", **env}
        for name, value in env.items():
            args += ["--setenv", name, value]
        return args

    def _bind(self, source, target):
        """The arguments for one extra bind, with its mount point."""
        if target.startswith("/dev/"):
            return self._bind_device(source, target)
        args = []
        for parent in reversed(pathlib.Path(target).parents):
            args += ["--dir", str(parent)]
        for name, private in _PRIVATE.items():
            if target.startswith(private + "/"):
                point = self.root / name / target[len(private) + 1:]
                args = []
                if source.is_dir():
                    point.mkdir(parents=True, exist_ok=True)
                else:
                    point.parent.mkdir(parents=True, exist_ok=True)
                    point.touch()
        return [*args, "--dev-bind", str(source), target]

    @staticmethod
    def _bind_device(source, target):
        """The same for a device, which may come and go: a file that is bound
        stays, so its folder is bound, and a link leads there."""
        folder = "/dev/" + str(source.parent).strip("/").replace("/", "-")
        return ["--dir", folder, "--dev-bind", str(source.parent), folder,
                "--symlink", f"{folder}/{source.name}", target]

    def start_bus(self):
        """Starts the bus; on return it takes connections."""
        (self.root / _BUS_SOCKET).unlink(missing_ok=True)
        out = self.log / "bus.stdout"
        out.unlink(missing_ok=True)
        self._bus = Confined(
            self._bubblewrap({}),
            ["dbus-daemon", "--nofork", "--nopidfile", "--nosyslog",
             "--print-address=1", "--config-file=/etc/dbus-1/sandbox.conf"],
            out, self.log / "bus.stderr")
        self._bus.wait_for_output("guid=")

    def stop_bus(self):
        """Takes the bus away, as if it had crashed."""
        self._bus.destroy()
        self._bus = None

    def start_daemon(self, argv=(), combined=False):
        """Starts the program under test and does not wait for it.

        combined: both of its output streams go to one file, in order.
        """
        if self.daemon is not None and not self.daemon.ended:
            raise SandboxError("the daemon runs already")
        stem = self.log / f"{len(self._runs) + 1}"
        env = {**sanitizers.environment(
            self._sanitizers, f"{BUILD}/tests/sandbox/dumpable.so"),
            **self.env}
        self.daemon = Daemon(
            self._bubblewrap(env), [f"{BUILD}/{self.program}", *argv],
            f"{stem}.stdout", f"{stem}.{'stdout' if combined else 'stderr'}",
            [*self._launcher, *sanitizers.launcher(self._sanitizers)])
        self.daemon.check = self._check
        self._runs.append(self.daemon)
        return self.daemon

    def start_program(self, argv):
        """Starts another program beside the daemon, such as one of its peers;
        it ends with the sandbox."""
        stem = self.log / f"{len(self._runs) + 1}"
        program = Confined(self._bubblewrap({}), argv, f"{stem}.stdout",
                           f"{stem}.stderr", self._launcher)
        self._runs.append(program)
        return program

    def start(self, argv=(), combined=False):
        """Starts the bus unless it runs or is not wanted, then the daemon; on
        return the daemon serves (with no bus: has been started)."""
        if self._with_bus and self._bus is None:
            self.start_bus()
        daemon = self.start_daemon(argv, combined)
        if self._with_bus:
            self.wait_for_name(STATE_NAME)
        return daemon

    def wait_for_name(self, name, timeout=DEADLINE):
        """Waits until name is on the bus; fails at once when the daemon ends
        instead, or the bus."""
        try:
            bus = Gio.DBusConnection.new_for_address_sync(
                self.bus_address,
                Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
                | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
            bus.set_exit_on_close(False)
            try:
                wait_until(lambda: self._has_owner(bus, name),
                           f"{name} on the bus", timeout)
            finally:
                bus.close_sync(None)
        except GLib.Error as error:
            raise SandboxError(f"no {name} on the bus: {error.message}\n"
                               f"{self.outputs()}") from None

    def _has_owner(self, bus, name):
        if self.daemon is not None and self.daemon.ended:
            raise SandboxError(
                f"ended with status {self.daemon.status} before {name} was on "
                f"the bus\n{self.outputs()}")
        return bus.call_sync(
            "org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus", "NameHasOwner",
            GLib.Variant("(s)", (name,)), None, Gio.DBusCallFlags.NONE,
            int(DEADLINE * 1000), None).unpack()[0]

    def _check(self, run, expect):
        """Fails unless run ended as expected and nothing was reported."""
        reports = sanitizers.collect(self.run / "sanitizer",
                                     {run.stdout(), run.stderr()})
        reports += [line for line in run.output().splitlines()
                    if ": assertion '" in line and line.endswith("' failed")]
        if reports:
            raise SandboxError("reported:\n" + "\n".join(reports))
        if run.status != expect:
            raise SandboxError(f"{run.argv} ended with status {run.status}, "
                               f"not {expect}:\n{run.output()}")

    def outputs(self):
        """What every program in the sandbox has printed, for a person."""
        if not self.root.exists():
            return self.transcript
        return "\n".join(
            f"--- {path.name}\n{path.read_text(errors='replace')}"
            for path in sorted(self.log.glob("*")) if path.stat().st_size)


if __name__ == "__main__":
    sys.exit(obstacle() or 0)
