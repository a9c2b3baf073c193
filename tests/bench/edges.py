#!/usr/bin/python3
"""What an edge costs the daemon, beside a bare program that waits for the same
kind of descriptor, settles, reads once and emits the same signal.

    edges.py --build FOLDER [--edges N] [--rounds N] [--seconds S]

Both watch a line of one simulated board and are on one private bus; their
edges come in turns, so that a noisy machine disturbs both alike. Prints a
table; the exit status says whether the targets were met. Needs root, as the
sandbox does.
"""

import argparse
import json
import statistics
import sys
import time

from measuring import (BARE_NAME, Bench, Receiver, Table, context_switches,
                       cpu_ticks, memory_kib, middle, p99,
                       start_threads_ended)
from board import GPIO, Board
from sandbox import QEL_GID, STATE_NAME, Sandbox, obstacle
from waiting import wait_until

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

EDGES_PER_BURST = 10000
BURSTS = 50
WARM_UP = 20
SETTLING_US = 500
"""Both let a line settle for so long; not counted."""


def config(count):
    """The XML of count GPIO inputs, from FIRST_LINE on."""
    return "<ports>" + "".join(
        PORT.format(i=i, line=FIRST_LINE + i) for i in range(count)) + \
        "</ports>"


def delay_us(board, line, receiver, since):
    """From one change of the line to its signal, without the settling; the
    number of that change, which is the next one after since."""
    level = board.line(line, "toggle")
    time_ns, told = receiver.next()
    change, = board.history(since)
    if (told, change.value, change.number) != (level, level, line):
        sys.exit(f"edges: line {line} is {level}, was told to be {told}")
    return (time_ns - change.time_ns) / 1e3 - SETTLING_US, change.id


def measure_edges(board, receivers, table, options):
    delays = {line: [] for line in receivers}
    last = board.last_id()
    for turn in range(WARM_UP + options.edges):
        for line, receiver in receivers.items():
            delay, last = delay_us(board, line, receiver, last)
            if turn >= WARM_UP:
                delays[line].append(delay)
    ours, bare = delays[FIRST_LINE], delays[BARE_LINE]
    mine, theirs = statistics.median(ours), statistics.median(bare)
    table.row("edge to PortChanged, median, µs", mine, theirs, mine / theirs,
              "<= 1.15", mine / theirs <= 1.15)
    mine, theirs = p99(ours), p99(bare)
    table.row("edge to PortChanged, p99, µs", mine, theirs, mine / theirs)


def burst(bench, box, board, receiver, count):
    """Bursts without a pause: what GetState took meanwhile, how many signals
    came, whether the last one was right, the memory's growth."""
    before = memory_kib(box.daemon.pid, "Anonymous")
    caller = bench.start_load(box, "calls-meanwhile", STATE_NAME, 0)
    for _ in range(count):
        level = board.burst(FIRST_LINE, EDGES_PER_BURST)
    calls = json.loads(caller.communicate()[0])
    told = receiver.until_quiet()
    return {**calls, "signals": len(told), "right": told[-1:] == [level],
            "growth": memory_kib(box.daemon.pid, "Anonymous") - before}


def show_bursts(table, results, strict):
    """strict: whether there are targets for the time and the memory, too."""
    table.row("  PortChanged received", middle(results, "signals"))
    table.row("  GetState meanwhile, median, ms",
              middle(results, "median_us") / 1e3)
    slowest = max(result["p99_us"] for result in results) / 1e3
    table.row("  GetState meanwhile, worst p99, ms", slowest,
              target="< 50" if strict else "",
              met=slowest < 50 or not strict)
    wrong = sum(not result["right"] for result in results)
    table.row("  last PortChanged not the line's level", wrong, target="0",
              met=wrong == 0)
    growth = sum(result["growth"] for result in results)
    table.row("  growth of memory (anonymous), KiB", growth,
              target="<= 1024" if strict else "",
              met=growth <= 1024 or not strict)


def measure_bursts(bench, box, board, receiver, table, options):
    """One burst takes some 20 ms, so there are a few, and a long one."""
    table.row("memory (anonymous) before bursts, KiB",
              memory_kib(box.daemon.pid, "Anonymous"))
    for count, strict in ((1, True), (BURSTS, False)):
        table.row("edges at full speed", count * EDGES_PER_BURST)
        show_bursts(table, [burst(bench, box, board, receiver, count)
                            for _ in range(options.rounds)], strict)


def measure_idle(bench, table, options):
    with Board(bench.build, BOARD) as board, \
            Sandbox(bench.build, config=config(4), binds=board.binds) as box:
        pid = box.start().pid
        wait_until(lambda: start_threads_ended(pid), "idle threads to end",
                   timeout=30, interval=1)
        before, ticks = context_switches(pid), cpu_ticks(pid)
        time.sleep(options.seconds)
        after, ticks = context_switches(pid), cpu_ticks(pid) - ticks
    woken = sum(after.values()) - sum(before.values())
    table.row(f"4 idle ports, {options.seconds} s, CPU ticks", ticks,
              target="0", met=ticks == 0)
    table.row("  context switches", woken, target="0",
              met=after == before)


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
            measure_bursts(bench, box, board, ours, table, options)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--edges", type=int, default=1000)
    parser.add_argument("--rounds", type=int, default=5)
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
