"""A service on the bus that a test has in hand: what it answers, when, and
when it comes and goes."""

import collections
import contextlib
import functools
import queue
import threading

from gi.repository import Gio, GLib

from bus_client import STATE, STATE_PATH, BusError
from waiting import DEADLINE, wait_until

BUS = "org.freedesktop.DBus"
BUS_PATH = "/org/freedesktop/DBus"
PROPERTIES = "org.freedesktop.DBus.Properties"
_LEFT_TO_GDBUS = ("org.freedesktop.DBus.Peer",
                  "org.freedesktop.DBus.Introspectable")
_MILLISECONDS = 1000

# Of the bus's RequestName.
_ALLOW_REPLACEMENT = 1
_REPLACE_EXISTING = 2
_DO_NOT_QUEUE = 4
_NOW_OWNER, _OWNER_ALREADY = 1, 4

NEVER = object()
"""An answer that does not come."""
OWN = object()
"""The answer that the peer would give by itself."""

Call = collections.namedtuple("Call", "member args path interface sender")


class Reply:
    """An answer of any type: Reply("(s)", "open")."""

    def __init__(self, signature="()", *values):
        self.body = GLib.Variant(signature, values)


def in_turn(*answers):
    """An answer for Peer.answers: these for the first calls, one each, then
    what the peer answers by itself."""
    left = list(answers)
    return lambda _call: left.pop(0) if left else OWN


