"""The simulated board's SPI converters, and the loops that they measure."""

import errno
import os
import select
import signal
import stat

import pytest

import simboard_spi_client as spi
from sandbox import QEL_GID, QEL_UID
from simboard_spi_client import Transfer
from simboard_spi_support import (CLIENT, SPI_TEXT, fixture_board,
                                  fixture_device, fixture_memory)
from simboard_support import (GROUP, fixture_client, fixture_make_board,
                              fixture_simboard, opened, put, refusal)
from waiting import wait_until

# ---- measuring ----

@pytest.mark.parametrize("state, level", [
    ("open", 170), ("closed", 85), ("short", 0), ("cut", 255),
    (4500, 177)])  # 255 * 4500 / 6500 = 176.5...
def test_a_loop_is_measured(board, device, state, level):
    assert board.loop("front", state) == level
    assert spi.measure(device, 0x1f) == level << 4
    assert board.loops()["front"].state == str(state)


def test_loops_have_circuits_of_their_own(board, device):
    assert spi.level(device, 2) == 128, "open: 127.5"
    assert board.loop("gate", "closed") == 85
    assert spi.level(device, 2) == 85
    assert spi.level(device, 3) == 0, "nothing is connected there"


def test_a_channel_is_set_until_its_loop_changes(board, device):
    board.adc("adc", "0x1f", 33)
    board.adc("adc", 200, 44)
    assert (spi.level(device, 0x1f), spi.level(device, 200)) == (33, 44)
    assert board.loops()["front"].state == "raw"
    board.loop("front", "closed")
    assert (spi.level(device, 0x1f), spi.level(device, 200)) == (85, 44)


def test_a_plain_line_reads_the_same_contact(board):
    value = board.gpio / "gpio7/value"
    assert value.read_text() == "0\n"
    board.loop("front", "open")
    assert value.read_text() == "1\n"
    board.close("entrance")
    assert value.read_text() == "0\n"
    assert board.loops()["front"].state == "closed"
    assert board.loops()["front"].line == "entrance"


def test_what_was_done_with_it_shows(board, device):
    assert board.converters()["adc"].users == 1
    spi.put(device, spi.WR_BITS, 16)
    spi.put(device, spi.WR_SPEED, 500000)
    for _ in range(3):
        spi.measure(device, 0x1f)
    adc = board.converters()["adc"]
    assert (adc.device, adc.bits, adc.speed, adc.mode) == \
        ("spidev0.1", 16, 500000, 0)
    assert (adc.messages, adc.transfers, adc.selected) == (3, 6, 0x1f)
    assert board.loops()["front"].readings == 3
    assert board.loops()["gate"].readings == 0
    assert board.converters()["spare"].messages == 0
    assert [(c.number, c.name, c.what, c.value, c.actor)
            for c in board.history()[-2:]] == [
        (None, "adc", "setting", "bits:16", f"daemon({os.getpid()})"),
        (None, "adc", "setting", "speed:500000", f"daemon({os.getpid()})")]


def test_a_control_line_may_be_an_output_from_the_start(board):
    assert board.state("sioctrl")[8].driver == "boot"
    assert board.level("sioctrl") == "high"
    put(board.gpio / "export", "8")
    assert (board.gpio / "gpio8/direction").read_text() == "out\n"
    put(board.gpio / "gpio8/value", "0")
    assert board.level("sioctrl") == "low"
    assert board.state("sioctrl")[8].driver == "daemon"


# ---- as spidev does it ----

def test_settings_are_read_back(device):
    assert [spi.get(device, request) for request in (
        spi.RD_MODE, spi.RD_LSB_FIRST, spi.RD_BITS, spi.RD_SPEED)] == \
        [0, 0, 8, 10000000]
    spi.put(device, spi.WR_MODE, 3)
    spi.put(device, spi.WR_LSB_FIRST, 1)
    spi.put(device, spi.WR_BITS, 16)
    spi.put(device, spi.WR_SPEED, 4000000000)
    assert [spi.get(device, request) for request in (
        spi.RD_MODE, spi.RD_MODE32, spi.RD_LSB_FIRST, spi.RD_BITS,
        spi.RD_SPEED)] == [11, 11, 1, 16, 4000000000]


