"""The program that is the simulated board."""

import contextlib
import errno
import os
import select
import signal
import subprocess

import pytest

import sanitizers
from simboard_support import (TEXT, acknowledge, fixture_board,
                              fixture_make_board, fixture_simboard, put,
                              refusal)
from waiting import DEADLINE


# ---- the program ----

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


@pytest.mark.parametrize("variable", ["/nonexistent/socket", "", None])
def test_without_a_board_commands_fail(simboard, variable):
    """They look where the service has its socket unless they are told."""
    run = simboard("hold", "button", variable=variable)
    assert (run.returncode, run.stdout) == (1, "")
    assert run.stderr == (
        "simboard: no board is served at "
        f"{variable or '/run/simboard/socket'}: No such file or directory\n")


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
