"""Clients that do not behave: the daemon stays, answers, and ends cleanly."""

import contextlib
import os
import socket

import pytest
from gi.repository import Gio, GLib

from action_engine_support import DOOR, LIST, fixture_register
from bus_client import STATE, STATE_PATH, BusError
from lifecycle_support import WITHOUT_LEGACY
from peers import fixture_offer
from ports_support import (HOUR, SIGNATURES, event, fixture_serve, key,
                           long_sequence, pipeline, port, post)
from waiting import wait_until

BUS = "org.freedesktop.DBus"
BUS_PATH = "/org/freedesktop/DBus"
PROPERTIES = "org.freedesktop.DBus.Properties"
INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs"
UNKNOWN_METHOD = "org.freedesktop.DBus.Error.UnknownMethod"
MEBIBYTE = 1024 * 1024
EVENTS = [event("IOPort"), event("PortAny"),
          event("com.vexa.Event.Qel.ManualTrigger",
                key("state", "PORT_STATUS", "bool", True))]


PORTS = [port("out", "output", 0), port("in", "input", 1, events=EVENTS),
         port("park", "output", 2, optional=True, events=EVENTS)]


@pytest.fixture(name="service")
def fixture_service(serve):
    """A daemon that has to answer rightly after the test, too."""
    service = serve(*PORTS)
    yield service
    check_service(service)


@pytest.fixture(name="quick_service")
def fixture_quick_service(serve):
    """The same, without the files that each drop and refresh writes."""
    service = serve(*PORTS, argv=WITHOUT_LEGACY)
    yield service
    check_service(service)


def check_service(service):
    client = service.another_client()
    for state in (True, False):
        client.call("SetState", "(ub)", (0, state))
        assert client.call("GetState", "(u)", (0,)) == (state,)
    client.close()
    service.daemon.stop()


def error_of(client, method, signature="()", args=(), **where):
    with pytest.raises(BusError) as caught:
        client.call(method, signature, args, **where)
    return caught.value.name


# ---- wrong calls ----

def test_wrong_arguments_are_refused(service):
    wrong = [("(s)", ("0",)), ("(i)", (-1,)), ("(v)", (GLib.Variant("u", 0),)),
             ("(t)", (2**64 - 1,)), ("((u))", ((0,),)), ("(au)", ([0],)),
             ("(uu)", (0, 1)), ("(ubsx)", (0, True, "open", 1)),
             ("(aas)", ([["a"]],)), ("(uba(ib))", (0, True, [(1, True)]))]
    for method, right in SIGNATURES.items():
        for signature, args in [("()", ()), *wrong]:
            if signature != right:
                assert error_of(service.client, method, signature, args) == \
                    INVALID_ARGS


def test_unknown_methods_and_places_are_refused(service):
    client = service.client
    for method, where in [
            ("NoSuchMethod", {}), ("getState", {}), ("PortChanged", {}),
            ("GetState", {"interface": "com.vexa.IOControl.Other"}),
            ("GetState", {"interface": PROPERTIES}),
            ("GetState", {"path": "/"}),
            ("GetState", {"path": STATE_PATH + "/0"}),
            ("GetState", {"path": "/com/vexa/IOControl"})]:
        assert error_of(client, method, "(u)", (0,), **where) == UNKNOWN_METHOD


def test_call_without_an_interface_is_answered(service):
    message = Gio.DBusMessage.new_method_call(STATE, STATE_PATH, None,
                                              "GetState")
    message.set_body(GLib.Variant("(u)", (0,)))
    reply, _ = service.client.connection.send_message_with_reply_sync(
        message, Gio.DBusSendMessageFlags.NONE, 20000, None)
    assert reply.get_error_name() == UNKNOWN_METHOD


