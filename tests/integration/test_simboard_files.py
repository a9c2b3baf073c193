"""The files that the simulated board shows, and who may use them."""

import concurrent.futures
import errno
import os

import pytest

from simboard_support import (GROUP, NEWS, POLLS, acknowledge, fixture_board,
                              fixture_client, fixture_make_board, opened, poll,
                              put, refusal, sleeping)
from waiting import wait_until


# ---- the files ----

def test_shows_what_the_kernel_shows(board):
    assert {path.name for path in board.gpio.iterdir()} == {
        "export", "unexport", "gpiochip0", "gpiochip100", "gpio1", "gpio2",
        "gpio4", "aux"}
    assert {path.name for path in (board.gpio / "aux").iterdir()} == {
        "direction", "value", "edge", "active_low"}
    chip = board.gpio / "gpiochip100"
    assert [(chip / name).read_text() for name in ("base", "ngpio", "label")] \
        == ["100\n", "8\n", "spare\n"]


def test_exports_and_unexports(board):
    put(board.gpio / "export", "3\n")
    assert (board.gpio / "gpio3/direction").read_text() == "in\n"
    assert refusal(put, board.gpio / "export", "3") == errno.EBUSY
    put(board.gpio / "unexport", "3")
    assert not (board.gpio / "gpio3").exists()
    assert refusal(put, board.gpio / "unexport", "3") == errno.EINVAL
    assert refusal(put, board.gpio / "export", "99") == errno.EINVAL
    assert refusal(put, board.gpio / "export", "three") == errno.EINVAL


def test_a_line_that_somebody_else_uses_is_busy(board):
    board.export("siren")
    assert refusal(put, board.gpio / "export", "3") == errno.EBUSY
    assert refusal(put, board.gpio / "export", "5") == errno.EBUSY
    assert refusal(put, board.gpio / "unexport", "5") == errno.EINVAL


def test_writes_are_in_the_history_with_their_process(board):
    line = board.gpio / "aux"
    since = board.last_id()
    put(line / "direction", "high")
    put(line / "value", "1")
    put(line / "value", "1\n")
    put(line / "value", "0")
    assert [(c.name, c.what, c.value) for c in board.history(since)] == [
        ("named", "direction", "high"), ("named", "level", "high"),
        ("named", "write", "1"), ("named", "write", "1"),
        ("named", "write", "0"), ("named", "level", "low")]
    assert {c.actor for c in board.history(since)} == \
        {f"daemon({os.getpid()})"}


def test_a_thread_is_recorded_as_its_process(board):
    with concurrent.futures.ThreadPoolExecutor() as pool:
        pool.submit(put, board.gpio / "aux/edge", "both").result()
    assert board.history()[-1].actor == f"daemon({os.getpid()})"


def test_nothing_can_be_made_removed_or_renamed(board):
    assert refusal((board.gpio / "x").write_text, "") == errno.EACCES
    assert refusal((board.gpio / "x").mkdir) == errno.EPERM
    assert refusal((board.gpio / "x").symlink_to, "aux") == errno.EPERM
    assert refusal(os.mkfifo, board.gpio / "x") == errno.EPERM
    assert refusal(os.link, board.gpio / "export", board.gpio / "x") == \
        errno.EPERM
    assert refusal((board.gpio / "aux/value").unlink) == errno.EPERM
    assert refusal((board.gpio / "aux").rmdir) == errno.EPERM
    assert refusal((board.gpio / "aux").rename, board.gpio / "x") == \
        errno.EPERM


def test_not_even_root_reads_what_is_only_written(board):
    assert refusal((board.gpio / "export").read_text) == errno.EACCES
    assert refusal(put, board.gpio / "gpiochip0/base", "1") == errno.EACCES


def test_owner_and_permissions_can_be_changed(board):
    path = board.gpio / "aux/value"
    os.chown(path, 17, 18)
    path.chmod(0o600)
    status = path.stat()
    assert (status.st_uid, status.st_gid, status.st_mode & 0o7777) == \
        (17, 18, 0o600)


TRIES = """
import errno, os, sys
def result(path, flags, text):
    try:
        descriptor = os.open(path, flags)
        if text:
            os.write(descriptor, text)
        os.close(descriptor)
        return "done"
    except OSError as error:
        return errno.errorcode[error.errno]
gpio = sys.argv[1]
print(result(gpio + "/aux/value", os.O_RDONLY, b""),
      result(gpio + "/aux/direction", os.O_WRONLY, b"out"),
      result(gpio + "/export", os.O_WRONLY, b"3"),
      result(gpio + "/gpio3/value", os.O_WRONLY, b""))
"""


@pytest.mark.parametrize("group, expected", [
    (GROUP, "done done done done"), (GROUP + 1, "done EACCES EACCES ENOENT")])
def test_only_the_group_may_write(board, client, group, expected):
    process = client(TRIES, board.gpio, user=64123, group=group,
                     extra_groups=[])
    assert process.first_line.split() == expected.split()


def test_files_appear_and_get_their_group_after_the_delays(make_board):
    board = make_board("[Board]\nGroup=7\nAttributeDelay=20\nGroupDelay=20\n"
                       "[Chip c]\nBase=0\nLines=4\n")
    value = board.gpio / "gpio1/value"
    put(board.gpio / "export", "1")
    assert value.parent.is_dir()
    wait_until(value.exists, "the files to appear")
    wait_until(lambda: value.stat().st_gid == 7, "the group to be given")
    assert value.stat().st_mode & 0o777 == 0o664


# ---- lines that go ----

@pytest.mark.parametrize("take, give", [
    (lambda board: board.unexport(3), lambda board: board.export(3)),
    (lambda board: put(board.gpio / "unexport", "3"),
     lambda board: put(board.gpio / "export", "3")),
    (lambda board: (board.unplug("main")),
     lambda board: (board.plug("main"), board.export(3))),
    (lambda board: board.unplug("siren"),
     lambda board: (board.plug("siren"), board.export(3)))])
def test_an_open_file_of_a_line_that_went_stays_dead(board, take, give):
    board.export(3)
    path = board.gpio / "gpio3/value"
    with opened(path, os.O_RDWR) as value:
        acknowledge(value)
        assert poll(value) == 0
        take(board)
        assert not path.exists()
        give(board)
        for _ in range(2):
            assert poll(value) & NEWS == NEWS
            assert refusal(acknowledge, value) == errno.ENODEV
            assert refusal(os.pwrite, value, b"1", 0) == errno.ENODEV
    assert path.read_text() == "0\n"


def test_whoever_waits_is_woken_when_the_line_goes(board, client):
    board.export(3)
    process = client(POLLS, board.gpio / "gpio3/value")
    wait_until(lambda: sleeping(process), "the client to wait")
    board.unexport(3)
    assert int(process.stdout.readline()) & NEWS == NEWS


def test_an_unplugged_chip_is_not_there(board):
    board.unplug("main")
    assert {path.name for path in board.gpio.iterdir()} == {
        "export", "unexport", "gpiochip100"}
    assert refusal(put, board.gpio / "export", "3") == errno.EINVAL
    board.plug("main")
    assert (board.gpio / "aux/value").read_text() == "0\n"
