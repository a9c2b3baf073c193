"""The harness itself: what these tests rely on when they judge the daemon."""

import pathlib
import signal
import subprocess

import pytest

from bus_client import STATE, BusError
from sandbox import QEL_GID, QEL_UID, Sandbox, SandboxError
from waiting import TimedOut, wait_until

FAULTY = "tests/sandbox/faulty"
SANDBOX_FOLDER = pathlib.Path(__file__).parents[1] / "sandbox"


@pytest.fixture(name="box")
def fixture_box(make_sandbox):
    return make_sandbox(program=FAULTY)


def run(box, *argv):
    """The stand-in, once it has done what argv says."""
    daemon = box.start_daemon(argv)
    daemon.wait_for_output("ready")
    return daemon


def identity(pid):
    """The real, effective and saved user and group of a process."""
    lines = pathlib.Path(f"/proc/{pid}/status").read_text().splitlines()
    ids = {line.split()[0]: set(line.split()[1:4]) for line in lines}
    return ids["Uid:"], ids["Gid:"]


def test_program_runs_as_root_until_it_drops_its_rights(box):
    daemon = run(box)
    assert identity(daemon.pid) == ({"0"}, {"0"})


def test_program_can_become_qel(box):
    daemon = run(box, "drop")
    assert identity(daemon.pid) == ({str(QEL_UID)}, {str(QEL_GID)})


def test_user_qel_can_be_left_out(make_sandbox):
    box = make_sandbox(program=FAULTY, with_user_qel=False)
    box.start_daemon(["drop"]).wait(expect=128 + signal.SIGABRT)


def test_private_folders_replace_the_system_s(make_sandbox):
    box = make_sandbox(program=FAULTY, config="<ioport/>", orvad_conf="#",
                       dropins={"more.xml": "<more/>"})
    inside = pathlib.Path(f"/proc/{run(box).pid}/root")
    assert (inside / "usr/share/orvad/conf.xml").read_text() == "<ioport/>"
    assert (inside / "etc/orvad/orvad.conf").read_text() == "#"
    assert (inside / "etc/orvad.d/more.xml").read_text() == "<more/>"
    assert list((inside / "tmp").iterdir()) == []
    assert (inside / "etc/orvad").stat().st_uid == QEL_UID


def test_files_bound_in_are_seen(make_sandbox, tmp_path):
    (tmp_path / "door").write_text("1")
    box = make_sandbox(program=FAULTY,
                       binds=[(tmp_path, "/run/board"),
                              (tmp_path / "door", "/srv/a/b")])
    inside = pathlib.Path(f"/proc/{run(box).pid}/root")
    assert (inside / "run/board/door").read_text() == "1"
    assert (inside / "srv/a/b").read_text() == "1"


def test_order_of_both_streams_is_kept_when_asked_for(box):
    daemon = box.start_daemon(["interleave"], combined=True)
    daemon.wait_for_output("ready")
    expected = [f"{stream} {i}" for i in range(20) for stream in ("out", "err")]
    assert daemon.output().splitlines() == [*expected, "ready"]


def test_unexpected_exit_status_fails(box):
    with pytest.raises(SandboxError, match="status 3, not 0"):
        box.start_daemon(["fail"]).wait()


def test_expected_exit_status_passes(box):
    assert box.start_daemon(["fail"]).wait(expect=3) == 3


def test_killed_program_has_the_status_of_its_signal(box):
    assert run(box, "drop").kill() == 128 + signal.SIGKILL


def test_failed_check_of_a_library_in_the_log_fails(box):
    with pytest.raises(SandboxError, match="object != NULL"):
        run(box, "assertion").stop()


def test_a_report_fails_a_test_that_never_stops_the_daemon(build):
    with pytest.raises(SandboxError, match="object != NULL"):
        with Sandbox(build, program=FAULTY) as box:
            run(box, "assertion")


