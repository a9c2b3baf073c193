"""A D-Bus client for the tests: calls, and signals as they come."""

from dataclasses import dataclass

from gi.repository import Gio, GLib

from waiting import DEADLINE, TimedOut

STATE = "com.vexa.IOControl.State"
STATE_PATH = "/com/vexa/IOControl/State"
EVENTS = "org.orvad.Events1"
PRODUCER = "org.orvad.Events1.Producer"
PRODUCER_PATH = "/org/orvad/Events1/qel"
CONFIGURATION_EVENTS = "org.orvad.ConfigurationEvents1"

_MILLISECONDS = 1000


class BusError(Exception):
    """An error reply: its D-Bus name and its message."""

    def __init__(self, name, message):
        super().__init__(f"{name}: {message}")
        self.name = name
        self.message = message


@dataclass(frozen=True)
class Signal:
    """One signal that arrived."""
    member: str
    args: tuple
    path: str
    interface: str
    sender: str


class Client:
    """A connection of its own to a bus.

    Signals are only looked at inside wait_for() and sync(), on the client's
    own main context: nothing arrives behind a test's back.
    """

    def __init__(self, address):
        self._context = GLib.MainContext.new()
        self.connection = Gio.DBusConnection.new_for_address_sync(
            address, Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
            | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION, None, None)
        self.connection.set_exit_on_close(False)

    def close(self):
        if not self.connection.is_closed():
            self.connection.close_sync(None)

    def call(self, method, signature="()", args=(), *, name=STATE,
             path=STATE_PATH, interface=None):
        """Calls a method, of the State interface unless told otherwise; the
        tuple of what it returns. BusError for an error reply.

        signature: of the arguments, as "(ub)".
        """
        try:
            reply = self.connection.call_sync(
                name, path, interface or name, method,
                GLib.Variant(signature, tuple(args)), None,
                Gio.DBusCallFlags.NO_AUTO_START, int(DEADLINE * _MILLISECONDS),
                None)
        except GLib.Error as error:
            remote = Gio.DBusError.get_remote_error(error)
            if remote is None:
                raise
            Gio.DBusError.strip_remote_error(error)
            raise BusError(remote, error.message) from None
        return reply.unpack()

    def has_owner(self, name):
        return self.call("NameHasOwner", "(s)", (name,),
                         name="org.freedesktop.DBus",
                         path="/org/freedesktop/DBus")[0]

    def record(self, member=None, *, interface=STATE, path=None):
        """Records every such signal from now on."""
        return Recorder(self, interface, member, path)

    def subscribe(self, interface, member, path, callback):
        """Has callback called for signals; the subscription starts at once."""
        self._context.push_thread_default()
        try:
            self.connection.signal_subscribe(
                None, interface, member, path, None,
                Gio.DBusSignalFlags.NONE, callback)
        finally:
            self._context.pop_thread_default()
        # The bus handles our requests in order: with this answered, the
        # subscription stands.
        self.has_owner("org.freedesktop.DBus")

    def sync(self, name=STATE):
        """On return, every signal that name had sent before it was asked now
        has been recorded."""
        self.call("Ping", name=name, path="/",
                  interface="org.freedesktop.DBus.Peer")
        while self._context.iteration(False):
            pass

    def wait_for(self, condition, what, timeout=DEADLINE):
        """Lets signals in until condition() is true; returns its value."""
        expired = []
        timer = GLib.timeout_source_new(int(timeout * _MILLISECONDS))
        timer.set_callback(lambda *_: expired.append(True))
        timer.attach(self._context)
        try:
            while not (value := condition()):
                if expired:
                    raise TimedOut(f"not within {timeout:g} s: {what}")
                self._context.iteration(True)
            return value
        finally:
            timer.destroy()


class Recorder:
    """The signals of one kind that have arrived, in order."""

    def __init__(self, client, interface, member, path):
        self._client = client
        self._what = f"{interface}.{member or '*'}"
        self.signals = []
        client.subscribe(interface, member, path, self._arrived)

    def _arrived(self, _connection, sender, path, interface, member, args):
        self.signals.append(
            Signal(member, args.unpack(), path, interface, sender))

    @property
    def args(self):
        """The arguments of each signal."""
        return [signal.args for signal in self.signals]

    def wait_for(self, condition, timeout=DEADLINE):
        """Waits until condition(signal) holds for one; returns that one."""
        return self._wait(
            lambda: next(filter(condition, self.signals), None), timeout)

    def wait_for_last(self, condition, number=None, timeout=DEADLINE):
        """Waits until condition(signal) holds for the last one that has come,
        of that port if one is named."""
        def last():
            of_port = [signal for signal in self.signals
                       if number in (None, signal.args[0])]
            return bool(of_port) and condition(of_port[-1])
        self._wait(last, timeout)

    def wait_for_count(self, count, timeout=DEADLINE):
        """Waits for that many signals; returns them all."""
        self._wait(lambda: len(self.signals) >= count, timeout)
        return self.signals

    def _wait(self, condition, timeout):
        try:
            return self._client.wait_for(condition, self._what, timeout)
        except TimedOut as error:
            seen = "\n".join(map(str, self.signals)) or "none"
            raise TimedOut(f"{error}; arrived:\n{seen}") from None