def test_object_has_no_properties(service):
    client = service.client

    def properties(method, signature, *args):
        return client.call(method, signature, args, interface=PROPERTIES)
    assert properties("GetAll", "(s)", STATE) == ({},)
    for method, signature, args in [
            ("Get", "(ss)", (STATE, "number")),
            ("Get", "(ss)", (STATE, "")),
            ("Set", "(ssv)", (STATE, "number", GLib.Variant("i", 1)))]:
        assert error_of(client, method, signature, args,
                        interface=PROPERTIES) == INVALID_ARGS
    for method, signature, args in [
            ("GetAll", "(s)", ("com.vexa.Other",)),
            ("GetAll", "(s)", ("",)),
            ("Get", "(ss)", ("", "")),
            ("Set", "(ssv)", ("com.vexa.Other", "number",
                              GLib.Variant("s", "x")))]:
        assert error_of(client, method, signature, args,
                        interface=PROPERTIES) in (INVALID_ARGS,
                                                  UNKNOWN_METHOD)


def test_producer_refuses_wrong_calls(service):
    where = {"name": "org.orvad.Events1", "path": "/org/orvad/Events1/qel",
             "interface": "org.orvad.Events1.Producer"}
    client = service.client
    assert error_of(client, "GetState", "(u)", (4294967295,), **where) == \
        INVALID_ARGS
    assert error_of(client, "GetState", "(s)", ("1",), **where) == INVALID_ARGS
    assert error_of(client, "Declared", "(u)", (1,), **where) == UNKNOWN_METHOD


# ---- odd texts ----

ODD = ["", " ", "\n", "a\n[in]\ninput_name=forged\n", "[in]", "]", "'\"`$;#=",
       "\t\\n\\", "%s%n%d", "\x01\x7f", "\u202e\U0001f6aa", "=", "# comment",
       "x" * MEBIBYTE]


def test_odd_names_are_kept_and_survive_a_restart(service):
    for text in ODD:
        service.call("SetName", 1, True, text)
        service.call("SetUsage", 1, text)
        assert service.call("GetNames", 1) == (text, "")
        service.settle()
        saved = service.parameters()["in"]
        assert (saved["input_name"], saved["usage"]) == (text, text)
        assert set(service.parameters()) == {"out", "in", "park"}
        service.restart()
        assert service.call("GetNames", 1) == (text, "")
        assert service.call("GetUsage", 1) == text


def test_odd_texts_in_place_of_words_are_refused(service):
    for text in ODD:
        for method, args in [("SetDirection", (1, text)),
                             ("SetActive", (1, True, text))]:
            assert error_of(service.client, method, SIGNATURES[method],
                            args) == "com.vexa.IOControl.Error.Generic"
    assert service.call("DropIOPorts", ODD) == []


class RawClient(contextlib.AbstractContextManager):
    """A connection to the bus, byte by byte."""

    def __init__(self, service):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.settimeout(20)
        self._socket.connect(
            service.box.bus_address.removeprefix("unix:path="))
        uid = str(os.getuid()).encode().hex()
        self._socket.sendall(b"\0AUTH EXTERNAL " + uid.encode() + b"\r\n")
        assert self._socket.recv(4096).startswith(b"OK")
        self._socket.sendall(b"BEGIN\r\n")
        self.send(Gio.DBusMessage.new_method_call(BUS, BUS_PATH, BUS, "Hello"))

    def __exit__(self, *error):
        self._socket.close()

    def send(self, message, change=lambda data: data):
        """Sends a message as change() leaves its bytes."""
        message.set_serial(1)
        data = message.to_blob(Gio.DBusCapabilityFlags.NONE)
        self._socket.sendall(change(bytes(data)))

    def wait_for_hang_up(self):
        while self._socket.recv(65536):
            pass


def method_call(method, args, signature=None):
    message = Gio.DBusMessage.new_method_call(STATE, STATE_PATH, STATE, method)
    message.set_body(GLib.Variant(signature or SIGNATURES[method], args))
    return message


@pytest.mark.parametrize("bytes_", [b"\xff\xfe\xfd\xfc", b"\xed\xa0\x80x",
                                    b"\xc0\xafxx", b"ab\0c"],
                         ids=["none", "surrogate", "overlong", "zero"])
