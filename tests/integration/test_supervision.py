"""Supervision of real ports: the interface, what is kept of it, and its
events."""

import pytest
from gi.repository import GLib

from events_support import (ALARM, ALARM_TYPE, IOPORT_EVENT, NAMESPACES,
                            PORT_ANY, Events, alarm, described, happened, sent)
from gpio_support import fixture_boards
from lifecycle_support import complaints, input_group
from ports_support import event, expect_error, key, long_sequence, pipeline
from supervised_support import (INVALID_RANGE, LEVELS, NO_STATES,
                                NO_SUPERVISED_PORT, NOT_SUPERVISABLE, RANGES,
                                UNDEFINED_STATE, ZONES, Reports, fixture_guard,
                                pipeline_supervised, unchanged, unmeasured,
                                zone_port)

KIBIBYTE = 1024

INPUT, BOTH, OUTPUT, VIRTUAL = range(4)


def every_kind():
    """Ports with those numbers."""
    return [zone_port(INPUT), zone_port(BOTH, "io_ctrl"),
            zone_port(OUTPUT, "output", ranges=[]),
            zone_port(VIRTUAL, properties={"virtual": "true"})]


# ---- the interface ----

def test_real_ports_are_described(guard):
    service = guard(*every_kind())
    assert service.ask("GetNumberOfPorts") == (2, 1)
    assert [service.ask("IsSupervisable", number)
            for number in (INPUT, BOTH, OUTPUT)] == \
        [(True, False), (True, False), (False, False)]
    assert [service.ask("GetSupervised", number)
            for number in (INPUT, BOTH, OUTPUT)] == [False] * 3
    assert service.ask("GetSupervisedPortNumbers") == [VIRTUAL, BOTH, INPUT]
    states = (4, [("closed",), ("open",), ("short",), ("cut",)])
    for number in (INPUT, BOTH):
        assert service.ask("GetSupervisedRanges", number) == RANGES
        assert service.ask("GetSupervisedStates", number) == states
        assert service.readout(number) == ("closed", 85)
    service.call("SetDirection", BOTH, "output")
    assert service.ask("GetNumberOfPorts") == (1, 2)
    assert service.ask("IsSupervisable", BOTH) == (True, False)
    assert service.readout(BOTH) == ("closed", 85)


def test_output_is_not_supervisable(guard):
    service = guard(*every_kind())
    with service.saved() as groups:
        for method, *arguments in (("SetSupervised", True),
                                   ("SetSupervisedRanges", "open", 1, 2),
                                   ("SetSupervisedRanges", "x", 2, 1),
                                   ("GetSupervisedRanges",),
                                   ("GetSupervisedReadout",)):
            with expect_error(NOT_SUPERVISABLE):
                service.ask(method, OUTPUT, *arguments)
        with expect_error(NO_STATES):
            service.ask("GetSupervisedStates", OUTPUT)
        assert service.ask("SetSupervised", OUTPUT, False) is None
    assert groups == []


def test_port_that_is_no_real_one_is_looked_at_by_some(guard):
    service = guard(*every_kind())
    for method, *arguments in (("IsSupervisable",), ("GetSupervised",),
                               ("SetSupervised", True),
                               ("SetSupervised", False)):
        with expect_error(NO_SUPERVISED_PORT):
            service.ask(method, VIRTUAL, *arguments)
    assert service.ask("GetSupervisedRanges", VIRTUAL) == RANGES
    assert service.readout(VIRTUAL) == ("closed", 85)
    assert service.ask("GetSupervisedStates", VIRTUAL)[0] == 4
    assert service.ask("SetSupervisedRanges", VIRTUAL, "closed", 1, 9) is None
    assert service.ask("GetSupervisedRanges", VIRTUAL)[-1] == ("closed", 1, 9)
    assert service.readout(VIRTUAL) == ("undefined", 85)


def test_dropped_port_is_none(guard):
    service = guard(zone_port(0, optional=True), zone_port(1))
    service.call("DropIOPorts", ["zone0"])
    for method, *arguments in (
            ("IsSupervisable",), ("GetSupervised",), ("SetSupervised", True),
            ("SetSupervisedRanges", "open", 2, 1), ("GetSupervisedRanges",),
            ("GetSupervisedReadout",), ("GetSupervisedStates",)):
        with expect_error(NO_SUPERVISED_PORT):
            service.ask(method, 0, *arguments)
    assert service.ask("GetSupervisedPortNumbers") == [1]


