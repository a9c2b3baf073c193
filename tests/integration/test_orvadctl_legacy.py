"""orvadctl legacy."""

import json
import os
import re

import pytest
from gi.repository import GLib

import sanitizers
from legacy_support import DECLARED
from mock_bus import Answer, Mock
from orvadctl_mock_support import failure, output
from ports_support import SIGNATURES, configuration, port
from sandbox import BUILD, QEL_UID
from waiting import DEADLINE

LEGACY = "com.vexa.Configuration.Legacy.IOControl1"
SERVICE = f"{LEGACY}.IOPort"
ROOT = "/com/vexa/Configuration/Legacy/IOControl/IOPort"
MAPPING = "/etc/legacyconfig/legacymappings.d/orvad.xml"
HEADING = ["GROUP", "PARAMETER", "VALUE", "TYPE", "ACCESS"]
NOT_SERVED = ('nobody serves the older configuration system; start the port '
              'daemon with "systemctl start orvad", without '
              '--disable_legacy_interface')
AGAIN = "; start the port daemon again, which writes it anew"
PROPERTIES_XML = """<node><interface name="org.freedesktop.DBus.Properties">
  <method name="GetAll">
    <arg name="interface" type="s" direction="in"/>
    <arg name="properties" type="a{sv}" direction="out"/>
  </method>
</interface></node>"""


def parameter(name, kind, *, number=1, interface="Input", service=SERVICE,
              words='truevalue="yes" falsevalue="no"'):
    """A parameter of the mapping file; its property has the same name."""
    return f"""<parameter name="{name}">
      <property dbus="{service}" object="{ROOT}/{number}"
        interface="{LEGACY}.{interface}" name="{name}">
        <type type="{kind}" {words}/>
      </property>
      <legacyoptions>
        <legacyoption name="type" value="{kind}-type"/>
        <legacyoption name="accessControl" value="viewer:1"/>
      </legacyoptions>
    </parameter>"""


def mapping(*parameters):
    return (f'<mapping><group name="root.X">{"".join(parameters)}</group>'
            '</mapping>')


def variants(**values):
    """Properties: name -> (type, value)."""
    return {name: GLib.Variant(*value) for name, value in values.items()}


class Device:
    """A sandbox with the client in it."""

    def __init__(self, box):
        self.box = box
        self.mapping_file = box.root / MAPPING.lstrip("/")

    def run(self, *words, user=None, env=()):
        """orvadctl legacy: a whole run."""
        identity = ["setpriv", f"--reuid={user}", "--clear-groups"]
        run = self.box.start_program([
            "env", *env, *(identity if user else []),
            f"{BUILD}/tools/orvadctl/orvadctl", "legacy", *words])
        run.finish(DEADLINE)
        return Finished(run.status, run.stdout(), run.stderr())

    def rows(self):
        """The table's, without its heading."""
        heading, *rows = (re.split("  +", line) for line
                          in output(self.run()).splitlines())
        assert heading == HEADING
        return rows

    def parameters(self):
        """The JSON document's: (group, parameter) -> the whole object."""
        listed = json.loads(output(self.run("--json")))["parameters"]
        return {(entry["group"], entry["parameter"]): entry
                for entry in listed}


class Finished:
    """A run that has ended."""

    def __init__(self, status, text, errors):
        self.returncode, self.stdout, self.stderr = status, text, errors


@pytest.fixture(name="make_device")
def fixture_make_device(make_sandbox, build):
    """make_device(**sandbox options)."""
    built = sanitizers.built_into(build / "tools/orvadctl/orvadctl")

    def make(**options):
        return Device(make_sandbox(launcher=sanitizers.launcher(built),
                                   **options))
    return make


@pytest.fixture(name="device")
def fixture_device(make_device):
    """A bus, and no daemon."""
    device = make_device()
    device.box.start_bus()
    return device