@pytest.mark.parametrize("request_number, value", [
    (spi.WR_BITS, 33), (spi.WR_BITS, 3), (spi.WR_SPEED, 0),
    (spi.WR_MODE, 0x10), (spi.WR_MODE32, 0x20000)])
def test_settings_that_there_are_not_are_refused(device, request_number,
                                                 value):
    assert refusal(spi.put, device, request_number, value) == errno.EINVAL
    assert spi.level(device, 0x1f) == 85


def test_settings_outlast_their_user_but_for_the_speed(board):
    for _ in range(2):
        with opened(board.devices / "spidev0.1", os.O_RDWR) as device:
            assert spi.get(device, spi.RD_SPEED) == 10000000
            spi.put(device, spi.WR_SPEED, 9600)
            spi.put(device, spi.WR_BITS, 16)
        # Released after close() has returned.
        wait_until(lambda: board.converters()["adc"].users == 0, "the release")
    assert board.converters()["adc"].bits == 16


def test_a_message_is_any_number_of_transfers(device, memory):
    address, _ = memory
    assert spi.message(device) == 0
    assert spi.message(device, Transfer(len=7)) == 7
    assert spi.message(device, *[Transfer(rx_buf=address, len=8)] * 511) == \
        8 * 511
    assert spi.message(device, Transfer(len=0x7fffffff)) == 0x7fffffff
    assert spi.level(device, 0x1f) == 85


def test_a_transfer_goes_both_ways(device, memory):
    address, buffer = memory
    buffer[:4] = b"\x00\x1f\x00\x02"
    assert spi.message(device, Transfer(
        tx_buf=address, rx_buf=address + 100, len=4)) == 4
    assert buffer[102:104] == (85 << 4).to_bytes(2, "little")


@pytest.mark.parametrize("transfers, error", [
    ([{"tx_buf": 0, "len": 0x80000000}], errno.EMSGSIZE),
    ([{"len": 0x7fffffff}, {"len": 1}], errno.EMSGSIZE),
    ([{"rx_buf": 16, "len": 4097}], errno.EMSGSIZE),
    ([{"tx_buf": 1, "len": 0xffffffff}], errno.EMSGSIZE),
    ([{"tx_buf": 16, "len": 2}], errno.EFAULT),
    ([{"rx_buf": 16, "len": 2}], errno.EFAULT),
    ([{"tx_buf": 2**64 - 1, "len": 4096}], errno.EFAULT),
    ([{"tx_buf": 2**63, "len": 1}], errno.EFAULT),
    ([{"tx_buf": 16, "len": 2}, {"rx_buf": 16, "len": 5000}], errno.EFAULT),
    ([{"len": 2, "bits_per_word": 33}], errno.EINVAL),
    ([{"len": 3, "bits_per_word": 16}], errno.EINVAL)])
def test_a_message_that_cannot_be_is_refused(board, device, transfers, error):
    made = [Transfer(**fields) for fields in transfers]
    assert refusal(spi.message, device, *made) == error
    assert spi.level(device, 0x1f) == 85
    assert board.converters()["adc"].users == 1


def test_what_has_no_length_is_nowhere(device):
    assert spi.message(device, Transfer(tx_buf=16, rx_buf=2**63)) == 0


def test_an_answer_is_written_as_far_as_it_goes(device, memory):
    address, buffer = memory
    assert refusal(spi.message, device,
                   Transfer(tx_buf=address, len=2),
                   Transfer(rx_buf=address + 100, len=2),
                   Transfer(rx_buf=16, len=2)) == errno.EFAULT
    buffer[1] = 0x1f
    assert refusal(spi.message, device,
                   Transfer(tx_buf=address, len=2),
                   Transfer(rx_buf=address + 100, len=2),
                   Transfer(rx_buf=16, len=2)) == errno.EFAULT
    assert buffer[100:102] == (85 << 4).to_bytes(2, "little")


