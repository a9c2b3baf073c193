"""The simulated board's devices of the kernel's Industrial I/O: attributes,
triggers and buffers."""

import contextlib
import errno
import os
import pathlib
import signal
import threading
import time

import pytest

import simboard_iio_client as iio
from board import BoardError
from sandbox import QEL_GID, QEL_UID
from simboard_iio_support import (CLIENT, IIO_TEXT, IN, device,
                                  fixture_board, folder, start)
from simboard_support import (GROUP, fixture_client, fixture_make_board,
                              opened, put, refusal, sleeping)
from waiting import DEADLINE, wait_until


def read_in_thread(descriptor, size, results):
    """Reads, which waits; the result or the errno goes to results."""
    def run():
        try:
            results.append(os.read(descriptor, size))
        except OSError as error:
            results.append(error.errno)
    thread = threading.Thread(target=run, daemon=True)
    thread.start()
    return thread


# ---- attributes ----

def test_a_device_shows_what_it_is(board):
    path = folder(board, "main")
    assert path.name == "iio:device0"
    assert (path / "name").read_text() == "adc0\n"
    assert (path / "in_voltage2_raw").read_text() == "100\n"
    assert (path / "scan_elements/in_voltage2_type").read_text() == \
        "le:u12/16>>4\n"
    assert (folder(board, "wide") / "scan_elements/in_voltage_type"
            ).read_text() == "be:s20/24>>0\n"
    board.adc("wide", 0, -5)
    assert (folder(board, "wide") / "in_voltage_raw").read_text() == "-5\n"
    assert (folder(board, "simple") /
            "events/in_voltage3_aux_thresh_rising_en").exists()


def test_attributes_keep_what_is_written(board):
    path = folder(board, "main")
    put(path / "in_voltage_sampling_frequency", "1000")
    put(folder(board, "prox") / "in_proximity_integration_time", "0.000350")
    assert (path / "in_voltage_sampling_frequency").read_text() == \
        "1000.000000\n"
    assert (folder(board, "prox") / "in_proximity_integration_time"
            ).read_text() == "0.000350\n"
    assert board.history()[-1].value == \
        "in_proximity_integration_time:0.000350"
    assert refusal(put, path / "sampling_frequency", "1 kHz") == errno.EINVAL


def test_only_the_group_writes(board, client):
    code = CLIENT + """
import sys
become(int(sys.argv[1]), int(sys.argv[2]))
try:
    os.write(os.open(sys.argv[3], os.O_WRONLY), b"1")
    os.open(sys.argv[4], os.O_RDONLY)
    print("done", flush=True)
except OSError as error:
    print(error.errno, flush=True)
"""
    arguments = [folder(board, "main") / "scan_elements/in_voltage2_en",
                 device(board, "main")]
    assert client(code, 4711, GROUP, *arguments).first_line == "done\n"
    assert client(code, 4711, 4711, *arguments).first_line == \
        f"{errno.EACCES}\n"


def test_a_buffer_needs_a_trigger_and_a_channel(board):
    path = folder(board, "main")
    enable = path / "buffer/enable"
    assert refusal(put, enable, "1") == errno.EINVAL
    put(path / "scan_elements/in_voltage0_en", "1")
    assert refusal(put, enable, "1") == errno.EINVAL
    (board.triggers_folder / "timer").mkdir()
    put(path / "trigger/current_trigger", "timer\n")
    assert (path / "trigger/current_trigger").read_text() == "timer\n"
    put(enable, "1")
    assert enable.read_text() == "1\n"
    for name, text in [("scan_elements/in_voltage0_en", "0"),
                       ("trigger/current_trigger", "timer"),
                       ("buffer/length", "100")]:
        assert refusal(put, path / name, text) == errno.EBUSY
    put(enable, "0")
    put(path / "trigger/current_trigger", "nobody")
    assert (path / "trigger/current_trigger").read_text() == ""


