"""The objects for the older configuration system: which there are, what their
properties read, what writing them does, and what is announced."""

from dataclasses import replace

import pytest
from gi.repository import GLib

from bus_client import BusError
from legacy_support import (DECLARED, INPUT, OUTPUT, PORT, SERVICE, Legacy,
                            announced, ask_for_everything, invalid, no_value,
                            path_of, raw_bytes, record_bytes)
from ports_support import (HOUR, NO_PORT, expect_error, fixture_serve,
                           pipeline, port)
from usage_support import memory, usage

IN, OUT, PIN, SOFT, BARE, FAR = 0, 1, 2, 3, 4, 7
UNNUMBERED = -1
PORTS = [
    port("door", "input", IN, names={"input": "Door"},
         defaults={"usage": "front"}),
    port("lamp", "output", OUT, names={"output": "Lamp"}, optional=True,
         defaults={"button_type": "pulse", "pulse_time": 250,
                   "port_mode": "monostable"}),
    port("pin", "io_ctrl", PIN, names={"input": "Way in",
                                       "output": "Way out"}),
    port("soft", "input", SOFT, backend="virtual",
         properties={"virtual": "true"}),
    port("bare", "input", BARE, properties={}),
    port("far", "output", FAR),
    port("unnumbered", "input"),
]
OBJECTS = {IN: {PORT, INPUT}, OUT: {PORT, OUTPUT}, PIN: {PORT, INPUT, OUTPUT},
           SOFT: {PORT, INPUT}}

CONFIGURATION_EVENTS = "org.orvad.ConfigurationEvents1"
MEBIBYTE = 1024 * 1024


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORTS)


@pytest.fixture(name="legacy")
def fixture_legacy(service):
    return Legacy(service)


def with_first_virtual(number, *ports):
    """The ports, the last one with the element that says so."""
    *others, last = ports
    return [*others, last.replace(
        "</port>", f'<first_virtual_input nbr="{number}"/></port>')]


def everything(legacy):
    """(number, interface) -> properties, of every object."""
    return {(number, interface): legacy.get_all(number, interface)
            for number, interfaces in OBJECTS.items()
            for interface in interfaces}


def bytes_of(text):
    return text.encode() + b"\0"


# ---- which objects there are ----

def test_every_real_port_slot_that_is_taken_has_an_object(service, legacy):
    """Not the ports from the first virtual number on, not those that cannot be
    looked up by a number."""
    assert legacy.objects() == OBJECTS
    for number in (BARE, FAR, 5):
        with pytest.raises(BusError):
            legacy.get(number, PORT, "NbrOfInputs")
    assert service.client.has_owner(SERVICE)


def test_interfaces_have_these_properties_and_no_methods(legacy):
    root = legacy.introspect(path_of(PIN))
    for interface, properties in DECLARED.items():
        element = root.find(f"interface[@name='{interface}']")
        assert {child.tag for child in element} == {"property"}
        assert [(child.get("name"), child.get("type"), child.get("access"))
                for child in element] == properties


def test_method_calls_are_answered(service, legacy):
    for interface in DECLARED:
        with pytest.raises(BusError):
            service.client.call("Name", name=SERVICE, path=path_of(PIN),
                                interface=interface)
    assert legacy.get(PIN, PORT, "NbrOfInputs") == 3


@pytest.mark.parametrize("first, ports, objects, trigger_number", [
    (5, [port("far", "input", 5)], {0: {PORT}}, 6),
    (0, [port("in", "input", 0)], {0: {PORT}}, 1),
    (-3, [port("out", "output", 1)], {0: {PORT}}, -2),
    (2, [port("out", "output", 0), port("in", "input", 1),
         port("next", "input", 2)], {0: {PORT, OUTPUT}, 1: {INPUT, PORT}}, 3),
    (2147483647, [port("in", "input", 1), port("big", "output", 2147483646)],
     {0: {PORT}, 1: {INPUT, PORT}, 2147483646: {PORT, OUTPUT}}, -2147483648),
], ids=["no port 0", "no slots", "negative", "two slots", "largest"])
def test_slots_end_at_the_first_virtual_number(serve, first, ports, objects,
                                               trigger_number):
    legacy = Legacy(serve(*with_first_virtual(first, *ports)))
    assert legacy.objects() == objects
    for number in objects:
        assert legacy.get(number, PORT, "ManualTriggerNbr") == trigger_number


