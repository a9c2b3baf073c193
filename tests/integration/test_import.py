"""Settings that the older parameter system has left for the daemon's start."""

import os
import pathlib
import socket
import time

import pytest

from events_support import IOPORT_EVENT, described
from legacy_support import INPUT, Legacy
from lifecycle_support import (WITHOUT_LEGACY, complaints, group_text,
                               input_group, output_group)
from ports_support import (Service, configuration, fixture_serve, port,
                           read_parameters)
from sandbox import QEL_GID, QEL_UID

DOOR, LAMP, GATE, HIGH = 1, 2, 3, 40
PORTS = [port("door", "input", DOOR), port("lamp", "output", LAMP),
         port("gate", "io_ctrl", GATE), port("high", "output", HIGH)]
LONGEST = 1024 * 1024
"""Bytes of a name."""
NO_PORT_7 = "No port 7 to write parhand data to."
START_BOUND = 20.0
"""Seconds within which a daemon with a huge file to import has to serve."""

EVERYTHING = f"""\
# What the older system knew.
[Input]
NbrOfInputs=2
[Output]
NbrOfOutputs=3
[IOPort.I{GATE}]
Usage=Gate
Direction=output
[IOPort.I{DOOR}.Input]
Name="Door 1"
Trig=open
[IOPort.I{LAMP}.Output]
Name="Porch light"
Active=open
Button=pulse
PulseTime=1200
DelayTime=340
Mode=bistable
[IOPort.I{GATE}.Input]
Name=Gate in
[IOPort.I{GATE}.Output]
Name=Gate out
Button=actinact
Mode=monostable
"""
"""Of a system that had no port 40."""


def file_of(box):
    return box.tmp / "orvad_ioport.conf"


@pytest.fixture(name="serve_after")
def fixture_serve_after(make_sandbox, connect):
    """serve_after(text, ..., ports, **sandbox options): a daemon with those
    ports that has found that text."""
    def serve_after(text, ports=(), **options):
        box = make_sandbox(config=configuration(*(ports or PORTS)), **options)
        if isinstance(text, bytes):
            file_of(box).write_bytes(text)
        else:
            file_of(box).write_text(text, encoding="utf-8")
        return Service(box, connect)
    return serve_after


def settings(service, name, *keys):
    """The values that were saved for a port."""
    group = service.parameters()[name]
    return [group[key] for key in keys]


def names(service):
    """What the ports are called now: number -> (input, output)."""
    return {number: service.call("GetNames", number)
            for number in (DOOR, LAMP, GATE, HIGH)}


# ---- what is imported ----

def test_settings_are_imported_saved_and_served(serve_after):
    service = serve_after(EVERYTHING)
    assert service.parameters() == {
        "door": {"input_name": "Door 1", "input_activelow": "true",
                 "usage": ""},
        "lamp": {"output_name": "Porch light", "output_activelow": "true",
                 "button_type": "pulse", "pulse_time": "1200",
                 "port_mode": "bistable", "delay_time": "340", "usage": ""},
        "gate": {"input": "false", "input_name": "Gate in",
                 "input_activelow": "false", "output_name": "Gate out",
                 "output_activelow": "false", "button_type": "actinact",
                 "pulse_time": "0", "port_mode": "monostable",
                 "delay_time": "0", "usage": ""},
        "high": {"output_name": "", "output_activelow": "false",
                 "button_type": "none", "pulse_time": "0",
                 "port_mode": "bistable", "delay_time": "0", "usage": ""},
    }
    assert service.call("GetDirection", GATE) == "output"
    assert {props.number: props.activelow for props in service.ports()} == {
        DOOR: True, LAMP: True, GATE: False, HIGH: False}
    assert Legacy(service).get(DOOR, INPUT, "Trig") == "open"
    assert complaints(service.daemon) == []


def test_events_carry_the_imported_name(serve_after):
    service = serve_after(EVERYTHING, [port("door", "input", DOOR,
                                            events=[IOPORT_EVENT]),
                                       *PORTS[1:]])
    assert service.declaration_of(DOOR)[1] == described(DOOR, "Door 1")


