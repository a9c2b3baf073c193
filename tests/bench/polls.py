#!/usr/bin/python3
"""What the polls of supervised inputs cost the daemon, beside a bare program
that asks the same converter as often and does nothing with the answers; and how
long a change of the wiring takes to be told.

    polls.py --build FOLDER [--seconds S] [--changes N]

Prints a table; the exit status says whether the targets were met. Needs root,
as the sandbox does, and valgrind for the instructions of a poll.
"""

import argparse
import pathlib
import re
import shutil
import signal
import sys
import time

from measuring import BARE_NAME, Bench, Receiver, Table, cpu_us
from board import Board
from sandbox import BUILD, QEL_GID, STATE_NAME, Sandbox, obstacle
from waiting import wait_until

PORTS = 6
INTERVAL_MS = 250
SLACK_MS = 25
"""For the machine, which wakes processes late."""
DEVICE = "spidev0.0"
BOARD = f"""
[Board]
Name=Benchmark
Group={QEL_GID}
[Chip gpiochip0]
Base=0
Lines=64
[Converter ours]
Device={DEVICE}
[Converter bare]
Device=spidev0.1
""" + "".join(f"""
[Line guard{i}]
Number={40 + i}
Wiring=control
Direction=out
[Loop loop{i}]
Converter=ours
Address={i}
""" for i in range(PORTS))
PORT = """<port name="port{i}"><port_type type="input"/>
<properties ioport="true"/><port_no nbr="{i}"/>
<param_default_name input="Port {i}"/>
<backend name="spi"><input pin="{i}"/><io_ctrl pin="{control}"/>
<sio_ctrl pin="{guard}"/><device path="/dev/{device}"/><address value="{i}"/>
<range state="short" lower="0" upper="40"/>
<range state="closed" lower="41" upper="127"/>
<range state="open" lower="128" upper="212"/>
<range state="cut" lower="213" upper="255"/></backend></port>"""
CONFIG = "<ports>" + "".join(
    PORT.format(i=i, control=20 + i, guard=40 + i, device=DEVICE)
    for i in range(PORTS)) + "</ports>"
SUPERVISED = "".join(f"""[port{i}]
input_name=Port {i}
input_activelow=false
supervised_input_ranges=@a(suu) []
supervised_input=true
usage=
""" for i in range(PORTS))


def sandbox(bench, board, **options):
    return Sandbox(bench.build, config=CONFIG, orvad_conf=SUPERVISED,
                   binds=board.binds, **options)


def polls(board):
    """How often the daemon has asked for a level."""
    return sum(loop.readings for loop in board.loops().values())


def measure_cost(bench, table, seconds):
    """Both programs run at once, so that a noisy machine disturbs both."""
    with Board(bench.build, BOARD) as board, sandbox(bench, board) as box:
        ours = box.start().pid
        bare = bench.start_bare(box, "bare-polls", "/dev/spidev0.1",
                                str(PORTS)).pid
        before = polls(board), cpu_us(ours), cpu_us(bare)
        time.sleep(seconds)
        count, mine, theirs = (after - earlier for after, earlier in zip(
            (polls(board), cpu_us(ours), cpu_us(bare)), before))
    expected = PORTS * seconds * 1000 / INTERVAL_MS
    table.row(f"polls of {PORTS} ports in {seconds} s", count, target="all",
              met=abs(count - expected) <= 0.05 * expected)
    table.row("processor's time of a poll, µs", mine / count, theirs / count,
              mine / theirs)
    share = mine / seconds / 1e4
    table.row(f"share of a processor, {PORTS} ports, %", share,
              theirs / seconds / 1e4, target="<= 0.5", met=share <= 0.5)


def measure_delay(bench, table, changes):
    with Board(bench.build, BOARD) as board, sandbox(bench, board) as box:
        box.start()
        wait_until(lambda: polls(board) >= PORTS, "a poll of each port")
        delays = []
        with Receiver(bench, box, STATE_NAME) as receiver:
            for turn in range(changes):
                since = board.last_id()
                state = "cut" if turn % 2 == 0 else "open"
                board.loop("loop0", state)
                made, = (change for change in board.history(since)
                         if change.what == "loop")
                delays.append((receiver.next()[0] - made.time_ns) / 1e6)
    table.row("change of the wiring to PortChanged, mean, ms",
              sum(delays) / len(delays))
    table.row("  the longest, ms", max(delays),
              target=f"<= {INTERVAL_MS} + {SLACK_MS}",
              met=max(delays) <= INTERVAL_MS + SLACK_MS)


def measure_instructions(bench, table):
    """Without its user the daemon stays root, who has made the file that the
    counts go to."""
    if shutil.which("valgrind") is None:
        sys.exit("polls: needs valgrind for the instructions of a poll")
    with Board(bench.build, BOARD) as board, \
            sandbox(bench, board, with_user_qel=False) as box:
        box.start_bus()
        counted = box.start_program(
            ["valgrind", "--tool=callgrind", "--toggle-collect=*spi_poll*",
             "--callgrind-out-file=/tmp/callgrind", f"{BUILD}/src/orvad"])
        box.wait_for_name(STATE_NAME)
        wait_until(lambda: polls(board) >= 20 * PORTS, "some polls")
        counted.send(signal.SIGTERM)
        counted.finish()
        total = re.search(r"^(?:totals|summary): (\d+)",
                          (box.tmp / "callgrind").read_text(), re.M)
        table.row("instructions of a poll (callgrind)",
                  int(total.group(1)) / polls(board))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--changes", type=int, default=50)
    options = parser.parse_args()
    if obstacle():
        sys.exit(f"polls: {obstacle()}")
    bench = Bench(options.build)
    table = Table()
    measure_cost(bench, table, options.seconds)
    measure_delay(bench, table, options.changes)
    measure_instructions(bench, table)
    sys.exit(1 if table.missed else 0)


if __name__ == "__main__":
    main()
