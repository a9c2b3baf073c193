"""The objects for the older configuration system, as tests use them."""

import xml.etree.ElementTree as ET

from gi.repository import Gio, GLib

from waiting import DEADLINE

SERVICE = "com.vexa.Configuration.Legacy.IOControl1.IOPort"
PORT = SERVICE
INPUT = "com.vexa.Configuration.Legacy.IOControl1.Input"
OUTPUT = "com.vexa.Configuration.Legacy.IOControl1.Output"
PREFIX = "/com/vexa/Configuration/Legacy/IOControl/IOPort"
PROPERTIES = "org.freedesktop.DBus.Properties"

# (property, declared type, access) of each interface, in order.
DECLARED = {
    PORT: [("NbrOfIOPorts", "i", "read"), ("NbrOfInputs", "i", "read"),
           ("NbrOfOutputs", "i", "read"), ("ManualTriggerNbr", "i", "read"),
           ("Configurable", "b", "read"), ("Direction", "ay", "readwrite"),
           ("Usage", "ay", "readwrite")],
    INPUT: [("Name", "ay", "readwrite"), ("Trig", "ay", "readwrite")],
    OUTPUT: [("Name", "ay", "readwrite"), ("Active", "ay", "readwrite"),
             ("Button", "ay", "readwrite"), ("PulseTime", "i", "readwrite"),
             ("Mode", "ay", "readwrite"), ("DelayTime", "i", "readwrite")],
}

INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs"


def path_of(number):
    return f"{PREFIX}/{number}"


def invalid(text):
    """The error with that text."""
    return INVALID_ARGS, text


def no_value(name):
    return invalid(f"Property '{name}' has no value")


def raw_bytes(data):
    """A byte string exactly as given, with no zero added."""
    return GLib.Variant.new_from_bytes(GLib.VariantType("ay"),
                                       GLib.Bytes(data), True)


def text_bytes(text):
    return raw_bytes(text.encode() + b"\0")


def as_variant(value):
    """A property's value as clients write it: texts as byte strings."""
    if isinstance(value, GLib.Variant):
        return value
    return GLib.Variant("i", value) if isinstance(value, int) \
        else text_bytes(value)


class Legacy:
    """The objects of a running daemon."""

    def __init__(self, service):
        self.client = service.client

    def _call(self, number, method, signature, *args):
        return self.client.call(method, signature, args, name=SERVICE,
                                path=path_of(number), interface=PROPERTIES)

    def get(self, number, interface, name):
        """The value, with its type: a str is a D-Bus string, and a byte
        string would be a list."""
        return self._call(number, "Get", "(ss)", interface, name)[0]

    def get_all(self, number, interface):
        """Property -> value."""
        return self._call(number, "GetAll", "(s)", interface)[0]

    def set(self, number, interface, name, value):
        self._call(number, "Set", "(ssv)", interface, name, as_variant(value))

    def introspect(self, path):
        text, = self.client.call(
            "Introspect", name=SERVICE, path=path,
            interface="org.freedesktop.DBus.Introspectable")
        return ET.fromstring(text)

    def objects(self):
        """Number -> the interfaces that its object has."""
        root = self.introspect(PREFIX)
        return {int(node.get("name")): self.interfaces(node.get("name"))
                for node in root.findall("node")}

    def interfaces(self, number):
        root = self.introspect(path_of(number))
        names = {element.get("name") for element in root.findall("interface")}
        return {name for name in names
                if not name.startswith("org.freedesktop.")}

    def record(self):
        """Records PropertiesChanged of every object."""
        return self.client.record(interface=PROPERTIES)


def announced(recorder):
    """(number, interface, property, value) of each PropertiesChanged, the
    value as it came: bytes from a byte string. Fails unless each tells of one
    property and declares none invalid."""
    found = []
    for signal in recorder.signals:
        interface, values, invalidated = signal.args
        (name, value), = values.items()
        assert (signal.member, invalidated) == ("PropertiesChanged", [])
        number = int(signal.path.removeprefix(PREFIX + "/"))
        found.append((number, interface, name,
                      bytes(value) if isinstance(value, list) else value))
    return found


def record_bytes(legacy):
    """The value of each PropertiesChanged from now on, as bytes. For long
    ones, which take long to be looked at by the byte."""
    found = []

    def arrived(_connection, _sender, _path, _interface, _member, args):
        entry = args.get_child_value(1).get_child_value(0)
        value = entry.get_child_value(1).get_variant()
        assert value.get_type_string() == "ay"
        found.append(value.get_data_as_bytes().get_data())

    legacy.client.subscribe(PROPERTIES, "PropertiesChanged", None, arrived)
    return found


def ask_for_everything(client, numbers):
    """Sends a GetAll of every interface of those objects without waiting; a
    function that waits for the replies and returns them, (number, interface)
    -> properties or the error's name."""
    answers = {}
    context = GLib.MainContext.new()
    context.push_thread_default()

    def answered(connection, result, key):
        try:
            answers[key] = connection.call_finish(result).unpack()[0]
        except GLib.Error as error:
            answers[key] = Gio.DBusError.get_remote_error(error)

    keys = [(number, interface) for number in numbers
            for interface in DECLARED]
    for key in keys:
        client.connection.call(
            SERVICE, path_of(key[0]), PROPERTIES, "GetAll",
            GLib.Variant("(s)", (key[1],)), None,
            Gio.DBusCallFlags.NO_AUTO_START, int(DEADLINE * 1000), None,
            answered, key)
    context.pop_thread_default()

    def collect():
        while len(answers) < len(keys):
            context.iteration(True)
        return answers
    return collect
