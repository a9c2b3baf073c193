"""The simulated board's event descriptors, and the launcher that gives them."""

import contextlib
import errno
import os
import pathlib
import signal
import subprocess

import pytest

import simboard_iio_client as iio
from sandbox import QEL_GID, QEL_UID
from simboard_iio_support import (CLIENT, device, fixture_board, folder)
from simboard_support import (fixture_make_board, fixture_simboard, opened,
                              put, refusal, sleeping)
from waiting import DEADLINE, wait_until

RISING, FALLING, EITHER = 1, 2, 0
VOLTAGE, PROXIMITY = 0, 8


def arm(board, name, channel, falling, rising, either=False):
    path = folder(board, name) / "events"
    put(path / f"in_{channel}_thresh_falling_value", str(falling))
    put(path / f"in_{channel}_thresh_rising_value", str(rising))
    for direction in ["either"] if either else ["falling", "rising"]:
        put(path / f"in_{channel}_thresh_{direction}_en", "1")


# ---- events ----

EVENTS = CLIENT + """
import errno, sys
def say(*words):
    print(*words, flush=True)
def attempt(call, *arguments):
    try:
        return call(*arguments)
    except OSError as error:
        return errno.errorcode[error.errno]
device = os.open(sys.argv[1], os.O_RDONLY)
events = event_descriptor(device)
"""


@pytest.fixture(name="launch")
def fixture_launch(board):
    """launch(code, arguments...): a client that can have event descriptors."""
    with contextlib.ExitStack() as stack:
        def run(code, *arguments):
            process = stack.enter_context(subprocess.Popen(
                [*board.launcher, "/usr/bin/python3", "-IBc", code,
                 *map(str, arguments)], stdin=subprocess.PIPE,
                stdout=subprocess.PIPE, text=True))
            stack.callback(process.kill)
            return process
        yield run


def answers(process):
    """Everything that a client which ends by itself prints."""
    output, _ = process.communicate(timeout=DEADLINE)
    assert process.returncode == 0
    return output.split("\n")[:-1]


def test_crossings_are_read_from_the_event_descriptor(board, launch):
    arm(board, "watch", "voltage0", 1000, 2000)
    process = launch(EVENTS + """
os.close(device)
say("listening")
for _ in range(2):
    assert poll(events, 20000) == select.POLLIN
    say(read_event(events))
assert poll(events) == 0
""", device(board, "watch"))
    assert process.stdout.readline() == "listening\n"
    assert board.iio_devices()["watch"].listening
    board.ramp("watch", 0, 0, 3000, 30)
    board.ramp("watch", 0, 3000, 0, 30)
    assert answers(process) == [str(iio.event_id(VOLTAGE, 0, RISING)),
                                str(iio.event_id(VOLTAGE, 0, FALLING))]
    wait_until(lambda: not board.iio_devices()["watch"].listening, "the end")
    assert [change.value for change in board.history()
            if change.what == "event"] == ["0:rising", "0:falling"]


def test_a_read_of_events_waits(board, launch):
    arm(board, "prox", "proximity", 1000, 2000, either=True)
    process = launch(EVENTS + """
say("listening")
say(read_event(events))
""", device(board, "prox"))
    assert process.stdout.readline() == "listening\n"
    wait_until(lambda: sleeping(process), "the reader to wait")
    board.adc("prox", 0, 2000)
    assert answers(process) == [str(iio.event_id(PROXIMITY, 0, EITHER))]


def test_one_threshold_is_the_last_that_was_written(board, launch):
    arm(board, "simple", "voltage3_aux", 50, 100)
    board.adc("simple", 3, 75)
    process = launch(EVENTS + 'say("listening")\ninput()\n'
                     'os.set_blocking(events, False)\n'
                     'say(read_event(events))\n'
                     'say(attempt(read_event, events))\n',
                     device(board, "simple"))
    assert process.stdout.readline() == "listening\n"
    board.adc("simple", 3, 10)
    board.adc("simple", 3, 100)
    assert [*process.communicate("\n", DEADLINE)][0].split("\n")[:2] == \
        [str(iio.event_id(VOLTAGE, 3, RISING)), "EAGAIN"]


