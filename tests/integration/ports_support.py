"""Port configurations, and the State and event interfaces as tests use them."""

import contextlib
import pathlib
import struct
from dataclasses import dataclass
from xml.sax.saxutils import quoteattr

import pytest
from gi.repository import Gio, GLib

from bus_client import (EVENTS, PRODUCER, PRODUCER_PATH, STATE, STATE_PATH,
                        BusError)
from waiting import wait_until

# Of the methods' arguments.
SIGNATURES = {
    "DropIOPorts": "(as)",
    "RefreshIOPorts": "()",
    "GetNbrPorts": "()",
    "GetPortProps": "()",
    "SetState": "(ub)",
    "GetState": "(u)",
    "IsConfigurable": "(u)",
    "GetDirection": "(u)",
    "SetDirection": "(us)",
    "GetActive": "(u)",
    "SetActive": "(ubs)",
    "StartActionSequence": "(uba(bi))",
    "GetNames": "(u)",
    "SetName": "(ubs)",
    "GetUsage": "(u)",
    "SetUsage": "(us)",
    "SetVirtual": "(ub)",
}

_ERROR = "com.vexa.IOControl.Error."
NO_PORT = (_ERROR + "No_port", "No such port.")
BUSY = (_ERROR + "Busy", "The port is busy.")
NOT_OUTPUT = (_ERROR + "Not_output", "Port not output.")
NOT_CONFIGURABLE = (_ERROR + "Not_configurable", "Port not configurable.")
GENERIC = _ERROR + "Generic"

# A bus lets a client wait for 128 replies.
_PENDING = 100

IOPORT = {"ioport": "true"}
HOUR = 1_800_000
"""Milliseconds that no test lives to see; half an hour, since an hour would
wrap."""


def _element(name, attributes, *children):
    text = "".join(f" {key}={quoteattr(str(value))}"
                   for key, value in attributes.items())
    return f"<{name}{text}>{''.join(children)}</{name}>"


def key(name, value, kind, is_property=False, **nice_names):
    """A key of an event; nice names as key_nice_name, value_nice_name."""
    return _element("keyvalue", {
        "key": name, "value": value, "type": kind,
        "property": "true" if is_property else "false",
        **{name.replace("_", "-"): text for name, text in nice_names.items()}})


def event(declaration, *keys, **attributes):
    """An event; attributes as output="false". Of several, and of several keys,
    the last one comes first."""
    return _element("event", {"declaration": declaration, **attributes}, *keys)


def port(name, kind, number=None, *, backend="check", items=None,
         groups=None, properties=None, names=None, defaults=None, events=(),
         optional=False):
    """A port. kind: "input", "output" or "io_ctrl". items: attributes of the
    backend's device element, or of the backend itself for "check". groups:
    further elements of the backend, name -> attributes."""
    items = items or {}
    inside = backend == "sysfs"
    attributes = {} if name is None else {"name": name}
    parts = [_element("port_type", {"type": kind}),
             _element("properties", IOPORT if properties is None
                      else properties)]
    if number is not None:
        parts.append(_element("port_no", {"nbr": number}))
    parts.append(_element("param_default_name", names or {}))
    parts.append(_element("param_defaults", defaults or {}))
    parts.append(_element(
        "backend", {"name": backend, **({} if inside else items)},
        _element("device", items) if inside else "",
        *(_element(group, pairs) for group, pairs in (groups or {}).items())))
    return _element(
        "port", {**attributes, **({"optional": "true"} if optional else {})},
        *parts, *events)


def sysfs_port(name, number, path, **options):
    """An input whose level is a file's, looked at every few milliseconds."""
    return port(name, "input", number, backend="sysfs",
                items={"path": path, "timeout": 2}, **options)


def gpio_port(name, kind, number, *, optional=False, defaults=None, events=(),
              **groups):
    """A port on GPIO lines; groups: as input={"pin": 17}."""
    return port(name, kind, number, backend="gpio", groups=groups,
                optional=optional, defaults=defaults, events=events)