@pytest.mark.build("address")
@pytest.mark.parametrize("before", [(), ("drop",)], ids=["root", "qel"])
@pytest.mark.parametrize("fault, report", [
    ("leak", "detected memory leaks"),
    ("overflow", "heap-buffer-overflow"),
    ("use-after-free", "heap-use-after-free"),
    ("undefined", "runtime error: signed integer overflow"),
])
def test_address_sanitizer_s_reports_fail(box, before, fault, report):
    with pytest.raises(SandboxError, match=report):
        daemon = box.start_daemon([*before, fault])
        if fault == "leak":
            daemon.wait_for_output("ready")
            daemon.stop()
        daemon.wait()


@pytest.mark.build("thread")
@pytest.mark.threaded
@pytest.mark.parametrize("before", [(), ("drop",)], ids=["root", "qel"])
@pytest.mark.parametrize("race", ["race", "glib-race"])
def test_thread_sanitizer_s_reports_fail(box, before, race):
    with pytest.raises(SandboxError, match="data race"):
        run(box, *before, race).stop()


def test_clients_outside_reach_the_private_bus(box, connect):
    box.start_bus()
    owner, other = connect(box), connect(box)
    reply = owner.call("RequestName", "(su)", (STATE, 0),
                       name="org.freedesktop.DBus",
                       path="/org/freedesktop/DBus")
    assert reply == (1,)
    box.wait_for_name(STATE)
    assert other.has_owner(STATE)


def test_error_replies_come_with_name_and_message(box, connect):
    box.start_bus()
    with pytest.raises(BusError) as caught:
        connect(box).call("GetState", "(u)", (1,))
    assert caught.value.name == "org.freedesktop.DBus.Error.NameHasNoOwner"
    assert STATE in caught.value.message


def test_signals_are_recorded_in_order(box, connect):
    box.start_bus()
    recorder = connect(box).record("NameOwnerChanged",
                                   interface="org.freedesktop.DBus")
    names = [connect(box).connection.get_unique_name() for _ in range(3)]
    recorder.wait_for(lambda signal: signal.args[0] == names[2])
    assert [args[0] for args in recorder.args] == names


def test_a_signal_that_never_comes_times_out(box, connect):
    box.start_bus()
    recorder = connect(box).record("PortChanged")
    with pytest.raises(TimedOut, match="State.PortChanged; arrived:\nnone"):
        recorder.wait_for_count(1, timeout=0.01)


def test_bus_can_go_away_and_come_back(box, connect):
    box.start_bus()
    before = connect(box)
    box.stop_bus()
    wait_until(before.connection.is_closed, "the connection to close")
    box.start_bus()
    assert not connect(box).has_owner(STATE)


def test_a_daemon_that_ends_ends_the_wait_for_its_name(box):
    box.start_bus()
    box.start_daemon(["fail"])
    with pytest.raises(SandboxError, match="ended with status 3"):
        box.wait_for_name(STATE)


def test_nothing_is_left_behind_after_an_error(build):
    with pytest.raises(ZeroDivisionError):
        with Sandbox(build, program=FAULTY) as box:
            box.start_bus()
            pid = run(box, "drop").pid
            _ = 1 / 0
    assert not pathlib.Path(f"/proc/{pid}").exists()
    assert not box.root.exists()
    assert str(box.root) not in pathlib.Path("/proc/mounts").read_text()


HELD = """
import signal, sys, time
sys.path.insert(0, sys.argv[1])
from sandbox import Sandbox
with Sandbox(sys.argv[2], program=sys.argv[3]) as box:
    box.start_bus()
    daemon = box.start_daemon(["drop"])
    daemon.wait_for_output("ready")
    # Whoever runs the tests in the background may have had it ignored.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    print(daemon.pid, box.root, flush=True)
    signal.pause()
"""


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGKILL])
def test_no_process_is_left_behind_by_an_interrupted_user(build, number):
    with subprocess.Popen(
            ["/usr/bin/python3", "-c", HELD, SANDBOX_FOLDER, build, FAULTY],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
            text=True) as holder:
        pid, root = holder.stdout.readline().split()
        holder.send_signal(number)
    wait_until(lambda: not pathlib.Path(f"/proc/{pid}").exists(),
               "the program to end with its sandbox")
    if number == signal.SIGINT:
        assert not pathlib.Path(root).exists()
    else:
        # Nobody was left to remove it.
        subprocess.run(["rm", "-r", root], check=True)
