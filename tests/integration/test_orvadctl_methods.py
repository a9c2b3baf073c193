"""Every method that is on the bus can be called with orvadctl."""

import pathlib
import re

import pytest
from gi.repository import Gio

from bus_client import EVENTS, STATE, STATE_PATH
from mock_bus import (STATE_XML, SUPERVISED, SUPERVISED_PATH, SUPERVISED_XML,
                      Answer)
from orvadctl_mock_support import (ANSWERS, CONNECTOR, CONNECTOR_ANSWERS,
                                   CONNECTOR_PATH, CONNECTOR_XML, DESCRIPTION,
                                   QEL_PATH, SUPERVISED_ANSWERS, VALUES,
                                   failure, fixture_bus, fixture_make_mock,
                                   fixture_run, output)
from orvadctl_support import fixture_program

_ROOT = pathlib.Path(__file__).resolve().parents[2]
EVENTS_XML = (
    _ROOT / "subprojects/vxevent/org.orvad.Events1.Producer.xml").read_text()

# Together they call every method.
LINES = [
    ["list"], ["count"], ["get", "2"], ["state", "lamp"],
    ["set", "lamp", "on"], ["set", "--virtual", "lamp", "on"],
    ["pulse", "lamp", "10", "--no-wait"],
    ["direction", "4", "output"],
    ["polarity", "lamp", "output", "open"],
    ["name", "lamp", "output", "Lamp"],
    ["usage", "lamp", "Light"],
    ["drop", "lamp"], ["refresh"],
    ["supervise"], ["supervise", "2", "on"],
    ["ranges", "2"], ["ranges", "2", "open", "0", "9"], ["readout", "2"],
    ["connectors"], ["declarations"],
]
REFUSED = ["snmp", "1", "--", "-7"]


def interfaces():
    """Every interface that the XML describes."""
    for path in sorted([*(_ROOT / "src/dbus").glob("*.xml"),
                        *(_ROOT / "subprojects").glob("*/*.xml")]):
        text = path.read_text("utf-8")
        if "<node" in text:
            yield from Gio.DBusNodeInfo.new_for_xml(text).interfaces


METHODS = sorted((interface.name, method.name) for interface in interfaces()
                 for method in interface.methods)


@pytest.fixture(name="services")
def fixture_services(make_mock):
    """Every interface on the bus: interface -> its mock."""
    return {
        STATE: make_mock(STATE, {STATE_PATH: (STATE_XML, {
            **ANSWERS, "DropIOPorts": Answer(["lamp"]),
            "RefreshIOPorts": Answer()})}),
        SUPERVISED: make_mock(SUPERVISED, {
            SUPERVISED_PATH: (SUPERVISED_XML, SUPERVISED_ANSWERS)}),
        CONNECTOR: make_mock(CONNECTOR, {
            CONNECTOR_PATH: (CONNECTOR_XML, CONNECTOR_ANSWERS)}),
        f"{EVENTS}.Producer": make_mock(EVENTS, {
            QEL_PATH: (EVENTS_XML, {
                "ListDeclarations": Answer([(1, DESCRIPTION)]),
                "GetState": Answer(VALUES)})}),
    }


def test_every_method_is_called_by_a_command(services, run):
    for words in LINES:
        output(run(*words))
    assert failure(run(*REFUSED)) == (
        "Method EmitSNMPEvent is not implemented on interface "
        "com.vexa.QEL.Connector")
    assert services[CONNECTOR].arguments("EmitSNMPEvent") == [(1, -7)]
    assert METHODS == sorted({
        (interface, method) for interface, mock in services.items()
        for method, _ in mock.calls})


def test_every_command_has_its_help(run):
    text = output(run("help"))
    commands = re.findall(r"^  (\w+)", text.split("\nOptions:")[0], re.M)
    assert {words[0] for words in LINES} <= set(commands)
    for command in commands:
        told = output(run("help", command))
        assert told.startswith(f"Usage: orvadctl {command} ")
        assert output(run(command, "--help")) == told