def test_object_0_without_a_port_has_the_counts_only(serve):
    legacy = Legacy(serve(port("out", "output", 1)))
    assert legacy.get_all(0, PORT) == {
        "NbrOfInputs": 0, "NbrOfOutputs": 1, "ManualTriggerNbr": 6}
    for name in ("NbrOfIOPorts", "Configurable", "Direction", "Usage"):
        with expect_error(NO_PORT):
            legacy.get(0, PORT, name)
    for name, value in [("Usage", "x"), ("Direction", "input"),
                        ("Direction", "neither")]:
        with expect_error(NO_PORT):
            legacy.set(0, PORT, name, value)


def test_object_of_a_number_that_two_ports_have_is_the_older_ones(serve):
    service = serve(port("first", "input", 0, optional=True),
                    port("second", "output", 0, optional=True))
    legacy = Legacy(service)
    assert legacy.objects() == {0: {INPUT, PORT}}
    assert legacy.get(0, PORT, "Direction") == "input"
    service.call("DropIOPorts", ["first"])
    assert legacy.objects() == {0: {PORT, OUTPUT}}
    assert legacy.get(0, PORT, "Direction") == "output"
    service.call("DropIOPorts", ["second"])
    assert legacy.objects() == {0: {PORT}}
    service.call("RefreshIOPorts")
    # Both come back; second was parked last, is tried first, and is the older.
    assert legacy.objects() == {0: {PORT, OUTPUT}}


# ---- reading ----

COUNTS = {"NbrOfInputs": 3, "NbrOfOutputs": 2, "ManualTriggerNbr": 6,
          "NbrOfIOPorts": 5}
# Texts are answered as strings: byte strings would be lists here.
READINGS = {
    (IN, PORT): {**COUNTS, "Configurable": False, "Direction": "input",
                 "Usage": "front"},
    (IN, INPUT): {"Name": "Door", "Trig": "closed"},
    (OUT, PORT): {**COUNTS, "Configurable": False, "Direction": "output",
                  "Usage": "<NULL>"},
    (OUT, OUTPUT): {"Name": "Lamp", "Active": "closed", "Button": "pulse",
                    "PulseTime": 250, "Mode": "monostable", "DelayTime": 0},
    (PIN, PORT): {**COUNTS, "Configurable": True, "Direction": "input",
                  "Usage": "<NULL>"},
    (PIN, INPUT): {"Name": "Way in", "Trig": "closed"},
    (PIN, OUTPUT): {"Name": "Way out", "Active": "closed", "Button": "none",
                    "PulseTime": 0, "Mode": "bistable", "DelayTime": 0},
    (SOFT, PORT): {**COUNTS, "Usage": "<NULL>"},
    (SOFT, INPUT): {"Name": "Input 3", "Trig": "closed"},
}


def test_every_property_of_every_object_reads_as_the_port_is(legacy):
    assert everything(legacy) == READINGS
    for (number, interface), values in READINGS.items():
        for name, value in values.items():
            answer = legacy.get(number, interface, name)
            assert (answer, type(answer)) == (value, type(value))
    for name in ("Configurable", "Direction"):
        with expect_error(no_value(name)):
            legacy.get(SOFT, PORT, name)
    # A configurable port is counted where it works now.
    legacy.set(PIN, PORT, "Direction", "output")
    assert legacy.get(IN, PORT, "NbrOfInputs") == 2
    assert legacy.get(IN, PORT, "NbrOfOutputs") == 3
    assert legacy.get(IN, PORT, "NbrOfIOPorts") == 5


def test_missing_name_reads_as_null(serve):
    """Ports are given names only when their numbers are below the number of
    ports."""
    legacy = Legacy(serve(port("pin", "io_ctrl", 3)))
    assert legacy.get(3, INPUT, "Name") == "<NULL>"
    assert legacy.get(3, OUTPUT, "Name") == "<NULL>"


# ---- writing ----

