"""orvadctl drop, refresh and triggers, with the real daemon."""

import json

import pytest

from orvadctl_support import fixture_program, fixture_start_on
from ports_support import event, fixture_serve, key, port, sysfs_port


def trigger(channel, number, *events):
    return port(f"manualtrigger{channel}", "output", number, backend="virtual",
                properties={"virtual": "true"}, events=events)


PORTS = [
    port("lamp", "output", 0, optional=True),
    port("fixed", "input", 1),
    sysfs_port("late", 2, "/sys/late", optional=True),
    trigger(2, 6),
    trigger(1, 5, event("com.vexa.Event.Qel.ManualTrigger",
                        key("port", 1, "int"),
                        key("state", "PORT_STATUS", "bool",
                            is_property=True))),
]


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORTS)


@pytest.fixture(name="orvadctl")
def fixture_orvadctl(program, service):
    """orvadctl(words...): the status, output and errors of a run."""
    def run(*words):
        result = program.run(service.box.bus_address, *words)
        return result.returncode, result.stdout, result.stderr
    return run


def test_drop_takes_optional_ports_out_of_service(service, orvadctl):
    assert orvadctl("drop", "lamp") == (0, '"lamp": dropped\n', "")
    assert "lamp" not in service.names()


def test_drop_goes_on_past_what_cannot_be_dropped(service, orvadctl):
    assert orvadctl("drop", "fixed", "none", "late", "lamp", "lamp") == (
        1, '"lamp": dropped\n',
        "orvadctl: not dropped, unknown or not optional: "
        '"fixed", "none", "late"\n')
    assert service.names() == ["manualtrigger1", "manualtrigger2", "fixed"]


def test_refresh_brings_dropped_ports_back(service, orvadctl):
    service.call("DropIOPorts", ["lamp"])
    assert orvadctl("refresh") == (0, "port 0 (lamp): came into service\n", "")
    assert service.names()[0] == "lamp"


def test_refresh_brings_ports_whose_hardware_came(service, orvadctl):
    assert orvadctl("refresh") == (0, "no port came into service\n", "")
    (service.box.sys / "late").write_text("1")
    status, text, errors = orvadctl("refresh", "--json")
    found, = json.loads(text)["ports"]
    assert (status, found["name"], found["number"], errors) == (
        0, "late", 2, "")
    assert "late" in service.names()


def test_triggers_are_enabled_while_their_event_is_declared(service, orvadctl):
    service.call("SetVirtual", 6, True)
    assert orvadctl("triggers") == (
        0,
        "CHANNEL  NUMBER  ENABLED  STATE\n"
        "1        5       yes      inactive\n"
        "2        6       no       active\n", "")


def test_daemon_without_triggers_has_none(serve, program):
    service = serve(port("lamp", "output", 0))
    result = program.run(service.box.bus_address, "triggers", "--json")
    assert (result.returncode, json.loads(result.stdout), result.stderr) == (
        0, {"triggers": []}, "")