def test_switching_is_saved(guard):
    service = guard(*every_kind())
    for number, name in ((INPUT, "zone0"), (BOTH, "zone1")):
        for on, text in ((True, "true"), (False, "false")):
            with service.saved() as groups:
                service.supervise(number, on=on)
            assert groups == [name]
            assert service.parameters()[name]["supervised_input"] == text
            assert service.ask("GetSupervised", number) is on
        with service.saved() as groups:
            service.ask("SetSupervisedRanges", number, "cut", 231, 255)
        assert groups == [name]


@pytest.mark.parametrize("on", [True, False])
def test_switching_to_what_it_is_leaves_everything_alone(guard, on):
    service = guard(zone_port(0, "io_ctrl", events=[IOPORT_EVENT]))
    service.supervise(0)
    service.supervise(0, on=on)
    service.settle()
    events = Events(service)
    since = service.board.last_id()
    with unchanged(service.parameter_file):
        for _ in range(3):
            service.supervise(0, on=on)
        service.settle()
    assert service.writes(since) == []
    # At most the first report of the poll.
    assert {member for member, _ in events.take()} <= {"Event"}


# ---- ranges ----

VALID = [
    (0, 1), (0, 65535), (65534, 65535), (2**31, 0), (2**31, 65535),
    (2**31, 2**31 + 1), (2**31, 2**32 - 1), (2**32 - 1, 0),
    (2**32 - 1, 65535)]
INVALID = [
    (0, 0), (5, 4), (200, 100), (65535, 65535), (0, 65536), (65535, 65536),
    (65536, 65537), (0, 2**31 - 1), (2**31 - 1, 2**31 - 1),
    (2**31 - 1, 2**31), (2**31 - 1, 5), (0, 2**31), (0, 2**32 - 1),
    (2**31, 2**31), (2**31, 65536), (2**31, 2**31 - 1),
    (2**32 - 1, 65536), (2**32 - 1, 2**31), (2**32 - 1, 2**32 - 1)]
OTHER_WORDS = ["undefined", "tampered", "", "Open", "open ", "4", "öffen"]


def test_limits_are_signed_numbers(guard):
    """From 2^31 on they are below zero, and no level is in such a range."""
    service = guard(zone_port(0, ranges=[]))
    for lower, upper in VALID:
        service.ask("SetSupervisedRanges", 0, "open", lower, upper)
        assert service.ask("GetSupervisedRanges", 0) == \
            [("open", lower, upper)]
        assert service.readout(0) == (
            "open" if lower <= 85 <= upper else "undefined", 85)
    service.settle()
    with unchanged(service.parameter_file):
        for lower, upper in INVALID:
            for word in ("open", "tampered"):
                with expect_error(INVALID_RANGE):
                    service.ask("SetSupervisedRanges", 0, word, lower, upper)
        for word in OTHER_WORDS:
            for limits in ((1, 2), (2**32 - 1, 0)):
                with expect_error(UNDEFINED_STATE):
                    service.ask("SetSupervisedRanges", 0, word, *limits)
        service.settle()
    assert service.ask("GetSupervisedRanges", 0) == [("open", *VALID[-1])]
    assert complaints(service.daemon) == []


def test_range_that_was_set_is_the_last_one(guard):
    """In place of the one of its state."""
    service = guard(zone_port(0), zone_port(1, ranges=[]))
    short, closed, opened, cut = RANGES
    closed_now = ("closed", 0, 255)
    service.ask("SetSupervisedRanges", 0, *closed_now)
    assert service.ask("GetSupervisedRanges", 0) == \
        [short, opened, cut, closed_now]
    # It covers all of the others, and wins.
    for level in LEVELS.values():
        service.set_level(0, level)
        assert service.readout(0) == ("closed", level)
    for entry in (short, opened, cut):
        service.ask("SetSupervisedRanges", 0, *entry)
    assert service.ask("GetSupervisedRanges", 0) == \
        [closed_now, short, opened, cut]
    for state, level in LEVELS.items():
        service.set_level(0, level)
        assert service.readout(0) == (state, level)
    for entry in RANGES[::-1]:
        service.ask("SetSupervisedRanges", 1, *entry)
    assert service.ask("GetSupervisedRanges", 1) == RANGES[::-1]