@pytest.fixture(name="make_service")
def fixture_make_service(device):
    """make_service(parameters, objects): a mock of the objects, number ->
    answer to GetAll, and a mapping file with the parameters."""
    mocks = []

    def make(parameters, objects):
        device.mapping_file.write_text(mapping(*parameters))
        mocks.append(Mock(device.box.bus_address, SERVICE, {
            f"{ROOT}/{number}": (PROPERTIES_XML, {"GetAll": answer})
            for number, answer in objects.items()}))
        return mocks[-1]
    yield make
    for mock in mocks:
        mock.stop()


# Against mocks of the objects.

def test_each_interface_of_an_object_is_asked_once(device, make_service):
    service = make_service(
        [parameter("Name", "string"),
         parameter("Name", "string", interface="Output"),
         parameter("Trig", "string"), parameter("Time", "int", number=2)],
        {1: lambda interface: Answer(variants(
            Name=("s", interface[-6:].strip(".")), Trig=("s", "open"))),
         2: Answer(variants(Time=("i", -7)))})
    assert [row[1:3] for row in device.rows()] == [
        ["Name", "Input"], ["Name", "Output"], ["Trig", "open"],
        ["Time", "-7"]]
    assert service.arguments("GetAll") == [
        (f"{LEGACY}.Input",), (f"{LEGACY}.Output",), (f"{LEGACY}.Input",)]


def test_values_are_shown_by_type(device, make_service):
    make_service(
        [parameter("On", "bool", words='truevalue="aye" falsevalue="nay"'),
         parameter("Off", "bool", words='truevalue="aye" falsevalue="nay"'),
         parameter("Text", "string"), parameter("Bytes", "string")],
        {1: Answer(variants(On=("b", True), Off=("b", False),
                            Text=("s", "a\n\x1b[2J"),
                            Bytes=("ay", b"closed\0")))})
    assert [row[2] for row in device.rows()] == [
        "aye", "nay", r"a\n\x1b[2J", "closed"]
    assert [entry["value"] for entry in device.parameters().values()] == [
        True, False, "a\n\x1b[2J", "closed"]


@pytest.mark.parametrize("error", [
    "org.freedesktop.DBus.Error.InvalidArgs",
    "org.freedesktop.DBus.Error.UnknownObject",
    "org.freedesktop.DBus.Error.UnknownInterface",
    "org.freedesktop.DBus.Error.UnknownMethod",
    "org.freedesktop.DBus.Error.UnknownProperty",
    "com.vexa.IOControl.Error.No_port",
])
def test_object_without_values_does_not_stop_the_rest(device, make_service,
                                                      error):
    make_service([parameter("Name", "string"),
                  parameter("Name", "string", number=2),
                  parameter("Name", "string", number=3)],
                 {1: Answer(error=(error, "No.")),
                  3: Answer(variants(Name=("s", "door")))})
    assert [row[2] for row in device.rows()] == ["-", "-", "door"]
    listed = json.loads(output(device.run("-j")))["parameters"]
    assert [entry["value"] for entry in listed] == [None, None, "door"]


def test_object_whose_path_is_none_does_not_stop_the_rest(device,
                                                         make_service):
    service = make_service(
        [parameter("Name", "string", number="-1"),
         parameter("Name", "string", number="2/"),
         parameter("Name", "string", number=3)],
        {3: Answer(variants(Name=("s", "door")))})
    assert [row[2] for row in device.rows()] == ["-", "-", "door"]
    assert service.count("GetAll") == 1
    listed = json.loads(output(device.run("-j")))["parameters"]
    assert [entry["value"] for entry in listed] == [None, None, "door"]


def test_property_without_a_value_is_a_dash(device, make_service):
    make_service([parameter("Name", "string"), parameter("Trig", "string")],
                 {1: Answer(variants(Trig=("s", "open")))})
    assert [row[2] for row in device.rows()] == ["-", "open"]


@pytest.mark.parametrize("value", [
    ("s", "5"), ("u", 5), ("b", True), ("v", GLib.Variant("i", 5)),
    ("a{sv}", {}), ("ay", b"\xff\xfe"),
])
def test_value_of_another_type_is_told_and_left_out(device, make_service,
                                                    value):
    make_service([parameter("Time", "int"), parameter("Trig", "string")],
                 {1: Answer(variants(Time=value, Trig=("s", "open")))})
    result = device.run("--json")
    listed = json.loads(result.stdout)["parameters"]
    assert [entry["value"] for entry in listed] == [None, "open"]
    assert (result.returncode, result.stderr) == (
        0, "orvadctl: the value of root.X.Time is not an integer, but of type "
           f'"{value[0]}"\n')