@pytest.mark.parametrize("request_number, error", [
    (spi.number(spi.WRITE, 0, 31), errno.EINVAL),
    (spi.number(spi.WRITE, 0, 33), errno.EINVAL),
    (spi.number(spi.WRITE, 0, 16383), errno.EINVAL),
    (spi.number(spi.READ, 0, 32), errno.ENOTTY),
    (spi.number(spi.READ | spi.WRITE, 0, 32), errno.ENOTTY),
    (spi.number(0, 0, 0), errno.ENOTTY),
    (spi.number(spi.WRITE, 6, 1), errno.ENOTTY),
    (spi.number(spi.WRITE, 3, 4), errno.ENOTTY),
    (spi.number(spi.READ, 4, 8), errno.ENOTTY),
    (spi.number(spi.WRITE, 0, 32, ord("j")), errno.ENOTTY),
    (0x5401, errno.ENOTTY)])
def test_other_ioctls_are_refused(device, memory, request_number, error):
    address, _ = memory
    assert refusal(spi.fcntl.ioctl, device, request_number, address) == error
    assert spi.level(device, 0x1f) == 85


@pytest.mark.parametrize("request_number", [
    spi.RD_MODE, spi.WR_BITS, spi.WR_SPEED, spi.number(spi.WRITE, 0, 64)])
@pytest.mark.parametrize("address", [0, 1, -4096])
def test_an_argument_out_of_reach_is_a_fault(device, request_number, address):
    with pytest.raises(OSError) as caught:
        spi.fcntl.ioctl(device, request_number, address)
    assert caught.value.errno == errno.EFAULT


def test_files_of_lines_have_no_ioctls(board, memory):
    address, _ = memory
    with opened(board.gpio / "gpio7/value") as value:
        assert refusal(spi.fcntl.ioctl, value, spi.RD_MODE, address) == \
            errno.ENOTTY
    with opened(board.devices) as folder:
        assert refusal(spi.fcntl.ioctl, folder, spi.RD_MODE, address) == \
            errno.ENOTTY


def test_is_read_and_written_too(device):
    assert os.write(device, b"\x00\x1f") == 2
    assert os.read(device, 2) == (85 << 4).to_bytes(2, "little")
    assert refusal(os.read, device, 4097) == errno.EMSGSIZE
    assert refusal(os.write, device, bytes(4097)) == errno.EMSGSIZE
    spi.put(device, spi.WR_BITS, 16)
    assert refusal(os.read, device, 3) == errno.EINVAL


def test_is_no_file_to_move_about_in(device):
    assert refusal(os.lseek, device, 0, os.SEEK_SET) == errno.ESPIPE
    assert refusal(os.pread, device, 2, 0) == errno.ESPIPE
    poller = select.poll()
    poller.register(device, select.POLLIN | select.POLLOUT | select.POLLPRI)
    assert poller.poll(0) == [(device, select.POLLIN | select.POLLOUT)]


@pytest.mark.parametrize("flags", [
    os.O_RDONLY, os.O_WRONLY, os.O_RDWR | os.O_NONBLOCK,
    os.O_WRONLY | os.O_TRUNC | os.O_CREAT])
def test_ioctls_work_however_it_was_opened(board, flags):
    with opened(board.devices / "spidev0.1", flags) as device:
        spi.put(device, spi.WR_BITS, 16)
        assert spi.level(device, 0x1f) == 85


# ---- who may use it ----

OPENS = CLIENT + """
import errno, sys
become(int(sys.argv[2]), int(sys.argv[3]))
try:
    device = os.open(sys.argv[1], os.O_RDWR)
    print(level(device, 0x1f), flush=True)
except OSError as error:
    print(errno.errorcode[error.errno], flush=True)
"""


