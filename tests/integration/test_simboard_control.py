"""What is done at the simulated board, through its socket."""

import contextlib
import errno
import socket

import pytest

from board import BoardError
from simboard_support import (NEWS, acknowledge, fixture_board,
                              fixture_make_board, opened, poll, put, refusal)
from waiting import DEADLINE, wait_until


# ---- what is wired to the lines ----

def test_a_pressed_button_is_low_for_a_while(board):
    since = board.last_id()
    board.press("button", 30)
    pressed, released = board.history(since)
    assert (pressed.name, pressed.value, pressed.actor) == \
        ("button", "low", "board")
    assert released.value == "high"
    assert released.time_ns - pressed.time_ns >= 29_000_000


def test_a_held_button_stays_low(board):
    value = board.gpio / "gpio1/value"
    assert value.read_text() == "1\n"
    board.hold("button")
    assert value.read_text() == "0\n"
    with pytest.raises(BoardError, match="held down"):
        board.press("button")
    board.release("button")
    assert value.read_text() == "1\n"


def test_a_door_is_open_or_closed(board):
    value = board.gpio / "gpio2/value"
    board.open("door")
    assert value.read_text() == "1\n"
    board.close("door")
    assert value.read_text() == "0\n"


def test_a_relay_closes_the_circuit_of_its_feedback(board):
    put(board.gpio / "export", "3")
    put(board.gpio / "gpio4/edge", "both")
    with opened(board.gpio / "gpio4/value") as value:
        acknowledge(value)
        put(board.gpio / "gpio3/direction", "high")
        assert poll(value) & NEWS == NEWS
        assert acknowledge(value) == b"1\n"
    assert board.state("feedback")[4].driver == "siren"


def test_state_tells_what_there_is(board):
    put(board.gpio / "aux/direction", "high")
    assert board.exported() == {
        1: "gpio1", 2: "gpio2", 4: "gpio4", 5: "aux"}
    assert board.level("named") == "high"
    assert board.state("named")[5].driver == "daemon"
    assert 20 not in board.state()


# ---- faults ----

def test_faults_hit_what_they_are_for(board):
    value = board.gpio / "aux/value"
    board.fail("named", "EIO", "read")
    assert refusal(value.read_text) == errno.EIO
    put(board.gpio / "aux/direction", "out")
    board.fail("named", errno.EREMOTEIO)
    assert refusal(value.read_text) == errno.EREMOTEIO
    assert refusal(put, value, "1") == errno.EREMOTEIO
    board.fail("siren", "ENOMEM", "export")
    assert refusal(put, board.gpio / "export", "3") == errno.ENOMEM
    board.heal("named")
    board.heal("siren")
    put(board.gpio / "export", "3")
    assert value.read_text() == "0\n"


# ---- the socket ----

def test_a_request_that_is_too_long_ends_the_connection(board):
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(DEADLINE)
        connection.connect(str(board.socket))
        connection.sendall(b"x" * 5000)
        with connection.makefile("rb") as answer:
            assert answer.readline() == b"error the request is too long\n"
            # What was left unread makes the end a reset.
            with contextlib.suppress(ConnectionResetError):
                assert answer.read() == b""
    assert board.level("named") == "low"


@pytest.mark.parametrize("request_bytes, answer", [
    (b"\n", b'error there is no command ""\n'),
    (b"\xff\x00\x1b[2J\n", b"error there is no command"),
    (b"history\r\n", b" 1 "),
    (b"hold nobody\nhold nobody\n", b"error there is no line nobody\n" * 2),
    (b"line", b"")])
def test_whatever_is_asked_is_answered(board, request_bytes, answer):
    with socket.socket(socket.AF_UNIX) as connection:
        connection.settimeout(DEADLINE)
        connection.connect(str(board.socket))
        connection.sendall(request_bytes)
        connection.shutdown(socket.SHUT_WR)
        with connection.makefile("rb") as received:
            assert received.read().startswith(answer)
    assert board.level("named") == "low"


def test_clients_that_hang_up_do_no_harm(board):
    for request in (b"", b"press button 1\n", b"follow\n", b"burst named 9\n",
                    b"history\n" * 50):
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(str(board.socket))
            connection.sendall(request)
    board.wait_for("level", "high", "button")
    assert board.line("named", "low") == "low"


def test_a_client_that_does_not_read_holds_nobody_up(board):
    board.burst("door", 50000)
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(str(board.socket))
        connection.sendall(b"history\n" * 50)
        assert board.line("named", "high") == "high"


def test_no_more_clients_than_there_are_places(board):
    with contextlib.ExitStack() as stack:
        clients = [stack.enter_context(socket.socket(socket.AF_UNIX))
                   for _ in range(65)]
        for connection in clients:
            connection.settimeout(DEADLINE)
            connection.connect(str(board.socket))
        assert clients[64].recv(1) == b""
        clients[0].sendall(b"state 5\n")
        assert clients[0].recv(1) == b" "
    wait_until(lambda: _is_served(board), "places to be free again")


def _is_served(board):
    try:
        return board.level("named") == "low"
    except (OSError, AssertionError):
        return False