def test_very_long_value_is_shown_whole(device, make_service):
    text = "x" * 2**20
    make_service([parameter("Name", "string")],
                 {1: Answer(variants(Name=("s", text)))})
    assert device.rows()[0][2] == text


@pytest.mark.parametrize("types, values", [
    ("s", ["odd"]), ("a{ss}", [{"Name": "odd"}]), ("", []),
    ("a{sv}i", [{}, 1]),
])
def test_answer_of_another_type_is_told(device, make_service, types, values):
    make_service([parameter("Name", "string")],
                 {1: Answer(*values, types=types)})
    told = failure(device.run())
    assert told.startswith(f"{ROOT}/1: ")
    assert f"({types})" in told


def test_refusal_is_told_with_the_object(device, make_service):
    make_service([parameter("Name", "string")], {
        1: Answer(error=("com.example.Broken", "It is broken."))})
    assert failure(device.run()) == f"{ROOT}/1: It is broken."


def test_missing_answer_is_told(device, make_service):
    make_service([parameter("Name", "string")], {1: None})
    assert failure(device.run("--timeout", "1")) == (
        f"{ROOT}/1: the port daemon does not answer; try again with a longer "
        '--timeout, or restart it with "systemctl restart orvad"')


def test_service_that_leaves_in_the_middle_is_told(device, make_service):
    service = make_service(
        [parameter("Name", "string"), parameter("Name", "string", number=2)],
        {1: Answer({}, before=lambda mock: mock.vanish()), 2: Answer({})})
    assert failure(device.run()) == NOT_SERVED
    assert service.count("GetAll") == 1


def test_name_that_nobody_has_is_told(device):
    device.mapping_file.write_text(mapping(parameter("Name", "string")))
    assert failure(device.run()) == NOT_SERVED


def test_bus_that_is_not_there_is_told(device):
    device.mapping_file.write_text(mapping(parameter("Name", "string")))
    assert failure(device.run(env=[
        "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/none"])).startswith(
            "cannot reach the system bus: ")


# The mapping file.

def test_missing_mapping_is_told(device):
    assert failure(device.run()) == (
        f"there is no {MAPPING}, which the port daemon writes: start it with "
        '"systemctl start orvad", without --disable_legacy_interface')


@pytest.mark.parametrize("text, reason", [
    ("", ""),
    ("<mapping>", ""),
    ("<mapping></group>", ""),
    ("<service/>", 'it starts with "service", not with "mapping"'),
    (mapping('<parameter name="Y"/>'), "root.X.Y has no property"),
    (mapping(parameter("Y", "float")), 'root.X.Y: there is no type "float"'),
    (mapping(parameter("Y", "bool", words="")),
     'root.X.Y: "type" has no "truevalue"'),
    (mapping(parameter("Y", "int", service="none")),
     'root.X.Y: there can be no "none" on the bus'),
])
def test_unusable_mapping_is_told(device, text, reason):
    device.mapping_file.write_text(text)
    told = failure(device.run())
    assert told.startswith(f"cannot use {MAPPING}: ")
    assert told.endswith(reason + AGAIN)


def test_mapping_of_other_bytes_is_told(device):
    device.mapping_file.write_bytes(os.urandom(100) + b"\0\xff")
    assert failure(device.run()).endswith(AGAIN)


def test_huge_mapping_is_told(device):
    device.mapping_file.touch()
    os.truncate(device.mapping_file, 2**40)
    assert failure(device.run()) == (
        f"cannot use {MAPPING}: it is larger than 16777216 bytes{AGAIN}")


def test_mapping_that_may_not_be_read_is_told(device):
    device.mapping_file.write_text("<mapping/>")
    device.mapping_file.chmod(0o600)
    assert failure(device.run(user=QEL_UID)) == (
        f"cannot read {MAPPING}: Permission denied; run it as root")