def test_import_wins_over_the_parameter_file(serve_after):
    """What is not in it stays."""
    service = serve_after(
        f"[IOPort.I{LAMP}.Output]\nName=Imported\nPulseTime=7\n",
        orvad_conf="# kept\n" + output_group(
            "lamp", output_name="Saved", pulse_time=1, delay_time=5,
            button_type="pulse", usage="porch") + input_group("door")
        + group_text("other", key="value"))
    assert settings(service, "lamp", "output_name", "pulse_time", "delay_time",
                    "button_type", "usage") == ["Imported", "7", "5", "pulse",
                                                "porch"]
    assert settings(service, "door", "input_name") == ["Door"]
    assert settings(service, "other", "key") == ["value"]
    assert service.parameter_file.read_text("utf-8").startswith("# kept\n")


def test_import_wins_over_the_parameters_of_an_older_version(make_sandbox,
                                                             connect):
    box = make_sandbox(config=configuration(*PORTS),
                       orvad_conf=input_group("door", input_name="Second"))
    old = box.etc / "dynamic/orvad/params.conf"
    old.parent.mkdir(parents=True)
    old.write_text(input_group("door", input_name="First")
                   + output_group("lamp", output_name="First"))
    file_of(box).write_text(f"[IOPort.I{DOOR}.Input]\nName=Third\n")
    service = Service(box, connect)
    assert settings(service, "door", "input_name") == ["Third"]
    assert settings(service, "lamp", "output_name") == ["First"]
    assert not old.exists()
    assert file_of(box).exists()


def test_settings_outlive_the_file(serve_after):
    service = serve_after(EVERYTHING)
    before = service.parameters()
    served = names(service)
    service.daemon.stop()
    file_of(service.box).unlink()
    service.start_again()
    assert service.parameters() == before
    assert names(service) == served


def test_file_is_imported_at_every_start(serve_after):
    service = serve_after(EVERYTHING)
    service.call("SetName", DOOR, True, "Back door")
    service.call("SetUsage", DOOR, "back")
    service.settle()
    service.restart()
    assert service.call("GetNames", DOOR)[0] == "Door 1"
    assert service.call("GetUsage", DOOR) == "back"


def test_file_is_left_as_it_is(serve_after):
    service = serve_after("# odd  spacing \r\n\n[IOPort.I1.Input]\n"
                          " Name = \"a\" \n")
    path = file_of(service.box)
    before = path.read_bytes(), path.stat()
    service.call("SetName", DOOR, True, "Back door")
    service.settle()
    service.restart()
    after = path.read_bytes(), path.stat()
    assert after[0] == before[0]
    for field in ("st_ino", "st_mtime_ns", "st_ctime_ns", "st_mode", "st_uid",
                  "st_gid"):
        assert getattr(after[1], field) == getattr(before[1], field)
    assert [path.name for path in service.box.tmp.iterdir()] == [path.name]


def test_port_whose_number_is_above_the_count_is_imported_and_saved(
        serve_after):
    service = serve_after(f"[IOPort.I{HIGH}.Output]\nName=Horn\n"
                          "Mode=monostable\nButton=pulse\n")
    wanted = ["Horn", "monostable", "pulse"]
    keys = "output_name", "port_mode", "button_type"
    assert settings(service, "high", *keys) == wanted
    service.daemon.stop()
    file_of(service.box).unlink()
    service.start_again()
    assert settings(service, "high", *keys) == wanted
    assert service.call("GetNames", HIGH) == ("", "Horn")


def test_parked_port_is_imported_too(serve_after):
    """At that time no port has been set up, so none is parked."""
    service = serve_after(
        "[IOPort.I0.Input]\nName=Later\n",
        [port("late", "input", 0, items={"setup": "fail"}, optional=True),
         port("other", "input", 1)])
    assert service.names() == ["other"]
    assert settings(service, "late", "input_name") == ["Later"]


def test_ports_without_imported_names_get_default_names(serve_after):
    service = serve_after(f"[IOPort.I{DOOR}.Input]\nName=\n", PORTS[:2])
    assert service.call("GetNames", DOOR) == ("", "")
    service = serve_after("[IOPort.I0.Input]\nTrig=open\n",
                          [port("door", "input", 0)])
    assert service.call("GetNames", 0) == ("Input 1", "")