def test_attributes_fail_when_somebody_wants(board):
    path = folder(board, "main")
    board.fail("main", "EIO", "scan_elements/in_voltage2_en")
    assert refusal(put, path / "scan_elements/in_voltage2_en", "1") == \
        errno.EIO
    put(path / "scan_elements/in_voltage0_en", "1")
    board.fail("main", "EPERM", "write")
    assert refusal(put, path / "scan_elements/in_voltage0_en", "0") == \
        errno.EPERM
    assert (path / "name").read_text() == "adc0\n"
    board.fail("main", "EIO", "attribute")
    assert refusal((path / "name").read_text) == errno.EIO
    assert "scan_elements/in_voltage2_en:EIO" in \
        board.iio_devices()["main"].note
    board.heal("main")
    board.heal("main", "scan_elements/in_voltage2_en")
    put(path / "scan_elements/in_voltage2_en", "1")
    with pytest.raises(BoardError, match="is not read, event"):
        board.fail("main", "EIO", "buffer/nothing")


# ---- triggers ----

def test_a_folder_is_a_trigger(board):
    timer = board.triggers_folder / "timer"
    timer.mkdir()
    trigger = board.iio / "trigger0"
    assert (trigger / "name").read_text() == "timer\n"
    assert (trigger / "sampling_frequency").read_text() == "100.000000\n"
    put(trigger / "sampling_frequency", "12.5")
    assert board.triggers()["timer"].frequency == 12.5
    assert refusal(put, trigger / "sampling_frequency", "0") == errno.EINVAL
    assert refusal(timer.mkdir) == errno.EEXIST
    timer.rmdir()
    assert not trigger.exists()
    assert refusal(timer.rmdir) == errno.ENOENT


def test_nothing_else_can_be_made(board):
    for path in (board.iio / "x", board.devices / "x",
                 board.triggers_folder.parent / "x"):
        assert refusal(path.mkdir) == errno.EPERM
    (board.triggers_folder / "timer").mkdir()
    assert refusal((board.triggers_folder / "timer/x").mkdir) == errno.EPERM
    assert refusal(folder(board, "main").rmdir) == errno.EPERM
    assert refusal(board.triggers_folder.rmdir) == errno.EPERM


def test_odd_names_do_no_harm(board):
    for name in ("a b", "tab\there", "new\nline", "\\", "%s%n", "ä" * 100):
        (board.triggers_folder / name).mkdir()
        path = board.iio / f"trigger{len(board.triggers()) - 1}"
        assert (path / "name").read_text() == name + "\n"
    assert all(change.what == "plugged" for change in board.history())
    assert len(board.history()) == 6


def test_nothing_runs_while_no_buffer_is_enabled(board):
    def timers():
        links = [os.readlink(path) for path in
                 pathlib.Path(f"/proc/{board.pid}/fd").iterdir()]
        return links.count("anon_inode:[timerfd]")
    assert timers() == 0
    path = start(board)
    wait_until(lambda: board.iio_devices()["main"].scans > 5, "scans")
    assert timers() == 1
    put(path / "buffer/enable", "0")
    assert timers() == 0
    put(path / "buffer/enable", "1")
    (board.triggers_folder / "timer").rmdir()
    assert timers() == 0
    assert (path / "buffer/enable").read_text() == "1\n"


# ---- the buffer ----

def test_samples_come_at_the_triggers_frequency(board):
    put(folder(board, "main") / "buffer/length", "64")
    start(board, frequency=1000)
    with opened(device(board, "main")) as descriptor:
        os.read(descriptor, 2)
        begin = time.monotonic()
        for _ in range(100):
            assert os.read(descriptor, 2) == (100 << 4).to_bytes(2, "little")
        # Not sooner; how much later depends on who else runs.
        assert time.monotonic() - begin > 0.03


def test_a_scan_has_every_channel_that_is_enabled(board):
    board.adc("main", 0, 0xabc)
    start(board, channels=("voltage2", "voltage0"))
    with opened(device(board, "main")) as descriptor:
        assert os.read(descriptor, 7) == bytes.fromhex("c0ab 4006")