DOOR, LAMP, PIN_GROUP, SOFT_GROUP = "door", "lamp", "pin", "soft"
# (number, interface, property, values in order, group, key, saved texts).
WRITES = [
    (IN, INPUT, "Name", ["Back \"door\"\n<&>", "", "Tür"], DOOR, "input_name",
     None),
    (IN, INPUT, "Trig", ["open", "closed", "open"], DOOR, "input_activelow",
     ["true", "false", "true"]),
    (IN, PORT, "Usage", ["", "back"], DOOR, "usage", None),
    (OUT, OUTPUT, "Name", ["Porch"], LAMP, "output_name", None),
    (OUT, OUTPUT, "Active", ["open", "closed", "open"], LAMP,
     "output_activelow", ["true", "false", "true"]),
    (OUT, OUTPUT, "Button", ["none", "actinact", "pulse", "none"], LAMP,
     "button_type", None),
    (OUT, OUTPUT, "PulseTime", [0, 2147483647, -2147483648, -1], LAMP,
     "pulse_time", ["0", "2147483647", "2147483648", "4294967295"]),
    (OUT, OUTPUT, "Mode", ["bistable", "monostable", "bistable"], LAMP,
     "port_mode", None),
    (OUT, OUTPUT, "DelayTime", [1, 2147483647, 0, 70000], LAMP, "delay_time",
     ["1", "2147483647", "0", "70000"]),
    (PIN, PORT, "Direction", ["output", "input", "output"], PIN_GROUP, "input",
     ["false", "true", "false"]),
    (PIN, INPUT, "Name", ["In"], PIN_GROUP, "input_name", None),
    (PIN, OUTPUT, "Name", ["Out"], PIN_GROUP, "output_name", None),
    (PIN, INPUT, "Trig", ["open"], PIN_GROUP, "input_activelow", ["true"]),
    (PIN, OUTPUT, "Active", ["open"], PIN_GROUP, "output_activelow",
     ["true"]),
    (SOFT, INPUT, "Name", ["Soft"], SOFT_GROUP, "input_name", None),
    (SOFT, PORT, "Usage", ["none"], SOFT_GROUP, "usage", None),
]
# Announced as bytes. Trig of the pin is not: it works as an output by then.
ANNOUNCED = {"Name", "Trig", "Active", "Direction", "Usage"}
SILENT = [(PIN, INPUT, "Trig", b"open\0")]


def shown(name, value):
    """What a property that was written is answered as."""
    return "<NULL>" if (name, value) == ("Usage", "") else value


def test_writes_are_taken_saved_announced_and_outlive_a_restart(service,
                                                                legacy):
    before = everything(legacy)
    recorder = legacy.record()
    expected = []
    for number, interface, name, values, group, key, saved in WRITES:
        for index, value in enumerate(values):
            legacy.set(number, interface, name, value)
            assert legacy.get(number, interface, name) == shown(name, value)
            assert service.parameters()[group][key] == (
                saved[index] if saved else value)
            before[number, interface][name] = shown(name, value)
            if name in ANNOUNCED:
                expected.append((number, interface, name, bytes_of(value)))
    service.client.sync()
    assert announced(recorder) == [entry for entry in expected
                                   if entry not in SILENT]
    for values in before.values():
        if "NbrOfInputs" in values:
            values.update(NbrOfInputs=2, NbrOfOutputs=3)
    assert everything(legacy) == before
    service.restart()
    assert everything(Legacy(service)) == before


def test_writing_what_is_there_saves_and_announces_nothing(service, legacy):
    for number, interface, name, values, *_ in WRITES:
        legacy.set(number, interface, name, values[-1])
    recorder = legacy.record()
    counts = service.client.record(interface=CONFIGURATION_EVENTS)
    with service.saved() as groups:
        for number, interface, name, values, *_ in WRITES:
            legacy.set(number, interface, name, values[-1])
    assert (groups, recorder.signals, counts.signals) == ([], [], [])


def test_name_of_one_side_leaves_the_other(legacy):
    legacy.set(PIN, INPUT, "Name", "New")
    assert legacy.get(PIN, OUTPUT, "Name") == "Way out"
    legacy.set(PIN, OUTPUT, "Name", "Newer")
    assert legacy.get(PIN, INPUT, "Name") == "New"


def bad(name):
    return invalid(f"Incorrect value for {name}")


