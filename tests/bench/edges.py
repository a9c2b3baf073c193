#!/usr/bin/python3
"""What an edge costs the daemon, beside a bare program that waits for the same
kind of descriptor, settles, reads once and emits the same signal.

    edges.py --build FOLDER [--edges N] [--burst N] [--seconds S]

Both watch a line of one simulated board and are on one private bus; their
edges come in turns, so that a noisy machine disturbs both alike. Prints a
table; the exit status says whether the targets were met. Needs root, as the
sandbox does.
"""

import argparse
import contextlib
import json
import queue
import statistics
import sys
import threading
import time

from measuring import (BARE_NAME, Bench, Table, context_switches, cpu_ticks,
                       memory_kib)
from board import GPIO, Board
from sandbox import QEL_GID, STATE_NAME, Sandbox, obstacle
from waiting import DEADLINE

FIRST_LINE = 17
BARE_LINE = FIRST_LINE + 4
BOARD = f"""
[Board]
Name=Benchmark
Group={QEL_GID}
[Chip gpiochip0]
Base=0
Lines=64
"""
PORT = """<port name="port{i}"><port_type type="input"/>
<properties ioport="true"/><port_no nbr="{i}"/>
<param_default_name input="Port {i}"/>
<backend name="gpio"><input pin="{line}"/></backend></port>"""

WARM_UP = 20
SETTLING_US = 500
"""Both let a line settle for so long; not counted."""
QUIET = 1
"""Seconds without a signal after which no more are held to come."""


def config(count):
    """The XML of count GPIO inputs, from FIRST_LINE on."""
    return "<ports>" + "".join(
        PORT.format(i=i, line=FIRST_LINE + i) for i in range(count)) + \
        "</ports>"


class Receiver:
    """A client that takes the time of each PortChanged of port 0."""

    def __init__(self, bench, box, name):
        self._received = queue.SimpleQueue()
        self._client = bench.start_load(box, "edges", name, 0)
        self._reader = threading.Thread(target=self._read)
        self._reader.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._client.kill()
        self._reader.join()
        with self._client:
            pass

    def _read(self):
        for line in self._client.stdout:
            time_ns, level = line.split()
            self._received.put((int(time_ns), level))

    def next(self, timeout=DEADLINE):
        """Time in ns, level of the line; queue.Empty when none comes."""
        return self._received.get(timeout=timeout)

    def until_quiet(self):
        """The levels of all that is still to come."""
        levels = []
        with contextlib.suppress(queue.Empty):
            while True:
                levels.append(self.next(QUIET)[1])
        return levels


def delay_us(board, line, receiver):
    """From one change of the line to its signal, without the settling."""
    since = board.last_id()
    level = board.line(line, "toggle")
    time_ns, told = receiver.next()
    change, = [change for change in board.history(since)
               if (change.what, change.number) == ("level", line)]
    if (told, change.value) != (level, level):
        sys.exit(f"edges: line {line} is {level}, was told to be {told}")
    return (time_ns - change.time_ns) / 1e3 - SETTLING_US


def p99(values):
    return sorted(values)[len(values) * 99 // 100]


def measure_edges(board, receivers, table, options):
    delays = {line: [] for line in receivers}
    for turn in range(WARM_UP + options.edges):
        for line, receiver in receivers.items():
            delay = delay_us(board, line, receiver)
            if turn >= WARM_UP:
                delays[line].append(delay)
    ours, bare = delays[FIRST_LINE], delays[BARE_LINE]
    mine, theirs = statistics.median(ours), statistics.median(bare)
    table.row("edge to PortChanged, median, µs", mine, theirs, mine / theirs,
              "<= 1.15", mine / theirs <= 1.15)
    mine, theirs = p99(ours), p99(bare)
    table.row("edge to PortChanged, p99, µs", mine, theirs, mine / theirs)


def measure_burst(bench, box, board, receiver, table, options):
    before = memory_kib(box.daemon.pid, "Anonymous")
    caller = bench.start_load(box, "calls-meanwhile", STATE_NAME, 0)
    start = time.monotonic()
    level = board.burst(FIRST_LINE, options.burst)
    seconds = time.monotonic() - start
    calls = json.loads(caller.communicate()[0])
    told = receiver.until_quiet()
    growth = memory_kib(box.daemon.pid, "Anonymous") - before
    table.row("burst, edges/s", options.burst / seconds)
    table.row("  PortChanged received", len(told))
    table.row("  GetState meanwhile, calls/s", calls["per_second"])
    table.row("  GetState meanwhile, median, ms", calls["median_us"] / 1e3)
    slowest = calls["p99_us"] / 1e3
    table.row("  GetState meanwhile, p99, ms", slowest, target="< 50",
              met=slowest < 50)
    wrong = told[-1:] != [level]
    table.row("  last PortChanged is not the level", wrong, target="0",
              met=not wrong)
    table.row("  memory (anonymous) before, KiB", before)
    table.row("  memory's growth, KiB", growth, target="<= 1024",
              met=growth <= 1024)


def measure_idle(bench, table, options):
    with Board(bench.build, BOARD) as board, \
            Sandbox(bench.build, config=config(4), binds=board.binds) as box:
        pid = box.start().pid
        before, ticks = context_switches(pid), cpu_ticks(pid)
        time.sleep(options.seconds)
        after, ticks = context_switches(pid), cpu_ticks(pid) - ticks
    # A thread that has ended had been woken.
    woken = len(before.keys() - after.keys()) + sum(
        count - before.get(thread, 0) for thread, count in after.items())
    table.row(f"4 idle ports, {options.seconds} s, CPU ticks", ticks,
              target="0", met=ticks == 0)
    table.row("  context switches", woken, target="0", met=woken == 0)


def measure_service(bench, table, options):
    with Board(bench.build, BOARD) as board, \
            Sandbox(bench.build, config=config(1), binds=board.binds) as box:
        box.start()
        board.export(BARE_LINE)
        folder = f"gpio{BARE_LINE}"
        (board.gpio / folder / "edge").write_text("both")
        bench.start_bare(box, "bare-edges", f"{GPIO}/{folder}/value")
        with Receiver(bench, box, STATE_NAME) as ours, \
                Receiver(bench, box, BARE_NAME) as bare:
            measure_edges(board, {FIRST_LINE: ours, BARE_LINE: bare}, table,
                          options)
            measure_burst(bench, box, board, ours, table, options)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--edges", type=int, default=1000)
    parser.add_argument("--burst", type=int, default=10000)
    parser.add_argument("--seconds", type=int, default=10)
    options = parser.parse_args()
    if obstacle():
        sys.exit(f"edges: {obstacle()}")
    bench = Bench(options.build)
    table = Table()
    measure_service(bench, table, options)
    measure_idle(bench, table, options)
    sys.exit(1 if table.missed else 0)


if __name__ == "__main__":
    main()