def test_samples_have_their_type(board):
    board.adc("wide", 0, -2)
    start(board, "wide", ("voltage",))
    with opened(device(board, "wide")) as descriptor:
        assert os.read(descriptor, 3) == bytes.fromhex("0ffffe")


def test_a_read_waits_for_a_sample(board):
    results = []
    path = start(board, frequency=100000)
    with opened(device(board, "main")) as descriptor:
        put(path / "buffer/enable", "0")
        while iio.poll(descriptor):
            os.read(descriptor, 1000)
        thread = read_in_thread(descriptor, 1000, results)
        board.adc("main", 2, 7)
        assert not results
        put(path / "buffer/enable", "1")
        thread.join(DEADLINE)
    assert results[0][:2] == (7 << 4).to_bytes(2, "little")


def test_who_does_not_wait_asks_again(board):
    path = start(board)
    with opened(device(board, "main"), os.O_RDONLY | os.O_NONBLOCK) as own:
        assert iio.poll(own, 20000) == IN
        put(path / "buffer/enable", "0")
        assert len(os.read(own, 1000)) % 2 == 0
        assert iio.poll(own) == 0
        assert refusal(os.read, own, 2) == errno.EAGAIN
        put(path / "buffer/enable", "1")
        assert iio.poll(own, 20000) == IN
        assert refusal(os.read, own, 1) == errno.EINVAL
        assert refusal(os.lseek, own, 0, os.SEEK_SET) == errno.ESPIPE


def test_a_buffer_that_never_ran_is_at_its_end(board):
    with opened(device(board, "main")) as descriptor:
        assert os.read(descriptor, 10) == b""
    with opened(device(board, "prox")) as descriptor:
        assert refusal(os.read, descriptor, 10) == errno.EINVAL
    with opened(device(board, "main"), os.O_RDWR) as descriptor:
        assert refusal(os.write, descriptor, b"x") == errno.EPERM


def test_a_full_buffer_keeps_the_oldest(board):
    put(folder(board, "main") / "buffer/length", "3")
    path = start(board)
    wait_until(lambda: board.iio_devices()["main"].lost > 3, "losses")
    put(path / "buffer/enable", "0")
    assert board.iio_devices()["main"].waiting == 4
    with opened(device(board, "main")) as descriptor:
        assert len(os.read(descriptor, 1000)) == 8


def test_a_device_is_open_once(board):
    with opened(device(board, "main")):
        assert refusal(os.open, device(board, "main"), os.O_RDONLY) == \
            errno.EBUSY
        assert board.iio_devices()["main"].open
    wait_until(lambda: not board.iio_devices()["main"].open, "the release")
    board.fail("main", "ENXIO", "open")
    assert refusal(os.open, device(board, "main"), os.O_RDONLY) == errno.ENXIO


READS = """
import os, signal, sys
descriptor = os.open(sys.argv[1], os.O_RDONLY)
class Interrupted(Exception):
    pass
def interrupt(number, frame):
    raise Interrupted
signal.signal(signal.SIGUSR1, interrupt)
print("reading", flush=True)
try:
    print(os.read(descriptor, 2).hex(), flush=True)
except Interrupted:
    print("interrupted", flush=True)
"""


def waiting_reader(board, client):
    """A process that reads, and waits, until a sample comes in an hour."""
    start(board, frequency=0.001)
    process = client(READS, device(board, "main"))
    wait_until(lambda: sleeping(process), "the reader to wait")
    return process


def test_a_signal_ends_a_read(board, client):
    process = waiting_reader(board, client)
    process.send_signal(signal.SIGUSR1)
    assert process.stdout.readline() == "interrupted\n"
    assert process.wait(DEADLINE) == 0


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL])
def test_a_reader_can_be_killed(board, client, number):
    process = waiting_reader(board, client)
    process.send_signal(number)
    assert process.wait(DEADLINE) == -number
    wait_until(lambda: not board.iio_devices()["main"].open, "the release")
    with opened(device(board, "main"), os.O_RDONLY | os.O_NONBLOCK) as own:
        assert refusal(os.read, own, 2) == errno.EAGAIN