def configuration(*ports):
    return _element("ioports", {}, *ports)


@contextlib.contextmanager
def expect_error(error):
    """The call inside must be answered with this (name, message)."""
    with pytest.raises(BusError) as caught:
        yield
    name, message = caught.value.name, caught.value.message
    # GLib puts the name in front; not every PyGObject can take it off again.
    assert (name, message.removeprefix(f"GDBus.Error:{name}: ")) == error


@dataclass(frozen=True)
class PortProps:
    """One record of GetPortProps."""
    name: str
    number: int
    state: bool
    input: bool
    configurable: bool
    activelow: bool
    properties: list


def changed(number, state, *, virtual=False, hidden=False, is_input=False,
            virtual_trig=False, activelow=False):
    """The arguments of PortChanged."""
    return (number, virtual, hidden, is_input, virtual_trig, state, activelow)


class Service:
    """A running daemon and a client of it."""

    def __init__(self, box, connect, argv=()):
        """Starts the daemon."""
        self.box = box
        self._connect = connect
        self.client = start(box, connect, argv)

    @property
    def daemon(self):
        return self.box.daemon

    def another_client(self):
        return self._connect(self.box)

    def call(self, method, *args):
        """Calls a method of the State interface; what it returns: nothing, a
        value or several."""
        reply = self.client.call(method, SIGNATURES[method], args)
        if not reply:
            return None
        return reply[0] if len(reply) == 1 else reply

    def ports(self):
        """The records of GetPortProps."""
        number, records = self.call("GetPortProps")
        assert number == len(records)
        return [PortProps(*record) for record in records]

    def names(self):
        """The names of the ports in service, the newest first."""
        return [props.name for props in self.ports()]

    def start_sequence(self, number, *steps, virtual=False):
        self.call("StartActionSequence", number, virtual, list(steps))

    def settle(self):
        """On return, what was asked for before is done, its saving too, and
        every signal from that has been recorded."""
        self.call("GetNbrPorts")
        self.client.sync(STATE)

    def record(self):
        """Records the State interface's signals, of every kind."""
        return self.client.record()

    def record_events(self):
        """Records the event library's signals, of every kind."""
        return self.client.record(interface=PRODUCER)

    def log(self):
        return self.daemon.stdout()

    def restart(self):
        """Ends the daemon and starts it again."""
        self.daemon.stop()
        self.start_again()

    def start_again(self):
        """Starts the daemon after its end."""
        self.client = start(self.box, self._connect)

    # The parameter file.

    @property
    def parameter_file(self):
        return self.box.etc / "orvad/orvad.conf"

    def parameters(self):
        """The parameter file's contents."""
        return read_parameters(self.parameter_file)

    @contextlib.contextmanager
    def saved(self):
        """Yields a list that holds, after the block, the groups that were
        saved inside it."""
        self.settle()
        self.parameter_file.unlink(missing_ok=True)
        groups = []
        yield groups
        self.settle()
        if self.parameter_file.exists():
            groups.extend(self.parameters())

    # The process.

    def descriptors(self):
        """What the process has open, as paths."""
        found = []
        for link in pathlib.Path(f"/proc/{self.daemon.pid}/fd").iterdir():
            with contextlib.suppress(FileNotFoundError):
                found.append(str(link.readlink()))
        return found

    def threads(self):
        """The names of the process's threads."""
        found = []
        for task in pathlib.Path(f"/proc/{self.daemon.pid}/task").iterdir():
            with contextlib.suppress(FileNotFoundError):
                found.append((task / "comm").read_text().strip())
        return found

    def memory(self):
        """Bytes of memory that it shares with nobody and no file has."""
        rollup = pathlib.Path(f"/proc/{self.daemon.pid}/smaps_rollup")
        line = next(line for line in rollup.read_text().splitlines()
                    if line.startswith("Anonymous:"))
        return int(line.split()[1]) * 1024

    # The event library.

    def events_call(self, method, signature="()", *args):
        return self.client.call(method, signature, args, name=EVENTS,
                                path=PRODUCER_PATH, interface=PRODUCER)[0]

    def declarations(self):
        """Live declarations: id -> description."""
        return dict(self.events_call("ListDeclarations"))

    def declaration_of(self, number):
        """The one declaration with that value of the key "port"."""
        found = [(number_, description)
                 for number_, description in self.declarations().items()
                 if description["keys"].get("port") == number]
        assert len(found) == 1, found
        return found[0]

    def state_of(self, declaration):
        return self.events_call("GetState", "(u)", declaration)

    def settle_events(self):
        """As settle(), for the event library's signals."""
        self.call("GetNbrPorts")
        self.events_call("ListDeclarations")
        self.client.sync(EVENTS)


