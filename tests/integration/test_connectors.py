"""The connectors' interface: the device's video and audio connectors."""

import json
import pathlib
import signal

import pytest
from gi.repository import Gio, GLib

from bus_client import STATE, BusError
from legacy_support import SERVICE as LEGACY
from lifecycle_support import complaints
from orvadctl_support import fixture_program
from peer import BUS, BUS_PATH, ask_bus, connect_to
from peers import IOBox, fixture_offer
from ports_support import IOPORT, fixture_serve, port, sysfs_port
from sandbox import QEL_UID
from supervised_support import SUPERVISED
from waiting import wait_until

CONNECTOR = "com.vexa.QEL.Connector"
CONNECTOR_PATH = "/com/vexa/QEL/Connector"
_INTERFACE = (pathlib.Path(__file__).resolve().parents[2] /
              "src/dbus/com.vexa.QEL.Connector.xml")

ALL, VIDEO, AUDIO = "*", "video connector", "audio connector"
VIDEO_PORT = {"video_connector": "true"}
AUDIO_PORT = {"audio_connector": "true"}


def connector(name, number, properties, **options):
    """A connector that is in use while the file of its name holds a 1."""
    return sysfs_port(name, number, f"/sys/{name}", properties=properties,
                      **options)


def levels(**files):
    """For serve(): what the files below /sys hold."""
    def prepare(box):
        for name, level in files.items():
            (box.sys / name).write_text(f"{level}")
    return prepare


def ask(service, method, *args, signature="(s)", **where):
    reply = service.client.call(method, signature, args, **{
        "name": CONNECTOR, "path": CONNECTOR_PATH, "interface": CONNECTOR,
        **where})
    return reply[0] if reply else None


def states(service, descriptor):
    """Of the connectors, as many as are counted."""
    answer = ask(service, "GetConnectorStates", descriptor)
    assert ask(service, "GetNumConnectors", descriptor) == len(answer)
    return answer


def wait_for_states(service, descriptor, expected):
    """Files are looked at every few milliseconds."""
    wait_until(lambda: states(service, descriptor) == expected, expected)


def error_of(service, *call, **where):
    with pytest.raises(BusError) as caught:
        ask(service, *call, **where)
    name, message = caught.value.name, caught.value.message
    return name, message.removeprefix(f"GDBus.Error:{name}: ")


@pytest.fixture(name="serve_connectors")
def fixture_serve_connectors(serve):
    """serve(), until the connectors are served too."""
    def serve_connectors(*ports, **options):
        service = serve(*ports, **options)
        wait_until(lambda: service.client.has_owner(CONNECTOR),
                   f"{CONNECTOR} on the bus")
        return service
    return serve_connectors


@pytest.fixture(name="service")
def fixture_service(serve_connectors):
    """The newest first: video 1, audio 0, both 1, video 0; and others."""
    service = serve_connectors(
        connector("v0", 3, VIDEO_PORT, optional=True),
        port("lamp", "output", 0),
        connector("both", -1, {**VIDEO_PORT, **AUDIO_PORT}, optional=True),
        connector("no", 5, {"video_connector": "false",
                            "audio_connector": "1", "connector": "true",
                            "Video_connector": "true"}),
        connector("a0", 3, {**AUDIO_PORT, **IOPORT, "hidden": "true"}),
        connector("v1", 7, {"video_connector": "TRUE"}, optional=True),
        prepare=levels(v0=0, both=1, no=1, a0=0, v1=1))
    wait_for_states(service, ALL, [1, 0, 1, 0])
    return service


# ---- which connectors ----

@pytest.mark.parametrize("descriptors, expected", [
    ([ALL], [1, 0, 1, 0]),
    ([VIDEO, "VIDEO CONNECTOR", "Video Connector", "vIDEO cONNECTOR"],
     [1, 1, 0]),
    ([AUDIO, "AUDIO CONNECTOR", "Audio Connector", "aUDIO cONNECTOR"],
     [0, 1]),
    (["", " ", "**", "* ", " *", "video", "audio", "connector", "VIDEO",
      f"{VIDEO} ", f" {VIDEO}", "video  connector", "video\tconnector",
      "video_connector", "videoconnector", f"{VIDEO}\n", f"{AUDIO}s",
      f"{VIDEO},{AUDIO}", "ｖideo connector", "vıdeo connector",
      "VİDEO CONNECTOR", "vídeo connector", "АUDIO CONNECTOR", "%s%n",
      "x" * 1_000_000], [])],
    ids=["all", "video", "audio", "none"])