def test_text_that_is_not_utf_8_never_arrives(service, bytes_):
    with RawClient(service) as raw:
        raw.send(method_call("SetName", (1, True, "MARK")),
                 lambda data: data.replace(b"MARK", bytes_))
        raw.wait_for_hang_up()
    assert service.call("GetNames", 1) == ("Input 1", "")


@pytest.mark.parametrize("change", [
    lambda data: data[:-3],
    lambda data: data[:4] + b"\xff\xff\xff\x7f" + data[8:],
    lambda data: b"X" + data[1:],
    lambda data: os.urandom(len(data)),
], ids=["cut", "length", "byte order", "noise"])
def test_broken_messages_never_arrive(service, change):
    with RawClient(service) as raw:
        raw.send(method_call("SetState", (0, True)), change)
    assert service.call("GetState", 0) is False


def test_values_beside_true_and_false_never_arrive(service):
    with RawClient(service) as raw:
        raw.send(method_call("SetState", (0, True)),
                 lambda data: data[:-4] + b"\2\0\0\0")
        raw.wait_for_hang_up()
    assert service.call("GetState", 0) is False


# ---- very much at once ----

def test_thousands_of_calls_without_reading_a_reply(quick_service):
    service = quick_service
    client = service.another_client()
    for i in range(1000):
        post(client, "GetPortProps", ())
        post(client, "GetState", (i,))
        post(client, "StartActionSequence", (1, True, [(True, 0)]))
        post(client, "DropIOPorts", (["park"],))
        post(client, "RefreshIOPorts", ())
    client.call("GetNbrPorts")
    assert service.names() == ["park", "in", "out"]


def test_replies_that_nobody_reads(service):
    with RawClient(service) as raw:
        for _ in range(3000):
            raw.send(method_call("GetPortProps", (), "()"))
        assert service.call("GetNbrPorts") == (1, 2)


class Flood:
    """Many calls at once, of a client of its own."""

    def __init__(self, client, method, count):
        self.errors = []
        self._count = count
        self._context = GLib.MainContext.new()
        self._context.push_thread_default()
        try:
            for _ in range(count):
                client.connection.call(
                    STATE, STATE_PATH, STATE, method, None, None,
                    Gio.DBusCallFlags.NO_AUTO_START, -1, None, self._answered)
        finally:
            self._context.pop_thread_default()
        client.connection.flush_sync(None)

    def _answered(self, connection, result):
        try:
            connection.call_finish(result)
            self.errors.append(None)
        except GLib.Error as error:
            self.errors.append(Gio.DBusError.get_remote_error(error))

    def so_far(self):
        """The errors of the calls that were answered, none for a success."""
        while self._context.iteration(False):
            pass
        return self.errors

    def wait(self):
        wait_until(lambda: len(self.so_far()) == self._count,
                   "every call to be answered")


def test_who_asks_for_few_things_is_served_beside_floods(register):
    """Of the others' calls, many are refused; each of them is answered."""
    both = register(DOOR)
    service = both.service
    both.engine.hold(LIST)
    post(service.client, "DropIOPorts", (["door"],))
    both.engine.wait_for_calls(LIST, 2)
    # The daemon waits for the engine now, and everybody for the daemon. Who
    # waits for more than 128 answers is refused by the bus itself.
    floods = [Flood(service.another_client(), "GetNbrPorts", 100)
              for _ in range(16)]
    wait_until(lambda: any(LIMITS_EXCEEDED in flood.so_far()
                           for flood in floods), "the first refusal")
    few = Flood(service.another_client(), "GetNbrPorts", 8)
    both.engine.release(LIST)
    few.wait()
    assert few.errors == [None] * 8
    for flood in floods:
        flood.wait()
        assert set(flood.errors) <= {None, LIMITS_EXCEEDED}
        assert flood.errors.count(None) >= 8
    # Nothing is held against anybody afterwards.
    calls = [("GetNbrPorts", ())] * 100
    for _ in range(11):
        assert pipeline(service.client, calls) == [None] * 100


