"""Inputs whose level is a number in a file."""

import os
import re

import pytest

from lifecycle_support import (
    complaints, config, descriptors, listed_names, log_lines, port, settle,
    sysfs_port, ticks)
from ports_support import changed
from waiting import wait_until

DOOR = "/run/door"
ROUNDS = 100
POLLS = 10
FEW_TICKS = 5


class Files:
    """The files behind the ports, which all are next to each other."""

    def __init__(self, box):
        self._box = box

    def path(self, name):
        return self._box.run / name

    def put(self, name, text):
        """Changes a file's contents in place, as a kernel's would."""
        with open(self.path(name), "r+b", buffering=0) as file:
            file.write(text.encode())
            file.truncate()

    def get(self, name):
        return self.path(name).read_text()


class Board:
    """A running daemon with the inputs "door" (0) and, for what does not
    happen to that one, "bell" (1)."""

    def __init__(self, box, connect, *, text="0\n", timeout=5, flags="",
                 optional=False, more=(), others=None):
        self.box = box
        self.files = Files(box)
        for name, contents in {"door": text, "bell": "0\n",
                               **(others or {})}.items():
            if contents is not None:
                self.files.path(name).write_text(contents)
        (box.share / "conf.xml").write_text(config(
            sysfs_port("door", 0, DOOR, timeout=timeout, flags=flags,
                       optional=optional),
            sysfs_port("bell", 1, "/run/bell"), *more))
        self.daemon = box.start()
        self.client = connect(box)
        self.changes = self.client.record("PortChanged")

    def state(self, number=0):
        return self.client.call("GetState", "(u)", (number,))[0]

    def of_door(self):
        """What was announced of the door."""
        return [args for args in self.changes.args if args[0] == 0]

    def announced(self, *states):
        """Waits until these states of the door have been announced, and no
        other ones."""
        self.changes.wait_for(lambda _: len(self.of_door()) >= len(states))
        assert self.of_door() == [
            changed(0, state, is_input=True) for state in states]

    def poll(self):
        """On return, the door has been looked at: the bell, which is looked at
        as often, has changed more than once."""
        for text, state in [("1", True), ("0", False)] * 2:
            self.changes.signals = [signal for signal in self.changes.signals
                                    if signal.args[0] == 0]
            self.files.put("bell", text)
            self.changes.wait_for(
                lambda signal, state=state:
                signal.args == changed(1, state, is_input=True))

    def drop(self, name="door"):
        return self.client.call("DropIOPorts", "(as)", ([name],))[0]

    def refresh(self):
        self.client.call("RefreshIOPorts")


@pytest.fixture(name="board")
def fixture_board(make_sandbox, connect):
    """board(**options): a Board."""
    return lambda **options: Board(make_sandbox(), connect, **options)


# ---- levels ----

def test_change_of_the_file_is_announced(board):
    door = board()
    door.files.put("door", "1\n")
    door.announced(True)
    assert door.state() is True
    door.files.put("door", "0\n")
    door.announced(True, False)
    assert door.state() is False


def test_level_at_the_start_is_read(board):
    door = board(text="1\n")
    wait_until(door.state, "the level")
    door.poll()
    assert len(door.of_door()) <= 1


@pytest.mark.parametrize("text", ["1", "1\n", " 1", "01", "+1", "1x", "1\0002"])
def test_text_that_begins_with_a_one_is_a_one(board, text):
    door = board()
    door.files.put("door", text)
    door.announced(True)
    door.daemon.stop()
    assert complaints(door.daemon) == []


@pytest.mark.parametrize("text", ["", "\n", "x", "0x1", "-0", "0" * 70 + "1"])
def test_text_that_begins_with_nothing_else_is_a_zero(board, text):
    door = board()
    door.files.put("door", text)
    door.poll()
    assert door.of_door() == []
    door.daemon.stop()
    assert complaints(door.daemon) == []


def test_inverted_file_is_read_the_other_way_round(board):
    door = board(flags='inverted="true"', text="1\n")
    door.files.put("door", "0\n")
    door.announced(True)
    door.files.put("door", "1\n")
    door.announced(True, False)


def test_only_the_word_true_inverts(board):
    door = board(flags='inverted="True"')
    door.files.put("door", "1\n")
    door.announced(True)


def test_latch_is_cleared_and_announced_once(board):
    door = board(flags='clear_flag="true"')
    door.files.put("door", "1\n")
    door.announced(True, False)
    assert door.files.get("door") == "0\n"
    door.poll()
    door.announced(True, False)


