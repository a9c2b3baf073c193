"""The State interface: every method, its errors, and what it saves."""

import ctypes
import ctypes.util
import pathlib

import pytest
from gi.repository import Gio

from bus_client import STATE, STATE_PATH
from ports_support import (BUSY, GENERIC, HOUR, NO_PORT,
                           NOT_CONFIGURABLE, NOT_OUTPUT, PortProps,
                           expect_error, fixture_serve, port, sysfs_port)
from sandbox import SandboxError

_SOURCE = pathlib.Path(__file__).parents[2] / "src/dbus"
_INTERFACE = _SOURCE / "com.vexa.IOControl.State.xml"

# Method -> arguments in, arguments out.
METHODS = {
    "DropIOPorts": ([("port", "as")], [("dropped", "as")]),
    "RefreshIOPorts": ([], []),
    "GetNbrPorts": ([], [("inputs", "u"), ("outputs", "u")]),
    "GetPortProps": ([], [("number", "i"), ("properties", "a(sibbbba(sb))")]),
    "SetState": ([("port", "u"), ("active", "b")], []),
    "GetState": ([("port", "u")], [("active", "b")]),
    "IsConfigurable": ([("port", "u")], [("configurable", "b")]),
    "GetDirection": ([("port", "u")], [("direction", "s")]),
    "SetDirection": ([("port", "u"), ("direction", "s")], []),
    "GetActive": ([("port", "u")],
                  [("state_input", "s"), ("state_output", "s")]),
    "SetActive": ([("port", "u"), ("input", "b"), ("state", "s")], []),
    "StartActionSequence": ([("port", "u"), ("virtual", "b"),
                             ("seq", "a(bi)")], []),
    "GetNames": ([("port", "u")], [("input", "s"), ("output", "s")]),
    "SetName": ([("port", "u"), ("input", "b"), ("name", "s")], []),
    "GetUsage": ([("port", "u")], [("usage", "s")]),
    "SetUsage": ([("port", "u"), ("usage", "s")], []),
    "SetVirtual": ([("port", "u"), ("state", "b")], []),
}
SIGNALS = {
    "PortChanged": [("port", "i"), ("virtual", "b"), ("hidden", "b"),
                    ("input", "b"), ("virtual_trig", "b"), ("state", "b"),
                    ("activelow", "b")],
    "ActionSequenceDone": [("port", "i")],
}

INPUT, OUTPUT, CONFIGURABLE = 0, 1, 2
VIRTUAL, PLAIN = 3, 4
NAMES = {INPUT: "in0", OUTPUT: "out1", CONFIGURABLE: "conf2",
         VIRTUAL: "virtual3", PLAIN: "plain4"}

# One port of each kind, and what every method that addresses one takes.
PORTS = [
    port("in0", "input", INPUT),
    port("out1", "output", OUTPUT),
    port("conf2", "io_ctrl", CONFIGURABLE),
    port("virtual3", "output", VIRTUAL, backend="virtual",
         properties={"virtual": "true"}),
    port("plain4", "input", PLAIN, properties={}),
]
PORT_METHODS = [
    ("SetState", (True,)),
    ("GetState", ()),
    ("IsConfigurable", ()),
    ("GetDirection", ()),
    ("SetDirection", ("input",)),
    ("SetDirection", ("sideways",)),
    ("GetActive", ()),
    ("SetActive", (True, "open")),
    ("SetActive", (True, "ajar")),
    ("GetNames", ()),
    ("SetName", (True, "Door")),
    ("GetUsage", ()),
    ("SetUsage", ("Door",)),
]
BAD_DIRECTION = (GENERIC, "Incorrect input to set_direction eiter use "
                          "'input' or 'output'")
BAD_ACTIVE = (GENERIC, "Incorrect input to set_active eiter use 'open' or "
                       "'closed'")