def test_a_loop_crosses_thresholds(board, launch):
    assert board.channels()["watch/1"].value == 1365
    arm(board, "watch", "voltage1", 1000, 2000)
    process = launch(EVENTS + 'say("listening")\nsay(read_event(events))\n',
                     device(board, "watch"))
    assert process.stdout.readline() == "listening\n"
    assert board.loop("gate", "cut") == 4095
    assert answers(process) == [str(iio.event_id(VOLTAGE, 1, RISING))]
    assert board.channels()["watch/1"].events == 1


def test_the_event_descriptor_is_given_once_at_a_time(board, launch):
    assert answers(launch(EVENTS + """
say(attempt(event_descriptor, device))
os.close(events)
events = event_descriptor(device)
say(os.get_inheritable(events), fcntl.fcntl(events, fcntl.F_GETFL) & 3)
copy = os.dup(events)
os.close(events)
say(attempt(event_descriptor, device))
""", device(board, "watch"))) == ["EBUSY", "False 0", "EBUSY"]


def test_it_is_refused_as_by_the_kernel(board, launch):
    assert answers(launch(CLIENT + """
import errno, sys, ctypes
libc = ctypes.CDLL(None, use_errno=True)
def request(fd, address):
    result = libc.ioctl(fd, ctypes.c_ulong(GET_EVENT_FD),
                        ctypes.c_void_p(address))
    print(result, errno.errorcode.get(ctypes.get_errno()), flush=True)
    ctypes.set_errno(0)
number = ctypes.c_int(0)
address = ctypes.addressof(number)
for path in sys.argv[1:]:
    # They all stay open.
    request(os.open(path, os.O_RDONLY), address)
request(99, address)
request(-1, address)
""", device(board, "main"), board.devices / "spidev0.1",
        device(board, "watch"), "/dev/null")) == [
            "-1 ENODEV", "-1 ENOTTY", "0 None", "-1 ENOTTY", "-1 EBADF",
            "-1 EBADF"]


def test_an_address_out_of_reach_is_a_fault(board, launch):
    assert answers(launch(CLIENT + """
import errno, sys, ctypes
libc = ctypes.CDLL(None, use_errno=True)
device = os.open(sys.argv[1], os.O_RDONLY)
libc.ioctl(device, ctypes.c_ulong(GET_EVENT_FD), ctypes.c_void_p(1))
print(errno.errorcode[ctypes.get_errno()], flush=True)
""", device(board, "watch"))) == ["EFAULT"]


def test_it_fails_when_somebody_wants(board, launch):
    board.fail("watch", "EMFILE", "ioctl")
    code = CLIENT + """
import errno, sys
try:
    event_descriptor(os.open(sys.argv[1], os.O_RDONLY))
except OSError as error:
    print(errno.errorcode[error.errno])
"""
    assert answers(launch(code, device(board, "watch"))) == ["EMFILE"]


@pytest.mark.parametrize("fault, expected", [("SHORT", "8"), ("EIO", "EIO")])
def test_event_reads_fail_when_somebody_wants(board, launch, fault, expected):
    arm(board, "watch", "voltage0", 1000, 2000)
    board.fail("watch", fault, "event")
    process = launch(EVENTS + """
say("listening")
poll(events, 20000)
data = attempt(os.read, events, 16)
say(data if isinstance(data, str) else len(data))
say(poll(events))
""", device(board, "watch"))
    assert process.stdout.readline() == "listening\n"
    board.adc("watch", 0, 2000)
    assert answers(process) == [expected, "0"]


def test_unplugging_ends_the_wait_for_events(board, launch):
    process = launch(EVENTS + """
say("listening")
say(attempt(read_event, events))
say(poll(events), attempt(event_descriptor, device))
os.close(events)
""", device(board, "watch"))
    assert process.stdout.readline() == "listening\n"
    wait_until(lambda: sleeping(process), "the reader to wait")
    board.unplug("watch")
    assert answers(process) == ["ENODEV", "0 ENODEV"]