def test_range_that_is_set_counts_at_the_next_poll(guard):
    service = guard(zone_port(0))
    reports = Reports(service)
    service.supervise(0)
    reports.wait_for(0, True)
    service.ask("SetSupervisedRanges", 0, "open", 0, 255)
    reports.wait_for(0, True, False)


# ---- memory ----

@pytest.mark.build("plain")
def test_calls_leave_nothing_behind(guard):
    """A byte or two dozen of each would show. Those that save take as long as
    the disk."""
    service = guard(*every_kind())
    service.supervise(INPUT, BOTH)

    def play(failing, succeeding):
        bad = [("SetSupervisedRanges", INPUT, "open", 2, 1),
               ("SetSupervisedRanges", BOTH, "tampered" * 20, 1, 2),
               ("SetSupervisedRanges", OUTPUT, "open", 1, 2),
               ("GetSupervisedReadout", 99)] * failing
        good = [("SetSupervisedRanges", BOTH, "open", 140, 201),
                *[("GetSupervisedReadout", INPUT),
                  ("GetSupervisedRanges", BOTH),
                  ("GetSupervisedStates", BOTH),
                  ("GetSupervisedPortNumbers",)] * 5] * succeeding
        counts = pipeline_supervised(service.client, bad + good)
        assert counts == {INVALID_RANGE[0]: 2 * failing,
                          NOT_SUPERVISABLE[0]: failing,
                          NO_SUPERVISED_PORT[0]: failing, None: len(good)}

    play(500, 20)
    before = service.memory()
    play(5000, 100)
    assert service.memory() - before < 512 * KIBIBYTE


# ---- persistence ----

def text_of(ranges):
    return GLib.Variant("a(suu)", ranges).print_(True)


def saved_zone(number, **changes):
    """The complete group of an input, with the default ranges."""
    return input_group(f"zone{number}", **{
        "supervised_input_ranges": text_of(RANGES),
        "supervised_input": "false", **changes})


@pytest.mark.parametrize("end", ["stop", "kill"])
def test_supervision_outlasts_the_daemon(guard, end):
    """It is active without a call; the ranges are sorted by then."""
    service = guard(zone_port(0), zone_port(1, "io_ctrl"),
                    zone_port(2, "io_ctrl"))
    service.ask("SetSupervisedRanges", 0, "short", 1, 39)
    set_ranges = [*RANGES[1:], ("short", 1, 39)]
    service.supervise(0, 1, 2)
    service.call("SetDirection", 2, "output")
    service.settle()
    saved = service.parameters()["zone0"]
    assert saved["supervised_input_ranges"] == text_of(set_ranges)
    assert saved["supervised_input"] == "true"
    getattr(service.daemon, end)()
    since = service.board.last_id()
    read = service.readings(2)
    service.start_again()
    assert service.ask("GetSupervisedRanges", 0) == \
        [set_ranges[-1], *set_ranges[:-1]]
    assert [service.ask("GetSupervised", number) for number in range(3)] == \
        [True] * 3
    # The output is none of supervision's business until it is an input.
    assert service.controls(since) == [
        ("ioctrl2", "0"), ("sioctrl2", "0"), ("ioctrl1", "0"),
        ("sioctrl1", "1"), ("ioctrl0", "0"), ("sioctrl0", "1")]
    # The first reports are out by then.
    service.wait_for_polls(0, 1)
    assert service.readings(2) == read
    reports = Reports(service)
    for number in range(2):
        service.board.loop(f"zone{number}", "open")
    for number in range(2):
        reports.wait_for(number, False)
    since = service.board.last_id()
    service.call("SetDirection", 2, "input")
    assert service.controls(since) == [("out2", "0"), ("ioctrl2", "0"),
                                       ("sioctrl2", "1")]
    service.wait_for_polls(2)


