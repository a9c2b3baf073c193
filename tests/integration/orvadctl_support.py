"""Runs of the command-line client."""

import os
import pty
import re
import select
import signal
import subprocess
import termios

import pytest

import sanitizers
from waiting import DEADLINE, TimedOut

_SANITIZER_OPTIONS = {
    "ASAN_OPTIONS": f"exitcode={sanitizers.EXIT_STATUS}:detect_leaks=1"
                    ":detect_stack_use_after_return=1",
    "UBSAN_OPTIONS": f"exitcode={sanitizers.EXIT_STATUS}:halt_on_error=1",
}


class Program:
    """The client, as it was built."""

    def __init__(self, path):
        self._command = [
            *sanitizers.launcher(sanitizers.built_into(path)), str(path)]

    def popen(self, address, *words, env=None, **options):
        """Starts it on the bus with that address."""
        return subprocess.Popen(
            [*self._command, *words], stdin=subprocess.DEVNULL,
            env={"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "TZ": "UTC",
                 "DBUS_SYSTEM_BUS_ADDRESS": address, **_SANITIZER_OPTIONS,
                 **(env or {})}, **options)

    def run(self, address, *words, env=None, stdout=subprocess.PIPE):
        """A whole run; its status, output and errors."""
        with self.popen(address, *words, env=env, stdout=stdout,
                        stderr=subprocess.PIPE, text=True) as process:
            output, errors = process.communicate(timeout=DEADLINE)
        return subprocess.CompletedProcess(words, process.returncode, output,
                                           errors)


class Running:
    """A run that goes on."""

    def __init__(self, program, address, *words):
        self._received = b""
        self.errors = ""
        self.process = program.popen(address, *words, stdout=subprocess.PIPE,
                                     stderr=subprocess.PIPE)

    def line(self):
        """The next line of output, without its end."""
        while b"\n" not in self._received:
            if not select.select([self.process.stdout], [], [], DEADLINE)[0]:
                raise TimedOut(f"no further line; got {self._received}")
            chunk = os.read(self.process.stdout.fileno(), 4096)
            if not chunk:
                raise EOFError(self.process.stderr.read().decode())
            self._received += chunk
        line, self._received = self._received.split(b"\n", 1)
        return line.decode()

    def interrupt(self):
        """Ctrl-C; the exit status."""
        self.process.send_signal(signal.SIGINT)
        self.finish()
        return self.status

    def finish(self):
        """Waits for the end; the output that has not been read as lines. What
        it printed as errors is in errors then."""
        rest, errors = self.process.communicate(timeout=DEADLINE)
        self.errors = errors.decode()
        return (self._received + rest).decode()

    @property
    def status(self):
        return self.process.returncode

    def destroy(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        self.process.stdout.close()
        self.process.stderr.close()


class Terminal:
    """A run whose output goes to a terminal of its own."""

    def __init__(self, program, address, *words, columns=80, rows=24,
                 env=None):
        self._received = b""
        self._resized = []  # after which output, and how wide
        self._far, near = pty.openpty()
        termios.tcsetwinsize(self._far, (rows, columns))
        self.process = program.popen(
            address, *words, stdout=near, stderr=near,
            env={"TERM": "xterm", **(env or {})})
        os.close(near)

    def resize(self, columns, rows=24):
        """Gives the terminal that many columns, and tells the program, as the
        kernel does for the processes of a session's terminal."""
        self._resized.append((len(self.text), columns))
        termios.tcsetwinsize(self._far, (rows, columns))
        self.process.send_signal(signal.SIGWINCH)

    def type(self, text):
        """What a user types, which the terminal shows."""
        os.write(self._far, text.encode())

    def _read(self):
        """Takes what there is; False once nobody holds the other end."""
        if not select.select([self._far], [], [], DEADLINE)[0]:
            raise TimedOut(f"no further output; got {self._received}")
        try:
            self._received += os.read(self._far, 4096)
        except OSError:
            return False
        return True

    @property
    def text(self):
        """All that has been read so far, every control sequence included."""
        return self._received.decode(errors="ignore")

    @property
    def screen(self):
        """The lines that can be seen, without their colours. What is wider
        than the terminal after it was resized is wrapped."""
        lines = [""]
        row = 0
        resized = list(self._resized)
        for match in re.finditer("\033\\[\\d*[A-Za-z]|\r\n|[^\033\r]+",
                                 self.text):
            token = match[0]
            while resized and resized[0][0] <= match.start():
                _, columns = resized.pop(0)
                lines = [line[begin:begin + columns] for line in lines
                         for begin in range(0, max(len(line), 1), columns)]
                row = len(lines) - 1
            if token == "\r\n":
                row += 1
                lines[row:] = lines[row:] or [""]
            elif token.endswith("A") and token.startswith("\033"):
                row -= int(token[2:-1])
                assert row >= 0, self.text
            elif token == "\033[J":
                del lines[row + 1:]
                lines[row] = ""
            elif not token.startswith("\033"):
                lines[row] += token
        return lines

    def wait_for(self, condition):
        """Reads on until condition(screen) holds; the screen."""
        while not condition(self.screen):
            if not self._read():
                raise EOFError(self.text)
        return self.screen

    def wait(self):
        """Waits for the end; the exit status."""
        while self._read():
            pass
        return self.process.wait(DEADLINE)

    def interrupt(self):
        """Ctrl-C; the exit status."""
        self.process.send_signal(signal.SIGINT)
        return self.wait()

    def destroy(self):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        os.close(self._far)


@pytest.fixture(name="program")
def fixture_program(build):
    return Program(build / "tools/orvadctl/orvadctl")


@pytest.fixture(name="start_on")
def fixture_start_on(program):
    """start_on(address, words...): a run that goes on, no longer than the
    test."""
    clients = []

    def start(address, *words):
        clients.append(Running(program, address, *words))
        return clients[-1]
    yield start
    for client in clients:
        client.destroy()