def test_calls_of_many_clients_at_once(service):
    clients = [service.another_client() for _ in range(20)]
    for client in clients:
        for i in range(50):
            post(client, "SetVirtual" if i % 10 == 0 else "GetState",
                 (1, True) if i % 10 == 0 else (1,))
    for client in clients:
        assert client.call("GetState", "(u)", (1,)) == (False,)


def test_huge_list_of_names_is_looked_through(service):
    names = [f"unknown{i}" for i in range(50_000)] + ["park"] * 50_000
    assert service.call("DropIOPorts", names) == ["park"]
    service.call("RefreshIOPorts")


def test_huge_names_are_looked_for(service):
    assert service.call("DropIOPorts", ["x" * MEBIBYTE] * 10 + ["park"]) == \
        ["park"]
    service.call("RefreshIOPorts")


def test_sequences_on_every_port_at_once(service):
    calls = [("StartActionSequence", (number, True, [(True, HOUR)]))
             for number in (0, 1, 2)]
    errors = pipeline(service.client, calls * 100)
    assert errors[:3] == [None] * 3
    assert set(errors[3:]) == {"com.vexa.IOControl.Error.Busy"}


# ---- clients that go away ----

def test_clients_that_vanish_in_mid_call(service):
    for i in range(100):
        client = service.another_client()
        for method, args in [("GetPortProps", ()), ("SetUsage", (1, f"{i}")),
                             ("DropIOPorts", (["park"],)),
                             ("RefreshIOPorts", ())]:
            client.connection.send_message(method_call(
                method, args), Gio.DBusSendMessageFlags.NONE)
        client.connection.flush_sync(None)
        client.close()
    wait_until(lambda: service.call("GetUsage", 1) == "99",
               "the last call to be handled")
    assert service.call("GetNbrPorts") == (1, 2)


def test_client_that_vanishes_after_starting_100000_steps(service):
    recorder = service.client.record("ActionSequenceDone")
    client = service.another_client()
    _, args = long_sequence(0, [i % 2 == 0 for i in range(100_000)], -1)
    post(client, "StartActionSequence", args)
    client.connection.flush_sync(None)
    client.close()
    recorder.wait_for_count(1)


def test_client_that_vanishes_leaves_its_sequence_playing(service):
    recorder = service.client.record("ActionSequenceDone")
    client = service.another_client()
    client.call("StartActionSequence", "(uba(bi))",
                (0, False, [(True, 30), (False, 0)]))
    client.close()
    recorder.wait_for_count(1)


def test_many_connections_come_and_go(service):
    descriptors = len(service.descriptors())
    for i in range(200):
        client = service.another_client()
        assert client.call("GetNbrPorts") == (1, 2)
        recorder = client.record("PortChanged")
        if i % 20 == 0:
            client.call("SetVirtual", "(ub)", (1, True))
            recorder.wait_for_count(1)
        client.close()
    assert len(service.descriptors()) == descriptors


# ---- long texts: the bus disconnects whoever sends too much ----

LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded"


def call_with_text(client, method, *args):
    """None, or the error."""
    try:
        client.call(method, SIGNATURES[method], args)
    except BusError as error:
        return error.message.rpartition(": ")[2]
    return None


def test_texts_are_taken_up_to_a_mebibyte(serve):
    service = serve(port("both", "io_ctrl", 0, events=EVENTS))
    longest = "n" * MEBIBYTE
    for side in (False, True):
        service.call("SetName", 0, side, longest)
    service.call("SetUsage", 0, longest)
    service.restart()
    assert service.call("GetNames", 0) == (longest, longest)
    assert service.call("GetUsage", 0) == longest
    for side, name in ((False, "output"), (True, "input")):
        for length in (MEBIBYTE + 1, 30 * MEBIBYTE):
            assert call_with_text(
                service.client, "SetName", 0, side, "n" * length) == \
                f"Could not set {name} name for the port."
    assert call_with_text(service.client, "SetUsage", 0, "n" * (
        MEBIBYTE + 1)) == "Could not set usage for the port."
    assert service.call("GetNames", 0) == (longest, longest)


