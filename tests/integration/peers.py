"""The daemon's neighbours on the system bus, for its tests: the IO box's
monitor, the action engine, the streaming service, the PTZ coordinator and the
reader of the boot block."""

import contextlib
import pathlib

import pytest
from gi.repository import GLib

from bus_client import BusError
from peer import Peer

UNKNOWN = "com.example.Error.Unknown"


def _boolean(value):
    """A property of the values that it may have: a boolean, none for a
    property that is not there, or a GLib.Variant as it is."""
    return GLib.Variant("b", value) if isinstance(value, bool) else value


class IOBox(Peer):
    """The monitor of a box that is connected or not.

    state: port number -> state word. status: port number -> status word.
    modes: what was set: (port number, level, mode word), in order.
    """

    NAME = "com.vexa.IOBoxMonitor"
    PATH = "/com/vexa/IOBoxMonitor"
    INTERFACE = "com.vexa.IOBoxMonitor"

    def __init__(self, address, state=None, *, connected=True, **options):
        """All its ports are enabled."""
        self.connected = connected
        self.state = dict(state or {})
        self.status = dict.fromkeys(self.state, "enabled")
        self.modes = []
        super().__init__(address, **options)

    def declare(self):
        self.method("GetIOBoxConnected", "()", "(b)",
                    lambda: (self.connected,))
        self.method("GetIOPortStatus", "(i)", "(s)",
                    lambda port: (self._of(self.status, port),))
        self.method("GetIOState", "(i)", "(s)",
                    lambda port: (self._of(self.state, port),))
        self.method("SetIOMode", "(iis)", "()", self._set_mode)

    @staticmethod
    def _of(table, port):
        if port not in table:
            raise BusError(UNKNOWN, f"no port {port}")
        return table[port]

    def _set_mode(self, *mode):
        self.modes.append(mode)
        return ()

    def change(self, port, word):
        """A port changes its state."""
        self.state[port] = word
        self.emit("IOStateChanged", "(is)", port, word)


class ActionEngine(Peer):
    """The engine with its templates.

    templates: id -> the file that it was loaded from.
    """

    NAME = "com.vexa.Event.ActionEngine.User"
    PATH = "/com/vexa/Event/ActionEngine"
    INTERFACE = "com.vexa.Event.ActionEngine.User"
    TEMPLATES = "com.vexa.Event.ActionEngine.ActionTemplate"

    def __init__(self, address, templates=None, **options):
        self.templates = dict(templates or {})
        super().__init__(address, **options)

    def declare(self):
        for member, signature, reply, function in [
                ("List", "()", "(a(sssa{ss}))", self._list),
                ("AddFromFile", "(s)", "()", self._add),
                ("Remove", "(s)", "()", self._remove)]:
            self.method(member, signature, reply, function, self.TEMPLATES)

    def _list(self):
        return ([(name, file, "", {"kind": "fixed"})
                 for name, file in self.templates.items()],)

    def _add(self, file):
        name = pathlib.PurePath(file).name.removesuffix(".xml")
        if name in self.templates:
            raise BusError(UNKNOWN, f"{name} is there already")
        self.templates[name] = file
        return ()

    def _remove(self, name):
        if self.templates.pop(name, None) is None:
            raise BusError(UNKNOWN, f"no template {name}")
        return ()


class Streamer(Peer):
    """The streaming service with its video channels.

    endless: whether every number is that of an enabled channel.
    """

    NAME = "com.vexa.Streamer"
    PATH = "/com/vexa/Streamer/Video/Channel"
    INTERFACE = "com.vexa.Streamer.Video.Channel"
    OTHERS = {"Resolution": GLib.Variant("s", "1280x720")}

    def __init__(self, address, channels=None, *, endless=False, **options):
        """channels: number -> see add()."""
        self.endless = endless
        self._channels = channels or {}
        super().__init__(address, **options)

    def declare(self):
        for number, enabled in self._channels.items():
            self.add(number, enabled)

    @classmethod
    def channel(cls, number):
        """A channel's path."""
        return f"{cls.PATH}/{number}"

    def add(self, number, enabled=True):
        """enabled: what Enabled is; none: the channel does not have it; a
        GLib.Variant: of another type."""
        value = _boolean(enabled)
        self.properties[self.channel(number)] = {
            **self.OTHERS, **({} if value is None else {"Enabled": value})}

    def remove(self, number):
        del self.properties[self.channel(number)]

    def set_enabled(self, number, enabled):
        """A channel is switched on or off."""
        self.add(number, enabled)
        self.channel_signal(number, "EnabledChanged", "(b)", enabled)

    def channel_signal(self, number, *signal, **options):
        """emit() for a channel."""
        self.emit(*signal, path=self.channel(number), **options)

    def object_at(self, path):
        if self.endless and path.startswith(self.PATH + "/"):
            return self.properties.get(
                path, {**self.OTHERS, "Enabled": GLib.Variant("b", True)})
        return super().object_at(path)


class Coordinator(Peer):
    """The PTZ coordinator."""

    NAME = "com.vexa.PTZ.Coordinator"
    PATH = "/com/vexa/PTZ/Coordinator/1"
    INTERFACE = "com.vexa.PTZ.Coordinator"

    def __init__(self, address, ptz=True, **options):
        """ptz: what PTZEnabled is; none: it is not there; a GLib.Variant: of
        another type."""
        self._ptz = ptz
        super().__init__(address, **options)

    def declare(self):
        self.keep_ptz(self._ptz)

    def keep_ptz(self, ptz):
        """Changes the property and tells nobody."""
        value = _boolean(ptz)
        self.properties[self.PATH] = (
            {} if value is None else {"PTZEnabled": value})

    def set_ptz(self, enabled, number=1):
        """PTZ is switched on or off."""
        self.keep_ptz(enabled)
        self.emit("PtzEnabledChanged", "(ib)", number, enabled)


class BootBlock(Peer):
    """The reader of the boot block. parameters: name -> value."""

    NAME = "com.vexa.PolicyKitSystem"
    PATH = "/com/vexa/PolicyKitSystem"
    INTERFACE = "com.vexa.PolicyKitSystem"
    READ = "ReadBootblockParam"

    def __init__(self, address, hardware_id=None, **options):
        self.parameters = {} if hardware_id is None else {"HWID": hardware_id}
        super().__init__(address, **options)

    def declare(self):
        self.method(self.READ, "(s)", "(s)", self._read)

    def _read(self, name):
        if name not in self.parameters:
            raise BusError(UNKNOWN, f"no parameter {name}")
        return (self.parameters[name],)

    @property
    def asked(self):
        """The parameters that were asked for, in order."""
        return [name for (name,) in self.arguments(self.READ)]


@pytest.fixture(name="offer")
def fixture_offer():
    """offer(sandbox or bus, IOBox, ...): such a peer, until the test ends."""
    with contextlib.ExitStack() as stack:
        def make(bus, kind, *args, **options):
            address = getattr(bus, "bus_address", None) or bus.address
            return stack.enter_context(kind(address, *args, **options))
        yield make
