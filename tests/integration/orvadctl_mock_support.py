"""orvadctl against mocks of the daemon and of the event service."""

import os
import pathlib
import re

import pytest
from gi.repository import GLib

from bus_client import EVENTS, STATE, STATE_PATH
from mock_bus import (EVENTS_PATH, PRODUCER_XML, STATE_XML, SUPERVISED,
                      SUPERVISED_PATH, SUPERVISED_XML, Answer, Mock,
                      PrivateBus)
from orvadctl_support import Terminal

QEL_PATH = EVENTS_PATH + "/qel"
CONNECTOR = "com.vexa.QEL.Connector"
CONNECTOR_PATH = "/com/vexa/QEL/Connector"
CONNECTOR_XML = (pathlib.Path(__file__).resolve().parents[2]
                 / f"src/dbus/{CONNECTOR}.xml").read_text()
TIME = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}"
ISO_TIME = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}\+00:00"

# The daemon lists the port added last first.
PORTS = [
    ("manualtrigger1", 33, False, False, False, False, [("virtual", True)]),
    ("3", 4, False, True, True, False, [("ioport", True)]),
    ("lamp", 3, False, False, False, True,
     [("ioport", True), ("tampering", False)]),
    ("Tür\n\x1b[2J", 2, True, True, False, True,
     [("ioport", True), ("hidden", True)]),
    ("twin", 5, False, True, False, False, [("ioport", True)]),
    ("twin", 6, False, True, False, False, [("ioport", True)]),
    ("", -1, False, True, False, False, []),
]
STARTING = (b"orvadctl: the port daemon is just starting or ending; try again "
            b"in a moment\n")
NO_PORT = Answer(error=("com.vexa.IOControl.Error.No_port", "No such port."))
ANSWERS = {
    "GetPortProps": Answer(len(PORTS), PORTS),
    "GetNames": lambda port: {2: Answer("Front \n door", ""),
                              3: Answer("", "Lamp")}.get(port, NO_PORT),
    "GetActive": Answer("open", "closed"),
    "GetUsage": Answer("Door switch"),
    "GetNbrPorts": Answer(4, 1),
    "GetState": lambda port: Answer(port == 2),
    "GetDirection": lambda port: Answer("output" if port == 3 else "input"),
    "IsConfigurable": lambda port: Answer(port == 4),
    "SetDirection": lambda port, direction: Answer() if port == 4 else Answer(
        error=("com.vexa.IOControl.Error.Not_configurable",
               "Port not configurable.")),
    "SetActive": Answer(),
    "SetName": Answer(),
    "SetUsage": Answer(),
    "SetState": lambda port, active: Answer() if port == 3 else Answer(
        error=("com.vexa.IOControl.Error.Not_output", "Port not output.")),
    "SetVirtual": Answer(),
    "StartActionSequence": Answer(),
}
NO_SUPERVISED_PORT = Answer(error=(
    "com.vexa.IOSupervised.Error.No_port", "No such port."))
NOT_SUPERVISABLE = Answer(error=(
    "com.vexa.IOSupervised.Not_supervisable", "Port is not supervisable."))
RANGES = [("short", 0, 39), ("closed", 80, 249), ("open", 200, 319),
          ("cut", 380, 399)]
# Port 2 can be supervised.
SUPERVISED_ANSWERS = {
    "IsSupervisable": lambda port: Answer(port == 2, False),
    "GetNumberOfPorts": Answer(4, 1),
    "GetSupervisedPortNumbers": Answer([2]),
    "GetSupervisedStates": lambda port: Answer(4, [
        (state,) for state in ("open", "closed", "short", "cut")])
                           if port == 2 else NOT_SUPERVISABLE,
    "GetSupervised": lambda port: Answer(port == 2),
    "SetSupervised": lambda port, on: Answer() if port == 2
                     else NOT_SUPERVISABLE,
    "GetSupervisedRanges": lambda port: Answer(RANGES) if port == 2
                           else NOT_SUPERVISABLE,
    "SetSupervisedRanges": Answer(),
    "GetSupervisedReadout": lambda port: Answer("closed", 120) if port == 2
                            else NOT_SUPERVISABLE,
}
CONNECTOR_ANSWERS = {
    "GetNumConnectors": lambda kind: Answer(
        {"video connector": 2, "audio connector": 1}[kind]),
    "GetConnectorStates": Answer([]),
    "EmitSNMPEvent": Answer(error=(
        "org.freedesktop.DBus.Error.UnknownMethod",
        "Method EmitSNMPEvent is not implemented on interface "
        "com.vexa.QEL.Connector")),
}
DESCRIPTION = {
    "type": GLib.Variant("s", ""),
    "property": GLib.Variant("s", "state"),
    "keys": GLib.Variant("a{sv}", {
        "topic0": GLib.Variant("s", "Device"),
        "topic1": GLib.Variant("s", "IO"),
        "port": GLib.Variant("i", 2)}),
    "nice-names": GLib.Variant("a{s(ss)}", {"port": ("Port", "Front door")}),
    "namespaces": GLib.Variant("a{ss}", {"topic0": "tns1",
                                         "topic1": "tnsvexa"}),
    "tags": GLib.Variant("a{sas}", {"port": ["onvif-source"]}),
}
VALUES = {
    "topic0": GLib.Variant("s", "Device"),
    "topic1": GLib.Variant("s", "IO"),
    "port": GLib.Variant("i", 2),
    "state": GLib.Variant("b", True),
}


