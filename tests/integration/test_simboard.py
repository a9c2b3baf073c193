"""The simulated board, as a user of the kernel's GPIO files sees it."""

import concurrent.futures
import contextlib
import errno
import os
import pathlib
import select
import signal
import socket
import subprocess
import sys

import pytest
from gi.repository import GLib

import sanitizers
from board import Board, BoardError
from waiting import DEADLINE, wait_until

GROUP = 64124
NEWS = select.POLLERR | select.POLLPRI
TEXT = f"""
[Board]
Name=Test board
Group={GROUP}

[Chip main]
Base=0
Lines=32

[Chip spare]
Base=100
Lines=8

[Line button]
Number=1
Wiring=button
Exported=true

[Line door]
Number=2
Wiring=door contact
Exported=true

[Line siren]
Number=3
Wiring=relay

[Line feedback]
Number=4
Follows=siren
Exported=true

[Line named]
Number=5
Exported=aux
"""


@pytest.fixture(name="make_board")
def fixture_make_board(build):
    """make_board(text): a board that ends, cleanly, with the test."""
    with contextlib.ExitStack() as stack:
        yield lambda text=TEXT: stack.enter_context(Board(build, text))


@pytest.fixture(name="board")
def fixture_board(make_board):
    return make_board()


@pytest.fixture(name="simboard")
def fixture_simboard(build):
    """simboard(words...): a whole run of the program; what became of it."""
    path = build / "tools/simboard/simboard"
    command = [*sanitizers.launcher(sanitizers.built_into(path)), path]

    def run(*words, variable=None):
        env = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
        if variable is not None:
            env["SIMBOARD_SOCKET"] = str(variable)
        return subprocess.run(
            [*command, *map(str, words)], env=env, text=True, timeout=DEADLINE,
            stdin=subprocess.DEVNULL, capture_output=True, check=False)
    return run


@pytest.fixture(name="client")
def fixture_client():
    """client(code, arguments..., **options): another process, running Python
    code; it has printed its first line by then."""
    with contextlib.ExitStack() as stack:
        def start(code, *arguments, **options):
            process = stack.enter_context(subprocess.Popen(
                [sys.executable, "-IBc", code, *map(str, arguments)],
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True,
                **options))
            stack.callback(process.kill)
            process.first_line = process.stdout.readline()
            return process
        yield start


@contextlib.contextmanager
def opened(path, flags=os.O_RDONLY):
    descriptor = os.open(path, flags)
    try:
        yield descriptor
    finally:
        os.close(descriptor)


def poll(descriptor, timeout_ms=0):
    """What poll() reports when only news are asked for; 0 when nothing."""
    poller = select.poll()
    poller.register(descriptor, select.POLLPRI)
    return dict(poller.poll(timeout_ms)).get(descriptor, 0)


def acknowledge(descriptor):
    return os.pread(descriptor, 16, 0)


def put(path, text):
    """One write, as a program does that does not care what was there."""
    with opened(path, os.O_WRONLY | os.O_TRUNC) as descriptor:
        assert os.write(descriptor, text.encode()) == len(text)


def refusal(call, *arguments):
    """The errno that a call fails with."""
    with pytest.raises(OSError) as caught:
        call(*arguments)
    return caught.value.errno


def sleeping(process):
    """Whether a process waits for something."""
    stat = pathlib.Path(f"/proc/{process.pid}/stat").read_text()
    return stat.rpartition(")")[2].split()[0] == "S"


# The files

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


# Edges

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


def test_only_a_read_of_the_start_acknowledges(board):
    put(board.gpio / "aux/edge", "both")
    with opened(board.gpio / "aux/value") as value:
        assert os.read(value, 1) == b"0"
        board.line("named", "toggle")
        assert os.read(value, 1) == b"\n"
        assert os.read(value, 1) == b""
        assert poll(value) & NEWS == NEWS
        os.lseek(value, 0, os.SEEK_SET)
        assert poll(value) & NEWS == NEWS
        assert os.read(value, 16) == b"1\n"
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


# Lines that go

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


POLLS = """
import os, select, sys
descriptor = os.open(sys.argv[1], os.O_RDONLY)
os.read(descriptor, 16)
poller = select.poll()
poller.register(descriptor, select.POLLPRI)
print("polling", flush=True)
print(poller.poll()[0][1], flush=True)
"""


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


# Clients that go

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


def wakeups_of(pid):
    """How often a process has been put to sleep so far, and why."""
    status = pathlib.Path(f"/proc/{pid}/status").read_text().split("\n")
    return sum(int(line.split()[1]) for line in status
               if "ctxt_switches" in line)


