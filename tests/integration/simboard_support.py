"""A simulated board of the tests' own, and users of its files."""

import contextlib
import os
import pathlib
import select
import subprocess
import sys

import pytest

import sanitizers
from board import Board
from waiting import DEADLINE

GROUP = 64124
NEWS = select.POLLERR | select.POLLPRI
TEXT = f"""
[Board]
Name=Test board
Group={GROUP}

[Chip main]
Base=0
Lines=32

[Chip spare]
Base=100
Lines=8

[Line button]
Number=1
Wiring=button
Exported=true

[Line door]
Number=2
Wiring=door contact
Exported=true

[Line siren]
Number=3
Wiring=relay

[Line feedback]
Number=4
Follows=siren
Exported=true

[Line named]
Number=5
Exported=aux
"""


@pytest.fixture(name="make_board")
def fixture_make_board(build):
    """make_board(text): a board that ends, cleanly, with the test."""
    with contextlib.ExitStack() as stack:
        yield lambda text=TEXT: stack.enter_context(Board(build, text))


@pytest.fixture(name="board")
def fixture_board(make_board):
    return make_board()


@pytest.fixture(name="simboard")
def fixture_simboard(build):
    """simboard(words...): a whole run of the program; what became of it."""
    path = build / "tools/simboard/simboard"
    command = [*sanitizers.launcher(sanitizers.built_into(path)), path]

    def run(*words, variable=None):
        env = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
        if variable is not None:
            env["SIMBOARD_SOCKET"] = str(variable)
        return subprocess.run(
            [*command, *map(str, words)], env=env, text=True, timeout=DEADLINE,
            stdin=subprocess.DEVNULL, capture_output=True, check=False)
    return run


@pytest.fixture(name="client")
def fixture_client():
    """client(code, arguments..., **options): another process, running Python
    code; it has printed its first line by then."""
    with contextlib.ExitStack() as stack:
        def start(code, *arguments, **options):
            process = stack.enter_context(subprocess.Popen(
                [sys.executable, "-IBc", code, *map(str, arguments)],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                **options))
            stack.callback(process.kill)
            process.first_line = process.stdout.readline()
            return process
        yield start


@contextlib.contextmanager
def opened(path, flags=os.O_RDONLY):
    descriptor = os.open(path, flags)
    try:
        yield descriptor
    finally:
        os.close(descriptor)


def poll(descriptor, timeout_ms=0):
    """What poll() reports when only news are asked for; 0 when nothing."""
    poller = select.poll()
    poller.register(descriptor, select.POLLPRI)
    return dict(poller.poll(timeout_ms)).get(descriptor, 0)


def acknowledge(descriptor):
    return os.pread(descriptor, 16, 0)


def put(path, text):
    """One write, as a program does that does not care what was there."""
    with opened(path, os.O_WRONLY | os.O_TRUNC) as descriptor:
        assert os.write(descriptor, text.encode()) == len(text)


def refusal(call, *arguments):
    """The errno that a call fails with."""
    with pytest.raises(OSError) as caught:
        call(*arguments)
    return caught.value.errno


def sleeping(process):
    """Whether a process waits for something."""
    stat = pathlib.Path(f"/proc/{process.pid}/stat").read_text()
    return stat.rpartition(")")[2].split()[0] == "S"


POLLS = """
import os, select, sys
descriptor = os.open(sys.argv[1], os.O_RDONLY)
os.read(descriptor, 16)
poller = select.poll()
poller.register(descriptor, select.POLLPRI)
print("polling", flush=True)
print(poller.poll()[0][1], flush=True)
"""


def wakeups_of(pid):
    """How often a process has been put to sleep so far, and why."""
    status = pathlib.Path(f"/proc/{pid}/status").read_text().split("\n")
    return sum(int(line.split()[1]) for line in status
               if "ctxt_switches" in line)
