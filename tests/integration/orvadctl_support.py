"""Runs of the command-line client."""

import os
import select
import signal
import subprocess

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