NOT_SETTABLE = invalid("Port Direction is not settable")
REFUSED = [
    (IN, INPUT, "Trig", ["Open", "", "active", "open "], bad("Trig")),
    (OUT, OUTPUT, "Active", ["CLOSED", "", "1"], bad("Active")),
    (OUT, OUTPUT, "Button", ["toggle", "", "Pulse"], bad("Button")),
    (OUT, OUTPUT, "Mode", ["", "both", "Bistable"], bad("Mode")),
    (IN, PORT, "Direction", ["output"], NOT_SETTABLE),
    (OUT, PORT, "Direction", ["input"], NOT_SETTABLE),
    (SOFT, PORT, "Direction", ["output"], NOT_SETTABLE),
]
NO_DIRECTIONS = ["Output", "", "input ", "%s%n", "a\nb"]


def test_values_that_are_none_are_refused_and_change_nothing(service, legacy):
    recorder = legacy.record()
    before = everything(legacy)
    with service.saved() as groups:
        for number, interface, name, values, error in REFUSED:
            for value in values:
                with expect_error(error):
                    legacy.set(number, interface, name, value)
        for number in (IN, OUT, PIN, SOFT):
            for text in NO_DIRECTIONS:
                with expect_error(invalid(f"Bad Direction '{text}'")):
                    legacy.set(number, PORT, "Direction", text)
    assert (groups, recorder.signals) == ([], [])
    assert everything(legacy) == before
    warning = "WARNING Undefined input: {}, for property: Direction\n"
    assert service.log().count("WARNING") == 4 * len(NO_DIRECTIONS)
    assert "".join(map(warning.format, NO_DIRECTIONS)) * 4 in service.log()


def test_what_cannot_be_written_is_refused(service, legacy):
    """By its access, its type, its interface or its name."""
    before = everything(legacy)
    with service.saved() as groups:
        for interface, properties in DECLARED.items():
            for name, kind, access in properties:
                wrong = ["s", "u", "x", "as", "v"] if access != "read" \
                    else [kind]
                for value in wrong:
                    with pytest.raises(BusError, match="InvalidArgs"):
                        legacy.set(PIN, interface, name, WRONG[value])
        for interface, name in [(INPUT, "Usage"), (PORT, "Name"),
                                (OUTPUT, "Trig"), (PORT, "Unknown"),
                                ("com.vexa.Unknown", "Name")]:
            with pytest.raises(BusError):
                legacy.set(PIN, interface, name, "open")
            with pytest.raises(BusError):
                legacy.get(PIN, interface, name)
        with pytest.raises(BusError):
            legacy.set(IN, OUTPUT, "Name", "not its side")
    assert groups == []
    assert everything(legacy) == before


WRONG = {"s": GLib.Variant("s", "open"), "u": GLib.Variant("u", 1),
         "x": GLib.Variant("x", 1), "as": GLib.Variant("as", ["open"]),
         "v": GLib.Variant("v", GLib.Variant("i", 1)),
         "i": GLib.Variant("i", 1), "b": GLib.Variant("b", True)}


# ---- byte strings ----

TEXTS = [(IN, INPUT, "Name"), (OUT, OUTPUT, "Name"), (PIN, INPUT, "Name"),
         (PIN, PORT, "Usage")]
WORDS = [(PIN, INPUT, "Trig", b"open"), (PIN, OUTPUT, "Active", b"open"),
         (PIN, OUTPUT, "Button", b"pulse"),
         (PIN, OUTPUT, "Mode", b"monostable")]
NO_TEXTS = [b"abc", b"\xff\0", b"a\xc3\0", b"\xed\xa0\x80\0", b"a\0b\0",
            b"\0\0", b"a\0b", b"\0a"]
TOO_LONG = [b"x" * (MEBIBYTE + 1) + b"\0", b"x" * 8 * MEBIBYTE + b"\0",
            b"\xff" * 8 * MEBIBYTE]