def test_inverted_latch_is_cleared_by_its_level(board):
    door = board(flags='clear_flag="true" inverted="true"')
    wait_until(door.state, "the resting level")
    door.poll()
    door.changes.signals.clear()
    door.files.put("door", "1\n")
    door.announced(False, True)
    assert door.files.get("door") == "0\n"


def test_file_that_is_no_latch_is_not_written_to(board):
    door = board()
    door.files.put("door", "1\n")
    door.announced(True)
    door.poll()
    assert door.files.get("door") == "1\n"


# ---- files that are not as they should be ----

@pytest.mark.parametrize("text, value", [
    ("2", "2"), ("-1", "-1"), ("2147483647", "2147483647"),
])
def test_unexpected_value_is_logged_and_reads_as_zero(board, text, value):
    door = board(text="1\n")
    wait_until(door.state, "the level")
    door.files.put("door", text)
    door.daemon.wait_for_output(
        f"WARNING Unexpected value: {value} when reading: {DOOR}\n")
    wait_until(lambda: not door.state(), "the level")


def test_unexpected_value_reads_as_one_when_inverted(board):
    door = board(text="1\n", flags='inverted="true"')
    door.files.put("door", "2")
    door.announced(True)


def test_number_out_of_range_is_logged(board):
    door = board()
    door.files.put("door", "9" * 40)
    door.daemon.wait_for_output(
        f"WARNING Unexpected format when parsing input when reading: {DOOR}! "
        ": Numerical result out of range\n")
    assert door.state() is False


def test_lasting_fault_does_not_flood_the_log(board):
    door = board(timeout=1)
    door.files.put("door", "2")
    door.daemon.wait_for_output("repeated")
    warnings = log_lines(door.daemon, "WARNING")
    text = f"Unexpected value: 2 when reading: {DOOR}"
    assert (warnings[0], warnings[2]) == (text, text)
    assert warnings[1].startswith(text)
    (count,) = re.fullmatch(r".* \(repeated (\d+) times\)",
                            warnings[1]).groups()
    assert int(count) > 2
    assert len(warnings) <= 5


def test_each_unexpected_value_is_logged(board):
    door = board(timeout=1)
    for value in range(2, 6):
        door.files.put("door", str(value))
        door.daemon.wait_for_output(
            f"WARNING Unexpected value: {value} when reading: {DOOR}\n")


def test_file_that_cannot_be_read_is_logged_and_reads_as_zero(make_sandbox,
                                                              connect):
    box = make_sandbox()
    (box.run / "door").mkdir()
    board = Board(box, connect, text=None, flags='inverted="true"')
    board.daemon.wait_for_output(
        f"WARNING Error failed to read {DOOR}! : Is a directory\n")
    board.poll()
    assert board.state() is False
    assert board.of_door() == []


def test_pipe_does_not_hold_the_daemon_up(make_sandbox, connect):
    box = make_sandbox()
    os.mkfifo(box.run / "door")
    board = Board(box, connect, text=None)
    board.poll()
    assert board.state() is False
    board.daemon.stop()


def test_missing_file_leaves_its_port_out(board):
    door = board(text=None)
    assert listed_names(door.client) == ["bell"]
    door.daemon.stop()
    assert complaints(door.daemon) == [
        f"WARNING Failed to open {DOOR}: No such file or directory",
        "USER Setup failed for port 0, removing from list"]


def test_missing_path_leaves_its_port_out(make_sandbox, connect):
    box = make_sandbox(config=config(
        port("door", 0, "input", "sysfs", items='timeout="5"')))
    daemon = box.start()
    assert listed_names(connect(box)) == []
    daemon.stop()
    assert complaints(daemon) == [
        "WARNING Failed to open : No such file or directory",
        "USER Setup failed for port 0, removing from list"]


def test_removed_file_is_read_on(board):
    door = board()
    with open(door.files.path("door"), "r+b", buffering=0) as file:
        door.files.path("door").unlink()
        door.poll()
        assert door.of_door() == []
        file.write(b"1\n")
        door.announced(True)
    door.daemon.stop()
    assert complaints(door.daemon) == []


def test_file_put_in_the_place_of_another_is_not_looked_at(board):
    door = board()
    door.files.path("new").write_text("1\n")
    os.rename(door.files.path("new"), door.files.path("door"))
    door.poll()
    assert door.of_door() == []
    assert door.state() is False


