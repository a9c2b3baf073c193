#!/usr/bin/python3
"""What the daemon costs beside a bare GDBus service with the same interface.

    bench.py --build FOLDER [--rounds N] [--seconds S]

Both run at the same time on one private bus and are measured in turns, so that
a noisy machine disturbs both alike. Prints a table; the exit status says
whether the targets were met. Needs root, as the sandbox does.
"""

import argparse
import statistics
import sys

from measuring import BARE_NAME, Bench, Table, memory_kib, middle
from sandbox import STATE_NAME, Sandbox, obstacle

COUNTS = (8, 64, 512)
# A port whose number is not below the number of ports is not saved at start.
UNSAVED = 1000000

PORT = """<port name="port{i}"><port_type type="{type}"/>
<properties ioport="true"/><port_no nbr="{number}"/>
<param_default_name {type}="Port {i}"/><backend name="check"/>
<event declaration="IOPort"/></port>"""


def config(count, first=0):
    """The XML of count ports, inputs but for the last."""
    kinds = ["input"] * (count - 1) + ["output"]
    return "<ports>" + "".join(
        PORT.format(i=i, number=first + i, type=kind)
        for i, kind in enumerate(kinds)) + "</ports>"


def start_time(bench, count, first):
    """Seconds from exec to the name on the bus, on a first start."""
    with Sandbox(bench.build, config=config(count, first),
                 program="tests/bench/bench-client") as box:
        box.start_bus()
        with bench.start_load(box, "wait-name", STATE_NAME) as waiter:
            box.start_daemon(["exec", "/run/exec-time",
                              "/opt/orvad/src/orvad"])
            there = int(waiter.stdout.readline())
        return (there - int((box.run / "exec-time").read_text())) / 1e9


def alternate(rounds, measure):
    """The results for both names, measured in turns; first round to warm up."""
    results = {STATE_NAME: [], BARE_NAME: []}
    for turn in range(rounds + 1):
        for name, list_ in results.items():
            value = measure(name)
            if turn:
                list_.append(value)
    return results[STATE_NAME], results[BARE_NAME]


def measure_calls(bench, box, table, options):
    for clients in (1, 8):
        ours, bare = alternate(options.rounds, lambda name, n=clients:
                               bench.load(box, "calls", name, 0, n,
                                          options.seconds))
        rate, bare_rate = (middle(r, "per_second") for r in (ours, bare))
        ratio = rate / bare_rate
        table.row(f"GetState, {clients} client(s), calls/s", rate, bare_rate,
                  ratio, ">= 0.9", ratio >= 0.9)
        if clients > 1:
            continue
        mine, theirs = (middle(r, "median_us") for r in (ours, bare))
        table.row("GetState, one call, median, µs", mine, theirs,
                  theirs / mine, ">= 0.9", theirs / mine >= 0.9)
        mine, theirs = (middle(r, "p99_us") for r in (ours, bare))
        table.row("GetState, one call, p99, µs", mine, theirs, theirs / mine)


def measure_signals(bench, box, table, options, count):
    """SetVirtual saves the port in every call, which the bare service does
    not; a sequence of simulated changes shows the signals alone."""
    ours, bare = alternate(options.rounds, lambda name:
                           bench.load(box, "virtual", name, 0, 200))
    rate, bare_rate = (middle(r, "per_second") for r in (ours, bare))
    table.row("SetVirtual with its save, signals/s", rate, bare_rate,
              rate / bare_rate)
    steps = [bench.load(box, "sequence", STATE_NAME, count - 1, 20000)
             for _ in range(options.rounds)]
    table.row("simulated sequence, signals and events/s",
              middle(steps, "per_second"))


def measure_service(bench, table, options):
    count = COUNTS[0]
    with Sandbox(bench.build, config=config(count)) as box:
        box.start()
        service = bench.start_bare(box, "bare-service")
        measure_calls(bench, box, table, options)
        ours, bare = (memory_kib(run.pid, "Pss")
                      for run in (box.daemon, service))
        table.row("memory (PSS), KiB", ours, bare, ours / bare,
                  "<= bare + 1536", ours <= bare + 1536)
        measure_signals(bench, box, table, options, count)
        ours, bare = (memory_kib(run.pid, "Pss")
                      for run in (box.daemon, service))
        table.row("memory (PSS) after the signals, KiB", ours, bare)


def measure_start(bench, table, options):
    """A start that saves nothing shows how the start itself grows."""
    plain = {}
    for count in COUNTS:
        times = {first: statistics.median(
            start_time(bench, count, first) for _ in range(options.rounds))
            for first in (UNSAVED, 0)}
        plain[count] = times[UNSAVED]
        table.row(f"start, {count} ports, nothing saved, ms",
                  times[UNSAVED] * 1e3)
        table.row(f"  its {count} required saves apart, ms",
                  (times[0] - times[UNSAVED]) * 1e3)
    for small, large in zip(COUNTS, COUNTS[1:]):
        growth = plain[large] / plain[small]
        table.row(f"start, {large} ports / {small} ports", growth,
                  target=f"<= {large // small}", met=growth <= large / small)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True)
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--seconds", type=float, default=2)
    options = parser.parse_args()
    if obstacle():
        sys.exit(f"bench: {obstacle()}")
    bench = Bench(options.build)
    table = Table()
    measure_service(bench, table, options)
    measure_start(bench, table, options)
    sys.exit(1 if table.missed else 0)


if __name__ == "__main__":
    main()