def test_a_listener_can_be_killed(board, launch):
    process = launch(EVENTS + 'say("listening")\nread_event(events)\n',
                     device(board, "watch"))
    assert process.stdout.readline() == "listening\n"
    wait_until(lambda: sleeping(process), "the reader to wait")
    process.kill()
    assert process.wait(DEADLINE) == -signal.SIGKILL
    wait_until(lambda: not board.iio_devices()["watch"].listening, "the end")


def test_without_the_launcher_there_is_no_event_descriptor(board):
    with opened(device(board, "watch")) as descriptor:
        assert refusal(iio.event_descriptor, descriptor) == errno.ENOTTY


# ---- the launcher ----

def helpers(board):
    """The processes of the launcher's that look after a program."""
    found = []
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        with contextlib.suppress(OSError):
            words = path.read_bytes().split(b"\0")
            if words[:3] == [os.fsencode(board.launcher[-3]), b"run", b"--"]:
                found.append(int(path.parent.name))
    return found


def test_the_launcher_becomes_the_program(board, launch, simboard):
    process = launch("import os, sys; print(os.getpid(), flush=True); "
                     "input(); sys.exit(7)")
    assert process.stdout.readline() == f"{process.pid}\n"
    before = set(helpers(board))
    process.communicate("\n", DEADLINE)
    assert process.returncode == 7
    wait_until(lambda: not before & set(helpers(board)), "the helper's end")
    missing = simboard("run", "--", "/nothing/there", "--option")
    assert missing.returncode == 1
    assert missing.stderr == "simboard: cannot run /nothing/there: " \
        "No such file or directory\n"
    assert simboard("run").returncode == 2
    assert simboard("run", "--").returncode == 2


def test_everything_else_goes_straight_to_the_kernel(board, launch):
    assert answers(launch("""
import fcntl, os, termios
reader, writer = os.pipe()
os.write(writer, b"abc")
print(int.from_bytes(fcntl.ioctl(reader, termios.FIONREAD, bytes(4)),
                     "little"))
print(os.popen("echo from a child").read(), end="")
""")) == ["3", "from a child"]


def test_it_works_in_a_sandbox_after_the_change_of_identity(board,
                                                            make_sandbox):
    arm(board, "watch", "voltage0", 1000, 2000)
    box = make_sandbox(with_bus=False, binds=board.binds,
                       launcher=board.launcher)
    code = CLIENT + f"""
become({QEL_UID}, {QEL_GID})
device = os.open("/dev/iio:device2", os.O_RDONLY)
events = event_descriptor(device)
print("listening", flush=True)
print(read_event(events), flush=True)
"""
    program = box.start_program(["python3", "-IBc", code])
    program.wait_for_output("listening")
    board.adc("watch", 0, 2000)
    assert program.finish() == 0, program.output()
    assert program.stdout() == \
        f"listening\n{iio.event_id(VOLTAGE, 0, RISING)}\n"


def test_many_come_and_go(board, launch):
    """Requests, closing and plugging at once, by several threads."""
    process = launch(CLIENT + """
import errno, sys, threading
answers = set()
def ask():
    for _ in range(100):
        try:
            device = os.open(sys.argv[1], os.O_RDONLY | os.O_NONBLOCK)
        except OSError as error:
            answers.add(errno.errorcode[error.errno])
            continue
        try:
            events = event_descriptor(device)
            os.set_blocking(events, False)
            try:
                read_event(events)
            finally:
                os.close(events)
        except OSError as error:
            answers.add(errno.errorcode[error.errno])
        finally:
            os.close(device)
threads = [threading.Thread(target=ask) for _ in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
print(answers <= {"EBUSY", "EAGAIN", "ENODEV", "ENOENT"} or answers)
""", device(board, "watch"))
    for _ in range(20):
        board.unplug("watch")
        board.plug("watch")
    assert answers(process) == ["True"]
    wait_until(lambda: not board.iio_devices()["watch"].listening, "the end")
