"""The Supervised interface on ports that cannot be supervised, and its being
there."""

import pathlib

import pytest
from gi.repository import Gio

from bus_client import STATE, BusError
from ports_support import configuration, expect_error, fixture_serve, port
from supervised_support import (NO_STATES, NO_SUPERVISED_PORT,
                                NOT_SUPERVISABLE, SUPERVISED, SUPERVISED_PATH,
                                call_supervised)
from waiting import wait_until

_ROOT = pathlib.Path(__file__).parents[2]
_INTERFACE = _ROOT / "src/dbus/com.vexa.IOSupervised.Supervised.xml"

# Method -> arguments in, arguments out.
METHODS = {
    "GetNumberOfPorts": ([], [("inputs", "u"), ("outputs", "u")]),
    "IsSupervisable": ([("port", "u")], [("input", "b"), ("output", "b")]),
    "GetSupervised": ([("port", "u")], [("supervised", "b")]),
    "SetSupervised": ([("port", "u"), ("supervised", "b")], []),
    "SetSupervisedRanges": ([("port", "u"), ("state", "s"),
                             ("lowerlimit", "u"), ("upperlimit", "u")], []),
    "GetSupervisedRanges": ([("port", "u")], [("ranges", "a(suu)")]),
    "GetSupervisedReadout": ([("port", "u")],
                             [("state", "s"), ("level", "u")]),
    "GetSupervisedStates": ([("port", "u")],
                            [("nbrstates", "u"), ("states", "a(s)")]),
    "GetSupervisedPortNumbers": ([], [("ports", "au")]),
}

INPUT, OUTPUT, CONFIGURABLE = 0, 1, 2
VIRTUAL, PLAIN = 3, 4
REAL = (INPUT, OUTPUT, CONFIGURABLE)
PORTS = [
    port("in0", "input", INPUT),
    port("out1", "output", OUTPUT),
    port("conf2", "io_ctrl", CONFIGURABLE),
    port("virtual3", "output", VIRTUAL, backend="virtual",
         properties={"virtual": "true"}),
    port("plain4", "input", PLAIN, properties={}),
]
NOBODY = (99, 4294967295, 2**31, PLAIN)
"""Numbers that belong to no port, or to one that is found by no number."""

# What every method that addresses a port takes: those that want a real one,
# and those that look at any.
REAL_METHODS = [
    ("IsSupervisable", ()),
    ("GetSupervised", ()),
    ("SetSupervised", (True,)),
    ("SetSupervised", (False,)),
]
ANY_METHODS = [
    ("SetSupervisedRanges", ("open", 1, 2)),
    ("SetSupervisedRanges", ("tampered", 2, 1)),
    ("GetSupervisedRanges", ()),
    ("GetSupervisedReadout", ()),
    ("GetSupervisedStates", ()),
]


class SupervisedService:
    """A running daemon whose Supervised interface is there."""

    def __init__(self, service):
        self.service = service
        wait_until(lambda: service.client.has_owner(SUPERVISED),
                   f"{SUPERVISED} on the bus")

    def call(self, method, *args):
        return call_supervised(self.service.client, method, *args)

    def introspect(self, path):
        text, = self.service.client.call(
            "Introspect", name=SUPERVISED, path=path,
            interface="org.freedesktop.DBus.Introspectable")
        return Gio.DBusNodeInfo.new_for_xml(text)


@pytest.fixture(name="supervised")
def fixture_supervised(serve):
    return SupervisedService(serve(*PORTS))


# ---- the interface itself ----

def described(interface):
    """The methods of a Gio.DBusInterfaceInfo, as above; all else."""
    def arguments(infos):
        return [(info.name, info.signature) for info in infos or []]
    methods = {method.name: (arguments(method.in_args),
                             arguments(method.out_args))
               for method in interface.methods}
    return methods, [*(interface.signals or []),
                     *(interface.properties or [])]


def test_live_object_has_every_method_and_nothing_else(supervised):
    node = supervised.introspect(SUPERVISED_PATH)
    assert described(node.lookup_interface(SUPERVISED)) == (METHODS, [])


def test_interface_description_says_the_same():
    node = Gio.DBusNodeInfo.new_for_xml(_INTERFACE.read_text("utf-8"))
    assert described(node.lookup_interface(SUPERVISED)) == (METHODS, [])


def test_object_is_the_only_one_below_its_name(supervised):
    node = supervised.introspect(SUPERVISED_PATH.rsplit("/", 1)[0])
    assert [child.path for child in node.nodes] == ["Supervised"]


@pytest.mark.parametrize("method", METHODS)
def test_arguments_of_other_types_are_refused(supervised, method):
    takes, _ = METHODS[method]
    wrong = "(" + "d" * len(takes) + ")" if takes else "(u)"
    values = (1.0,) * len(takes) if takes else (1,)
    with supervised.service.saved() as groups, \
            pytest.raises(BusError, match="InvalidArgs"):
        supervised.service.client.call(
            method, wrong, values, name=SUPERVISED, path=SUPERVISED_PATH)
    assert groups == []


# ---- addressing a port ----

@pytest.mark.parametrize("method, arguments", REAL_METHODS + ANY_METHODS)
def test_numbers_of_nobody_are_told_of(supervised, method, arguments):
    with supervised.service.saved() as groups:
        for number in NOBODY:
            with expect_error(NO_SUPERVISED_PORT):
                supervised.call(method, number, *arguments)
    assert groups == []