def test_saved_ranges_are_sorted_by_their_lower_limits(guard):
    """As signed differences; of equal ones the later comes first. Nothing else
    is looked at."""
    files = [
        ([("cut", 500, 600), ("open", 0, 100)],
         [("open", 0, 100), ("cut", 500, 600)]),
        ([("open", 5, 6), ("cut", 5, 7), ("short", 5, 8)],
         [("short", 5, 8), ("cut", 5, 7), ("open", 5, 6)]),
        ([("open", 0, 1), ("cut", 3000000000, 2)],
         [("cut", 3000000000, 2), ("open", 0, 1)]),
        ([("cut", 2**31, 2), ("open", 0, 1)],
         [("open", 0, 1), ("cut", 2**31, 2)]),
        ([("tampered", 80, 90), ("open", 70000, 1), ("open", 2, 3)],
         [("open", 2, 3), ("undefined", 80, 90), ("open", 70000, 1)]),
        ([("open", 300 - n, 400) for n in range(200)],
         [("open", 101 + n, 400) for n in range(200)]),
    ]
    service = guard(*[zone_port(number) for number in range(len(files))],
                    orvad_conf="".join(
        saved_zone(number, supervised_input_ranges=text_of(ranges))
        for number, (ranges, _) in enumerate(files)))
    assert complaints(service.daemon) == []
    assert [service.ask("GetSupervisedRanges", number)
            for number in range(len(files))] == [kept for _, kept in files]


WRONG_TEXTS = {
    0: "'text'",
    1: "[('open', 0, 5)]",  # of the type a(sii)
    2: "[(",
    3: text_of(RANGES)[:-20],
    4: "",
    5: text_of([("open", 0, 5)] * 100000),
    6: "(" * 100000,
    7: "[('open', uint32 0, uint32 5)] more",
}


def test_saved_ranges_that_are_wrong_leave_the_configured_ones(guard):
    """And what is behind them in the file as it is configured, until the next
    start, by which the file is in order."""
    service = guard(*[zone_port(number) for number in ZONES],
                    orvad_conf="".join(
        saved_zone(number, supervised_input="true", usage="lost",
                   supervised_input_ranges=text)
        for number, text in WRONG_TEXTS.items()))
    assert len(complaints(service.daemon)) == len(WRONG_TEXTS)
    assert all(line.startswith("Error parsing param file: ")
               for line in complaints(service.daemon))
    for number in ZONES:
        assert service.ask("GetSupervisedRanges", number) == RANGES
        assert service.ask("GetSupervised", number) is False
        assert service.readout(number) == ("closed", 85)
    saved = service.parameters()
    assert [(saved[f"zone{number}"]["input_name"],
             saved[f"zone{number}"]["supervised_input_ranges"],
             saved[f"zone{number}"]["usage"])
            for number in ZONES] == [("Door", text_of(RANGES), "")] * 8
    service.restart()
    assert complaints(service.daemon) == []


def test_saved_empty_list_leaves_the_configured_ranges(guard):
    """What is behind it in the file counts."""
    service = guard(zone_port(0), zone_port(1, ranges=[]), zone_port(2),
                    orvad_conf=saved_zone(
        0, supervised_input_ranges="@a(suu) []", supervised_input="true",
        usage="kept") + saved_zone(2, supervised_input="perhaps"))
    assert service.ask("GetSupervisedRanges", 0) == RANGES
    assert service.ask("GetSupervised", 0) is True
    assert service.call("GetUsage", 0) == "kept"
    assert service.parameters()["zone1"]["supervised_input_ranges"] == \
        "@a(suu) []"
    # A flag that is none is told of.
    assert service.ask("GetSupervised", 2) is False
    assert len(complaints(service.daemon)) == 1
    service.restart()
    assert complaints(service.daemon) == []
    assert [service.ask("GetSupervisedRanges", number)
            for number in range(2)] == [RANGES, []]
    assert service.ask("GetSupervised", 0) is True


def test_file_from_before_supervision_is_completed(guard):
    service = guard(zone_port(0), orvad_conf=input_group("zone0"))
    assert "Error parsing param file: " in complaints(service.daemon)[0]
    saved = service.parameters()["zone0"]
    assert (saved["supervised_input_ranges"], saved["supervised_input"]) == \
        (text_of(RANGES), "false")


# ---- events ----

SUPERVISED_EVENT = event("com.vexa.Event.Qel.SupervisedPort",
                         supervised_input="true", input="false",
                         output="false")
TOPICS = {"topic0": "Device", "topic1": "IO", "topic2": "SupervisedPort"}


