"""The simulated board's SPI converters, and users who mean it no good."""

import contextlib
import ctypes
import mmap
import os
import pathlib
import random
import signal

import pytest

import simboard_spi_client as spi
from board import Board
from simboard_spi_client import Transfer
from simboard_spi_support import (CLIENT, WITH_GROUP, fixture_board,
                                  fixture_device, fixture_memory)
from simboard_support import fixture_client, fixture_make_board, opened
from waiting import DEADLINE, wait_until


def test_nonsense_does_no_harm(board, device, memory):
    address, buffer = memory
    dice = random.Random(1)
    for _ in range(3000):
        for i in range(0, 256):
            buffer[i] = dice.choice((0, 1, 2, 8, 16, 255))
        request = spi.number(
            dice.randrange(4), dice.choice((0, 0, 0, 1, 3, 9)),
            dice.choice((0, 1, 4, 32, 64, 8000, 16383)))
        with contextlib.suppress(OSError):
            spi.fcntl.ioctl(device, request,
                            dice.choice((address, address + 4, 0, 1)))
    for request in (spi.WR_MODE, spi.WR_BITS):
        spi.put(device, request, 0)
    assert spi.level(device, 0x1f) == 85


def test_memory_may_be_a_file_of_the_board(board, device):
    with opened(board.gpio / "gpio7/value") as value:
        with mmap.mmap(value, 4096, mmap.MAP_PRIVATE) as mapped:
            address = ctypes.addressof(ctypes.c_char.from_buffer(mapped))
            assert spi.message(
                device, Transfer(tx_buf=address, len=2)) == 2
    # "0\n"
    assert board.converters()["adc"].selected == ord("\n")


FROM_A_FILE = CLIENT + """
import mmap, signal, sys
device = os.open(sys.argv[1], os.O_RDWR)
value = os.open(sys.argv[2], os.O_RDONLY)
# Python's own would keep the file open.
libc = ctypes.CDLL(None)
libc.mmap.restype = ctypes.c_void_p
address = libc.mmap(None, 4096, mmap.PROT_READ, mmap.MAP_PRIVATE, value, 0)
os.close(value)
signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR1])
print("mapped", flush=True)
signal.sigwait([signal.SIGUSR1])
print(message(device, Transfer(tx_buf=address, len=2)), flush=True)
"""


@contextlib.contextmanager
def stopped(process_id):
    os.kill(process_id, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(process_id, signal.SIGCONT)


def _start_message_that_waits(client, board, other):
    """A client that sends, at a signal, what only the other board has; and
    whether it is waiting for that."""
    process = client(FROM_A_FILE, board.devices / "spidev0.1",
                     other.gpio / "gpio7/value")
    call = pathlib.Path(f"/proc/{process.pid}/syscall")
    one_transfer = hex(spi.number(spi.WRITE, 0, ctypes.sizeof(Transfer)))
    return process, lambda: one_transfer in call.read_text()


@pytest.mark.threaded
def test_memory_that_does_not_come_holds_nobody_else_up(
        board, device, make_board, client):
    other = make_board(WITH_GROUP)
    process, is_called = _start_message_that_waits(client, board, other)
    with stopped(other.pid):
        process.send_signal(signal.SIGUSR1)
        wait_until(is_called, "the message to be on its way")
        assert spi.level(device, 0x1f) == 85
    assert process.stdout.readline() == "2\n"


def test_who_waits_for_memory_can_be_killed(board, make_board, client):
    other = make_board(WITH_GROUP)
    process, is_called = _start_message_that_waits(client, board, other)
    with stopped(other.pid):
        process.send_signal(signal.SIGUSR1)
        wait_until(is_called, "the message to be on its way")
        process.kill()
        assert process.wait(DEADLINE) == -signal.SIGKILL
        wait_until(lambda: board.converters()["adc"].users == 0,
                   "the device to be closed")


@pytest.mark.threaded
def test_a_board_ends_with_a_message_on_its_way(build, make_board, client):
    other = make_board(WITH_GROUP)
    with Board(build, WITH_GROUP) as board:
        process, is_called = _start_message_that_waits(client, board, other)
        with stopped(other.pid):
            process.send_signal(signal.SIGUSR1)
            wait_until(is_called, "the message to be on its way")
            os.kill(board.pid, signal.SIGTERM)
            assert process.wait(DEADLINE) == 1
        # A leak checker has to wait for the other board to go on.
        wait_until(lambda: _is_zombie(board.pid), "the board to end")


def _is_zombie(process_id):
    return "\nState:\tZ" in pathlib.Path(
        f"/proc/{process_id}/status").read_text()
