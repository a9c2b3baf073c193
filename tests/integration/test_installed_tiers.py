"""What the installed bus policy lets whom do with the ports: everybody reads,
root and the members of a group drive."""

import collections
import xml.etree.ElementTree

import pytest
from gi.repository import Gio, GLib

from bus_client import (EVENTS, PRODUCER, PRODUCER_PATH, STATE, STATE_PATH,
                        BusError)
from legacy_support import PROPERTIES, SERVICE as LEGACY, path_of, text_bytes
from policy_support import (BUS, BUS_PATH, CLOSED_BUS, CONNECTOR, CONTROL,
                            NAMES, POLICY, REFUSED, ROOT, USERS,
                            add_control_group, fixture_connect_as,
                            shipped_policy)
from ports_support import event, fixture_serve, port
from supervised_support import SUPERVISED, SUPERVISED_PATH
from waiting import DEADLINE, wait_until

LAMP = 0
CONNECTOR_PATH = "/com/vexa/QEL/Connector"
INTROSPECTABLE = BUS + ".Introspectable"
PEER = BUS + ".Peer"

# What every name has, beside what is its own.
STANDARD = {INTROSPECTABLE: {"Introspect"}, PEER: {"GetMachineId", "Ping"},
            PROPERTIES: {"Get", "GetAll"}}
READING = {
    STATE: {"GetActive", "GetDirection", "GetNames", "GetNbrPorts",
            "GetPortProps", "GetState", "GetUsage", "IsConfigurable"},
    SUPERVISED: {"GetNumberOfPorts", "GetSupervised",
                 "GetSupervisedPortNumbers", "GetSupervisedRanges",
                 "GetSupervisedReadout", "GetSupervisedStates",
                 "IsSupervisable"},
    CONNECTOR: {"GetConnectorStates", "GetNumConnectors"},
    EVENTS: {"GetState", "ListDeclarations"},
}

Call = collections.namedtuple("Call", "name path interface member args")

# Some argument of each type: what is refused is refused whatever it says.
ARGUMENTS = {"u": LAMP, "i": LAMP, "b": True, "s": "*", "as": [], "a(bi)": []}


def declared_calls(name, path, file, interface):
    """A call of each method that an interface's file declares."""
    text = (ROOT / file).read_text("utf-8")
    described = Gio.DBusNodeInfo.new_for_xml(text).lookup_interface(interface)
    for method in described.methods:
        kinds = [argument.signature for argument in method.in_args]
        yield Call(name, path, interface, method.name, GLib.Variant(
            f"({''.join(kinds)})", [ARGUMENTS[kind] for kind in kinds]))


def standard_calls(name):
    """Those that every object has."""
    path = path_of(LAMP)
    yield Call(name, path, INTROSPECTABLE, "Introspect", None)
    for member in ("GetMachineId", "Ping"):
        yield Call(name, path, PEER, member, None)
    yield Call(name, path, PROPERTIES, "Get",
               GLib.Variant("(ss)", (LEGACY, "Usage")))
    yield Call(name, path, PROPERTIES, "GetAll",
               GLib.Variant("(s)", (LEGACY,)))
    yield Call(name, path, PROPERTIES, "Set", GLib.Variant(
        "(ssv)", (LEGACY, "Usage", text_bytes("porch"))))


CALLS = [
    *declared_calls(STATE, STATE_PATH, f"src/dbus/{STATE}.xml", STATE),
    *declared_calls(SUPERVISED, SUPERVISED_PATH,
                    f"src/dbus/{SUPERVISED}.xml", SUPERVISED),
    *declared_calls(CONNECTOR, CONNECTOR_PATH, f"src/dbus/{CONNECTOR}.xml",
                    CONNECTOR),
    *declared_calls(EVENTS, PRODUCER_PATH,
                    f"subprojects/vxevent/{PRODUCER}.xml", PRODUCER),
    *(call for name in NAMES for call in standard_calls(name)),
]


def reads(call):
    own = READING.get(call.name, set())
    return call.member in STANDARD.get(call.interface, own)


DRIVING = [call for call in CALLS if not reads(call)]


def message(call):
    request = Gio.DBusMessage.new_method_call(
        call.name, call.path, call.interface, call.member)
    if call.args is not None:
        request.set_body(call.args)
    return request


def is_refused(client, call):
    """Whether the bus itself has refused it. An interface may be None."""
    reply, _ = client.connection.send_message_with_reply_sync(
        message(call), Gio.DBusSendMessageFlags.NONE, int(DEADLINE * 1000),
        None)
    assert reply.get_message_type() in (Gio.DBusMessageType.METHOD_RETURN,
                                        Gio.DBusMessageType.ERROR)
    if reply.get_error_name() != REFUSED:
        return False
    assert reply.get_sender() == BUS
    return True


def refused(client, calls):
    return [call for call in calls if is_refused(client, call)]