def test_descriptor_selects_connectors(service, descriptors, expected):
    for descriptor in descriptors:
        assert states(service, descriptor) == expected, descriptor
    assert complaints(service.daemon) == []


def test_states_are_in_the_order_of_the_ports(service):
    assert [props.name for props in service.ports()] == [
        "v1", "a0", "no", "both", "lamp", "v0"]
    (service.box.sys / "v1").write_text("0")
    wait_for_states(service, ALL, [0, 0, 1, 0])
    (service.box.sys / "v0").write_text("1")
    wait_for_states(service, ALL, [0, 0, 1, 1])
    assert states(service, VIDEO) == [0, 1, 1]


def test_connectors_out_of_service_do_not_count(service):
    assert service.call("DropIOPorts", ["both", "v0"]) == ["both", "v0"]
    assert states(service, ALL) == [1, 0]
    assert states(service, AUDIO) == [0]
    (service.box.sys / "both").unlink()
    service.call("RefreshIOPorts")
    # Those that come back are the newest.
    assert states(service, ALL) == [0, 1, 0]
    (service.box.sys / "both").write_text("1")
    service.call("RefreshIOPorts")
    wait_for_states(service, ALL, [1, 0, 1, 0])
    assert states(service, VIDEO) == [1, 0, 1]
    service.call("DropIOPorts", ["v1", "both", "v0"])
    assert states(service, VIDEO) == []


def test_device_without_connectors(serve_connectors):
    service = serve_connectors(port("lamp", "output", 0))
    for descriptor in (ALL, VIDEO, AUDIO):
        assert ask(service, "GetNumConnectors", descriptor) == 0
        assert ask(service, "GetConnectorStates", descriptor) == []
    assert complaints(service.daemon) == []


def test_many_connectors(serve_connectors):
    count = 100
    service = serve_connectors(*[
        port(f"c{number}", "output", number,
             properties={**IOPORT, **(VIDEO_PORT if number % 2 else
                                      AUDIO_PORT)})
        for number in range(count)])
    in_use = [0, 33, 34, 99]
    for number in in_use:
        service.call("SetState", number, True)
    for descriptor, first, step in [(ALL, 0, 1), (VIDEO, 1, 2), (AUDIO, 0, 2)]:
        assert states(service, descriptor) == [
            int(number in in_use)
            for number in reversed(range(first, count, step))]


# ---- their states ----

def test_state_is_the_logical_one(serve_connectors):
    service = serve_connectors(
        connector("in", 0, {**VIDEO_PORT, **IOPORT}),
        port("out", "output", 1, properties={**AUDIO_PORT, **IOPORT}),
        port("ctrl", "io_ctrl", 2, properties={**VIDEO_PORT, **IOPORT}),
        prepare=levels(**{"in": 1}))
    wait_for_states(service, ALL, [0, 0, 1])
    service.call("SetActive", 0, True, "open")
    assert states(service, ALL) == [0, 0, 0]
    (service.box.sys / "in").write_text("0")
    wait_for_states(service, ALL, [0, 0, 1])
    # An output's line is driven so that its state stays.
    service.call("SetState", 1, True)
    service.call("SetActive", 1, False, "open")
    assert states(service, ALL) == [0, 1, 1]
    # An input has an active level of its own.
    service.call("SetDirection", 2, "input")
    before, _ = states(service, VIDEO)
    service.call("SetActive", 2, True, "open")
    assert states(service, VIDEO) == [1 - before, 1]