def values(number, state):
    """Of the event of a supervised port."""
    return {"port": number, "state": state,
            "tampered": state in ("short", "cut"), **TOPICS}


def supervised_description(number, name):
    return {
        "type": "", "property": "tampered",
        "keys": {"port": number, **TOPICS},
        "nice-names": {
            "port": ("Port", name), "state": ("State", ""),
            "tampered": ("Tampered", ""), "topic0": ("", ""),
            "topic1": ("", "Input ports"),
            "topic2": ("", "Supervised input port")},
        "namespaces": NAMESPACES,
        "tags": {"port": ["onvif-source"], "state": ["onvif-data"],
                 "tampered": ["onvif-data"]}}


def test_events_follow_supervision(guard):
    """All but the one that the ports share are declared again. Ones that are
    for supervised ports only come and go."""
    service = guard(zone_port(0, names={"input": "Hall"}, events=[
        SUPERVISED_EVENT, PORT_ANY, IOPORT_EVENT]))
    assert service.declarations() == {1: described(0, "Hall"),
                                      2: described(-1, "Any")}
    events = Events(service)
    service.supervise(0)
    assert [signal for signal in events.take() if signal[0] != "Event"] == [
        ("Undeclared", (1,)), ("Declared", (3, described(0, "Hall"))),
        ("Declared", (4, supervised_description(0, "Hall")))]
    service.supervise(0, on=False)
    assert [signal for signal in events.take() if signal[0] != "Event"] == [
        ("Undeclared", (3,)), ("Declared", (5, described(0, "Hall"))),
        ("Undeclared", (4,))]


def test_events_of_a_supervised_output_that_becomes_an_input(guard):
    service = guard(zone_port(
        0, "io_ctrl", names={"input": "In", "output": "Out"},
        events=[SUPERVISED_EVENT, IOPORT_EVENT]))
    service.call("SetDirection", 0, "output")
    service.supervise(0)
    assert list(service.declarations().values()) == [
        described(0, "In"), supervised_description(0, "In")]
    service.call("SetDirection", 0, "output")
    assert [description["keys"]["topic2"] for description
            in service.declarations().values()] == ["Port"]


def test_line_s_state_is_an_event(guard):
    """Of the supervised port its state, of the digital one whether it is
    another than open."""
    service = guard(zone_port(0, events=[SUPERVISED_EVENT, IOPORT_EVENT]))
    service.supervise(0)
    port_event, supervised_event = service.declarations()
    events = Events(service)
    events.wait_for(*happened(supervised_event, values(0, "closed")))
    events.take()
    for state, level in (("open", 170), ("cut", 255), ("short", 0),
                         ("undefined", 50), ("closed", 85), ("short", 40)):
        service.set_level(0, level)
        events.wait_for(*happened(supervised_event, values(0, state)))
        assert events.take() == [
            happened(port_event, sent(0, state != "open")),
            happened(supervised_event, values(0, state))]


def test_event_s_state_is_the_present_one(guard):
    """It is measured when it is asked for."""
    service = guard(zone_port(0, events=[SUPERVISED_EVENT]))
    service.supervise(0)
    declaration, = service.declarations()
    for level in (0, 40, 41, 85, 170, 201, 255):
        service.set_level(0, level)
        state, _ = service.readout(0)
        assert service.state_of(declaration) == values(0, state)
    service.board.fail("adc", "EIO", "transfer")
    assert service.state_of(declaration) == values(0, "undefined")
    assert "Failed to read supervised state: " in service.log()


def test_same_state_is_not_sent_twice(guard):
    """Unless the active level has changed or the event was declared again in
    between."""
    service = guard(zone_port(0, events=[SUPERVISED_EVENT]))
    service.supervise(0)
    declaration, = service.declarations()
    events = Events(service)
    closed = happened(declaration, values(0, "closed"))
    events.wait_for(*closed)
    events.take()
    for active in ("open", "closed"):
        assert events.take(("SetVirtual", 0, True),
                           ("SetVirtual", 0, False)) == []
        assert events.take(("SetActive", 0, True, active)) == [closed]
    assert events.take(("SetActive", 0, True, "closed")) == []
    named = supervised_description(0, "Hall")
    assert events.take(("SetName", 0, True, "Hall"),
                       *[("SetVirtual", 0, True)] * 2) == [
        ("Undeclared", (declaration,)), ("Declared", (declaration + 1, named)),
        happened(declaration + 1, values(0, "closed"))]


