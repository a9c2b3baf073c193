#!/usr/bin/python3
"""Shows orvad at work with the sample configuration; scripts/run starts it.

Usage: demo.py [--for SECONDS] [--build FOLDER]
"""

import argparse
import contextlib
import fcntl
import os
import pathlib
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(ROOT / "tests/sandbox"))

from board import Board  # noqa: E402
from sandbox import Sandbox  # noqa: E402
from waiting import TimedOut, wait_until  # noqa: E402

FILES = ROOT / "build/board"
RUN_ENV = ROOT / "build/run.env"
LOCK = ROOT / "build/run.lock"

TRY = """
Try this in another terminal, in {root}:

  scripts/simboard press button        # somebody rings the bell
  scripts/simboard open door           # and opens the door
  scripts/orvadctl pulse siren 500     # half a second of noise

The gate's wire is watched for tampering once that is switched on:

  scripts/orvadctl supervise gate on
  scripts/simboard loop gate cut       # somebody cuts it
  scripts/orvadctl readout gate --live # how close its level is to an edge

The garage and the cellar are in loops, too, on other kinds of converters.

"scripts/simboard show" draws the board, relay included, as it changes. There is
a motion sensor, too: echo 1 > build/board/pir_detector. The port "tamper" waits
for its hardware, build/board/tamper. All files are in {box}.
What changes, and the events that it causes, is shown here; Ctrl-C ends it.
"""


def step(text):
    print(f"==> {text}", flush=True)


def caller():
    """The user behind sudo: name -> (user id, group id)."""
    if "SUDO_UID" not in os.environ:
        return {}
    return {os.environ["SUDO_USER"]: (int(os.environ["SUDO_UID"]),
                                      int(os.environ["SUDO_GID"]))}


def belongs_to(path, users):
    """Gives path to the user behind sudo."""
    for uid, gid in users.values():
        os.chown(path, uid, gid)


def make_files(users):
    """The files that play hardware beside the board; all but the tamper
    switch's."""
    FILES.mkdir(parents=True, exist_ok=True)
    belongs_to(FILES, users)
    (FILES / "tamper").unlink(missing_ok=True)
    sensor = FILES / "pir_detector"
    sensor.write_text("0\n")
    belongs_to(sensor, users)


@contextlib.contextmanager
def device(build, users=None):
    """The sample's board, and a sandbox on it for a daemon that serves the
    sample's ports."""
    sample = ROOT / "data/sample"
    with Board(build, (sample / "board.conf").read_text("utf-8")) as board, \
            Sandbox(build, users=users or {},
                    config=(sample / "conf.xml").read_text("utf-8"),
                    binds=[*board.binds, (FILES, "/run/board")],
                    launcher=board.launcher) as box:
        yield box, board


@contextlib.contextmanager
def announced(box, board, users):
    """While this lasts, scripts/orvadctl and scripts/simboard find the
    demonstration."""
    RUN_ENV.write_text(f"DBUS_SYSTEM_BUS_ADDRESS='{box.bus_address}'\n"
                       f"SIMBOARD_SOCKET='{board.socket}'\n")
    for path in (RUN_ENV, board.socket):
        belongs_to(path, users)
    try:
        yield
    finally:
        RUN_ENV.unlink(missing_ok=True)


def orvadctl(box, *arguments):
    """orvadctl on the sandbox's bus, started."""
    env = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": box.bus_address}
    return subprocess.Popen(
        [box.build / "tools/orvadctl/orvadctl", *arguments], env=env,
        stdin=subprocess.DEVNULL, start_new_session=True)


def show(box, daemon, seconds):
    """Shows changes and events until the time is over, or the daemon."""
    with orvadctl(box, "watch") as watch, orvadctl(box, "events") as events:
        try:
            with contextlib.suppress(TimedOut):
                wait_until(lambda: daemon.ended or watch.poll() is not None,
                           "the end", seconds, interval=0.1)
        finally:
            watch.terminate()
            events.terminate()


def serve(box, board, users, seconds):
    """Runs the demonstration; the daemon's exit status."""
    step("Starting the daemon in a sandbox")
    daemon = box.start()
    with announced(box, board, users):
        step("What it serves")
        if orvadctl(box, "list").wait() != 0:
            raise SystemExit("orvadctl could not list the ports")
        print(TRY.format(root=ROOT, box=box.root), flush=True)
        with contextlib.suppress(KeyboardInterrupt):
            show(box, daemon, seconds)
    if daemon.ended:
        print(box.outputs(), file=sys.stderr)
    else:
        step("Stopping")
        daemon.send(signal.SIGTERM)
    return daemon.finish()


def arguments():
    parser = argparse.ArgumentParser(prog="scripts/run")
    parser.add_argument("--for", type=int, default=float("inf"),
                        dest="seconds")
    parser.add_argument("--build", default=ROOT / "build/plain")
    return parser.parse_args()


def interrupt(*_):
    raise KeyboardInterrupt


def main():
    options = arguments()
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        signal.signal(number, interrupt)
    users = caller()
    with open(LOCK, "w", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            sys.exit("run: the demonstration runs already")
        make_files(users)
        with device(options.build, users) as (box, board):
            status = serve(box, board, users, options.seconds)
    step(f"The daemon ended with exit status {status}")
    return status


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
