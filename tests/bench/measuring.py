"""What the benchmarks share: the load, the table, a process's figures, and the
way to the modules of the sandbox: import it before those."""

import contextlib
import json
import os
import pathlib
import queue
import re
import statistics
import subprocess
import sys
import threading

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "sandbox"))

from sandbox import BUILD  # noqa: E402
from waiting import DEADLINE  # noqa: E402

BARE_NAME = "org.orvad.Bench.Bare"
QUIET = 1
"""Seconds without a signal after which no more are held to come."""


class Bench:
    """The programs of one build folder."""

    def __init__(self, build):
        self.build = pathlib.Path(build)
        self.client = str(self.build / "tests/bench/bench-client")

    def load(self, box, *arguments):
        """One run of the load; what it printed."""
        done = subprocess.run(
            [self.client, *map(str, arguments)], env=environment(box),
            stdout=subprocess.PIPE, text=True, check=True)
        return json.loads(done.stdout)

    def start_load(self, box, *arguments):
        """A load that says when it is ready, and is by then."""
        load = subprocess.Popen(
            [self.client, *map(str, arguments)], env=environment(box),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        load.stdout.readline()
        return load

    @staticmethod
    def start_bare(box, program, *arguments):
        """A bare program, in the box too: Linux shares the processor among
        sessions first (sched(7), autogroup), so it must be as far from the
        clients as the daemon is."""
        service = box.start_program(
            [f"{BUILD}/tests/bench/{program}", BARE_NAME, *arguments])
        box.wait_for_name(BARE_NAME)
        return service


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


def environment(box):
    return {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": box.bus_address}


def memory_kib(pid, what):
    """A field of /proc/pid/smaps_rollup, see proc(5)."""
    rollup = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text()
    return int(re.search(rf"^{what}:\s+(\d+) kB", rollup, re.M).group(1))


def cpu_ticks(pid):
    """Clock ticks spent in user and kernel mode."""
    stat = pathlib.Path(f"/proc/{pid}/stat").read_text()
    fields = stat.rpartition(")")[2].split()
    return int(fields[11]) + int(fields[12])


def cpu_us(pid):
    """Microseconds on a processor, of all threads, see Documentation/scheduler/
    sched-stats.rst."""
    return sum(int((task / "schedstat").read_text().split()[0])
               for task in pathlib.Path(f"/proc/{pid}/task").iterdir()) / 1e3


def context_switches(pid):
    """How often the threads have been given the processor: thread -> count."""
    return {int(task.name): sum(map(int, re.findall(
        r"ctxt_switches:\s+(\d+)", (task / "status").read_text())))
        for task in pathlib.Path(f"/proc/{pid}/task").iterdir()}


def start_threads_ended(pid):
    """GLib ends the threads that helped at the start when they have had no
    work for 15 s."""
    return all((task / "comm").read_text() != "pool\n"
               for task in pathlib.Path(f"/proc/{pid}/task").iterdir())


class Table:
    """Rows of measurements, and whether each met its target."""

    def __init__(self):
        self.missed = 0
        print(f"{'':44}{'orvad':>12}{'bare':>12}{'ratio':>8}  target")

    def row(self, what, ours, bare=None, ratio=None, target="", met=True):
        cells = [f"{ours:12.1f}",
                 f"{bare:12.1f}" if bare is not None else " " * 12,
                 f"{ratio:8.2f}" if ratio is not None else " " * 8]
        verdict = f"  {target}: {'met' if met else 'MISSED'}" if target else ""
        print(f"{what:44}{''.join(cells)}{verdict}", flush=True)
        self.missed += not met


def middle(results, key):
    return statistics.median(result[key] for result in results)


def p99(values):
    return sorted(values)[len(values) * 99 // 100]