NOT_OPEN = (GENERIC, "Could not set port to open.")
NOT_CLOSED = (GENERIC, "Could not set port to closed.")
NO_INPUT_NAME = (GENERIC, "Could not set input name for the port.")
NO_OUTPUT_NAME = (GENERIC, "Could not set output name for the port.")
HIGHEST = 4294967295
NOBODY = (99, HIGHEST, 2**31, PLAIN)
"""Numbers that belong to no port, or to one that is found by no number."""


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORTS)


# ---- the interface itself ----

def described(interface):
    """Methods and signals of a Gio.DBusInterfaceInfo, as above."""
    def arguments(infos):
        return [(info.name, info.signature) for info in infos or []]
    methods = {method.name: (arguments(method.in_args),
                             arguments(method.out_args))
               for method in interface.methods}
    signals = {signal.name: arguments(signal.args)
               for signal in interface.signals}
    return methods, signals, list(interface.properties or [])


def live_interface(service):
    text, = service.client.call(
        "Introspect", interface="org.freedesktop.DBus.Introspectable")
    return Gio.DBusNodeInfo.new_for_xml(text).lookup_interface(STATE)


def test_live_object_has_every_method_and_signal_and_nothing_else(service):
    assert described(live_interface(service)) == (METHODS, SIGNALS, [])


def test_live_object_equals_the_interface_description(service):
    node = Gio.DBusNodeInfo.new_for_xml(_INTERFACE.read_text("utf-8"))
    assert described(live_interface(service)) == \
        described(node.lookup_interface(STATE))


def test_object_is_the_only_one_below_its_name(service):
    text, = service.client.call(
        "Introspect", path=STATE_PATH.rsplit("/", 1)[0],
        interface="org.freedesktop.DBus.Introspectable")
    node = Gio.DBusNodeInfo.new_for_xml(text)
    assert [child.path for child in node.nodes] == ["State"]


# ---- addressing a port ----

@pytest.mark.parametrize("method, arguments", PORT_METHODS)
def test_only_real_ports_are_served_by_number(service, method, arguments):
    with service.saved() as groups:
        for number in (*NOBODY, VIRTUAL):
            with expect_error(NO_PORT):
                service.call(method, number, *arguments)
    assert groups == []


def test_ports_of_neither_kind_are_not_simulated(service):
    with service.saved() as groups:
        for number in NOBODY:
            with expect_error(NO_PORT):
                service.call("SetVirtual", number, True)
    assert groups == []


def test_property_that_is_not_true_does_not_make_a_real_port(serve):
    service = serve(port("in0", "input", 0, properties={"ioport": "yes"}))
    with expect_error(NO_PORT):
        service.call("GetState", 0)


def test_real_port_may_be_virtual_too(serve):
    service = serve(port("both", "output", 0, backend="virtual",
                         properties={"ioport": "true", "virtual": "true"}))
    assert service.call("GetDirection", 0) == "output"
    service.call("SetVirtual", 0, True)
    assert service.call("GetState", 0) is True


def test_port_without_a_number_has_the_highest(serve):
    service = serve(port("unnumbered", "output"))
    service.call("SetState", HIGHEST, True)
    assert service.call("GetState", HIGHEST) is True
    assert service.ports()[0].number == -1


def test_of_two_ports_with_one_number_the_first_configured_is_served(serve):
    service = serve(port("first", "input", 0, names={"input": "First"}),
                    port("second", "input", 0, names={"input": "Second"}))
    assert service.call("GetNames", 0) == ("First", "")


# ---- GetNbrPorts ----

def test_real_ports_are_counted_by_their_direction(service):
    assert service.call("GetNbrPorts") == (2, 1)
    service.call("SetDirection", CONFIGURABLE, "output")
    assert service.call("GetNbrPorts") == (1, 2)


def test_without_ports_nothing_is_counted_or_listed(serve):
    service = serve()
    assert service.call("GetNbrPorts") == (0, 0)
    assert service.call("GetPortProps") == (0, [])


# ---- GetPortProps ----

def test_every_port_is_listed_the_newest_first(service):
    assert service.names() == list(reversed(NAMES.values()))


