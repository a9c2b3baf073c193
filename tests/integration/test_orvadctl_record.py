"""orvadctl record."""

import json
import re
import time

import pytest

from mock_bus import Answer
from orvadctl_mock_support import (PORTS, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_mock,
                                   fixture_run, fixture_start)
from orvadctl_support import fixture_program, fixture_start_on
from ports_support import fixture_serve, port
from vcd_support import parse
from waiting import DEADLINE, wait_until

NAMES = ["low", "T_r___2J", "lamp", "port_3", "twin", "twin_6",
         "manualtrigger1"]
IN, LAMP = 1, 2
US = 1_000_000


@pytest.fixture(name="path")
def fixture_path(tmp_path):
    return tmp_path / "trace.vcd"


@pytest.fixture(name="record")
def fixture_record(start, path):
    """record(words...): a recording that has begun, to path."""
    def begin(*words):
        client = start("record", str(path), *words)
        wait_until(lambda: "#0\n" in recorded(path), "the first values")
        return client
    return begin


def recorded(path):
    return path.read_text("ascii") if path.exists() else ""


def wait_for(path, text):
    """Waits until the recording ends with that; returns it, parsed."""
    wait_until(lambda: recorded(path).endswith(text),
               f"{text!r} at the end of {recorded(path)}")
    return parse(recorded(path))


# ---- the real daemon ----

PORT_SET = [
    port("front door", "input", IN),
    port("lamp[0]", "output", LAMP, optional=True),
]


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORT_SET)


@pytest.fixture(name="record_service")
def fixture_record_service(service, start_on, path):
    """record_service(words...): a recording of the daemon's ports."""
    def begin(*words):
        client = start_on(service.box.bus_address, "record", str(path), *words)
        wait_until(lambda: "#0\n" in recorded(path), "the first values")
        return client
    return begin


def test_changes_of_the_daemon_are_recorded(service, record_service, path):
    before = time.monotonic()
    client = record_service()
    service.call("SetState", LAMP, True)
    wait_for(path, '1"\n')
    middle = time.monotonic()
    service.start_sequence(LAMP, (False, 1), (True, 30), (False, 1))
    service.call("SetVirtual", IN, True)
    wait_until(lambda: parse(recorded(path)).values("lamp_0_") == "01010",
               "the whole sequence")
    assert (client.interrupt(), client.errors) == (0, "")
    dump = parse(recorded(path))
    assert dump.timescale == "1 us"
    assert dump.names == ["front_door", "lamp_0_"]
    assert dump.values("front_door") == "01"
    assert dump.values("lamp_0_") == "01010"
    times = [at for at, name, _ in dump.changes if name == "lamp_0_"]
    assert times[0] <= (middle - before) * US
    # A signal may be late, not early: the step of 30 ms is not much shorter.
    assert times[3] - times[2] >= 15_000
    assert times[3] <= dump.end <= (time.monotonic() - before) * US


def test_dropped_port_and_daemon_that_is_gone_are_unknown(
        service, record_service, path):
    client = record_service()
    service.call("DropIOPorts", ["lamp[0]"])
    wait_for(path, 'x"\n')
    service.call("RefreshIOPorts")
    wait_for(path, '0"\n')
    service.restart()
    wait_until(lambda: parse(recorded(path)).values("lamp_0_") == "0x0x0",
               "the daemon's return")
    client.process.terminate()
    client.finish()
    assert client.status == 0
    assert parse(recorded(path)).values("front_door") == "0x0"
    assert client.errors == ("orvadctl: the port daemon went away\n"
                             "orvadctl: the port daemon is there\n")


# ---- mocks ----

def test_end_tells_what_was_recorded(make_daemon, record, path):
    daemon = make_daemon()
    client = record("lamp")
    daemon.port_changed(2, False)
    daemon.port_changed(3, True)
    wait_for(path, "1!\n")
    client.process.terminate()
    assert re.fullmatch(r"1 change of 1 port in \d+\.\d{3} s\n",
                        client.finish())
    assert (client.status, client.errors) == (0, "")
    assert parse(recorded(path)).names == ["lamp"]


def test_ports_of_any_name_are_recorded(make_daemon, record, path):
    make_daemon(GetPortProps=Answer(len(PORTS), [
        *PORTS[:-1], ("low", -1, False, True, False, False, [])]))
    client = record()
    assert client.interrupt() == 0
    dump = parse(recorded(path))
    assert dump.names == NAMES
    assert dump.initial["T_r___2J"] == "1"
    assert "".join(dump.initial.values()).count("1") == 1


def test_many_ports_have_codes_of_their_own(make_daemon, record, path):
    ports = [(f"p{number}", number, number % 2 == 1, True, False, False,
              [("ioport", True)]) for number in range(300)]
    daemon = make_daemon(GetPortProps=Answer(len(ports), ports))
    client = record()
    for number in range(0, 300, 2):
        daemon.port_changed(number, True)
    wait_until(lambda: len(parse(recorded(path)).changes) == 150,
               "all changes")
    assert client.interrupt() == 0
    dump = parse(recorded(path))
    assert all(dump.values(f"p{number}") == ("1" if number % 2 else "01")
               for number in range(300))


def test_time_ends_it(make_daemon, run, path):
    make_daemon()
    result = run("record", str(path), "--for", "0.25", "--json")
    assert (result.returncode, result.stderr) == (0, "")
    summary = json.loads(result.stdout)
    assert (summary["ports"], summary["changes"]) == (len(PORTS), 0)
    dump = parse(recorded(path))
    assert summary["seconds"] == pytest.approx(dump.end / US, abs=1e-6)