# ---- intervals ----

@pytest.mark.parametrize("timeout", ["0x5", "05", "5", "0"])
def test_interval_may_be_of_any_base(board, timeout):
    door = board(timeout=timeout)
    door.files.put("door", "1\n")
    door.announced(True)
    door.daemon.stop()
    assert complaints(door.daemon) == []


def test_negative_interval_counts_as_unsigned(board):
    """In milliseconds, it is weeks."""
    door = board(timeout="-5")
    door.files.put("door", "1\n")
    door.poll()
    assert door.of_door() == []
    assert log_lines(door.daemon, "WARNING") == [
        "Poll interval -5 of port door is out of range"]
    before = ticks(door.daemon.pid)
    for _ in range(POLLS):
        door.poll()
    assert ticks(door.daemon.pid) - before < FEW_TICKS


def test_interval_that_is_not_given_is_none(board):
    door = board(more=["""<port name="own"><port_type type="input"/>
<port_no nbr="5"/><backend name="sysfs"><device path="/run/own"/></backend>
</port>"""], others={"own": "0\n"})
    door.files.put("own", "1\n")
    door.changes.wait_for(lambda signal: signal.args ==
                          changed(5, True, is_input=True))


def test_daemon_answers_and_ends_while_it_polls_all_the_time(board):
    door = board(timeout="0", more=[sysfs_port(
        f"p{n}", n, DOOR, timeout=0) for n in range(2, 10)])
    for _ in range(ROUNDS):
        settle(door.client)
    assert door.daemon.stop() == 0


# ---- optional ports ----

def test_file_that_appears_is_served_after_a_refresh(board):
    door = board(text=None, optional=True)
    assert listed_names(door.client) == ["bell"]
    door.refresh()
    assert listed_names(door.client) == ["bell"]
    door.files.path("door").write_text("0\n")
    door.refresh()
    assert listed_names(door.client) == ["door", "bell"]
    door.files.put("door", "1\n")
    door.announced(True)
    door.daemon.stop()
    assert complaints(door.daemon) == []


def test_file_that_qel_may_not_read_is_not_served(board):
    door = board(text=None, optional=True)
    door.files.path("door").write_text("0\n")
    door.files.path("door").chmod(0o600)
    door.refresh()
    assert listed_names(door.client) == ["bell"]


def test_dropped_port_s_file_is_not_looked_at(board):
    door = board(optional=True)
    assert door.drop() == ["door"]
    door.files.put("door", "1\n")
    door.poll()
    assert door.of_door() == []
    door.refresh()
    door.announced(True)


def test_file_that_vanished_meanwhile_keeps_a_dropped_port_out(board):
    door = board(optional=True)
    door.drop()
    door.files.path("door").unlink()
    door.refresh()
    assert listed_names(door.client) == ["bell"]
    door.files.path("door").write_text("1\n")
    door.refresh()
    door.announced(True)


def test_dropping_and_refreshing_leaves_nothing_behind(board):
    door = board(optional=True)
    door.poll()
    before = descriptors(door.daemon.pid)
    for _ in range(ROUNDS):
        assert door.drop() == ["door"]
        door.refresh()
    assert descriptors(door.daemon.pid) == before
    door.files.put("door", "1\n")
    door.poll()
    door.announced(True)
    door.drop()
    assert descriptors(door.daemon.pid) == before - 1


# ---- costs ----

def polls_of_a_latch(board, count):
    """Waits for that many polls of the door, a latch; the processor time that
    the daemon has used meanwhile, in clock ticks."""
    before = ticks(board.daemon.pid)
    for _ in range(count):
        board.files.put("door", "1\n")
        wait_until(lambda: board.files.get("door") == "0\n",
                   "the latch to be cleared")
    return ticks(board.daemon.pid) - before


@pytest.mark.parametrize("rounds", [0, ROUNDS], ids=["fresh", "refreshed"])
def test_idle_daemon_takes_next_to_no_processor_time(make_sandbox, connect,
                                                     rounds):
    """Ten polls take a second, a hundred ticks."""
    board = Board(make_sandbox(), connect, timeout=100, optional=True,
                  flags='clear_flag="true"')
    board.files.path("door").chmod(0o666)
    for _ in range(rounds):
        board.drop()
        board.refresh()
    assert polls_of_a_latch(board, POLLS) <= FEW_TICKS