@pytest.fixture(name="service")
def fixture_service(serve):
    """The daemon with all its names, on a bus that lets nobody do anything but
    for the shipped policy."""
    service = serve(port("lamp", "output", LAMP, events=[event("IOPort")]),
                    bus_policy=CLOSED_BUS + shipped_policy(), users=USERS,
                    prepare=add_control_group)
    for name in NAMES:
        wait_until(lambda: service.client.has_owner(name),
                   f"{name} on the bus")
    return service


def test_everybody_may_read_and_no_more(service, connect_as):
    guest = connect_as(service.box, "guest")
    assert refused(guest, CALLS) == DRIVING


@pytest.mark.parametrize("account", ["root", "qel", "operator"])
def test_who_may_drive_may_call_everything(service, connect_as, account):
    assert refused(connect_as(service.box, account), CALLS) == []


def test_who_may_drive_does(service, connect_as):
    operator = connect_as(service.box, "operator")
    operator.call("SetState", "(ub)", (LAMP, True))
    operator.call("Set", "(ssv)", (LEGACY, "Usage", text_bytes("porch")),
                  name=LEGACY, path=path_of(LAMP), interface=PROPERTIES)
    guest = connect_as(service.box, "guest")
    assert guest.call("GetState", "(u)", (LAMP,)) == (True,)
    assert guest.call("Get", "(ss)", (LEGACY, "Usage"), name=LEGACY,
                      path=path_of(LAMP), interface=PROPERTIES) == ("porch",)


def test_no_name_is_a_way_round_for_another(service, connect_as):
    """All are of one connection, and known by its own name, too."""
    owner, = service.client.call("GetNameOwner", "(s)", (STATE,), name=BUS,
                                 path=BUS_PATH)
    detours = [call._replace(name=name) for call in DRIVING
               for name in [*NAMES, owner]]
    assert refused(service.client, detours) == []
    assert refused(connect_as(service.box, "guest"), detours) == detours


def test_calls_without_an_interface_are_no_way_round(service, connect_as):
    vague = [call._replace(interface=None) for call in CALLS]
    assert refused(service.client, vague) == []
    assert refused(connect_as(service.box, "guest"), vague) == vague


@pytest.mark.parametrize("account, may", [
    ("root", True), ("qel", True), ("operator", False), ("guest", False)])
def test_only_root_and_qel_may_serve(service, connect_as, account, may):
    client = connect_as(service.box, account)
    # Without waiting for the name, which the daemon has.
    asked = [Call(BUS, BUS_PATH, BUS, "RequestName",
                  GLib.Variant("(su)", (name, 4))) for name in NAMES]
    assert refused(client, asked) == ([] if may else asked)


@pytest.mark.parametrize("signals", [
    {"member": "PortChanged"}, {"member": "Event", "interface": PRODUCER},
    {"member": "PropertiesChanged", "interface": PROPERTIES}],
    ids=["ports", "events", "older system"])
def test_everybody_may_hear_signals(service, connect_as, signals):
    recorder = connect_as(service.box, "guest").record(**signals)
    service.call("SetState", LAMP, True)
    service.call("SetUsage", LAMP, "porch")
    recorder.wait_for_count(1)


def test_daemon_serves_without_the_group(serve, connect_as):
    service = serve(port("lamp", "output", LAMP),
                    bus_policy=CLOSED_BUS + shipped_policy(), users=USERS)
    service.call("SetState", LAMP, True)
    operator = connect_as(service.box, "operator")
    assert operator.call("GetState", "(u)", (LAMP,)) == (True,)
    with pytest.raises(BusError, match="AccessDenied"):
        operator.call("SetState", "(ub)", (LAMP, False))


# ---- the file ----

def rules(key):
    """The rules that say something of that kind, (policy's attributes, rule's
    attributes) each."""
    root = xml.etree.ElementTree.parse(POLICY).getroot()
    for policy in root:
        assert policy.tag == "policy"
        for rule in policy:
            assert rule.tag == "allow"
            if any(name.startswith(key) for name in rule.attrib):
                yield policy.attrib, rule.attrib


def test_every_rule_about_calls_names_whom():
    found = list(rules("send_"))
    assert found
    assert all("send_destination" in rule for _, rule in found)


def test_rules_for_everybody_name_what_reads():
    everybody = [tuple(rule.get(f"send_{key}") for key in
                       ("destination", "interface", "member"))
                 for policy, rule in rules("send_")
                 if policy == {"context": "default"}]
    assert sorted(everybody) == sorted(
        (call.name, call.interface, call.member) for call in CALLS
        if reads(call))


def test_policy_is_about_these_users_alone():
    assert {tuple(*policy.items()) for policy, _ in rules("own")} == {
        ("user", "root"), ("user", "qel")}
    assert {tuple(*policy.items()) for policy, _ in rules("send_")} == {
        ("user", "root"), ("user", "qel"), ("group", CONTROL),
        ("context", "default")}