def test_mapping_without_parameters_is_the_heading(device):
    device.mapping_file.write_text("<mapping/>")
    assert output(device.run()) == "GROUP  PARAMETER  VALUE  TYPE  ACCESS\n"
    assert json.loads(output(device.run("--json"))) == {"parameters": []}


@pytest.mark.parametrize("words", [
    ["all"], ["set"], ["set", "root.X.Y"], ["get", "root.X.Y", "1"]])
def test_legacy_takes_set_and_its_arguments_only(device, words):
    assert failure(device.run(*words), 2).startswith(
        'legacy: takes nothing, or "set", PARAMETER and VALUE')


# Against the daemon.

PORTS = [
    port("door", "input", 1, names={"input": "Front\n door"},
         defaults={"usage": "Contact"}),
    port("lamp", "output", 2, names={"output": "Lämp"}, optional=True,
         defaults={"usage": "Light", "button_type": "pulse",
                   "pulse_time": 500, "port_mode": "monostable"}),
    port("both", "io_ctrl", 3, names={"input": "In", "output": "Out"},
         defaults={"dir": "input", "usage": "Either"}),
    port("bare", "output", 4, properties={}),
    port("unnumbered", "input", names={"input": "Nowhere"},
         defaults={"usage": "Contact"}),
]
FIRST_VIRTUAL_PORT = 5
READABLE = "operator:1;admin:1;viewer:1"
WRITABLE = "operator:3;admin:3;viewer:1"
COUNT = ("readonly:int:maxlen=3,min=0,max=100", READABLE)
YES_NO = ("readonly:yes_no", READABLE)
TEXT = ("string", WRITABLE)
NUMBER = ("int", WRITABLE)
LEVEL = ("enum:closed|Closed, open|Open", WRITABLE)
MODE = ("enum:bistable|Bistable, monostable|Monostable", WRITABLE)
BUTTON = ("enum: none|None, pulse|Pulse, actinact|Active/Inactive", WRITABLE)
DIRECTION = ("enum:input|Input, output|Output", WRITABLE)
FIXED_DIRECTION = ("readonly:enum:input|Input, output|Output", WRITABLE)
# Group, parameter, value as a person sees it, type and access.
LISTED = [
    ("root.Input", "NbrOfInputs", "3", *COUNT),
    ("root.Output", "NbrOfOutputs", "1", *COUNT),
    ("root.Properties.IO", "ManualTriggerNbr", str(FIRST_VIRTUAL_PORT + 1),
     *COUNT),
    ("root.IOPort.I1", "Configurable", "no", *YES_NO),
    ("root.IOPort.I1", "Direction", "input", *FIXED_DIRECTION),
    ("root.IOPort.I1", "Usage", "Contact", *TEXT),
    ("root.IOPort.I1.Input", "Name", r"Front\n door", *TEXT),
    ("root.IOPort.I1.Input", "Trig", "closed", *LEVEL),
    ("root.IOPort.I2", "Configurable", "no", *YES_NO),
    ("root.IOPort.I2", "Direction", "output", *FIXED_DIRECTION),
    ("root.IOPort.I2", "Usage", "Light", *TEXT),
    ("root.IOPort.I2.Output", "DelayTime", "0", *NUMBER),
    ("root.IOPort.I2.Output", "Mode", "monostable", *MODE),
    ("root.IOPort.I2.Output", "Name", "Lämp", *TEXT),
    ("root.IOPort.I2.Output", "Active", "closed", *LEVEL),
    ("root.IOPort.I2.Output", "Button", "pulse", *BUTTON),
    ("root.IOPort.I2.Output", "PulseTime", "500", *NUMBER),
    ("root.IOPort.I3", "Configurable", "yes", *YES_NO),
    ("root.IOPort.I3", "Direction", "input", *DIRECTION),
    ("root.IOPort.I3", "Usage", "Either", *TEXT),
    ("root.IOPort.I3.Input", "Name", "In", *TEXT),
    ("root.IOPort.I3.Input", "Trig", "closed", *LEVEL),
    ("root.IOPort.I3.Output", "DelayTime", "0", *NUMBER),
    ("root.IOPort.I3.Output", "Mode", "bistable", *MODE),
    ("root.IOPort.I3.Output", "Name", "Out", *TEXT),
    ("root.IOPort.I3.Output", "Active", "closed", *LEVEL),
    ("root.IOPort.I3.Output", "Button", "none", *BUTTON),
    ("root.IOPort.I3.Output", "PulseTime", "0", *NUMBER),
    # No object has the values of a port without a number.
    ("root.IOPort.I-1", "Configurable", "-", *YES_NO),
    ("root.IOPort.I-1", "Direction", "-", *FIXED_DIRECTION),
    ("root.IOPort.I-1", "Usage", "-", *TEXT),
    ("root.IOPort.I-1.Input", "Name", "-", *TEXT),
    ("root.IOPort.I-1.Input", "Trig", "-", *LEVEL),
]