def test_unknown_line_is_not_in_use(serve_connectors, offer):
    """Whatever its active level is."""
    boxes = []

    def prepare(box):
        box.start_bus()
        boxes.append(offer(box, IOBox, {4: "closed"}))
    service = serve_connectors(
        port("far", "input", 4, backend="iobox",
             properties={**VIDEO_PORT, **IOPORT}), prepare=prepare)
    assert states(service, ALL) == [1]
    boxes[0].change(4, "chewed")
    for level in ("closed", "open"):
        service.call("SetActive", 4, True, level)
        assert states(service, ALL) == [0]


# ---- wrong calls ----

INVALID, UNKNOWN = (f"{BUS}.Error.{name}"
                    for name in ("InvalidArgs", "UnknownMethod"))


@pytest.mark.parametrize("method, wrong", [
    *((method, [("()", ()), ("(i)", (1,)), ("(ss)", (ALL, ALL)),
                ("(as)", ([ALL],)), ("(o)", ("/",)), ("(g)", ("s",))])
      for method in ("GetNumConnectors", "GetConnectorStates")),
    ("EmitSNMPEvent", [("()", ()), ("(i)", (1,)), ("(iii)", (1, 1, 1)),
                       ("(uu)", (1, 1)), ("(is)", (1, "1"))])])
def test_wrong_arguments_are_refused(service, method, wrong):
    for signature, args in wrong:
        name, text = error_of(service, method, *args, signature=signature)
        assert name == INVALID
        assert signature in text
    assert complaints(service.daemon) == []


def test_event_is_not_implemented(service):
    for args in [(0, 0), (1, 1), (-1, 2**31 - 1), (-2**31, -1)]:
        assert error_of(service, "EmitSNMPEvent", *args, signature="(ii)") == (
            UNKNOWN, "Method EmitSNMPEvent is not implemented on interface "
            "com.vexa.QEL.Connector")
    assert states(service, ALL) == [1, 0, 1, 0]


def test_other_members_are_refused(service):
    for call, where in [
            (["GetNumConnector", ALL], {}),
            (["getnumconnectors", ALL], {}),
            (["GetNumConnectors", ALL], {"interface": STATE}),
            (["GetNumConnectors", ALL], {"path": "/com/vexa/QEL"}),
            (["GetNumConnectors", ALL], {"path": "/"})]:
        assert error_of(service, *call, **where)[0] == UNKNOWN
    assert error_of(service, "Get", CONNECTOR, "Count", signature="(ss)",
                    interface=f"{BUS}.Properties")[0] == INVALID
    assert ask(service, "GetAll", CONNECTOR,
               interface=f"{BUS}.Properties") == {}


# ---- the object ----

def described(interface):
    """Methods with their arguments, signals and properties."""
    return ({method.name: ([(arg.name, arg.signature)
                            for arg in method.in_args],
                           [(arg.name, arg.signature)
                            for arg in method.out_args])
             for method in interface.methods},
            [signal_.name for signal_ in interface.signals],
            [property_.name for property_ in interface.properties])


METHODS = {
    "GetNumConnectors": ([("connector_descr", "s")],
                         [("num_connectors", "i")]),
    "GetConnectorStates": ([("connector_descr", "s")], [("states", "ai")]),
    "EmitSNMPEvent": ([("connector_id", "i"), ("connector_state", "i")], []),
}


def test_object_is_as_described(service):
    text = ask(service, "Introspect", signature="()",
               interface=f"{BUS}.Introspectable")
    live = Gio.DBusNodeInfo.new_for_xml(text)
    written = Gio.DBusNodeInfo.new_for_xml(_INTERFACE.read_text("utf-8"))
    assert described(live.lookup_interface(CONNECTOR)) == (METHODS, [], [])
    assert described(written.lookup_interface(CONNECTOR)) == (METHODS, [], [])
    assert {interface.name for interface in live.interfaces} == {
        CONNECTOR, *(f"{BUS}.{name}" for name in (
            "Properties", "Introspectable", "Peer"))}


# ---- the name ----

def owner(service, name):
    return service.client.call("GetNameOwner", "(s)", (name,), name=BUS,
                               path=BUS_PATH)[0]


def test_name_is_the_daemon_s_who_runs_as_qel(service):
    assert owner(service, CONNECTOR) == owner(service, STATE)
    assert service.client.call(
        "GetConnectionUnixUser", "(s)", (CONNECTOR,), name=BUS,
        path=BUS_PATH) == (QEL_UID,)