# What the client says of a call that a bus denies to whoever runs the tests.
DENIED = ("the bus does not let even root do that; see that "
          "/usr/share/dbus-1/system.d/com.vexa.IOControl.conf is there, and "
          'have the bus read it with "systemctl reload dbus"'
          if os.geteuid() == 0 else
          "the bus does not let this user do that; do it as root or as a "
          "member of the group qel-control; membership counts from the next "
          "login on")


@pytest.fixture(name="bus")
def fixture_bus(tmp_path):
    bus = PrivateBus(tmp_path)
    yield bus
    bus.stop()


@pytest.fixture(name="make_mock")
def fixture_make_mock(bus):
    mocks = []

    def make(name, objects):
        mocks.append(Mock(bus.address, name, objects))
        return mocks[-1]
    yield make
    for mock in mocks:
        mock.stop()


@pytest.fixture(name="make_daemon")
def fixture_make_daemon(make_mock):
    """make_daemon(xml=..., Method=Answer(...)): a mock of the daemon."""
    def make(xml=STATE_XML, **answers):
        return make_mock(STATE, {STATE_PATH: (xml, {**ANSWERS, **answers})})
    return make


@pytest.fixture(name="make_supervised")
def fixture_make_supervised(make_mock):
    """make_supervised(xml=..., Method=Answer(...)): a mock of the daemon's
    interface for supervised inputs; the daemon itself is another one."""
    def make(xml=SUPERVISED_XML, **answers):
        return make_mock(SUPERVISED, {
            SUPERVISED_PATH: (xml, {**SUPERVISED_ANSWERS, **answers})})
    return make


@pytest.fixture(name="make_connector")
def fixture_make_connector(make_mock):
    """make_connector(GetConnectorStates, xml=...): a mock of the daemon's
    interface for connectors; the daemon itself is another one."""
    def make(states, xml=CONNECTOR_XML):
        return make_mock(CONNECTOR, {
            CONNECTOR_PATH: (xml, {"GetConnectorStates": states})})
    return make


@pytest.fixture(name="make_events")
def fixture_make_events(make_mock):
    """make_events(answer): a mock of the event service, one producer."""
    def make(answer=Answer([(1, DESCRIPTION)]), xml=PRODUCER_XML):
        answers = {"ListDeclarations": answer}
        return make_mock(EVENTS, {QEL_PATH: (xml, answers)})
    return make


@pytest.fixture(name="run")
def fixture_run(bus, program):
    """run(words...): a whole run; its status, output and errors."""
    def execute(*words, address=bus.address, env=None):
        return program.run(address, *words, env=env)
    return execute


@pytest.fixture(name="start")
def fixture_start(bus, start_on):
    """start(words...): a run that goes on."""
    return lambda *words: start_on(bus.address, *words)


@pytest.fixture(name="start_on_terminal")
def fixture_start_on_terminal(bus, program):
    """start_on_terminal(words...): a run on a terminal."""
    terminals = []

    def start(*words, **options):
        terminals.append(Terminal(program, bus.address, *words, **options))
        return terminals[-1]
    yield start
    for terminal in terminals:
        terminal.destroy()


def output(result):
    """The output of a run that has to have succeeded."""
    assert (result.returncode, result.stderr) == (0, "")
    return result.stdout


def failure(result, status=1):
    """The one line of a run that has to have failed."""
    assert (result.returncode, result.stdout) == (status, "")
    assert re.fullmatch(r"orvadctl: [^\n]+\n", result.stderr), result.stderr
    return result.stderr[len("orvadctl: "):-1]
