"""A simulated board for the daemon in its sandbox.

    with Board(build, TEXT) as board, \\
            Sandbox(build, config=XML, binds=board.binds) as box:
        daemon = box.start()
        board.press("button1")
        ... board.level("siren"), board.history() ...

TEXT is a board file, see docs/simulated-board.md. The sandbox must end before
the board does: a program that watches files of a board that has gone spins.
"""

import collections
import contextlib
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import tempfile

import sanitizers
from confined import SandboxError
from waiting import DEADLINE, TimedOut, wait_until

GPIO = "/sys/class/gpio"
DEVICES = "/dev"
IIO = "/sys/bus/iio/devices"
CONFIG = "/sys/kernel/config"
TRIGGERS = CONFIG + "/iio/triggers/hrtimer"

Change = collections.namedtuple(
    "Change", "id time_ns number name what value actor")
"""One line of the history; actor: "board" or "daemon(PID)". The name is None
for a line without one, the number for what is no line and no chip."""

Line = collections.namedtuple(
    "Line", "number name chip wiring direction level driver folder edge "
            "active_low note")
"""A line as "state" tells it; what has nothing to tell is None."""


Converter = collections.namedtuple(
    "Converter", "name device mode bits speed users messages transfers "
                 "selected note")
"""A converter as "state" tells it; selected: the address of a channel."""

Loop = collections.namedtuple(
    "Loop", "name converter address state level readings line full_scale")
"""The same for a loop; readings: how often its level was read,
full_scale: the level of nothing there."""

Iio = collections.namedtuple(
    "Iio", "name iio_name device trigger running length waiting scans lost "
           "open listening note")
"""The same for a device of the kernel's Industrial I/O; iio_name: its attribute
"name", device: its file, length and waiting: scans, of the buffer, scans and
lost: since power-on, listening: whether the event descriptor is open."""

Channel = collections.namedtuple(
    "Channel", "name file value scanned rising falling enabled events readings "
               "loop")
"""The same for a channel of such a device; enabled: None, rising, falling or
both, events: how often a threshold was crossed."""

Trigger = collections.namedtuple("Trigger", "name folder frequency users")
"""The same for a trigger; frequency in Hz, users: how many devices run."""


class BoardError(SandboxError):
    """The board has refused a command."""


