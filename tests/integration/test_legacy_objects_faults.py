"""The objects for the older configuration system when they are switched off,
when the name or the bus cannot be had, and when everything ends."""

import signal

import pytest

from bus_client import STATE
from legacy_support import PORT, PROPERTIES, SERVICE, path_of
from lifecycle_support import complaints, set_usage, settle
from ports_support import configuration, pipeline, port, post
from waiting import wait_until

CONFIGURATION_EVENTS = "org.orvad.ConfigurationEvents1"
SUPERVISED = "com.vexa.IOSupervised.Supervised"
BUS = "org.freedesktop.DBus"
LAMP = port("lamp", "output", 0, optional=True, names={"output": "Lamp"})
SWITCH = "--disable_legacy_interface"
FATAL = 128 + signal.SIGTRAP


def everything_but(what):
    """A bus policy that denies that alone, an element's attributes."""
    return f"""
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <deny {what}/>
  </policy>
"""


NAME_IS_NOT_FOR_IT = everything_but(f'own="{SERVICE}"')
NAMES_STAY = everything_but(
    f'send_interface="{BUS}" send_member="ReleaseName"')


def bus_call(client, method, *args, signature="(s)"):
    return client.call(method, signature, args, name=BUS,
                       path="/org/freedesktop/DBus")[0]


def files(box):
    """What there is of the two files for the older system."""
    folders = [box.etc / "service_registry/services.d",
               box.etc / "legacyconfig/legacymappings.d",
               box.etc / "orvad.d"]
    return sorted(path.name for folder in folders for path in folder.iterdir())


# ---- switched off, or not ----

def legacy_traces(box, connect):
    """Everything of the older system's interface that shows while the daemon
    runs, a change and a resynchronisation included."""
    client = connect(box)
    announced = client.record(interface=PROPERTIES)
    counted = client.record(interface=CONFIGURATION_EVENTS)
    set_usage(client, 0, str(box.daemon.pid))
    errors = pipeline(client, [("DropIOPorts", (["lamp"],)),
                               ("RefreshIOPorts", ())])
    settle(client)
    client.sync()
    nodes = client.call("Introspect", path="/com/vexa",
                        interface="org.freedesktop.DBus.Introspectable")[0]
    assert errors == [None, None]
    return {"name": client.has_owner(SERVICE),
            "events": client.has_owner(CONFIGURATION_EVENTS),
            "objects": 'node name="Configuration"' in nodes,
            "files": files(box), "announced": len(announced.signals) > 0,
            "counted": len(counted.signals) > 0}


@pytest.mark.parametrize("argv, on", [
    ([], True), ([SWITCH], False), ([SWITCH, "more"], False),
    (["other", SWITCH], True), (["--disable-legacy-interface"], True),
    ([SWITCH + "=1"], True),
], ids=["none", "first", "first of two", "second", "hyphens", "value"])
def test_first_argument_alone_switches_it_off(make_sandbox, connect, argv, on):
    box = make_sandbox(config=configuration(LAMP))
    box.start(argv)
    expected = dict.fromkeys(
        ["name", "events", "objects", "announced", "counted"], on)
    expected["files"] = ["orvad.xml", "orvad_service_registry.conf"] \
        if on else []
    assert legacy_traces(box, connect) == expected
    box.daemon.stop()
    assert complaints(box.daemon) == []


# ---- the name ----

def test_name_that_somebody_has_is_waited_for(make_sandbox, connect):
    box = make_sandbox(config=configuration(LAMP))
    box.start_bus()
    holder, client = connect(box), connect(box)
    assert bus_call(holder, "RequestName", SERVICE, 0, signature="(su)") == 1
    box.start()
    daemon_name = bus_call(client, "GetNameOwner", STATE)
    queued, = client.call("ListQueuedOwners", "(s)", (SERVICE,), name=BUS,
                          path="/org/freedesktop/DBus")
    assert queued == [holder.connection.get_unique_name(), daemon_name]
    # The objects are there under the daemon's other names.
    assert client.call("Get", "(ss)", (PORT, "Direction"), name=STATE,
                       path=path_of(0), interface=PROPERTIES) == ("output",)
    holder.close()
    client.wait_for(lambda: client.has_owner(SERVICE), "the name to go over")
    assert bus_call(client, "GetNameOwner", SERVICE) == daemon_name
    box.daemon.stop()
    assert complaints(box.daemon) == []


