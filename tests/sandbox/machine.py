"""A machine of its own, as an integrator has it: a minimal Debian, booted by
systemd in a container, without a network and without a board.

    with Machine(root_archive(folder, packages)) as machine:
        machine.put("/root/orvad.deb", package.read_bytes())
        machine.run("apt-get", "install", "--yes", "/root/orvad.deb")
        machine.run("orvadctl", "list", user=OPERATOR)

Needs root, systemd-nspawn and a control group hierarchy.
"""

import contextlib
import os
import pathlib
import secrets
import selectors
import shlex
import shutil
import signal
import socket
import subprocess
import tempfile
import time

from confined import SandboxError
from control_group import ControlGroup
from waiting import TimedOut

BOOT_DEADLINE = 60.0
COMMAND_DEADLINE = 60.0
OPERATOR = "operator"
"""The machine's ordinary user, member of no special group."""

# The group first. Mounts and processes are this process's: they go with it, and
# it goes with whoever has started it.
_BOOT = """
folder=$1 archive=$2
shift 2
while [ "$1" != -- ]; do
	echo 0 >"$1" || exit
	shift
done
shift
mount -t tmpfs -o mode=0755 machine "$folder" &&
mkdir -p "$folder/root" /run/systemd/nspawn &&
mount -t tmpfs -o mode=0755 machine /run/systemd/nspawn &&
tar -x -p --numeric-owner -C "$folder/root" -f "$archive" &&
exec "$@"
"""
# What the simulated board needs and no ordinary container has.
_BOARD = ["--bind=/dev/fuse", "--system-call-filter=pidfd_getfd"]
_ENVIRONMENT = {"LANG": "C.UTF-8", "TERM": "dumb", "SYSTEMD_PAGER": ""}


def obstacle():
    """Why no machine can be booted here, in one line; empty when one can."""
    if os.geteuid() != 0:
        return "a machine needs root"
    for tool in ("mmdebstrap", "systemd-nspawn", "nsenter", "unshare"):
        if shutil.which(tool) is None:
            return f"a machine needs the program {tool}"
    if not os.access("/dev/fuse", os.R_OK | os.W_OK):
        return "the simulated board needs /dev/fuse"
    return ""


def _only_child(pid):
    return int(pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text())


class Shell:
    """A shell that commands are given one after another: its directory and its
    variables carry over. argv: what starts bash."""

    def __init__(self, argv):
        self._token = secrets.token_hex(16)
        self._process = subprocess.Popen(
            argv, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, start_new_session=True)
        self._late = ""

    def __enter__(self):
        return self

    def __exit__(self, *error):
        self.close()

    @property
    def ended(self):
        return self._process.poll() is not None

    def run(self, text, timeout=COMMAND_DEADLINE):
        """Runs a command; what it printed, on both streams, and its status. A
        command that ends the shell has the shell's."""
        self._process.stdin.write((
            f"eval {shlex.quote(text)} </dev/null; "
            f"printf '%s%d\\n' {self._token} $?\n").encode())
        self._process.stdin.flush()
        output, found, rest = self._read(
            time.monotonic() + timeout).partition(self._token)
        # What a command in the background prints may come after the status.
        status, _, self._late = rest.partition("\n")
        return output, int(status) if found else self._process.wait()

    def _read(self, end):
        """Up to the token and the status, or to the end."""
        data, self._late = self._late.encode(), ""
        with selectors.DefaultSelector() as selector:
            selector.register(self._process.stdout, selectors.EVENT_READ)
            while self._token.encode() not in data or data[-1:] != b"\n":
                if not selector.select(max(end - time.monotonic(), 0)):
                    self.close()
                    raise TimedOut("still runs, and has printed: "
                                   + data.decode(errors="replace"))
                chunk = os.read(self._process.stdout.fileno(), 65536)
                if not chunk:
                    break
                data += chunk
        return data.decode(errors="replace")

    def close(self):
        """Ends it, with what runs in it."""
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self._process.pid, signal.SIGKILL)
        self._process.wait()
        self._process.stdout.close()
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.close()