def test_byte_strings_that_are_no_text_are_refused(service, legacy):
    recorder = legacy.record()
    before = everything(legacy)
    with service.saved() as groups:
        for number, interface, name in TEXTS:
            for data in NO_TEXTS:
                with expect_error(bad(name)):
                    legacy.set(number, interface, name, raw_bytes(data))
        for data in TOO_LONG:
            with expect_error(bad("Usage")):
                legacy.set(PIN, PORT, "Usage", raw_bytes(data))
            with expect_error(bad("Name")):
                legacy.set(OUT, OUTPUT, "Name", raw_bytes(data))
        for number, interface, name, word in WORDS:
            for data in (word, word + b"\0\0", word + b"\0x\0", b"", b"\0",
                         b"\xff" + word + b"\0"):
                with expect_error(bad(name)):
                    legacy.set(number, interface, name, raw_bytes(data))
    assert (groups, recorder.signals) == ([], [])
    assert everything(legacy) == before


def test_direction_that_is_no_text_is_named_as_far_as_it_can_be(legacy):
    """Twelve million bytes would be 36 as replacement characters, more than a
    bus passes on."""
    for data, text in [(b"", ""), (b"\0", ""), (b"input", ""),
                       (b"in\0put\0", ""), (b"\xffin\0", "\ufffdin")]:
        with expect_error(invalid(f"Bad Direction '{text}'")):
            legacy.set(PIN, PORT, "Direction", raw_bytes(data))
    with pytest.raises(BusError, match="Bad Direction '\ufffd"):
        legacy.set(PIN, PORT, "Direction",
                   raw_bytes(b"\xff" * 12_000_000 + b"\0"))
    assert legacy.get(PIN, PORT, "Direction") == "input"