def test_recording_that_is_killed_can_be_read(make_daemon, record, path):
    daemon = make_daemon()
    client = record("lamp")
    daemon.port_changed(3, True)
    wait_for(path, "1!\n")
    client.process.kill()
    client.finish()
    assert parse(recorded(path)).values("lamp") == "01"


def test_port_that_came_later_is_told_of_once(make_daemon, record, path):
    ports = [PORTS[2]]
    daemon = make_daemon(GetPortProps=lambda: Answer(len(ports), ports))
    client = record()
    ports.append(PORTS[1])
    assert client.process.stderr.readline() == (
        b"orvadctl: port 4 (3) came later and is not recorded\n")
    daemon.port_changed(4, True)
    daemon.port_changed(3, True)
    wait_for(path, "1!\n")
    assert (client.interrupt(), client.errors) == (0, "")
    assert parse(recorded(path)).names == ["lamp"]


def test_daemon_that_is_not_there_yet_is_waited_for(make_daemon, start, path):
    path.write_text("old")
    client = start("record", str(path), "lamp")
    assert client.process.stderr.readline() == (
        b"orvadctl: the port daemon is not running; waiting for it\n")
    assert recorded(path) == "old"
    daemon = make_daemon()
    wait_until(lambda: "#0\n" in recorded(path), "the first values")
    daemon.port_changed(3, True)
    wait_for(path, "1!\n")
    assert client.interrupt() == 0


def test_daemon_that_does_not_come_in_time_is_a_failure(start, path):
    client = start("record", str(path), "--for", "0.05")
    assert client.finish() == ""
    assert client.status == 1
    assert client.errors.endswith(
        "orvadctl: nothing was recorded: the port daemon did not list its "
        "ports in time\n")
    assert not path.exists()


@pytest.mark.parametrize("before", [None, "old"])
def test_interrupt_before_the_daemon_is_there_is_a_failure(start, path,
                                                           before):
    if before:
        path.write_text(before)
    client = start("record", str(path))
    assert client.process.stderr.readline().endswith(b"waiting for it\n")
    assert client.interrupt() == 1
    assert client.errors == ("orvadctl: nothing was recorded: the port daemon "
                             "did not list its ports\n")
    assert (path.read_text() if path.exists() else None) == before


def test_unknown_port_leaves_the_file_as_it_was(make_daemon, run, path):
    make_daemon()
    path.write_text("old")
    assert 'there is no port "99"' in failure(run("record", str(path), "99"))
    assert recorded(path) == "old"


def test_unknown_port_makes_no_file(make_daemon, run, path):
    make_daemon()
    assert 'there is no port "99"' in failure(run("record", str(path), "99"))
    assert not path.exists()


def test_file_that_is_there_is_overwritten(make_daemon, record, path):
    make_daemon()
    path.write_text("old\n" * 10000)
    client = record()
    assert client.interrupt() == 0
    assert parse(recorded(path)).names


def test_standard_output_can_be_recorded_to(make_daemon, start):
    daemon = make_daemon()
    client = start("record", "-", "lamp")
    lines = []
    while not lines or lines[-1] != "#0":
        lines.append(client.line())
    daemon.port_changed(3, True)
    while lines[-1] != "1!":
        lines.append(client.line())
    client.process.terminate()
    text = "\n".join(lines) + "\n" + client.finish()
    assert (client.status, client.errors) == (0, "")
    assert parse(text).values("lamp") == "01"


def test_reader_that_is_gone_ends_it(make_daemon, start):
    make_daemon()
    client = start("record", "-")
    client.line()
    client.process.stdout.close()
    assert client.process.wait(DEADLINE) == 0
    assert client.process.stderr.read() == b""


@pytest.mark.parametrize("name, text", [
    (".", "Is a directory"), ("none/trace.vcd", "No such file or directory")])
def test_file_that_cannot_be_opened_is_told_at_once(run, tmp_path, name, text):
    assert failure(run("record", str(tmp_path / name))) == (
        f'cannot write "{tmp_path / name}": {text}')


def test_file_that_cannot_be_made_after_all_is_told(make_daemon, start,
                                                    tmp_path):
    folder = tmp_path / "folder"
    folder.mkdir()
    client = start("record", str(folder / "trace.vcd"))
    client.process.stderr.readline()
    folder.rmdir()
    make_daemon()
    assert (client.finish(), client.status) == ("", 1)
    assert client.errors.endswith(
        f'orvadctl: cannot write "{folder}/trace.vcd": No such file or '
        "directory\n")


def test_missing_bus_is_told_before_a_file_is_made(tmp_path, run, path):
    message = failure(run("record", str(path),
                          address=f"unix:path={tmp_path}/none"))
    assert message.startswith("cannot reach the system bus: ")
    assert not path.exists()


@pytest.mark.parametrize("words, text", [
    (["record"], "record: missing argument"),
    (["record", "x.vcd", "--for", "0"],
     '--for takes seconds, 0.001 to 86400, not "0"')])
def test_wrong_command_line_is_told(run, words, text):
    assert text in failure(run(*words), status=2)


def test_full_disk_is_told(make_daemon, run):
    make_daemon()
    assert failure(run("record", "/dev/full")) == (
        'cannot write "/dev/full": No space left on device')


def test_full_disk_behind_standard_output_is_told(make_daemon, bus, program):
    make_daemon()
    with open("/dev/full", "w", encoding="utf-8") as full:
        result = program.run(bus.address, "record", "-", stdout=full)
    assert (result.returncode, result.stderr) == (
        1, "orvadctl: cannot write: No space left on device\n")


def test_bus_that_goes_away_is_told(bus, make_daemon, record, path):
    make_daemon()
    client = record()
    bus.stop()
    assert (client.finish(), client.status) == ("", 1)
    assert client.errors == ("orvadctl: the system bus went away; try again "
                             "once it is back\n")
    assert parse(recorded(path)).names