# Of the bus's RequestName.
_ALLOW_REPLACEMENT, _REPLACE = 1, 2
_NOW_OWNER, _RELEASED = 1, 1


def test_name_of_somebody_else_is_waited_for(serve, connect):
    others = []

    def prepare(box):
        box.start_bus()
        others.append(connect(box).connection)
        assert ask_bus(others[0], "RequestName", "(su)", CONNECTOR,
                       _ALLOW_REPLACEMENT) == _NOW_OWNER
    service = serve(port("lamp", "output", 0,
                         properties={**IOPORT, **VIDEO_PORT}),
                    prepare=prepare)
    daemon = owner(service, STATE)
    wait_until(lambda: daemon in service.client.call(
        "ListQueuedOwners", "(s)", (CONNECTOR,), name=BUS, path=BUS_PATH)[0],
        "the daemon to ask for the name")
    assert owner(service, CONNECTOR) == others[0].get_unique_name()
    # The interface is there without it.
    assert ask(service, "GetConnectorStates", ALL, name=daemon) == [0]
    service.call("SetState", 0, True)
    assert ask_bus(others[0], "ReleaseName", "(s)", CONNECTOR) == _RELEASED
    assert owner(service, CONNECTOR) == daemon
    assert states(service, ALL) == [1]
    assert complaints(service.daemon) == []


def test_name_is_not_given_to_who_wants_it(service):
    other = service.another_client().connection
    assert ask_bus(other, "RequestName", "(su)", CONNECTOR,
                   _REPLACE) != _NOW_OWNER
    assert owner(service, CONNECTOR) == owner(service, STATE)
    service.daemon.send(signal.SIGTERM)
    service.daemon.wait()
    assert owner(service, CONNECTOR) == other.get_unique_name()


def record_releases(address):
    """Which names whoever it is gives back on the bus: (unique name, name),
    from now on. And what keeps it going."""
    connection = connect_to(address)
    releases = []

    def take(_connection, message, incoming):
        if not incoming or (message.get_message_type() !=
                            Gio.DBusMessageType.METHOD_CALL):
            return message
        releases.append((message.get_sender(), *message.get_body().unpack()))
        return None
    connection.add_filter(take)
    connection.call_sync(
        BUS, BUS_PATH, "org.freedesktop.DBus.Monitoring", "BecomeMonitor",
        GLib.Variant("(asu)", (["member='ReleaseName'"], 0)), None,
        Gio.DBusCallFlags.NONE, -1, None)
    return releases, connection


def test_names_are_given_back_at_the_end(service):
    """Of the services, the last one to start is the first one to end."""
    wait_until(lambda: service.client.has_owner(SUPERVISED), SUPERVISED)
    daemon = owner(service, STATE)
    releases, monitor = record_releases(service.box.bus_address)
    service.daemon.stop()
    wait_until(lambda: len(releases) >= 5, releases)
    assert releases[0] == (daemon, LEGACY)
    ours = [name for _, name in releases if name in (
        SUPERVISED, STATE, CONNECTOR)]
    assert ours[0] == SUPERVISED
    assert set(ours[1:]) == {STATE, CONNECTOR}
    assert {owner for owner, _ in releases} == {daemon}
    monitor.close_sync(None)


# ---- the command ----

def test_command_shows_the_daemon_s_connectors(service, program):
    run = program.run(service.box.bus_address, "connectors", "--json")
    assert (run.returncode, run.stderr) == (0, "")
    assert [(row["name"], row["kind"], row["in_use"])
            for row in json.loads(run.stdout)["connectors"]] == [
        ("v1", "video", True), ("a0", "audio", False), ("both", "video", True),
        ("v0", "video", False)]
    for word, last in [("video", "3 connectors, 2 in use"),
                       ("AUDIO", None), ("audio", "2 connectors, 1 in use")]:
        run = program.run(service.box.bus_address, "connectors", word)
        if last is None:
            assert run.returncode != 0
        else:
            assert run.stdout.splitlines()[-1] == last