class Machine:
    """See the head of this file. archive: of its root file system."""

    def __init__(self, archive):
        self._archive = archive
        self._stack = contextlib.ExitStack()
        self._process = None
        self._leader = None

    def __enter__(self):
        reason = obstacle()
        if reason:
            raise SandboxError(reason)
        with contextlib.ExitStack() as stack:
            self._boot(stack)
            self._stack = stack.pop_all()
        return self

    def __exit__(self, *error):
        self._stack.close()

    def _boot(self, stack):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="orvad-machine-"))
        stack.callback(shutil.rmtree, folder)
        (folder / "machine").mkdir()
        ready = stack.enter_context(
            socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))
        ready.bind(f"\0{folder.name}")
        log = stack.enter_context(open(folder / "console", "w+b"))
        group = ControlGroup()
        stack.callback(self._end, group)
        self._process = subprocess.Popen(
            ["setpriv", "--pdeathsig=KILL", "unshare", "--mount", "--pid",
             "--mount-proc", "--fork", "--kill-child", "sh", "-c", _BOOT, "sh",
             folder / "machine", self._archive, *group.entrances, "--",
             "systemd-nspawn", "--quiet", "--boot", "--register=no",
             "--keep-unit", "--notify-ready=yes", "--console=pipe",
             "--private-network", "--machine=camera", *_BOARD,
             f"--directory={folder}/machine/root"],
            env={**os.environ, "SYSTEMD_NSPAWN_UNIFIED_HIERARCHY": "1",
                 "NOTIFY_SOCKET": f"@{folder.name}"},
            stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT)
        self._wait_for_boot(ready, log)
        state = self.run("systemctl", "is-system-running", "--wait",
                         check=False).stdout
        if state != "running\n":
            raise SandboxError(f"the machine is {state}" + self.run(
                "systemctl", "--failed", check=False).stdout)
        # There is a group of that name, for something else.
        self.run("useradd", "--create-home", "--shell=/bin/bash",
                 "--gid=users", OPERATOR)

    def _end(self, group):
        group.destroy()
        if self._process is not None:
            self._process.wait()

    def _wait_for_boot(self, ready, log):
        """Until systemd-nspawn says, as sd_notify(3) has it, that everything
        is up."""
        end = os.pidfd_open(self._process.pid)
        deadline = time.monotonic() + BOOT_DEADLINE
        said = []
        try:
            with selectors.DefaultSelector() as selector:
                selector.register(ready, selectors.EVENT_READ)
                selector.register(end, selectors.EVENT_READ)
                while "READY=1" not in said:
                    keys = [key.fileobj for key, _ in selector.select(
                        max(deadline - time.monotonic(), 0))]
                    if ready not in keys:
                        raise SandboxError(self._why_not_booted(log))
                    said += ready.recv(65536).decode().splitlines()
        finally:
            os.close(end)
        # unshare, systemd-nspawn, the machine's first process.
        self._leader = _only_child(_only_child(self._process.pid))

    def _why_not_booted(self, log):
        log.seek(0)
        lines = log.read().decode(errors="replace").strip().splitlines()
        what = f"ended with status {self._process.poll()}" \
            if self._process.poll() is not None else "is not up in time"
        return "no machine can be booted here: systemd-nspawn " \
            f"{what}: {lines[-1] if lines else 'no reason given'}"

    def _enter(self, user):
        """What starts a program there, as if the user had logged in."""
        group = "0" if user == "root" else self.output("id", "--group", user)
        return ["nsenter", f"--target={self._leader}", "--all",
                "setpriv", f"--reuid={user}", f"--regid={group}",
                "--init-groups", "--reset-env", "env", "--chdir",
                "/root" if user == "root" else f"/home/{user}",
                *(f"{name}={value}" for name, value in _ENVIRONMENT.items())]

    def run(self, *argv, user="root", check=True, stdin=b"",
            timeout=COMMAND_DEADLINE):
        """Runs a program; what subprocess.run returns, both streams in its
        stdout."""
        done = subprocess.run(
            [*self._enter(user), *argv], input=stdin, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, timeout=timeout, check=False)
        done.stdout = done.stdout.decode(errors="replace")
        if check and done.returncode != 0:
            raise SandboxError(f"{shlex.join(map(str, argv))} ended with "
                               f"status {done.returncode}:\n{done.stdout}")
        return done

    def output(self, *argv, **options):
        """What a program prints, which has to succeed."""
        return self.run(*argv, **options).stdout.rstrip("\n")

    def shell(self, user="root"):
        """A Shell of a user who has just logged in."""
        return Shell([*self._enter(user), "bash"])

    def put(self, path, contents):
        """Makes a file."""
        self.run("sh", "-c", 'mkdir -p "${1%/*}" && cat >"$1"', "sh", path,
                 stdin=contents)

    def exists(self, path):
        return self.run("test", "-e", path, check=False).returncode == 0

    def journal_since_last_time(self, *services):
        """What the services have said since it was asked for last, for a
        person."""
        return self.output(
            "journalctl", "--no-pager", "--output=short-precise",
            "--cursor-file=/run/journal-shown",
            *(f"--unit={service}" for service in services), check=False)