def test_configured_events_tell_the_line_s_state(guard):
    """A boolean is true for closed, an integer is the state's number."""
    status = "PORT_SUPERVISED_STATUS"
    service = guard(zone_port(0, events=[alarm(
        key("on", status, "bool", True), key("number", status, "int", True),
        key("text", status, "string", True), supervised_input="true")]),
        types={ALARM: ALARM_TYPE})
    recorder = service.record_events()
    service.supervise(0)
    numbers = {"open": 0, "closed": 1, "short": 2, "cut": 3, "undefined": 4}
    for state, level in (("closed", 85), ("open", 170), ("cut", 255),
                         ("undefined", 50), ("short", 0)):
        service.set_level(0, level)
        wanted = {"on": state == "closed", "number": numbers[state],
                  "text": state}
        recorder.wait_for(
            lambda signal, wanted=wanted: signal.member == "Event"
            and wanted.items() <= signal.args[1].items())


# ---- from two sides ----

STEPS = [(n % 2 == 0, n % 3 - 1) for n in range(300)]


@pytest.mark.threaded
def test_simulated_sequence_runs_beside_changes_and_readouts(guard):
    """Its events measure the line too."""
    service = guard(zone_port(0, events=[SUPERVISED_EVENT, IOPORT_EVENT]),
                    zone_port(1, events=[SUPERVISED_EVENT]))
    service.supervise(0, 1)
    ends = service.client.record("ActionSequenceDone")
    for count in range(3):
        for number in range(2):
            service.start_sequence(number, *STEPS, virtual=True)
        for level in LEVELS.values():
            service.set_level(0, level)
            assert set(pipeline_supervised(service.client, [
                ("SetSupervisedRanges", 0, "open", count, 200 + count),
                ("SetSupervisedRanges", 1, "cut", 230, 254 - count),
                ("SetSupervisedRanges", 0, "open", 9, 9),
                *[("GetSupervisedReadout", number) for number in (0, 1)] * 5,
                ("GetSupervisedRanges", 0)])) == {None, INVALID_RANGE[0]}
            for declaration in service.declarations():
                service.state_of(declaration)
        ends.wait_for_count(2)
        ends.signals.clear()
    # A converter that fails is closed by whoever measures first.
    service.start_sequence(0, *STEPS, virtual=True)
    service.board.fail("adc", "EIO", "transfer")
    ends.wait_for_count(1)
    with expect_error(unmeasured("Bad file descriptor")):
        service.readout(0)


@pytest.mark.threaded
def test_supervision_is_switched_beside_a_simulated_sequence(guard):
    """Of an input it goes on; of a configurable port it ends, since the
    direction is set."""
    service = guard(
        zone_port(0, events=[SUPERVISED_EVENT, IOPORT_EVENT]),
        zone_port(1, "io_ctrl", events=[SUPERVISED_EVENT, IOPORT_EVENT]))
    ends = service.client.record("ActionSequenceDone")
    assert pipeline(service.client, [long_sequence(
        0, [n % 2 == 0 for n in range(5000)], 1, virtual=True)]) == [None]
    for count in range(10):
        service.start_sequence(1, *STEPS, (True, 100000), virtual=True)
        service.supervise(0, 1, on=count % 2 == 0)
        ends.wait_for(lambda signal: signal.args == (1,))
        ends.signals.clear()
    service.call("SetActive", 0, True, "open")
    ends.wait_for(lambda signal: signal.args == (0,))


@pytest.mark.threaded
def test_supervised_port_is_dropped_beside_a_simulated_sequence(guard):
    service = guard(zone_port(0, optional=True, events=[SUPERVISED_EVENT]))
    service.supervise(0)
    ends = service.client.record("ActionSequenceDone")
    for count in range(1, 11):
        assert pipeline(service.client, [
            long_sequence(0, [True, False] * 2000, 1, virtual=True),
            ("DropIOPorts", (["zone0"],)), ("RefreshIOPorts", ())]) == \
            [None] * 3
        ends.wait_for_count(count)
    assert service.readout(0) == ("closed", 85)