def test_record_holds_what_the_port_is(serve):
    service = serve(port("in", "input", 0),
                    port("out", "output", 7),
                    port("conf", "io_ctrl", 2, defaults={"dir": "output"}),
                    port("virt", "output", 9, backend="virtual",
                         properties={"virtual": "TRUE", "ioport": "1"}))
    service.call("SetState", 7, True)
    service.call("SetVirtual", 9, True)
    assert service.ports()[1:] == [
        PortProps("conf", 2, False, False, True, False, [("ioport", True)]),
        PortProps("out", 7, True, False, False, False, [("ioport", True)]),
        PortProps("in", 0, False, True, False, False, [("ioport", True)]),
    ]
    virtual = service.ports()[0]
    assert virtual.state is True and virtual.number == 9
    assert dict(virtual.properties) == {"virtual": True, "ioport": False}


@pytest.mark.parametrize("direction, expected", [("input", True),
                                                 ("output", False)])
def test_record_holds_the_active_level_of_the_present_side(
        service, direction, expected):
    service.call("SetActive", CONFIGURABLE, True, "open")
    service.call("SetDirection", CONFIGURABLE, direction)
    props = service.ports()[2]
    assert (props.input, props.activelow) == (expected, expected)


def test_port_without_a_name_is_listed_with_an_empty_one(serve):
    service = serve(port(None, "input", 0))
    assert service.names() == [""]


def table_order(keys):
    """The order in which a table holds these keys once they were added."""
    glib = ctypes.CDLL(ctypes.util.find_library("glib-2.0"))
    glib.g_hash_table_new.restype = ctypes.c_void_p
    glib.g_hash_table_get_keys.restype = ctypes.c_void_p
    glib.g_list_nth_data.restype = ctypes.c_char_p
    table = ctypes.c_void_p(glib.g_hash_table_new(glib.g_str_hash,
                                                  glib.g_str_equal))
    texts = [ctypes.create_string_buffer(key.encode()) for key in keys]
    for text in texts:
        glib.g_hash_table_replace(table, text, None)
    listed = ctypes.c_void_p(glib.g_hash_table_get_keys(table))
    order = [glib.g_list_nth_data(listed, i).decode()
             for i in range(len(keys))]
    glib.g_list_free(listed)
    glib.g_hash_table_destroy(table)
    return order


def test_properties_are_listed_in_the_table_s_order(serve):
    keys = ["ioport", "virtual", "hidden", "video_connector", "spare",
            "a", "b", "c", "d", "e", "f", "g"]
    values = {key: "true" if i % 2 else "false" for i, key in enumerate(keys)}
    service = serve(port("many", "input", 0, properties=values))
    assert service.ports()[0].properties == \
        [(key, values[key] == "true") for key in table_order(keys)]


# ---- GetState, SetState ----

@pytest.mark.parametrize("number", [OUTPUT, CONFIGURABLE])
def test_output_follows_what_is_set_and_is_saved(service, number):
    if number == CONFIGURABLE:
        service.call("SetDirection", number, "output")
    for state in (True, True, False):
        with service.saved() as groups:
            service.call("SetState", number, state)
        assert service.call("GetState", number) is state
        assert groups == [NAMES[number]]


def test_input_cannot_be_set_and_is_not_saved(service):
    with service.saved() as groups:
        for number in (INPUT, CONFIGURABLE):
            with expect_error(NOT_OUTPUT):
                service.call("SetState", number, True)
            assert service.call("GetState", number) is False
    assert groups == []
    assert "WARNING Set state on incorrect port\n" in service.log()


def test_output_on_the_virtual_backend_cannot_be_set(serve):
    service = serve(port("virt", "output", 0, backend="virtual"))
    with service.saved() as groups, expect_error(NOT_OUTPUT):
        service.call("SetState", 0, True)
    assert service.call("GetState", 0) is False
    assert groups == []


def test_output_without_hardware_forgets_its_state(serve):
    service = serve(port("null", "output", 0, backend="null"))
    service.call("SetState", 0, True)
    assert service.call("GetState", 0) is False


