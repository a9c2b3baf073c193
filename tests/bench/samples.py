#!/usr/bin/python3
"""What inputs on the kernel's Industrial I/O cost the daemon: sampled ones
beside a bare program that reads as many samples, and ones that are watched for
thresholds.

    samples.py --build FOLDER [--seconds S] [--changes N]

Prints a table; the exit status says whether the targets were met. Needs root,
as the sandbox does.
"""

import argparse
import statistics
import sys
import time

from measuring import (BARE_NAME, Bench, Receiver, Table, context_switches,
                       cpu_us, p99, start_threads_ended)
from board import Board
from sandbox import QEL_GID, STATE_NAME, Sandbox, obstacle
from waiting import wait_until

MOST = 6
LOW, HIGH = 1000, 3000
RANGES = """<range state="open" lower="0" upper="2047"/>
<range state="closed" lower="2048" upper="4095"/></backend></port>"""
LINES = """<input pin="{i}"/><io_ctrl pin="{control}"/>
<sio_ctrl pin="{guard}"/>"""
PORT = """<port name="port{i}"><port_type type="input"/>
<properties ioport="true"/><port_no nbr="{i}"/>
<param_default_name input="Port {i}"/>
<backend name="{backend}">""" + LINES + "{device}" + RANGES
SAMPLED = """<device name="ours{i}" adc="ours{i}" hrtimer="pace"
freq="{frequency}" channel="0"/>"""
WATCHED = '<device driver="watched" channel="{i}"/>'
SUPERVISED = "".join(f"""[port{i}]
input_name=Port {i}
input_activelow=false
supervised_input_ranges=@a(suu) []
supervised_input=true
usage=
""" for i in range(MOST))


def board_text():
    parts = [f"[Board]\nName=Benchmark\nGroup={QEL_GID}",
             "[Chip gpiochip0]\nBase=0\nLines=64"]
    parts += [f"[Line guard{i}]\nNumber={40 + i}\nWiring=control\n"
              "Direction=out" for i in range(MOST)]
    for who in ("ours", "bare"):
        parts += [f"[IIO {who}{i}]\n[Channel {who}{i}/0]\nValue={LOW}"
                  for i in range(MOST)]
    parts.append("[IIO watched]\nBuffer=false\nThresholds=both")
    parts += [f"[Channel watched/{i}]\nValue={LOW}" for i in range(MOST)]
    return "\n".join(parts) + "\n"


def config(count, backend, device, **values):
    return "<ports>" + "".join(
        PORT.format(i=i, control=20 + i, guard=40 + i, backend=backend,
                    device=device.format(i=i, **values))
        for i in range(count)) + "</ports>"


def sandbox(bench, board, ports):
    return Sandbox(bench.build, config=ports, orvad_conf=SUPERVISED,
                   binds=board.binds, launcher=board.launcher)


def start_bare(bench, box, board, count):
    """The bare program, on buffers that run at the daemon's pace."""
    devices = [board.iio_devices()[f"bare{i}"].device for i in range(count)]
    for device in devices:
        folder = board.iio / device
        (folder / "trigger/current_trigger").write_text("pace")
        (folder / "scan_elements/in_voltage0_en").write_text("1")
        (folder / "buffer/enable").write_text("1")
    return bench.start_bare(box, "bare-samples",
                            *(f"/dev/{device}" for device in devices))


def measure_cost(bench, table, count, frequency, seconds):
    """Both programs at once, so that a noisy machine disturbs both."""
    ports = config(count, "iio", SAMPLED, frequency=frequency)
    with Board(bench.build, board_text()) as board, \
            sandbox(bench, board, ports) as box:
        ours = box.start().pid
        bare = start_bare(bench, box, board, count).pid
        before = cpu_us(ours), cpu_us(bare)
        time.sleep(seconds)
        mine, theirs = (cpu_us(pid) - earlier
                        for pid, earlier in zip((ours, bare), before))
    table.row(f"{count} ports at {frequency} Hz, % of a processor",
              mine / seconds / 1e4, theirs / seconds / 1e4, mine / theirs)


def delay_us(board, channel, value, receiver, what):
    """From a change of the level to its signal."""
    since = board.last_id()
    board.adc(*channel.split("/"), value)
    told = receiver.next()[0]
    made = next(change for change in board.history(since)
                if change.what == what)
    return (told - made.time_ns) / 1e3


def measure_delay(bench, table, changes):
    """The pace's millisecond is in it."""
    with Board(bench.build, board_text()) as board, \
            sandbox(bench, board,
                    config(1, "iio", SAMPLED, frequency=1000)) as box:
        box.start()
        start_bare(bench, box, board, 1)
        delays = {"ours0/0": [], "bare0/0": []}
        with Receiver(bench, box, STATE_NAME) as ours, \
                Receiver(bench, box, BARE_NAME) as bare:
            for turn in range(changes):
                value = HIGH if turn % 2 == 0 else LOW
                for channel, receiver in zip(delays, (ours, bare)):
                    delays[channel].append(delay_us(
                        board, channel, value, receiver, "level"))
    show_delays(table, "change of a level at 1 kHz to PortChanged",
                *delays.values())


def show_delays(table, what, ours, bare=None):
    for name, figure in (("median", statistics.median), ("p99", p99)):
        theirs = figure(bare) if bare else None
        table.row(f"{what}, {name}, µs", figure(ours), theirs,
                  figure(ours) / theirs if bare else None)


def measure_events(bench, table, changes, seconds):
    with Board(bench.build, board_text()) as board, \
            sandbox(bench, board,
                    config(MOST, "iio-interrupt", WATCHED)) as box:
        pid = box.start().pid

        def armed():
            return board.channels()["watched/0"].enabled is not None
        delays = []
        with Receiver(bench, box, STATE_NAME) as receiver:
            for turn in range(changes):
                wait_until(armed, "the thresholds")
                delays.append(delay_us(
                    board, "watched/0", HIGH if turn % 2 == 0 else LOW,
                    receiver, "event"))
        wait_until(lambda: start_threads_ended(pid), "idle threads to end",
                   timeout=30, interval=1)
        before = context_switches(pid)
        time.sleep(seconds)
        woken = sum(context_switches(pid).values()) - sum(before.values())
    show_delays(table, "threshold event to PortChanged", delays)
    table.row(f"{MOST} idle ports, {seconds} s, context switches", woken,
              target="0", met=woken == 0)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--seconds", type=int, default=10)
    parser.add_argument("--changes", type=int, default=500)
    options = parser.parse_args()
    if obstacle():
        sys.exit(f"samples: {obstacle()}")
    bench = Bench(options.build)
    table = Table()
    for count in (1, MOST):
        for frequency in (100, 1000):
            measure_cost(bench, table, count, frequency, options.seconds)
    measure_delay(bench, table, options.changes)
    measure_events(bench, table, options.changes, options.seconds)
    sys.exit(1 if table.missed else 0)


if __name__ == "__main__":
    main()