@pytest.fixture(name="running")
def fixture_running(make_device):
    """The daemon with PORTS."""
    device = make_device(config=configuration(*PORTS))
    device.box.start()
    device.box.wait_for_name(SERVICE)
    return device


@pytest.fixture(name="client")
def fixture_client(running, connect):
    return connect(running.box)


def test_every_parameter_of_the_daemon_is_listed(running):
    assert sorted(running.rows()) == sorted(map(list, LISTED))


def test_parameters_of_the_daemon_as_json(running):
    parameters = running.parameters()
    assert sorted(parameters) == sorted(row[:2] for row in LISTED)
    assert parameters["root.Input", "NbrOfInputs"] == {
        "group": "root.Input", "parameter": "NbrOfInputs", "value": 3,
        "type": COUNT[0], "access": READABLE, "object": f"{ROOT}/0",
        "interface": f"{LEGACY}.IOPort", "property": "NbrOfInputs"}
    assert parameters["root.IOPort.I3", "Configurable"]["value"] is True
    assert {entry["value"] for (group, _), entry in parameters.items()
            if group.startswith("root.IOPort.I-1")} == {None}
    assert parameters["root.IOPort.I1.Input", "Name"] == {
        "group": "root.IOPort.I1.Input", "parameter": "Name",
        "value": "Front\n door", "type": "string", "access": WRITABLE,
        "object": f"{ROOT}/1", "interface": f"{LEGACY}.Input",
        "property": "Name"}


def test_values_follow_changes(running, client):
    def value(group, name):
        return running.parameters()[group, name]["value"]

    def call(method, *args):
        client.call(method, SIGNATURES[method], args)

    call("SetDirection", 3, "output")
    call("SetName", 1, True, "Back door")
    call("SetActive", 2, False, "open")
    call("SetUsage", 2, "Siren")
    assert (value("root.IOPort.I3", "Direction"),
            value("root.Input", "NbrOfInputs"),
            value("root.Output", "NbrOfOutputs")) == ("output", 2, 2)
    assert value("root.IOPort.I1.Input", "Name") == "Back door"
    assert value("root.IOPort.I2.Output", "Active") == "open"
    assert value("root.IOPort.I2", "Usage") == "Siren"


def test_values_written_by_the_older_system_are_shown(running, client):
    client.call("Set", "(ssv)", (f"{LEGACY}.Output", "PulseTime",
                                 GLib.Variant("i", -5)),
                name=SERVICE, path=f"{ROOT}/2",
                interface="org.freedesktop.DBus.Properties")
    assert running.parameters()[
        "root.IOPort.I2.Output", "PulseTime"]["value"] == -5


def test_dropped_port_is_listed_no_longer(running, client):
    client.call("DropIOPorts", SIGNATURES["DropIOPorts"], (["lamp"],))
    parameters = running.parameters()
    assert sorted(parameters) == sorted(
        row[:2] for row in LISTED if not row[0].startswith("root.IOPort.I2"))
    assert parameters["root.Output", "NbrOfOutputs"]["value"] == 0