def start(box, connect, argv=()):
    """Starts the daemon; on return its interfaces are there, the events' one
    if any port has events. A client of it."""
    box.start(argv)
    client = connect(box)
    if "<event" in (box.share / "conf.xml").read_text("utf-8"):
        wait_until(lambda: client.has_owner(EVENTS), f"{EVENTS} on the bus")
    return client


@pytest.fixture(name="serve")
def fixture_serve(make_sandbox, connect):
    """serve(port, ..., **sandbox options): a running daemon with those ports.
    prepare(box): called before the daemon starts, with argv."""
    def serve(*ports, prepare=None, argv=(), **options):
        box = make_sandbox(config=configuration(*ports), **options)
        if prepare is not None:
            prepare(box)
        return Service(box, connect, argv)
    return serve


def read_parameters(path):
    """A key file: group -> key -> text."""
    file = GLib.KeyFile()
    file.load_from_file(str(path), GLib.KeyFileFlags.NONE)
    return {group: {key: file.get_string(group, key)
                    for key in file.get_keys(group)[0]}
            for group in file.get_groups()[0]}


def long_sequence(number, states, duration, virtual=False):
    """A call for pipeline(): starts a sequence of very many steps that all
    last as long. Made from bytes, which is faster than one by one."""
    step = struct.Struct("=?3xi")
    data = b"".join(step.pack(state, duration) for state in states)
    steps = GLib.Variant.new_from_bytes(GLib.VariantType("a(bi)"),
                                        GLib.Bytes(data), True)
    return "StartActionSequence", GLib.Variant.new_tuple(
        GLib.Variant("u", number), GLib.Variant("b", virtual), steps)


def _arguments(method, args):
    if isinstance(args, GLib.Variant):
        return args
    return GLib.Variant(SIGNATURES[method], args)


def pipeline(client, calls):
    """Sends the calls, (method, arguments) each, many at a time without
    looking at the replies; the names of the errors, none for those that
    succeeded."""
    errors = {}

    def answered(connection, result, index):
        try:
            connection.call_finish(result)
            errors[index] = None
        except GLib.Error as error:
            errors[index] = Gio.DBusError.get_remote_error(error) or str(error)

    context = GLib.MainContext.new()
    context.push_thread_default()
    try:
        for start in range(0, len(calls), _PENDING):
            part = calls[start:start + _PENDING]
            for index, (method, args) in enumerate(part, start):
                client.connection.call(
                    STATE, STATE_PATH, STATE, method,
                    _arguments(method, args), None,
                    Gio.DBusCallFlags.NO_AUTO_START, -1, None, answered, index)
            while len(errors) < start + len(part):
                context.iteration(True)
    finally:
        context.pop_thread_default()
    return [errors[index] for index in range(len(calls))]


def post(client, method, args):
    """Sends a call whose reply nobody wants, and does not wait."""
    message = Gio.DBusMessage.new_method_call(
        STATE, STATE_PATH, STATE, method)
    message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
    message.set_body(_arguments(method, args))
    client.connection.send_message(message, Gio.DBusSendMessageFlags.NONE)