def test_byte_strings_at_the_limits_are_taken(service, legacy):
    values = record_bytes(legacy)
    longest = "ü" * (MEBIBYTE // 2)
    expected = []
    for data, text in [(b"\0", ""), (b"x" * MEBIBYTE + b"\0", "x" * MEBIBYTE),
                       (b"", ""), (longest.encode() + b"\0", longest)]:
        for number, interface, name in TEXTS:
            legacy.set(number, interface, name, raw_bytes(data))
            expected.append(bytes_of(text))
        for number, interface, name in TEXTS:
            assert legacy.get_all(number, interface)[name] == shown(name,
                                                                    text)
        service.client.sync()
        # The first usage is what was there.
        assert values == expected[-len(values):]
        assert service.parameters()["pin"]["usage"] == text
    assert len(values) == len(expected) - 1


# ---- the direction ----

def count_change(inputs, outputs):
    return [(PORT, path_of(0), PORT, path_of(0), 3, f"{name} {count}")
            for name, count in [("NbrOfInputs", inputs),
                                ("NbrOfOutputs", outputs)]]


def told(client, recorder):
    """The count announcements so far."""
    client.sync()
    client.sync(CONFIGURATION_EVENTS)
    return recorder.args


def test_direction_that_the_port_has_changes_nothing(service, legacy):
    recorder = legacy.record()
    counts = service.client.record(interface=CONFIGURATION_EVENTS)
    with service.saved() as groups:
        for number, word in [(IN, "input"), (OUT, "output"), (PIN, "input"),
                             (SOFT, "input")]:
            legacy.set(number, PORT, "Direction", word)
    assert (groups, recorder.signals) == ([], [])
    assert told(service.client, counts) == []


def test_direction_of_a_configurable_port_changes_counts_and_is_saved(
        service, legacy):
    recorder = legacy.record()
    counts = service.client.record(interface=CONFIGURATION_EVENTS)
    for word, numbers in [("output", (2, 3)), ("input", (3, 2))]:
        counts.signals.clear()
        with service.saved() as groups:
            legacy.set(PIN, PORT, "Direction", word)
        assert groups == ["pin"]
        assert told(service.client, counts) == count_change(*numbers)
        assert service.call("GetDirection", PIN) == word
    assert announced(recorder) == [
        (PIN, PORT, "Direction", b"output\0"),
        (PIN, PORT, "Direction", b"input\0")]


# ---- sequences ----

def test_writes_of_levels_and_direction_end_a_sequence(service, legacy):
    """Levels even when they are what they were; other writes do not."""
    done = service.client.record("ActionSequenceDone")

    def ended(number, interface, name, value):
        legacy.set(number, interface, name, value)
        service.settle()
        found = [args[0] for args in done.args]
        done.signals.clear()
        return found == [number]

    service.start_sequence(OUT, (True, HOUR))
    for name, value in [("Name", "x"), ("Button", "none"), ("PulseTime", 3),
                        ("Mode", "bistable"), ("DelayTime", 4)]:
        assert not ended(OUT, OUTPUT, name, value)
    assert not ended(OUT, PORT, "Direction", "output")
    assert not ended(OUT, PORT, "Usage", "x")
    assert ended(OUT, OUTPUT, "Active", "closed")
    service.start_sequence(OUT, (True, HOUR))
    assert ended(OUT, OUTPUT, "Active", "open")
    service.start_sequence(IN, (True, HOUR), virtual=True)
    assert ended(IN, INPUT, "Trig", "closed")
    service.start_sequence(PIN, (True, HOUR), virtual=True)
    assert not ended(PIN, PORT, "Direction", "input")
    assert ended(PIN, PORT, "Direction", "output")


# ---- announcements ----

def test_changes_through_the_state_interface_are_announced(service, legacy):
    """On the paths of ports that have no object, too; a port of a negative
    number has not even a path."""
    recorder = legacy.record()
    unsigned = UNNUMBERED & 0xFFFFFFFF
    for number in (unsigned, IN):
        service.call("SetName", number, True, "Gate")
        service.call("SetActive", number, True, "open")
        service.call("SetUsage", number, "u")
    for number in (OUT, FAR):
        service.call("SetName", number, False, "Bulb")
        service.call("SetActive", number, False, "open")
        service.call("SetActive", number, False, "closed")
    service.call("SetDirection", PIN, "output")
    # The side that it is not on now.
    service.call("SetActive", PIN, True, "open")
    service.settle()
    assert announced(recorder) == [
        (IN, INPUT, "Name", b"Gate\0"), (IN, INPUT, "Trig", b"open\0"),
        (IN, PORT, "Usage", b"u\0"),
        *((number, OUTPUT, name, value) for number in (OUT, FAR)
          for name, value in [("Name", b"Bulb\0"), ("Active", b"open\0"),
                              ("Active", b"closed\0")]),
        (PIN, PORT, "Direction", b"output\0")]
    assert legacy.get(IN, INPUT, "Name") == "Gate"


# ---- dropping and refreshing ----

def test_objects_follow_the_ports_that_go_and_come(service, legacy):
    service.call("DropIOPorts", ["lamp"])
    assert legacy.objects() == {number: interfaces for number, interfaces
                                in OBJECTS.items() if number != OUT}
    assert service.client.has_owner(SERVICE)
    assert legacy.get(IN, PORT, "NbrOfOutputs") == 1
    service.call("RefreshIOPorts")
    assert everything(legacy) == READINGS


def test_calls_during_a_resynchronisation_are_answered(service, connect):
    """With values, or because the object was just away, with an error."""
    asking = connect(service.box)
    rounds = 10
    collected = []
    for _ in range(rounds):
        first = ask_for_everything(asking, [IN, PIN])
        assert service.call("DropIOPorts", ["lamp"]) == ["lamp"]
        second = ask_for_everything(asking, [IN, PIN])
        service.call("RefreshIOPorts")
        collected += [first(), second()]
    for answers in collected:
        for key in [(IN, INPUT), (PIN, INPUT), (PIN, OUTPUT)]:
            assert answers[key] in (
                READINGS[key], "org.freedesktop.DBus.Error.UnknownMethod",
                "org.freedesktop.DBus.Error.ServiceUnknown",
                "org.freedesktop.DBus.Error.NameHasNoOwner")
    assert everything(Legacy(service)) == READINGS


@pytest.mark.build("plain")
def test_thousand_resynchronisations_leave_nothing_behind(service, legacy):
    def run(pairs):
        errors = pipeline(service.client, pairs * [
            ("DropIOPorts", (["lamp"],)), ("RefreshIOPorts", ())])
        assert not any(errors)

    def held():
        service.settle()
        # GLib keeps threads for a while.
        return replace(usage(service.client, service.daemon.pid), threads=0)

    run(25)
    before, size = held(), memory(service.daemon.pid)
    run(475)
    assert held() == before
    assert memory(service.daemon.pid) - size < MEBIBYTE
    assert legacy.objects() == OBJECTS
    assert not any((service.box.etc / "orvad.d").iterdir())