def test_state_of_a_file_is_read(serve):
    def prepare(box):
        (box.sys / "level").write_text("1\n")
    service = serve(sysfs_port("file", 0, "/sys/level"), prepare=prepare)
    recorder = service.record()
    if not service.call("GetState", 0):
        recorder.wait_for_count(1)
    assert service.call("GetState", 0) is True


# ---- IsConfigurable, GetDirection, SetDirection ----

def test_only_configurable_ports_are_configurable(service):
    assert [service.call("IsConfigurable", number)
            for number in (INPUT, OUTPUT, CONFIGURABLE)] == \
        [False, False, True]


def test_direction_is_told_and_changed_and_saved(service):
    assert [service.call("GetDirection", number)
            for number in (INPUT, OUTPUT, CONFIGURABLE)] == \
        ["input", "output", "input"]
    for direction in ("output", "output", "input"):
        with service.saved() as groups:
            service.call("SetDirection", CONFIGURABLE, direction)
        assert groups == ["conf2"]
        assert service.call("GetDirection", CONFIGURABLE) == direction
        assert service.parameters()["conf2"]["input"] == \
            ("true" if direction == "input" else "false")


@pytest.mark.parametrize("number", [INPUT, OUTPUT])
def test_fixed_direction_is_not_changed_yet_saved(service, number):
    before = service.call("GetDirection", number)
    for direction in ("input", "output"):
        with service.saved() as groups, expect_error(NOT_CONFIGURABLE):
            service.call("SetDirection", number, direction)
        assert service.call("GetDirection", number) == before
        assert groups == [NAMES[number]]


@pytest.mark.parametrize("number", [INPUT, CONFIGURABLE])
def test_unknown_direction_is_refused_yet_saved(service, number):
    for direction in ("Input", "OUTPUT", "in", "", "input "):
        with service.saved() as groups, expect_error(BAD_DIRECTION):
            service.call("SetDirection", number, direction)
        assert groups == [NAMES[number]]
    assert service.call("GetDirection", number) == "input"


# ---- GetActive, SetActive ----

@pytest.mark.parametrize("is_input", [True, False])
def test_active_level_is_set_per_side_and_saved(service, is_input):
    key = "input_activelow" if is_input else "output_activelow"
    for state in ("open", "open", "closed"):
        with service.saved() as groups:
            service.call("SetActive", CONFIGURABLE, is_input, state)
        assert groups == ["conf2"]
        assert service.call("GetActive", CONFIGURABLE) == \
            ((state, "closed") if is_input else ("closed", state))
        assert service.parameters()["conf2"][key] == \
            ("true" if state == "open" else "false")


def test_both_active_levels_are_told_of_every_port(service):
    service.call("SetActive", INPUT, True, "open")
    service.call("SetActive", OUTPUT, False, "open")
    assert [service.call("GetActive", number)
            for number in (INPUT, OUTPUT, CONFIGURABLE)] == \
        [("open", "closed"), ("closed", "open"), ("closed", "closed")]


@pytest.mark.parametrize("number, is_input", [(INPUT, False), (OUTPUT, True)])
def test_active_level_of_a_missing_side_is_refused_yet_saved(
        service, number, is_input):
    for state, error in (("open", NOT_OPEN), ("closed", NOT_CLOSED)):
        with service.saved() as groups, expect_error(error):
            service.call("SetActive", number, is_input, state)
        assert groups == [NAMES[number]]
        assert service.call("GetActive", number) == ("closed", "closed")


@pytest.mark.parametrize("is_input", [True, False])
def test_unknown_active_level_is_refused_yet_saved(service, is_input):
    for state in ("Open", "CLOSED", "", "ope", "open "):
        with service.saved() as groups, expect_error(BAD_ACTIVE):
            service.call("SetActive", OUTPUT, is_input, state)
        assert groups == ["out1"]
        assert service.call("GetActive", OUTPUT) == ("closed", "closed")


def test_output_keeps_its_state_when_its_active_level_changes(service):
    for state in (True, False):
        service.call("SetState", OUTPUT, state)
        for active in ("open", "closed"):
            service.call("SetActive", OUTPUT, False, active)
            assert service.call("GetState", OUTPUT) is state