def test_name_that_is_waited_for_is_given_up_at_the_end(make_sandbox, connect):
    box = make_sandbox(config=configuration(LAMP))
    box.start_bus()
    holder = connect(box)
    bus_call(holder, "RequestName", SERVICE, 0, signature="(su)")
    box.start()
    assert box.daemon.stop() == 0
    assert complaints(box.daemon) == []
    assert bus_call(holder, "ListQueuedOwners", SERVICE) == [
        holder.connection.get_unique_name()]


def test_name_that_the_bus_refuses_ends_the_daemon(make_sandbox):
    box = make_sandbox(config=configuration(LAMP),
                       bus_policy=NAME_IS_NOT_FOR_IT)
    box.start_bus()
    daemon = box.start_daemon()
    daemon.wait(expect=FATAL)
    line, = complaints(daemon)
    assert line.startswith("ERROR Could not request name: ")
    assert "AccessDenied" in line


def test_name_that_the_bus_refuses_is_no_matter_when_switched_off(
        make_sandbox):
    box = make_sandbox(config=configuration(LAMP),
                       bus_policy=NAME_IS_NOT_FOR_IT)
    box.start([SWITCH])
    box.daemon.stop()
    assert complaints(box.daemon) == []


def test_name_that_cannot_be_given_back_goes_with_the_daemon(
        make_sandbox, connect):
    box = make_sandbox(config=configuration(LAMP), bus_policy=NAMES_STAY)
    box.start()
    client = connect(box)
    assert client.has_owner(SERVICE)
    assert box.daemon.stop() == 0
    first, *others = complaints(box.daemon)
    assert first.startswith("WARNING Could not release DBus name: ")
    assert "AccessDenied" in first
    # GLib says as much of the other names.
    assert [line for line in others if not line.startswith(
        "WARNING Error releasing name ")] == []
    wait_until(lambda: not client.has_owner(SERVICE), "the end of the name")


# ---- the bus ----

def test_no_bus_ends_the_daemon(make_sandbox):
    """After the settings and the files have been written."""
    box = make_sandbox(config=configuration(LAMP), with_bus=False)
    daemon = box.start_daemon()
    daemon.wait(expect=FATAL)
    last = complaints(daemon)[-1]
    assert last.startswith("ERROR Failed to connect to system bus: ")
    assert files(box) == ["orvad.xml", "orvad_service_registry.conf"]
    assert (box.etc / "orvad/orvad.conf").exists()


NOT_TOLD = ("USER orvad_g_dbus_common_emit_property_changed_signal Failed to "
            "emit configuration changed signal: The connection is closed")


@pytest.mark.parametrize("method, args", [
    ("DropIOPorts", (["lamp"],)), ("SetUsage", (0, "x")),
], ids=["resynchronisation", "change"])
def test_bus_that_goes_away_before_it_is_told_of_something(
        make_sandbox, connect, method, args):
    """The call is on its way still when the bus is gone already."""
    box = make_sandbox(config=configuration(LAMP))
    box.start()
    client = connect(box)
    settle(client)
    box.daemon.send(signal.SIGSTOP)
    post(client, method, args)
    client.sync(BUS)
    box.stop_bus()
    box.daemon.send(signal.SIGCONT)
    assert box.daemon.wait() == 0
    # The loss may be noticed before or after the change.
    assert [line for line in complaints(box.daemon) if line != NOT_TOLD] == [
        "WARNING The system bus went away"]


# ---- the end ----

def test_it_is_the_first_to_leave_the_bus(make_sandbox, connect):
    box = make_sandbox(config=configuration(LAMP))
    box.start()
    client = connect(box)
    changes = client.record("NameOwnerChanged", interface=BUS)
    box.daemon.stop()
    changes.wait_for(lambda change: change.args[0] == STATE)
    left = [name for name, _, new in changes.args if not new]
    wanted = [name for name in left if name in (SERVICE, SUPERVISED, STATE)]
    assert wanted == [SERVICE, SUPERVISED, STATE]
    assert complaints(box.daemon) == []