def test_older_system_may_be_switched_off(make_sandbox, connect):
    """Its settings are imported all the same."""
    box = make_sandbox(config=configuration(*PORTS))
    file_of(box).write_text(EVERYTHING)
    box.start(WITHOUT_LEGACY)
    client = connect(box)
    assert client.call("GetNames", "(u)", (DOOR,)) == ("Door 1", "")
    saved = read_parameters(box.etc / "orvad/orvad.conf")
    assert saved["lamp"]["pulse_time"] == "1200"
    box.daemon.stop()
    assert complaints(box.daemon) == []


def test_saved_file_belongs_to_the_daemon_s_user(serve_after):
    service = serve_after(EVERYTHING, orvad_conf="")
    status = service.parameter_file.stat()
    assert (status.st_uid, status.st_gid) == (QEL_UID, QEL_GID)


# ---- what is wrong with the file is its own affair ----

def untouched(service):
    """The ports are as they would be without a file."""
    assert names(service) == {DOOR: ("Input 1", ""), LAMP: ("", "Output 1"),
                              GATE: ("Input 2", "Output 2"), HIGH: ("", "")}
    assert service.call("GetDirection", GATE) == "input"
    assert complaints(service.daemon) == []


def test_no_file_is_no_fault(serve):
    untouched(serve(*PORTS))


@pytest.mark.parametrize("text", [
    "", "\n# nothing\n", "Name=Door\n", f"[IOPort.I{DOOR}.Input\nName=Door\n",
    f"[IOPort.I{DOOR}.Input]\nName=Door\nno equals sign\n",
    b"\x00\x01\x02\xff" * 1000, b"\xff\xfe[\x00]\x00", "[]\n",
    f"[IOPort.I{DOOR}.Input]\nNa me\0=Door\n",
], ids=["empty", "comment", "no group", "half a group", "no key", "binary",
        "utf-16", "no name", "nul"])
def test_file_that_is_none_of_its_kind_changes_nothing(serve_after, text):
    untouched(serve_after(text))


def test_groups_that_mean_no_port_change_nothing(serve_after):
    groups = ["IOPort.Ix.Input", "IOPort.I.Output", "IOPort.I-1.Input",
              "Ix.Input", "XInput", "1Output", "IOPort.I", "ioport.I1",
              "Output.1", "IOPort.O1", "root.IOPort.I1.input", "Tür"]
    untouched(serve_after("".join(
        f"[{group}]\nName=x\nTrig=open\nActive=open\nDirection=output\n"
        for group in groups)))


def test_bad_key_spoils_only_the_rest_of_its_group(serve_after):
    service = serve_after(
        f"[IOPort.I{DOOR}.Input]\nName=Door\nTrig=ajar\nName=lost\n"
        f"[IOPort.I{LAMP}.Output]\nPulseTime=5\nActive=half\nDelayTime=6\n"
        f"[IOPort.Ix]\nDirection=output\n"
        f"[IOPort.I{GATE}]\nDirection=sideways\n"
        f"[IOPort.I{GATE}.Output]\nOdd=1\nName=lost\n"
        f"[IOPort.I{HIGH}.Output]\nName=Horn\n")
    assert names(service)[HIGH] == ("", "Horn")
    assert names(service)[GATE] == ("Input 2", "Output 2")
    assert settings(service, "lamp", "pulse_time", "delay_time") == ["5", "0"]
    assert settings(service, "door", "input_activelow") == ["false"]
    assert complaints(service.daemon) == []


@pytest.mark.parametrize("side", ["Input", "Output"])
def test_missing_port_ends_the_import_and_keeps_what_was_applied(serve_after,
                                                                 side):
    service = serve_after(
        f"[IOPort.I{DOOR}.Input]\nName=Door\n"
        f"[IOPort.I7]\nDirection=output\n"
        f"[IOPort.I7.{side}]\nName=x\n"
        f"[IOPort.I{LAMP}.Output]\nName=lost\n")
    assert settings(service, "door", "input_name") == ["Door"]
    assert settings(service, "lamp", "output_name") == ["Output 1"]
    assert service.daemon.stderr() == NO_PORT_7 + "\n"
    assert complaints(service.daemon) == [NO_PORT_7]