def connect_to(address):
    connection = Gio.DBusConnection.new_for_address_sync(
        address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
        | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
    connection.set_exit_on_close(False)
    return connection


def ask_bus(connection, method, signature="()", *args):
    reply = connection.call_sync(
        BUS, BUS_PATH, BUS, method, GLib.Variant(signature, args), None,
        Gio.DBusCallFlags.NONE, -1, None).unpack()
    return reply[0] if reply else None


class Peer(contextlib.AbstractContextManager):
    """A service on the bus, the base of those in peers.py.

    Three tables may be changed at any time. Their keys are names of methods
    (GetAll and Get too), or (path, method) for one object.

    answers: what is answered: a Reply, a BusError, NEVER, OWN, or a function
        of the Call that returns one.
    before: a function of the peer that is called, with a call at hand, before
        it is answered. It may do what a test may, such as to vanish().
    properties: path -> name -> GLib.Variant, of the objects that exist.

    Calls are handled one after the other by a thread that lives as long as
    the peer. On return from emit() and from whatever makes the name come or
    go, the bus has told everybody: with a call that is made afterwards
    answered, a daemon has seen to it.
    """

    NAME = None
    PATH = None
    INTERFACE = None

    def __init__(self, address, *, appear=True):
        self.calls = []
        self.answered = []
        self.answers = {}
        self.before = {}
        self.properties = {self.PATH: {}}
        self._methods = {}
        self._held = {}
        self._failures = []
        self.declare()
        self._address = address
        self._jobs = queue.SimpleQueue()
        self._connection = self._connect()
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()
        if appear:
            self.appear()

    def __exit__(self, *_):
        self.stop()

    # ---- coming and going ----

    @property
    def unique_name(self):
        return self._connection.get_unique_name()

    @property
    def connection(self):
        """The present one."""
        return self._connection

    def appear(self, replace=False):
        """Takes the name. replace: from whoever has it, without a gap."""
        self._take_name(self._connection, _REPLACE_EXISTING if replace else 0)

    def vanish(self):
        """Gives the name up; the object stays where it is."""
        ask_bus(self._connection, "ReleaseName", "(s)", self.NAME)

    def reappear(self):
        """The name goes and comes; the connection stays."""
        self.vanish()
        self.appear()

    def restart(self):
        """The name goes, and comes with another connection."""
        self.vanish()
        old, self._connection = self._connection, self._connect()
        self._close(old)
        self.appear()

    def take_over(self):
        """The name passes to another connection without a gap."""
        connection = self._connect()
        self._take_name(connection, _REPLACE_EXISTING)
        old, self._connection = self._connection, connection
        self._close(old)

    def disconnect(self):
        """The connection is gone, as of a service that crashed; appear() is
        with another one."""
        old, self._connection = self._connection, self._connect()
        self._close(old)
        wait_until(lambda: old.get_unique_name() != self._owner(),
                   f"the end of {self.NAME}")

    def stop(self):
        """Ends the peer. Fails if anything went wrong inside it."""
        self._jobs.put(None)
        self._thread.join(DEADLINE)
        self._close(self._connection)
        for failure in self._failures:
            raise failure

    def _connect(self):
        connection = connect_to(self._address)
        connection.add_filter(self._take)
        return connection

    @staticmethod
    def _close(connection):
        with contextlib.suppress(GLib.Error):
            connection.close_sync(None)

    def _take_name(self, connection, flag):
        result = ask_bus(connection, "RequestName", "(su)", self.NAME,
                         _ALLOW_REPLACEMENT | _DO_NOT_QUEUE | flag)
        assert result in (_NOW_OWNER, _OWNER_ALREADY), f"{self.NAME} is taken"

    def _owner(self):
        """The unique name of who has the name, none if nobody has it."""
        try:
            return ask_bus(self._connection, "GetNameOwner", "(s)", self.NAME)
        except GLib.Error:
            return None

    # ---- signals ----

    def emit(self, member, signature="()", *args, path=None, interface=None,
             to=None, by=None):
        """Sends a signal, of the peer's own object unless told otherwise.

        to: a bus name that gets it alone; else who asked the bus for it does.
        by: a stranger that sends it, such as a Client or another Peer.
        """
        connection = (by or self).connection
        connection.emit_signal(
            to, path or self.PATH, interface or self.INTERFACE, member,
            GLib.Variant(signature, args))
        ask_bus(connection, "GetId")

    def emit_properties_changed(self, changed=None, invalidated=(), path=None,
                                **options):
        """The standard signal. changed: name -> GLib.Variant."""
        self.emit("PropertiesChanged", "(sa{sv}as)", self.INTERFACE,
                  changed or {}, invalidated, path=path, interface=PROPERTIES,
                  **options)

    # ---- what was called ----

    def _matching(self, member, path):
        return [call for call in list(self.calls)
                if call.member == member and path in (None, call.path)]

    def count(self, member, path=None):
        """How often a method was called, of one object if one is named."""
        return len(self._matching(member, path))

    def arguments(self, member, path=None):
        return [call.args for call in self._matching(member, path)]

    def wait_for_calls(self, member, count=1, path=None):
        wait_until(lambda: self.count(member, path) >= count,
                   f"{count} calls of {member}; got {self.calls}")

    def wait_for_answer(self, member, count=1):
        wait_until(lambda: self.answered.count(member) >= count,
                   f"{count} answers to {member}; gave {self.answered}")

    # ---- late answers ----

    def hold(self, member):
        """Keeps the answers to a method back, of the calls that come from now
        on."""
        self._jobs.put(functools.partial(self._held.setdefault, member, []))

    def release(self, member):
        """Sends the answers that were kept back, as they were decided when
        the calls came. Later calls are answered at once."""
        self._jobs.put(functools.partial(self._release, member))

    def _release(self, member):
        for send in self._held.pop(member):
            send()

    # ---- the calls ----

    def declare(self):
        """Declares what the peer has, before it appears."""

    def method(self, member, signature, reply, function, interface=None):
        """Declares a method, of the peer's own interface unless told
        otherwise. The function gets the arguments and returns a tuple of the
        reply's values, or raises a BusError."""
        self._methods[interface or self.INTERFACE, member] = (
            signature, reply, function)

    def _take(self, connection, message, incoming):
        """In GDBus's thread, which must not be kept: hands a call over."""
        if (not incoming or message.get_interface() in _LEFT_TO_GDBUS or
                message.get_message_type() != Gio.DBusMessageType.METHOD_CALL):
            return message
        self._jobs.put(functools.partial(self._handle, connection, message))
        return None

    def _serve(self):
        while job := self._jobs.get():
            try:
                job()
            except Exception as failure:  # pylint: disable=broad-except
                self._failures.append(failure)

    def _handle(self, connection, message):
        body = message.get_body()
        call = Call(message.get_member(), body.unpack() if body else (),
                    message.get_path(), message.get_interface(),
                    message.get_sender())
        self.calls.append(call)
        answer = self._answer(call, body.get_type_string() if body else "()")
        self._setting(self.before, call, lambda _: None)(self)
        send = functools.partial(self._send, connection, message, answer)
        held = self._setting(self._held, call, None)
        if held is None:
            send()
        else:
            held.append(send)

    @staticmethod
    def _setting(table, call, default):
        return table.get((call.path, call.member),
                         table.get(call.member, default))

    def _answer(self, call, signature):
        answer = self._setting(self.answers, call, OWN)
        try:
            if callable(answer):
                answer = answer(call)
            return self._own(call, signature) if answer is OWN else answer
        except BusError as error:
            return error

    def _own(self, call, signature):
        properties = self.object_at(call.path)
        if properties is None:
            raise BusError(f"{BUS}.Error.UnknownMethod",
                           f"no object {call.path}")
        if call.interface == PROPERTIES:
            return self._own_properties(call, properties)
        if (call.interface, call.member) not in self._methods:
            raise BusError(f"{BUS}.Error.UnknownMethod", f"no {call.member}")
        expected, reply, function = self._methods[call.interface, call.member]
        if signature != expected:
            raise BusError(f"{BUS}.Error.InvalidArgs", f"{signature}")
        return Reply(reply, *function(*call.args))

    @staticmethod
    def _own_properties(call, properties):
        if call.member == "GetAll":
            return Reply("(a{sv})", properties)
        if call.member == "Get" and call.args[1] in properties:
            return Reply("(v)", properties[call.args[1]])
        raise BusError(f"{BUS}.Error.InvalidArgs", f"{call.args}")

    def object_at(self, path):
        """The properties of the object there, none where there is none."""
        return self.properties.get(path)

    def _send(self, connection, message, answer):
        if answer is NEVER:
            return
        if isinstance(answer, BusError):
            reply = message.new_method_error_literal(answer.name,
                                                     answer.message)
        else:
            reply = message.new_method_reply()
            reply.set_body(answer.body)
        # A peer that has left meanwhile answers nobody.
        with contextlib.suppress(GLib.Error):
            connection.send_message(reply, Gio.DBusSendMessageFlags.NONE)
            connection.flush_sync(None)
        self.answered.append(message.get_member())


class AskDaemon:
    """For Peer.before: calls the daemon back, a method of its State interface
    without arguments, and waits for a moment only. What came of it is in
    outcomes: the values, a BusError, or None when no answer came."""

    def __init__(self, method="GetNbrPorts", timeout=0.5):
        self.outcomes = []
        self._method = method
        self._timeout = int(timeout * _MILLISECONDS)

    def __call__(self, peer):
        try:
            reply = peer.connection.call_sync(
                STATE, STATE_PATH, STATE, self._method, None, None,
                Gio.DBusCallFlags.NO_AUTO_START, self._timeout, None)
            self.outcomes.append(reply.unpack())
        except GLib.Error as error:
            name = Gio.DBusError.get_remote_error(error)
            self.outcomes.append(name and BusError(name, error.message))