def test_port_that_only_an_older_mapping_has_is_without_values(running,
                                                               client):
    older = running.mapping_file.read_bytes()
    client.call("DropIOPorts", SIGNATURES["DropIOPorts"], (["lamp"],))
    # In place of the daemon's, which nobody else may open to write in a
    # sticky folder (fs.protected_regular).
    running.mapping_file.unlink()
    running.mapping_file.write_bytes(older)
    parameters = running.parameters()
    assert sorted(parameters) == sorted(row[:2] for row in LISTED)
    assert {entry["value"] for (group, _), entry in parameters.items()
            if group.startswith("root.IOPort.I2")} == {None}
    assert parameters["root.IOPort.I1", "Direction"]["value"] == "input"


def test_device_without_ports_has_the_global_parameters(make_device):
    device = make_device(config=configuration())
    device.box.start()
    device.box.wait_for_name(SERVICE)
    assert device.rows() == [
        ["root.Input", "NbrOfInputs", "0", *COUNT],
        ["root.Output", "NbrOfOutputs", "0", *COUNT],
        ["root.Properties.IO", "ManualTriggerNbr",
         str(FIRST_VIRTUAL_PORT + 1), *COUNT]]


def test_daemon_without_the_older_system_is_told(running):
    running.box.daemon.stop()
    running.box.start(["--disable_legacy_interface"])
    # The mapping file of the start before is still there.
    assert failure(running.run()) == NOT_SERVED


def test_daemon_that_never_served_the_older_system_is_told(make_device):
    device = make_device(config=configuration(*PORTS))
    device.box.start(["--disable_legacy_interface"])
    assert "--disable_legacy_interface" in failure(device.run())


# What is written, by property; the rest stays as it was.
WRITTEN = {
    ("root.IOPort.I3", "Direction"): "output",
    ("root.IOPort.I1", "Usage"): "Größe\n",
    ("root.IOPort.I1.Input", "Name"): "",
    ("root.IOPort.I1.Input", "Trig"): "open",
    ("root.IOPort.I2.Output", "Name"): "Horn",
    ("root.IOPort.I2.Output", "Active"): "open",
    ("root.IOPort.I2.Output", "Button"): "actinact",
    ("root.IOPort.I2.Output", "PulseTime"): 7,
    ("root.IOPort.I2.Output", "Mode"): "bistable",
    ("root.IOPort.I2.Output", "DelayTime"): -7,
}


def test_every_property_that_can_be_written_can_be_set(running):
    writable = {
        (interface.rsplit(".", 1)[1], name)
        for interface, properties in DECLARED.items()
        for name, _, access in properties if access == "readwrite"}
    assert writable == {
        (group.split(".")[3] if group.count(".") == 3 else "IOPort", name)
        for group, name in WRITTEN}
    for (group, name), value in WRITTEN.items():
        entry = json.loads(output(running.run(
            "set", f"{group}.{name}", "--json", "--", str(value))))
        assert (entry["group"], entry["parameter"], entry["value"]) == (
            group, name, value)


def test_parameter_that_was_set_is_a_line(running):
    assert output(running.run("set", "root.IOPort.I2.Usage", "A\nB")) == (
        "root.IOPort.I2.Usage: A\\nB\n")


@pytest.mark.parametrize("name, value, reason", [
    ("root.IOPort.I2.Output.Active", "high", ""),
    ("root.IOPort.I1.Configurable", "yes", ""),
    ("root.IOPort.I9.Usage", "x",
     'there is no parameter "root.IOPort.I9.Usage"'),
    ("root.IOPort.I-1.Usage", "x",
     "root.IOPort.I-1.Usage: a port without a number has no object"),
])
def test_parameter_that_cannot_be_set_is_told(running, name, value, reason):
    assert failure(running.run("set", name, value)).startswith(reason)


def test_value_that_a_parameter_cannot_have_is_told(running):
    assert failure(running.run(
        "set", "root.IOPort.I2.Output.PulseTime", "long"), 2).startswith(
            'root.IOPort.I2.Output.PulseTime takes a number of 32 bits, not '
            '"long"')