def test_the_group_may_use_it(board, client):
    path = board.devices / "spidev0.1"
    status = path.stat()
    assert (stat.S_IMODE(status.st_mode), status.st_gid) == (0o660, GROUP)
    assert client(OPENS, path, QEL_UID, QEL_GID).first_line == "85\n"
    assert client(OPENS, path, QEL_UID, 1).first_line == "EACCES\n"


def test_without_a_group_only_root_may(make_board, client):
    path = make_board(SPI_TEXT.format(group="")).devices / "spidev0.1"
    assert stat.S_IMODE(path.stat().st_mode) == 0o600
    assert client(OPENS, path, QEL_UID, QEL_GID).first_line == "EACCES\n"
    assert client(OPENS, path, 0, 0).first_line == "85\n"


IN_SANDBOX = CLIENT + f"""
become({QEL_UID}, {QEL_GID})
try:
    print(level(os.open("/dev/spidev0.1", os.O_RDWR), 0x1f))
except FileNotFoundError:
    print("gone")
"""


def test_the_sandbox_sees_it_come_and_go(board, make_sandbox):
    box = make_sandbox(binds=board.binds)

    def see():
        program = box.start_program(["/usr/bin/python3", "-IBc", IN_SANDBOX])
        assert program.finish() == 0
        return program.stdout()

    assert see() == "85\n"
    board.unplug("adc")
    assert see() == "gone\n"
    board.plug("adc")
    assert see() == "85\n"


WATCHES = CLIENT + """
import signal
device = os.open("/dev/spidev0.1", os.O_RDWR)
signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR1])
print("open", flush=True)
signal.sigwait([signal.SIGUSR1])
try:
    level(device, 0x1f)
except OSError as error:
    print(error.strerror, os.path.exists("/dev/spidev0.1"), flush=True)
os.close(device)
signal.sigwait([signal.SIGUSR1])
print(level(os.open("/dev/spidev0.1", os.O_RDWR), 0x1f), flush=True)
"""


def test_a_running_sandbox_sees_it_come_and_go(board, make_sandbox):
    box = make_sandbox(binds=board.binds)
    program = box.start_program(["/usr/bin/python3", "-IBc", WATCHES])
    program.wait_for_output("open")
    board.unplug("adc")
    program.send(signal.SIGUSR1)
    program.wait_for_output(
        "Cannot send after transport endpoint shutdown False")
    board.plug("adc")
    program.send(signal.SIGUSR1)
    assert program.finish() == 0
    assert program.stdout().endswith("85\n")


# ---- faults ----

def test_faults_hit_what_they_are_for(board, device):
    board.fail("adc", "EIO", "transfer")
    assert refusal(spi.measure, device, 0x1f) == errno.EIO
    assert refusal(os.read, device, 2) == errno.EIO
    spi.put(device, spi.WR_BITS, 16)
    board.heal("adc")
    board.fail("adc", errno.EREMOTEIO, "ioctl")
    assert refusal(spi.put, device, spi.WR_BITS, 8) == errno.EREMOTEIO
    assert refusal(spi.get, device, spi.RD_SPEED) == errno.EREMOTEIO
    assert spi.level(device, 0x1f) == 85
    board.fail("adc", "EBUSY", "open")
    path = board.devices / "spidev0.1"
    assert refusal(os.open, path, os.O_RDWR) == errno.EBUSY
    board.fail("adc", "EIO")
    assert refusal(spi.measure, device, 0x1f) == errno.EIO
    assert board.converters()["adc"].note == "transfer:EIO ioctl:EIO open:EIO"
    board.heal("adc")
    with opened(path, os.O_RDWR) as other:
        assert spi.level(other, 0x1f) == 85