def test_name_that_is_no_text_reaches_nobody(serve_after):
    service = serve_after(
        f"[IOPort.I{DOOR}.Input]\nName=".encode() + b'"caf\xe9"\nTrig=open\n'
        + f"[IOPort.I{LAMP}.Output]\nName=".encode() + b"\xff\n"
        + f"[IOPort.I{GATE}.Input]\nName=Tür 门\n".encode())
    assert names(service) == {
        DOOR: ("Input 1", ""), LAMP: ("", "Output 1"),
        GATE: ("Tür 门", "Output 2"), HIGH: ("", "")}
    assert settings(service, "door", "input_activelow") == ["false"]
    service.parameter_file.read_text("utf-8")


@pytest.mark.parametrize("value, length", [
    ("x" * LONGEST, LONGEST), ('"' + "x" * LONGEST + '"', LONGEST),
    ("x" * (LONGEST + 1), len("Input 1")),
    ("x" * (32 * LONGEST), len("Input 1"))],
    ids=["longest", "quoted", "longer", "huge"])
def test_name_is_taken_up_to_its_longest(serve_after, value, length):
    service = serve_after(f"[IOPort.I{DOOR}.Input]\nName={value}\n"
                          f"[IOPort.I{LAMP}.Output]\nName=Lamp\n")
    assert len(service.call("GetNames", DOOR)[0]) == length
    assert len(settings(service, "door", "input_name")[0]) == length
    assert service.call("GetNames", LAMP) == ("", "Lamp")


# ---- something else in the file's place ----

def make_socket(path):
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))


def make_huge(path):
    """More than any memory, and on no disk."""
    path.write_text(EVERYTHING)
    os.truncate(path, 1 << 40)


@pytest.mark.parametrize("make", [
    os.mkdir, os.mkfifo, make_socket, make_huge,
    lambda path: os.mknod(path, 0o020666, os.makedev(1, 5)),
    lambda path: os.symlink("/nowhere", path),
    lambda path: os.symlink(path, path),
    lambda path: os.symlink("/tmp", path),
], ids=["folder", "fifo", "socket", "huge", "endless device",
        "dangling link", "loop",
        "link to a folder"])
def test_something_else_in_the_file_s_place_is_left_alone(make_sandbox,
                                                          connect, make):
    box = make_sandbox(config=configuration(*PORTS))
    make(file_of(box))
    untouched(Service(box, connect))
    assert file_of(box).lstat()


def test_link_to_a_file_is_followed(make_sandbox, connect):
    box = make_sandbox(config=configuration(*PORTS))
    target = box.tmp / "target"
    target.write_text(EVERYTHING)
    file_of(box).symlink_to("/tmp/target")
    service = Service(box, connect)
    assert service.call("GetNames", DOOR)[0] == "Door 1"
    assert file_of(box).readlink() == pathlib.Path("/tmp/target")
    assert target.read_text() == EVERYTHING


# ---- large files ----

def test_hundred_thousand_groups_are_imported_in_time(serve_after):
    text = "".join(f"[IOPort.I{LAMP}.{n}.Output]\nName=n{n}\nPulseTime={n}\n"
                   f"Odd{n}=x\n" for n in range(100_000))
    begin = time.monotonic()
    service = serve_after(text + f"[IOPort.I{DOOR}.Input]\nName=Last\n")
    assert time.monotonic() - begin < START_BOUND
    assert service.call("GetNames", DOOR)[0] == "Last"
    assert settings(service, "lamp", "output_name", "pulse_time") == [
        "n99999", "99999"]
    assert complaints(service.daemon) == []


def test_hundred_thousand_keys_are_imported_in_time(serve_after):
    text = "".join(f"PulseTime={n}\n" for n in range(100_000))
    begin = time.monotonic()
    service = serve_after(f"[IOPort.I{LAMP}.Output]\n{text}Name=Last\n")
    assert time.monotonic() - begin < START_BOUND
    assert settings(service, "lamp", "output_name", "pulse_time") == [
        "Last", "99999"]