class Board:
    """See the head of this file. build: the build folder; text: of the board
    file. Lines are named by name or number, all else by name."""

    def __init__(self, build, text):
        self._program = pathlib.Path(build).resolve() / \
            "tools/simboard/simboard"
        self._text = text
        self._process = None
        self.root = None

    # Seen from outside of the sandbox.
    mount = property(lambda self: self.root / "mount")
    socket = property(lambda self: self.root / "socket")
    gpio = property(lambda self: self.mount / GPIO.lstrip("/"))

    devices = property(lambda self: self.mount / DEVICES.lstrip("/"))

    iio = property(lambda self: self.mount / IIO.lstrip("/"))
    triggers_folder = property(lambda self: self.mount / TRIGGERS.lstrip("/"))

    @property
    def binds(self):
        """For Sandbox(binds=...), once the board runs."""
        iio = self.iio_devices().values()
        folders = [GPIO, *([IIO, CONFIG] if iio else [])]
        devices = [f"{DEVICES}/{part.device}"
                   for part in (*self.converters().values(), *iio)]
        return [(str(self.mount / path.lstrip("/")), path)
                for path in folders + devices]

    @property
    def launcher(self):
        """For Sandbox(launcher=...), so that the daemon can have the event
        descriptors of IIO devices; or what to put before any command."""
        return [*sanitizers.launcher(sanitizers.built_into(self._program)),
                str(self._program), "run", "--"]

    @property
    def pid(self):
        """Of the program that is the board."""
        return self._process.pid

    def __enter__(self):
        # Short: the path of a socket is limited to 107 bytes.
        self.root = pathlib.Path(tempfile.mkdtemp(prefix="board-", dir="/tmp"))
        try:
            self._start()
        except BaseException:
            self._clean_up()
            raise
        return self

    def __exit__(self, kind, error, trace):
        try:
            if self._process.poll() is None:
                self._process.send_signal(signal.SIGTERM)
                with contextlib.suppress(subprocess.TimeoutExpired):
                    self._process.wait(DEADLINE)
        finally:
            status = self._process.poll()
            reports = sanitizers.collect(self.root / "sanitizer",
                                         {self._errors()})
            errors = self._errors()
            self._clean_up()
        if kind is None and (reports or status != 0):
            raise SandboxError("\n".join(
                [f"the board ended with status {status}", errors, *reports]))

    def _start(self):
        self.root.chmod(0o711)
        self.mount.mkdir()
        (self.root / "board.conf").write_text(self._text, encoding="utf-8")
        sanitizers.prepare(self.root / "sanitizer")
        options = f"exitcode={sanitizers.EXIT_STATUS}" \
                  f":log_path={self.root}/sanitizer/report"
        with open(self.root / "stderr", "wb") as errors:
            self._process = subprocess.Popen(
                ["setpriv", "--pdeathsig", "TERM", *sanitizers.launcher(
                    sanitizers.built_into(self._program)), self._program,
                 "serve", self.root / "board.conf", self.mount,
                 "--socket", self.socket],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                stderr=errors, start_new_session=True, env={
                    **os.environ,
                    "ASAN_OPTIONS": f"{options}:detect_leaks=1",
                    "UBSAN_OPTIONS": f"{options}:halt_on_error=1",
                    "TSAN_OPTIONS":
                    f"{options}:ignore_noninstrumented_modules=1"})
        if self._process.stdout.readline() != b"ready\n":
            raise SandboxError(f"the board did not start:\n{self._errors()}")

    def _errors(self):
        return (self.root / "stderr").read_text(errors="replace")

    def _clean_up(self):
        if self._process is not None:
            if self._process.poll() is None:
                self._process.kill()
            self._process.wait()
            self._process.stdout.close()
        # Of a board that has died, the mount does not look like one.
        subprocess.run(["umount", "--quiet", "--lazy", self.mount],
                       stderr=subprocess.DEVNULL, check=False)
        shutil.rmtree(self.root)

    def ask(self, *words):
        """The lines that the board answers a command with."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(DEADLINE)
            connection.connect(str(self.socket))
            connection.sendall(" ".join(map(str, words)).encode() + b"\n")
            with connection.makefile(encoding="utf-8") as answer:
                return self._read(answer, words)

    @staticmethod
    def _read(answer, words):
        lines = []
        try:
            for line in answer:
                if not line.startswith(" "):
                    break
                lines.append(line[1:].rstrip("\n"))
            else:
                raise SandboxError(f"the board has gone after {words}")
        except TimeoutError:
            raise TimedOut(f"no answer of the board to {words}") from None
        if line != "ok\n":
            raise BoardError(line.removeprefix("error ").rstrip("\n"))
        return lines

    def press(self, button, milliseconds=200):
        """Returns when the button has been released."""
        self.ask("press", button, milliseconds)

    def hold(self, button):
        self.ask("hold", button)

    def release(self, button):
        self.ask("release", button)

    def open(self, door):
        self.ask("open", door)

    def close(self, door):
        self.ask("close", door)

    def line(self, line, level):
        """Drives a line from outside: high, low or toggle; its level then."""
        return self.ask("line", line, level)[0]

    def burst(self, line, count):
        """Changes its level count times; the last one."""
        return self.ask("burst", line, count)[0]

    def loop(self, loop, state):
        """Sets an alarm loop: open, closed, short, cut or its ohms; the level
        that its channel reads then."""
        return int(self.ask("loop", loop, state)[0])

    def adc(self, converter, address, level):
        """Sets what a channel of a converter or IIO device reads, until its
        loop changes."""
        self.ask("adc", f"{converter}/{address}", level)

    def ramp(self, device, number, start, end, steps, step_ms=0):
        """Moves what a channel of an IIO device reads; returns at the end."""
        self.ask("ramp", f"{device}/{number}", start, end, steps, step_ms)

    def fail(self, what, error, *access):
        """Lets uses of a part's files fail; error: an errno or its symbol, or
        SHORT for reads of an IIO device, access: of a line read, write or
        export, of a converter transfer, ioctl or open, of an IIO device read,
        event, attribute, write, ioctl, open or an attribute's path; all of
        them when not given."""
        self.ask("fail", what, error, *access)

    def heal(self, what, *access):
        self.ask("fail", what, "none", *access)

    def unplug(self, what):
        """Takes a chip, line, converter or IIO device from its driver."""
        self.ask("unplug", what)

    def plug(self, what):
        self.ask("plug", what)

    def export(self, line):
        """As another user of the kernel."""
        self.ask("export", line)

    def unexport(self, line):
        self.ask("unexport", line)

    def state(self, *line):
        """Every line of interest, or that one: number -> Line."""
        return {int(row.number): row._replace(
            number=int(row.number), active_low=row.active_low == "1")
            for row in self._rows("line", Line, *line)}

    def converters(self):
        """name -> Converter"""
        return {row.name: row._replace(
            **{field: int(getattr(row, field)) for field in (
                "mode", "bits", "speed", "users", "messages", "transfers")},
            selected=int(row.selected, 16))
            for row in self._rows("converter", Converter)}

    def loops(self):
        """name -> Loop"""
        return {row.name: row._replace(
            address=int(row.address, 16), level=int(row.level),
            readings=int(row.readings), full_scale=int(row.full_scale))
            for row in self._rows("loop", Loop)}

    def iio_devices(self):
        """name -> Iio"""
        return {row.name: row._replace(
            **{field: int(getattr(row, field)) for field in (
                "length", "waiting", "scans", "lost")},
            **{field: getattr(row, field) == "1" for field in (
                "running", "open", "listening")})
            for row in self._rows("iio", Iio)}

    def channels(self):
        """DEVICE/NUMBER -> Channel"""
        def number(text):
            return None if text is None else int(text)
        return {row.name: row._replace(
            scanned=row.scanned == "1", rising=number(row.rising),
            falling=number(row.falling), value=int(row.value),
            events=int(row.events), readings=int(row.readings))
            for row in self._rows("channel", Channel)}

    def triggers(self):
        """name -> Trigger"""
        return {row.name: row._replace(
            frequency=float(row.frequency), users=int(row.users))
            for row in self._rows("trigger", Trigger)}

    def _rows(self, kind, make, *only):
        """What "state" tells about parts of that kind."""
        rows = [row.split("\t") for row in self.ask("state", *only)]
        return [make(*(None if field == "-" else field for field in row[1:]))
                for row in rows if row[0] == kind]

    def level(self, line):
        """high or low."""
        return next(iter(self.state(line).values())).level

    def exported(self):
        """The exported lines: number -> folder."""
        return {number: line.folder for number, line in self.state().items()
                if line.folder}

    def history(self, since=0):
        """The changes after the one of that id, the oldest first."""
        changes = []
        for line in self.ask("history", since):
            number, time_ns, line_number, name, *rest = line.split(" ")
            changes.append(Change(
                int(number), int(time_ns),
                None if line_number == "-" else int(line_number),
                None if name == "-" else name, *rest))
        return changes

    def last_id(self):
        """Of the newest change; for history() of what comes after now."""
        return max((change.id for change in self.history()), default=0)

    def wait_for(self, what, value, line, since=0):
        """Waits until the history has such a change; that change. What it is
        about is named as the history does, or a line by number."""
        return wait_until(
            lambda: next((change for change in self.history(since)
                          if (change.what, change.value) == (what, value)
                          and line in (change.name, change.number)), None),
            f"{what} of {line} to be {value}")