@pytest.mark.parametrize("method, arguments", REAL_METHODS)
def test_virtual_port_is_no_real_one(supervised, method, arguments):
    with expect_error(NO_SUPERVISED_PORT):
        supervised.call(method, VIRTUAL, *arguments)


@pytest.mark.parametrize("number", [*REAL, VIRTUAL])
@pytest.mark.parametrize("method, arguments", ANY_METHODS)
def test_port_that_cannot_be_supervised_is_told_of(supervised, number, method,
                                                   arguments):
    with supervised.service.saved() as groups, expect_error(
            NO_STATES if method == "GetSupervisedStates"
            else NOT_SUPERVISABLE):
        supervised.call(method, number, *arguments)
    assert groups == []


def test_dropped_port_is_none_any_more(serve):
    supervised = SupervisedService(serve(
        port("in0", "input", INPUT, optional=True)))
    assert supervised.call("IsSupervisable", INPUT) == (False, False)
    supervised.service.call("DropIOPorts", ["in0"])
    with expect_error(NO_SUPERVISED_PORT):
        supervised.call("IsSupervisable", INPUT)


# ---- what is answered without a port that can be supervised ----

@pytest.mark.parametrize("number", REAL)
def test_plain_port_is_not_supervisable_and_not_supervised(supervised, number):
    assert supervised.call("IsSupervisable", number) == (False, False)
    assert supervised.call("GetSupervised", number) is False


@pytest.mark.parametrize("number", REAL)
def test_plain_port_cannot_be_switched(supervised, number):
    with supervised.service.saved() as groups:
        with expect_error(NOT_SUPERVISABLE):
            supervised.call("SetSupervised", number, True)
        assert supervised.call("GetSupervised", number) is False
    assert groups == []


@pytest.mark.parametrize("number", REAL)
def test_switching_to_what_it_is_does_nothing(supervised, number):
    with supervised.service.saved() as groups:
        assert supervised.call("SetSupervised", number, False) is None
    assert groups == []


def test_no_port_is_listed(supervised):
    reply = supervised.service.client.connection.call_sync(
        SUPERVISED, SUPERVISED_PATH, SUPERVISED, "GetSupervisedPortNumbers",
        None, None, Gio.DBusCallFlags.NONE, -1, None)
    assert (reply.get_type_string(), reply.unpack()) == ("(au)", ([],))


def test_real_ports_are_counted_by_their_direction(supervised):
    assert supervised.call("GetNumberOfPorts") == (2, 1)
    supervised.service.call("SetDirection", CONFIGURABLE, "output")
    assert supervised.call("GetNumberOfPorts") == (1, 2)


def test_without_ports_nothing_is_counted_or_listed(serve):
    supervised = SupervisedService(serve())
    assert supervised.call("GetNumberOfPorts") == (0, 0)
    assert supervised.call("GetSupervisedPortNumbers") == []


def test_plain_ports_save_nothing_about_supervision(supervised):
    supervised.service.call("SetUsage", INPUT, "Door")
    supervised.service.settle()
    saved = supervised.service.parameters()
    assert saved["in0"]["usage"] == "Door"
    assert not [key for group in saved.values() for key in group
                if "supervised" in key]


# ---- the name ----

def test_interface_is_there_without_the_legacy_interface(make_sandbox,
                                                         connect):
    box = make_sandbox(config=configuration(*PORTS))
    box.start(["--disable_legacy_interface"])
    client = connect(box)
    wait_until(lambda: client.has_owner(SUPERVISED), "the name")
    assert call_supervised(client, "GetNumberOfPorts") == (2, 1)


def test_both_interfaces_have_the_same_owner(supervised):
    def owner(name):
        return supervised.service.client.call(
            "GetNameOwner", "(s)", (name,), name="org.freedesktop.DBus",
            path="/org/freedesktop/DBus")
    assert owner(SUPERVISED) == owner(STATE)


def test_shutdown_drops_the_name_before_the_state_interface_s(supervised):
    service = supervised.service
    client = service.another_client()
    owners = client.record("NameOwnerChanged",
                           interface="org.freedesktop.DBus")
    assert service.daemon.stop() == 0
    owners.wait_for(lambda signal: signal.args[0] == STATE)
    given_back = [signal.args[0] for signal in owners.signals
                  if signal.args[0] in (SUPERVISED, STATE)
                  and signal.args[2] == ""]
    assert given_back == [SUPERVISED, STATE]


def test_daemon_queues_for_a_name_that_another_has(make_sandbox, connect):
    box = make_sandbox(config=configuration(*PORTS))
    box.start_bus()
    other = connect(box)
    assert other.call("RequestName", "(su)", (SUPERVISED, 0),
                      name="org.freedesktop.DBus",
                      path="/org/freedesktop/DBus") == (1,)
    box.start()
    client = connect(box)
    wait_until(lambda: len(client.call(
        "ListQueuedOwners", "(s)", (SUPERVISED,), name="org.freedesktop.DBus",
        path="/org/freedesktop/DBus")[0]) == 2, "the daemon in the queue")
    other.close()
    wait_until(lambda: client.has_owner(SUPERVISED), "the name")
    assert call_supervised(client, "GetNumberOfPorts") == (2, 1)