def test_an_idle_board_sleeps(board, client):
    put(board.gpio / "aux/edge", "both")
    process = client(POLLS, board.gpio / "aux/value")
    wait_until(lambda: sleeping(process), "the client to wait")
    before = wakeups_of(board.pid)
    board.press("button", 1000)
    # The press, its end, and the two files of the process that we have read.
    assert wakeups_of(board.pid) - before < 20


# What is wired to the lines

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


# Faults

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


# The socket

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
    (b"state nobody\nstate nobody\n", b"error there is no line nobody\n" * 2),
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


# The program

@pytest.mark.parametrize("words, message", [
    (["press", "nobody"], "there is no line nobody"),
    (["press", "door"], "door is no button"),
    (["line", "named", "up"], "up is not high, low or toggle"),
    (["line", "feedback", "high"], "feedback follows siren"),
    (["burst", "named", "0"], "0 is not a number from 1 to 1000000"),
    (["fail", "named", "EFOO"], "EFOO is no error"),
    (["unexport", "named"], "named: Invalid argument (EINVAL)"),
    (["history", "x"], "x is not the number of a change")])
def test_what_the_board_refuses_is_a_failure(board, simboard, words, message):
    run = simboard("--socket", board.socket, *words)
    assert (run.returncode, run.stdout, run.stderr) == \
        (1, "", f"simboard: {message}\n")


@pytest.mark.parametrize("words", [
    ["fly"], ["press"], ["press", "a", "b", "c"], ["--fly"], ["show", "x"],
    ["press", "a b"], ["serve", "x"]])
def test_a_wrong_command_line_is_told_in_one_line(board, simboard, words):
    run = simboard(*words, variable=board.socket)
    assert (run.returncode, run.stdout) == (2, "")
    assert run.stderr.startswith("simboard: ")
    assert run.stderr.count("\n") == 1


def test_without_a_board_commands_fail(simboard, tmp_path):
    run = simboard("hold", "button")
    assert run.returncode == 2
    assert "--socket PATH or SIMBOARD_SOCKET" in run.stderr
    run = simboard("hold", "button", variable=tmp_path / "none")
    assert (run.returncode, run.stdout) == (1, "")
    assert run.stderr == (f"simboard: no board is served at {tmp_path}/none: "
                          "No such file or directory\n")


def test_help_tells_every_command(simboard):
    run = simboard("--help")
    assert run.returncode == 0
    for name in ("serve", "show", "history", "press", "hold", "release",
                 "open", "close", "line", "burst", "fail", "unplug", "plug",
                 "unexport"):
        assert f"\n  {name} " in run.stdout


def test_commands_work_the_board(board, simboard):
    run = simboard("line", "named", "high", variable=board.socket)
    assert (run.returncode, run.stdout, run.stderr) == (0, "high\n", "")
    assert board.level("named") == "high"
    run = simboard("press", "button", "1", variable=board.socket)
    assert (run.returncode, run.stdout, run.stderr) == (0, "", "")


def test_show_draws_the_board_once(board, simboard):
    put(board.gpio / "aux/direction", "high")
    run = simboard("show", "--once", variable=board.socket)
    assert run.returncode == 0
    lines = [line.split() for line in run.stdout.splitlines()]
    assert lines[0] == ["Test", "board"]
    assert ["5", "named", "wire", "out", "high", "daemon", "aux"] in lines
    assert ["4", "feedback", "wire", "in", "low", "siren", "gpio4"] in lines
    # Not a terminal: the same without being told.
    assert simboard("show", variable=board.socket).stdout == run.stdout


def test_show_draws_again_after_a_change(board, build):
    terminal, other_end = os.openpty()
    path = build / "tools/simboard/simboard"
    command = [*sanitizers.launcher(sanitizers.built_into(path)), path]
    with subprocess.Popen([*command, "--socket", board.socket, "show"],
                          stdin=subprocess.DEVNULL, stdout=other_end) as shown:
        os.close(other_end)
        _read_until(terminal, b"aux")
        board.fail("named", "EXDEV")
        _read_until(terminal, b"read:EXDEV")
        shown.send_signal(signal.SIGINT)
    os.close(terminal)
    assert shown.returncode == 0


def _read_until(descriptor, text):
    received = b""
    while text not in received:
        assert select.select([descriptor], [], [], DEADLINE)[0], received
        received += os.read(descriptor, 4096)