def test_readers_of_a_board_that_goes_are_let_go(make_board, client):
    board = make_board(IIO_TEXT)
    process = waiting_reader(board, client)
    os.kill(board.pid, signal.SIGTERM)
    assert process.wait(DEADLINE) == 1, "an OSError"
    stat = pathlib.Path(f"/proc/{board.pid}/stat")
    wait_until(lambda: stat.read_text().rpartition(")")[2].split()[0] == "Z",
               "the board's end")


def test_unplugging_ends_what_waits(board, client):
    process = waiting_reader(board, client)
    board.unplug("main")
    assert process.wait(DEADLINE) == 1, "an OSError"
    board.plug("main")
    assert board.triggers()["timer"].users == 0
    assert (folder(board, "main") / "trigger/current_trigger"
            ).read_text() == ""


def test_what_is_gone_is_silent(board):
    path = start(board)
    with opened(device(board, "main")) as descriptor:
        assert iio.poll(descriptor, 20000) == IN
        board.unplug("main")
        assert not path.exists() and not device(board, "main").exists()
        assert refusal(os.read, descriptor, 2) == errno.ENODEV
        assert iio.poll(descriptor) == 0
        board.plug("main")
        assert refusal(os.read, descriptor, 2) == errno.ENODEV
        with opened(device(board, "main")) as again:
            assert os.read(again, 2) == b""


def test_reads_fail_when_somebody_wants(board):
    start(board)
    with opened(device(board, "main")) as descriptor:
        board.fail("main", "EIO", "read")
        assert refusal(os.read, descriptor, 2) == errno.EIO
        board.fail("main", "SHORT", "read")
        assert len(os.read(descriptor, 2)) == 1
        board.heal("main", "read")
        assert len(os.read(descriptor, 2)) == 2


def test_a_fault_ends_a_read_that_waits(board):
    results = []
    start(board, frequency=0.001)
    with opened(device(board, "main")) as descriptor:
        thread = read_in_thread(descriptor, 2, results)
        wait_until(lambda: board.iio_devices()["main"].open, "the reader")
        board.fail("main", "EIO", "read")
        thread.join(DEADLINE)
    assert results == [errno.EIO]


def test_a_sandbox_sees_all_of_it(board, make_sandbox):
    box = make_sandbox(with_bus=False, binds=board.binds)
    code = CLIENT + f"""
os.mkdir("/sys/kernel/config/iio/triggers/hrtimer/timer")
folder = "/sys/bus/iio/devices/iio:device0/"
def put(path, text):
    with open(path, "w") as file:
        file.write(text)
put(folder + "trigger/current_trigger", "timer")
put(folder + "scan_elements/in_voltage2_en", "1")
put(folder + "buffer/enable", "1")
become({QEL_UID}, {QEL_GID})
print(os.read(os.open("/dev/iio:device0", os.O_RDONLY), 2).hex())
"""
    program = box.start_program(["python3", "-IBc", code])
    assert program.finish() == 0, program.output()
    assert program.stdout() == "4006\n"


# ---- hostile use ----

def test_a_storm_of_samples_leaves_the_board_usable(board):
    start(board, frequency=1000000, channels=("voltage0", "voltage2"))
    with opened(device(board, "main")) as descriptor:
        for _ in range(100):
            assert len(os.read(descriptor, 4)) == 4
        board.ramp("main", 2, 0, 1000, 100)
    assert board.channels()["main/2"].value == 1000
    board.unplug("main")


def test_whatever_is_written_is_answered(board):
    path = folder(board, "main")
    start(board)
    for name in ("buffer/enable", "buffer/length", "trigger/current_trigger",
                 "in_voltage_sampling_frequency", "in_voltage0_raw",
                 "scan_elements/in_voltage0_en"):
        with opened(path / name, os.O_WRONLY) as descriptor:
            for text in (b"", b"\0", b"\n", b"x" * 4000, b"-" * 50,
                         b"9" * 300, b"\xff\xfe", b"1.1.1"):
                with contextlib.suppress(OSError):
                    os.write(descriptor, text)
    assert (path / "name").read_text() == "adc0\n"