def test_input_s_state_turns_with_its_active_level(service):
    for active, state in (("open", True), ("closed", False)):
        service.call("SetActive", INPUT, True, active)
        assert service.call("GetState", INPUT) is state


def test_level_of_the_other_side_does_not_touch_the_state(service):
    service.call("SetActive", CONFIGURABLE, False, "open")
    assert service.call("GetState", CONFIGURABLE) is False


def test_open_output_is_active_at_its_low_level(service):
    service.call("SetActive", OUTPUT, False, "open")
    service.call("SetState", OUTPUT, True)
    assert service.call("GetState", OUTPUT) is True
    service.call("SetState", OUTPUT, False)
    assert service.call("GetState", OUTPUT) is False


def test_output_without_hardware_is_active_when_open(serve):
    service = serve(port("null", "output", 0, backend="null"))
    service.call("SetActive", 0, False, "open")
    assert service.call("GetState", 0) is True


# ---- GetNames, SetName ----

def test_names_are_told_of_the_sides_that_a_port_has(serve):
    service = serve(
        port("in", "input", 0, names={"input": "I", "output": "none"}),
        port("out", "output", 1, names={"input": "none", "output": "O"}),
        port("conf", "io_ctrl", 2, names={"input": "CI", "output": "CO"}))
    assert [service.call("GetNames", number) for number in range(3)] == \
        [("I", ""), ("", "O"), ("CI", "CO")]


def test_unnamed_ports_are_named_by_their_place(service):
    assert [service.call("GetNames", number)
            for number in (INPUT, OUTPUT, CONFIGURABLE)] == \
        [("Input 1", ""), ("", "Output 1"), ("Input 2", "Output 2")]


def test_port_numbered_beyond_the_count_stays_unnamed(serve):
    service = serve(port("in", "input", 0), port("far", "io_ctrl", 17))
    assert service.call("GetNames", 17) == ("", "")


@pytest.mark.parametrize("is_input", [True, False])
def test_name_is_set_and_saved(service, is_input):
    for name in ("Front door", "", "Tür 门", "  blanks  ", "a=b;c#d",
                 "tab\tand\\n", "x" * 5000):
        with service.saved() as groups:
            service.call("SetName", CONFIGURABLE, is_input, name)
        assert groups == ["conf2"]
        assert service.call("GetNames", CONFIGURABLE) == \
            ((name, "Output 2") if is_input else ("Input 2", name))
        key = "input_name" if is_input else "output_name"
        assert service.parameters()["conf2"][key] == name


@pytest.mark.parametrize("number, is_input, error", [
    (INPUT, False, NO_OUTPUT_NAME), (OUTPUT, True, NO_INPUT_NAME)])
def test_name_of_a_missing_side_is_refused_and_not_saved(
        service, number, is_input, error):
    before = service.call("GetNames", number)
    with service.saved() as groups, expect_error(error):
        service.call("SetName", number, is_input, "Door")
    assert service.call("GetNames", number) == before
    assert groups == []


def test_unchanged_name_is_saved_all_the_same(service):
    with service.saved() as groups:
        service.call("SetName", INPUT, True, "Input 1")
    assert groups == ["in0"]


# ---- GetUsage, SetUsage ----

def test_usage_is_empty_until_somebody_says(serve):
    service = serve(port("in", "input", 0),
                    port("out", "output", 1, defaults={"usage": "Lamp"}))
    assert service.call("GetUsage", 0) == ""
    assert service.call("GetUsage", 1) == "Lamp"


def test_usage_is_set_and_saved(service):
    for usage in ("Door", "Door", "", "Tür 门\nlower door"):
        with service.saved() as groups:
            service.call("SetUsage", OUTPUT, usage)
        assert groups == ["out1"]
        assert service.call("GetUsage", OUTPUT) == usage
        assert service.parameters()["out1"]["usage"] == usage


# ---- SetVirtual ----