def test_declarations_that_are_too_long_together_are_refused(serve):
    service = serve(*(port(f"in{n}", "input", n, events=[event("IOPort")])
                      for n in range(17)))
    for number in range(17):
        service.call("SetName", number, True, "n" * MEBIBYTE)
    with pytest.raises(BusError) as caught:
        service.declarations()
    assert caught.value.name == LIMITS_EXCEEDED
    assert service.call("GetNbrPorts") == (17, 0)


def test_configured_names_that_are_too_long_together_are_refused(serve):
    """Their numbers are above their count: none is saved at the start."""
    service = serve(*(port(f"{n}" * (MEBIBYTE // 3), "input", n)
                      for n in range(100, 134)))
    assert error_of(service.client, "GetPortProps") == LIMITS_EXCEEDED
    assert service.call("GetNbrPorts") == (34, 0)


# ---- messages that are none of the daemon's business ----

def test_descriptors_that_come_with_calls_are_closed(service):
    def call_with_descriptor(file):
        fds = Gio.UnixFDList.new()
        fds.append(file.fileno())
        message = method_call("GetState", (1,))
        message.set_unix_fd_list(fds)
        service.client.connection.send_message_with_reply_sync(
            message, Gio.DBusSendMessageFlags.NONE, 20000, None)
    with open("/dev/null", "rb") as file:
        # GLib opens what it needs for itself with the first calls.
        call_with_descriptor(file)
        service.settle()
        descriptors = len(service.descriptors())
        for _ in range(100):
            call_with_descriptor(file)
    wait_until(lambda: len(service.descriptors()) <= descriptors,
               "the descriptors to be closed")


def test_replies_that_nobody_asked_for(service):
    owner, = service.client.call("GetNameOwner", "(s)", (STATE,), name=BUS,
                                 path=BUS_PATH)
    for serial in range(1, 50):
        call = Gio.DBusMessage.new_method_call(owner, "/", None, "X")
        call.set_sender(owner)
        call.set_serial(serial)
        reply = Gio.DBusMessage.new_method_reply(call)
        reply.set_body(GLib.Variant("(as)", (["x"],)))
        error = Gio.DBusMessage.new_method_error_literal(
            call, "com.example.Error", "x")
        for message in (reply, error):
            service.client.connection.send_message(
                message, Gio.DBusSendMessageFlags.NONE)
    assert service.call("GetNbrPorts") == (1, 2)


def test_signals_that_pretend_to_be_the_bus_s(service):
    owner, = service.client.call("GetNameOwner", "(s)", (STATE,), name=BUS,
                                 path=BUS_PATH)
    for member, signature, args in [
            ("NameLost", "(s)", (STATE,)),
            ("NameOwnerChanged", "(sss)", (STATE, owner, "")),
            ("NameAcquired", "(as)", (["x"],)),
            ("Disconnected", "()", ())]:
        service.client.connection.emit_signal(
            owner, BUS_PATH, BUS, member, GLib.Variant(signature, args))
    service.client.connection.emit_signal(
        owner, STATE_PATH, STATE, "PortChanged", GLib.Variant("(s)", ("x",)))
    assert service.call("GetNbrPorts") == (1, 2)


def test_name_that_is_wanted_by_another_stays(service):
    owner = service.client.call("GetNameOwner", "(s)", (STATE,), name=BUS,
                                path=BUS_PATH)
    client = service.another_client()
    # Replace the owner, or wait for the name.
    replace_existing, in_queue = 2, 2
    assert client.call("RequestName", "(su)", (STATE, replace_existing),
                       name=BUS, path=BUS_PATH) == (in_queue,)
    assert service.client.call("GetNameOwner", "(s)", (STATE,), name=BUS,
                               path=BUS_PATH) == owner