def test_an_unplugged_device_is_shut_down(board, device):
    path = board.devices / "spidev0.1"
    spi.put(device, spi.WR_BITS, 16)
    board.unplug("adc")
    assert not path.exists()
    assert board.converters()["adc"].note == "unplugged"
    for call in (lambda: spi.measure(device, 0x1f),
                 lambda: spi.get(device, spi.RD_MODE),
                 lambda: spi.message(device), lambda: os.read(device, 2),
                 lambda: os.write(device, b"\x00\x1f")):
        assert refusal(call) == errno.ESHUTDOWN
    board.plug("adc")
    assert refusal(spi.measure, device, 0x1f) == errno.ESHUTDOWN
    with opened(path, os.O_RDWR) as fresh:
        assert spi.level(fresh, 0x1f) == 85
        assert spi.get(fresh, spi.RD_BITS) == 8
    assert (board.devices / "spidev3.0").exists()


MEASURES = CLIENT + """
import sys
device = os.open(sys.argv[1], os.O_RDWR)
address, expected = int(sys.argv[2]), int(sys.argv[3])
print("open", flush=True)
wrong = sum(level(device, address) != expected for _ in range(2000))
print(wrong, flush=True)
"""


@pytest.mark.threaded
def test_users_do_not_hear_each_others_answers(board, client):
    path = board.devices / "spidev0.1"
    both = [client(MEASURES, path, address, level)
            for address, level in ((0x1f, 85), (2, 128))]
    assert [process.stdout.readline() for process in both] == ["0\n", "0\n"]
    assert board.converters()["adc"].messages == 4000
    assert board.loops()["gate"].readings == 2000


UNTIL_GONE = CLIENT + """
import errno, sys
device = os.open(sys.argv[1], os.O_RDWR)
print(level(device, 0x1f), flush=True)
try:
    while level(device, 0x1f) == 85:
        pass
except OSError as error:
    print(errno.errorcode[error.errno], flush=True)
"""


@pytest.mark.threaded
def test_it_may_go_while_it_measures(board, client):
    for _ in range(10):
        process = client(UNTIL_GONE, board.devices / "spidev0.1")
        assert process.first_line == "85\n"
        board.unplug("adc")
        assert process.stdout.readline() == "ESHUTDOWN\n"
        board.plug("adc")


# ---- the program ----

@pytest.mark.parametrize("words, message", [
    (["loop", "nobody", "open"], "there is no loop nobody"),
    (["loop", "front", "ajar"], "ajar is not open, closed, short, cut or a "
     "number from 0 to 10000000"),
    (["adc", "adc/256", "1"], "256 is not a number from 0 to 255"),
    (["adc", "front/1", "1"], "there is no converter front"),
    (["fail", "adc", "EIO", "write"],
     "write is not transfer, ioctl or open"),
    (["line", "entrance", "high"], "entrance is the contact of front"),
    (["state", "nobody"], "there is no line, loop or converter nobody")])
def test_what_the_board_refuses_is_a_failure(board, simboard, words, message):
    run = simboard("--socket", board.socket, *words)
    assert (run.returncode, run.stdout, run.stderr) == \
        (1, "", f"simboard: {message}\n")


@pytest.mark.parametrize("words", [
    ["loop"], ["loop", "front"], ["loop", "front", "open", "now"],
    ["adc", "adc/1"]])
def test_a_wrong_command_line_is_told_in_one_line(board, simboard, words):
    run = simboard(*words, variable=board.socket)
    assert (run.returncode, run.stdout) == (2, "")
    assert run.stderr.startswith("simboard: usage: ")
    assert run.stderr.count("\n") == 1


def test_commands_and_the_picture_know_loops(board, simboard):
    run = simboard("loop", "front", "cut", variable=board.socket)
    assert (run.returncode, run.stdout, run.stderr) == (0, "255\n", "")
    shown = simboard("show", "--once", variable=board.socket)
    lines = [line.split() for line in shown.stdout.splitlines()]
    assert ["front", "adc", "0x1f", "cut", "255", f"[{'#' * 20}]",
            "entrance"] in lines
    assert ["adc", "spidev0.1", "0", "8", "10000000", "0"] in lines
    run = simboard("history", variable=board.socket)
    assert " - front loop cut board\n" in run.stdout
    helped = simboard("--help").stdout
    assert "\n  loop LOOP " in helped and "\n  adc CONVERTER/" in helped