def test_real_and_virtual_ports_can_be_simulated_and_are_saved(service):
    for number in (INPUT, OUTPUT, CONFIGURABLE, VIRTUAL):
        with service.saved() as groups:
            service.call("SetVirtual", number, True)
        assert groups == [NAMES[number]]


def test_simulated_change_leaves_the_hardware_alone(service):
    for number in (INPUT, OUTPUT, CONFIGURABLE):
        service.call("SetVirtual", number, True)
        assert service.call("GetState", number) is False


def test_simulated_change_stays_on_a_virtual_output_only(serve):
    service = serve(port("out", "output", 0, backend="virtual"),
                    port("in", "input", 1, backend="virtual"),
                    port("conf", "io_ctrl", 2, backend="virtual",
                         defaults={"dir": "output"}))
    for number in range(3):
        service.call("SetVirtual", number, True)
    assert [service.call("GetState", number) for number in range(3)] == \
        [True, False, False]


def test_simulated_level_is_not_inverted(serve):
    service = serve(port("out", "output", 0, backend="virtual"))
    service.call("SetActive", 0, False, "open")
    service.call("SetVirtual", 0, True)
    assert service.call("GetState", 0) is False


# ---- StartActionSequence (its course is a matter of test_sequences.py) ----

def test_ports_of_neither_kind_take_no_sequence(service):
    for number in NOBODY:
        with expect_error(NO_PORT):
            service.start_sequence(number, (True, 0), virtual=True)


def test_sequence_is_refused_on_a_busy_port(service):
    service.start_sequence(OUTPUT, (True, HOUR))
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))


def test_sequence_changes_no_setting(service):
    with service.saved() as groups:
        recorder = service.record()
        service.start_sequence(OUTPUT, (True, 0))
        recorder.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert groups == []


# ---- saving ----

def test_reading_saves_nothing(service):
    with service.saved() as groups:
        for number in (INPUT, OUTPUT, CONFIGURABLE):
            for method in ("GetState", "GetDirection", "GetActive",
                           "GetNames", "GetUsage", "IsConfigurable"):
                service.call(method, number)
        service.call("GetPortProps")
        service.call("RefreshIOPorts")
        service.call("DropIOPorts", list(NAMES.values()))
    assert groups == []


def test_saving_one_port_keeps_the_others_and_comments(serve):
    service = serve(*PORTS, orvad_conf="# kept\n[elsewhere]\nkey=value\n")
    before = service.parameters()
    service.call("SetUsage", INPUT, "Door")
    service.settle()
    assert before["elsewhere"] == {"key": "value"}
    assert "# kept" in service.parameter_file.read_text("utf-8").splitlines()
    expected = {**before, "in0": {**before["in0"], "usage": "Door"}}
    assert service.parameters() == expected


def test_every_setting_survives_a_restart(service):
    service.call("SetDirection", CONFIGURABLE, "output")
    service.call("SetActive", CONFIGURABLE, True, "open")
    service.call("SetActive", CONFIGURABLE, False, "open")
    service.call("SetName", CONFIGURABLE, True, "As input")
    service.call("SetName", CONFIGURABLE, False, "As output")
    service.call("SetUsage", CONFIGURABLE, "Gate")
    service.restart()
    assert service.call("GetDirection", CONFIGURABLE) == "output"
    assert service.call("GetActive", CONFIGURABLE) == ("open", "open")
    assert service.call("GetNames", CONFIGURABLE) == ("As input", "As output")
    assert service.call("GetUsage", CONFIGURABLE) == "Gate"


def test_change_that_cannot_be_saved_is_in_effect(service):
    service.settle()
    service.parameter_file.write_text("no key file")
    service.call("SetUsage", INPUT, "Door")
    assert service.call("GetUsage", INPUT) == "Door"
    assert service.parameter_file.read_text() == "no key file"
    # The precondition that fails is the one report that there is to be.
    with pytest.raises(SandboxError) as caught:
        service.daemon.stop()
    assert str(caught.value).splitlines() == [
        "reported:", "CRITICAL param_save_for_port: assertion "
                     "'param_read_configuration (file)' failed"]