def test_history_prints_and_follows(board, build, simboard):
    board.line("named", "high")
    run = simboard("history", variable=board.socket)
    assert run.stdout.splitlines()[-1].endswith("5 named level high board")
    since = board.last_id()
    path = build / "tools/simboard/simboard"
    command = [*sanitizers.launcher(sanitizers.built_into(path)), path]
    with subprocess.Popen([*command, "--socket", board.socket, "history",
                           "--follow", str(since - 1)], text=True,
                          stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE) as follower:
        assert follower.stdout.readline().startswith(f"{since} ")
        board.line("named", "low")
        assert follower.stdout.readline().endswith(
            "5 named level low board\n")
        follower.send_signal(signal.SIGINT)
        assert follower.stdout.read() == ""
    assert follower.returncode == 0


@pytest.mark.parametrize("text, message", [
    ("[Chip c]\nBase=0\nLines=none\n", "[Chip c] Lines: "),
    ("[Chip c]\nBase=0\nLines=8\n[Line a]\nNumber=1\nWiring=knob\n",
     "[Line a] Wiring: "),
    ("[Bord]\n", "[Bord]: "), ("no key file", "")])
def test_a_wrong_board_file_is_told_in_one_line(simboard, tmp_path, text,
                                                message):
    path = tmp_path / "board.conf"
    path.write_text(text)
    run = simboard("serve", path, tmp_path, "--socket", tmp_path / "s")
    assert (run.returncode, run.stdout) == (2, "")
    assert run.stderr.startswith(f"simboard: {path}: {message}")
    assert run.stderr.count("\n") == 1


def test_what_cannot_be_served_is_told_in_one_line(board, simboard, tmp_path):
    path = tmp_path / "board.conf"
    path.write_text(TEXT)
    for mount_point, at, message in (
            (tmp_path / "none", tmp_path / "s", "cannot mount on "),
            (tmp_path, board.socket, "a board is served at "),
            (tmp_path, tmp_path / "none/s", "cannot listen at "),
            (tmp_path, "x" * 200, "a socket cannot have the path ")):
        run = simboard("serve", path, mount_point, "--socket", at)
        assert (run.returncode, run.stdout) == (1, "")
        assert run.stderr.startswith(f"simboard: {message}")
        assert run.stderr.count("\n") == 1


@contextlib.contextmanager
def serving(build, folder):
    """A run of "simboard serve" that is ready."""
    path = build / "tools/simboard/simboard"
    (folder / "board.conf").write_text(TEXT)
    (folder / "mount").mkdir(exist_ok=True)
    with subprocess.Popen(
            [*sanitizers.launcher(sanitizers.built_into(path)), path, "serve",
             folder / "board.conf", folder / "mount", "--socket",
             folder / "s"], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, text=True) as process:
        try:
            assert process.stdout.readline() == "ready\n"
            yield process
        finally:
            process.kill()
            subprocess.run(["umount", "--quiet", "--lazy", folder / "mount"],
                           check=False)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_a_signal_ends_it_orderly_with_files_open(build, tmp_path, number):
    with serving(build, tmp_path) as process:
        value = os.open(tmp_path / "mount/sys/class/gpio/aux/value",
                        os.O_RDONLY)
        process.send_signal(number)
        assert process.wait(DEADLINE) == 0
        assert refusal(acknowledge, value) == errno.ENOTCONN
        assert refusal(os.close, value) == errno.ENOTCONN
        assert process.stderr.read() == ""
    assert not os.path.ismount(tmp_path / "mount")
    assert not (tmp_path / "s").exists()


def test_being_unmounted_by_somebody_else_ends_it(build, tmp_path):
    with serving(build, tmp_path) as process:
        subprocess.run(["umount", tmp_path / "mount"], check=True)
        assert process.wait(DEADLINE) == 1
        assert process.stderr.read() == \
            f"simboard: {tmp_path}/mount was unmounted\n"


def test_what_a_killed_board_left_behind_is_replaced(build, tmp_path):
    with serving(build, tmp_path) as process:
        process.kill()
        process.wait()
    assert (tmp_path / "s").exists()
    with serving(build, tmp_path) as process:
        process.terminate()
        assert process.wait(DEADLINE) == 0


def test_is_seen_in_the_sandbox(board, make_sandbox):
    box = make_sandbox(binds=board.binds)
    program = box.start_program(["cat", "/sys/class/gpio/gpio1/value"])
    assert program.finish() == 0
    assert program.stdout() == "1\n"
