#!/usr/bin/python3
"""Records orvad being tried out; scripts/picture starts it.

Usage: picture.py [--quick] [FILE]
"""

import argparse
import os
import pathlib
import subprocess
import sys
import threading
import time

from demo import ROOT, step, device, make_files

COLUMNS, ROWS = 92, 24
BUILD = ROOT / "build/plain"
# What is typed, how many seconds its end is looked at, and what happens on the
# board meanwhile: each a command of its own, and when it comes.
SESSION = [
    ("orvadctl list", 4, []),
    ("orvadctl watch --for 9", 2, [
        (1.5, "simboard press button"),
        (2.5, "simboard release button"),
        (3.5, "simboard open door"),
        (4.5, "orvadctl pulse siren 1500"),
        (7.5, "simboard close door")]),
    ("orvadctl supervise gate on", 0.5, []),
    ("simboard loop gate cut", 1, []),
    ("orvadctl readout gate", 5, []),
]


class Typist:
    """Somebody at a terminal, whose pauses are all so many times as long."""

    def __init__(self, pace):
        self._pace = pace

    def pause(self, seconds):
        time.sleep(seconds * self._pace)

    def type(self, text):
        for letter in text:
            print(letter, end="", flush=True)
            self.pause(0.04)
        self.pause(0.3)
        print(flush=True)

    def play(self):
        for command, seconds, events in SESSION:
            print("\033[1;32m$\033[0m ", end="", flush=True)
            self.pause(0.5)
            self.type(command)
            board = threading.Thread(target=self._happen, args=[events])
            board.start()
            subprocess.run(command.split(), check=True)
            board.join()
            self.pause(seconds)

    @staticmethod
    def _happen(events):
        begin = time.monotonic()
        for moment, command in events:
            time.sleep(max(0, begin + moment - time.monotonic()))
            subprocess.run(command.split(), check=True,
                           stdout=subprocess.DEVNULL)


def record(file, quick):
    """Runs this program again, in a terminal that is recorded."""
    again = [sys.executable, __file__, "--play", *(["--quick"] * quick)]
    with device(BUILD) as (box, board):
        daemon = box.start()
        env = {**os.environ, "TERM": "xterm-256color", "LANG": "C.UTF-8",
               "DBUS_SYSTEM_BUS_ADDRESS": box.bus_address,
               "SIMBOARD_SOCKET": str(board.socket),
               "PATH": f"{BUILD}/tools/orvadctl:{BUILD}/tools/simboard:"
                       f"{os.environ['PATH']}"}
        recorder = subprocess.Popen(
            ["termtosvg", file, "-c", " ".join(again),
             "-g", f"{COLUMNS}x{ROWS}", "-t", "gjm8", "-m", "40",
             "-D", "3000"], env=env, stdin=subprocess.PIPE)
        # With its standard input closed it would end the recording.
        status = recorder.wait()
        recorder.stdin.close()
        return daemon.stop() or status


def main():
    parser = argparse.ArgumentParser(prog="scripts/picture")
    parser.add_argument("file", nargs="?", type=pathlib.Path,
                        default=ROOT / "docs/picture.svg")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--play", action="store_true", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.play:
        Typist(0 if options.quick else 1).play()
        return 0
    make_files({})
    step("Recording")
    status = record(options.file, options.quick)
    step(f"{options.file} is made")
    return status


if __name__ == "__main__":
    sys.exit(main())
