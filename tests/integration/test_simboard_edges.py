"""Edges on the simulated board, and programs that wait for them."""

import concurrent.futures
import errno
import os
import select

import pytest
from gi.repository import GLib

from simboard_support import (NEWS, POLLS, acknowledge, fixture_board,
                              fixture_client, fixture_make_board, opened, poll,
                              put, refusal, sleeping, wakeups_of)
from waiting import DEADLINE, wait_until


# ---- edges ----

def test_the_first_poll_reports_news(board):
    with opened(board.gpio / "aux/value") as value:
        assert poll(value) & NEWS == NEWS
        assert acknowledge(value) == b"0\n"
        assert poll(value) == 0


def test_a_thousand_edges_are_a_thousand_wakeups(board):
    put(board.gpio / "aux/edge", "both")
    wakeups = 0
    with opened(board.gpio / "aux/value") as value:
        acknowledge(value)
        for number in range(1000):
            board.line("named", "toggle")
            wakeups += poll(value, DEADLINE * 1000) & NEWS == NEWS
            assert acknowledge(value) == (b"0\n" if number % 2 else b"1\n")
            assert poll(value) == 0
    assert wakeups == 1000


def test_a_main_loop_is_woken_for_each_edge(board):
    put(board.gpio / "aux/edge", "both")
    loop = GLib.MainLoop()
    seen = []

    def on_edge(descriptor, condition):
        assert condition & GLib.IO_ERR
        seen.append(acknowledge(descriptor))
        if len(seen) == 100:
            loop.quit()
        else:
            board.line("named", "toggle")
        return GLib.SOURCE_CONTINUE

    with opened(board.gpio / "aux/value") as value:
        source = GLib.unix_fd_add_full(
            GLib.PRIORITY_DEFAULT, value, GLib.IO_ERR | GLib.IO_PRI, on_edge)
        loop.run()
        GLib.source_remove(source)
    # The first one is the news of the fresh file.
    assert seen == [b"0\n", b"1\n"] * 50


def test_a_burst_is_one_piece_of_news(board):
    put(board.gpio / "aux/edge", "both")
    with opened(board.gpio / "aux/value") as value:
        acknowledge(value)
        assert board.burst("named", 999) == "high"
        assert poll(value) & NEWS == NEWS
        assert acknowledge(value) == b"1\n"
        assert poll(value) == 0


def test_a_burst_lets_a_reader_take_its_turn(board):
    put(board.gpio / "aux/edge", "both")
    wakeups = 0
    with opened(board.gpio / "aux/value") as value, \
            concurrent.futures.ThreadPoolExecutor() as pool:
        acknowledge(value)
        burst = pool.submit(board.burst, "named", 100000)
        while not burst.done():
            if poll(value, 10):
                acknowledge(value)
                wakeups += 1
    assert 1 < wakeups < 100000


def test_epoll_is_woken_as_poll_is(board):
    put(board.gpio / "aux/edge", "both")
    with opened(board.gpio / "aux/value") as value, select.epoll() as epoll:
        acknowledge(value)
        epoll.register(value, select.EPOLLPRI | select.EPOLLET)
        assert epoll.poll(0) == []
        for _ in range(10):
            board.line("named", "toggle")
            assert epoll.poll(DEADLINE)[0][1] & select.EPOLLPRI
            acknowledge(value)


def test_each_open_file_has_its_own_news(board):
    put(board.gpio / "aux/edge", "both")
    with opened(board.gpio / "aux/value") as one, \
            opened(board.gpio / "aux/value") as other:
        for value in (one, other):
            acknowledge(value)
        board.line("named", "toggle")
        acknowledge(one)
        assert poll(one) == 0
        assert poll(other) & NEWS == NEWS


def test_every_read_acknowledges(board):
    put(board.gpio / "aux/edge", "both")
    with opened(board.gpio / "aux/value") as value:
        for offset, text in ((0, b"1\n"), (1, b"\n"), (2, b"")):
            acknowledge(value)
            board.line("named", "toggle")
            assert poll(value) & NEWS == NEWS
            assert len(os.pread(value, 16, offset)) == len(text)
            assert poll(value) == 0


@pytest.mark.parametrize("edge, active_low, wakes", [
    ("none", "0", []), ("rising", "0", ["high"]), ("falling", "0", ["low"]),
    ("rising", "1", ["low"]), ("falling", "1", ["high"]),
    ("both", "0", ["high", "low"])])
def test_only_the_edges_that_were_asked_for(board, edge, active_low, wakes):
    put(board.gpio / "aux/edge", edge)
    put(board.gpio / "aux/active_low", active_low)
    with opened(board.gpio / "aux/value") as value:
        acknowledge(value)
        woken = []
        for level in ("high", "low"):
            board.line("named", level)
            if poll(value):
                woken.append(level)
            acknowledge(value)
    assert woken == wakes


def test_an_output_cannot_be_watched(board):
    put(board.gpio / "aux/direction", "out")
    assert refusal(put, board.gpio / "aux/edge", "both") == errno.EIO
    assert refusal(put, board.gpio / "aux/edge", "all") == errno.EINVAL


# ---- clients that go ----

def test_a_client_killed_while_polling_does_no_harm(board, client):
    put(board.gpio / "aux/edge", "both")
    for _ in range(5):
        process = client(POLLS, board.gpio / "aux/value")
        wait_until(lambda p=process: sleeping(p), "the client to wait")
        process.kill()
        process.wait()
        board.line("named", "toggle")
    with opened(board.gpio / "aux/value") as value:
        assert acknowledge(value) == b"1\n"


READS = """
import os, sys
descriptor = os.open(sys.argv[1], os.O_RDONLY)
print("reading", flush=True)
while True:
    os.pread(descriptor, 16, 0)
"""


def test_a_client_killed_while_reading_does_no_harm(board, client):
    for _ in range(5):
        process = client(READS, board.gpio / "aux/value")
        process.kill()
        process.wait()
    assert (board.gpio / "aux/value").read_text() == "0\n"


def test_an_idle_board_sleeps(board, client):
    put(board.gpio / "aux/edge", "both")
    process = client(POLLS, board.gpio / "aux/value")
    wait_until(lambda: sleeping(process), "the client to wait")
    before = wakeups_of(board.pid)
    board.press("button", 1000)
    # The press, its end, and the two files of the process that we have read.
    assert wakeups_of(board.pid) - before < 20
