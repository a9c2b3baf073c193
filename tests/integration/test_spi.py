"""Supervised inputs that an SPI converter measures, on a simulated board."""

import time

import pytest

from events_support import warnings
from gpio_support import fixture_boards
from lifecycle_support import complaints, output_group
from supervised_support import (BOARD, DEVICE, IN, IOCTRL, LEVELS, OUT, RANGES,
                                SIOCTRL, ZONES, Reports, fixture_guard, line,
                                zone_port)

POLL_SECONDS = 0.25


def classified(ranges, level):
    """What a level means: the last range that it is in."""
    states = [state for state, lower, upper in ranges
              if lower <= level <= upper]
    return states[-1] if states else "undefined"


# ---- set-up ----

def input_request(number):
    name = f"in{number}"
    return [(name, "exported", f"gpio{line(number, IN)}"),
            (name, "direction", "in"), (name, "edge", "both"),
            (name, "active_low", "0")]


def output_request(name, number, level):
    """A line that was low is requested as an output of that level."""
    return [(name, "exported", f"gpio{number}"), (name, "edge", "none"),
            (name, "direction", level),
            *([(name, "level", "high")] if level == "high" else []),
            (name, "active_low", "0")]


def request_as_it_is(number):
    name = f"sioctrl{number}"
    return [(name, "exported", f"gpio{line(number, SIOCTRL)}"),
            (name, "active_low", "0")]


def output_line(number, level):
    return output_request(f"out{number}", line(number, OUT), level)


def control_line(number, level):
    return output_request(f"ioctrl{number}", line(number, IOCTRL), level)


BITS = ("adc", "setting", "bits:16")


def test_lines_are_requested_in_order(guard):
    """Set up are the newest first. An output of which nothing but the line is
    there needs no more."""
    def saved(number, is_input):
        return output_group(
            f"zone{number}", input=is_input, input_name="",
            input_activelow="false", output_activelow="true",
            supervised_input="false", supervised_input_ranges="@a(suu) []")

    service = guard(
        zone_port(5, "output", ranges=[], elements={
            "io_ctrl": None, "sio_ctrl": None, "device": None}),
        zone_port(4, "io_ctrl"), zone_port(3, "io_ctrl"),
        zone_port(2, "io_ctrl", defaults={"dir": "output"}),
        zone_port(1, "io_ctrl"),
        zone_port(0), orvad_conf=saved(3, "false") + saved(4, "true"))
    assert service.writes() == [
        *input_request(0), *control_line(0, "high"), *request_as_it_is(0),
        ("ioctrl0", "write", "1"), ("sioctrl0", "write", "0"), BITS,
        *input_request(1), *output_line(1, "low"), *control_line(1, "high"),
        *request_as_it_is(1),
        ("ioctrl1", "write", "1"), ("sioctrl1", "write", "0"), BITS,
        *input_request(2), *output_line(2, "low"), *control_line(2, "low"),
        *request_as_it_is(2),
        ("ioctrl2", "write", "0"), ("sioctrl2", "write", "0"), BITS,
        # Inactive when high, and written by the request only.
        *input_request(3), *output_line(3, "high"), *control_line(3, "low"),
        *request_as_it_is(3),
        ("ioctrl3", "write", "0"), ("sioctrl3", "write", "0"), BITS,
        # But low as long as the port is an input.
        *input_request(4), *output_line(4, "low"), *control_line(4, "high"),
        *request_as_it_is(4),
        ("ioctrl4", "write", "1"), ("sioctrl4", "write", "0"), BITS,
        *output_line(5, "low")]
    assert complaints(service.daemon) == []
    assert [entry for entry in service.log().splitlines()
            if "Init pin" in entry] == ["INFO Init pin: (null)"] * 15
    assert service.board.converters()["adc"].users == 5


def test_inverted_control_lines_are_driven_the_other_way_round(guard):
    service = guard(zone_port(0, elements={
        "io_ctrl": {"pin": line(0, IOCTRL), "inverted": "true"},
        "sio_ctrl": {"pin": line(0, SIOCTRL), "inverted": "true"}}))
    assert service.writes()[4:-1] == [
        ("ioctrl0", "exported", f"gpio{line(0, IOCTRL)}"),
        ("ioctrl0", "edge", "none"), ("ioctrl0", "direction", "low"),
        ("ioctrl0", "active_low", "1"),
        ("sioctrl0", "exported", f"gpio{line(0, SIOCTRL)}"),
        ("sioctrl0", "active_low", "1"),
        ("ioctrl0", "write", "1"),
        ("sioctrl0", "write", "0"), ("sioctrl0", "level", "high")]


def test_control_lines_may_have_names(guard):
    service = guard(zone_port(0, elements={
        "io_ctrl": {"alias": "plain"}, "sio_ctrl": {"alias": "supervised"}}),
        text=BOARD + """
[Line path0]
Number=50
Exported=plain
[Line path1]
Number=51
Direction=out
Exported=supervised
""")
    assert "INFO Init pin: plain\n" in service.log()
    service.supervise(0)
    assert service.controls() == [("path0", "1"), ("path1", "0"),
                                  ("path0", "0"), ("path1", "1")]
    service.daemon.stop()
    assert service.exported() == [50, 51]


def test_items_are_read_as_they_are_written(guard):
    """All addresses are those of one channel, the low byte of a hexadecimal
    number; a text that is none is channel 0. Speeds and paths have a key each,
    an address has any."""
    addresses = [("value", "13"), ("nbr", "0x13"), ("x", "0X13"),
                 ("value", "113"), ("value", "0xfff13")]
    speeds = [{"value": "500000"}, {"value": "0x7A120"}, {"value": "01750"},
              {"value": "0"}, {"hz": "9600"}, None]
    ports = [zone_port(zone, elements={
        "address": {key: text},
        "speed": speed,
        "device": {"name": "/nowhere", "path": DEVICE},
        "anything": {"lower": "1", "upper": "2"}})
        for zone, ((key, text), speed) in enumerate(
            zip([*addresses, ("value", "zone")], speeds))]
    service = guard(*ports)
    assert complaints(service.daemon) == []
    assert [value for name, what, value in service.writes()
            if what == "setting"] == [
        "bits:16", "bits:16", "bits:16",
        "bits:16", "speed:1000", "bits:16", "speed:500000",
        "bits:16", "speed:500000"]
    assert service.board.converters()["adc"].mode == 0
    service.board.adc("adc", 0x13, 61)
    service.board.adc("adc", 0, 62)
    assert [service.readout(number) for number in range(6)] == \
        [("closed", 61)] * 5 + [("closed", 62)]


def test_ranges_are_completed_by_their_upper_limit(guard):
    """What is pending is the same for all ports, and forgotten when a range is
    complete."""
    service = guard(
        zone_port(0, ranges=[{"state": "open", "upper": 10, "lower": 5}]),
        zone_port(1, ranges=[{"state": "cut", "upper": 20}, {"upper": 30}]),
        zone_port(2, ranges=[{"state": "closed", "lower": 7}]),
        zone_port(3, ranges=[{"upper": 9}]),
        zone_port(4, ranges=[("short", "0x10", "0x20"),
                             ("cut", " 12x", "+34")]),
        zone_port(5, ranges=[("open", 10, 20), ("cut", 30, 40),
                             ("open", 1, 5)]),
        zone_port(6, ranges=[("tampered", 1, 2), ("closed", 5, 5),
                             ("closed", 6, 5), ("closed", 0, 65536),
                             ("open", 0, 65535)]),
        zone_port(7, ranges=[("closed", -5, 5)]))
    assert [service.ask("GetSupervisedRanges", number)
            for number in ZONES] == [
        [("open", 0, 10)], [("cut", 5, 20)], [], [("closed", 7, 9)],
        [("cut", 12, 34)], [("cut", 30, 40), ("open", 1, 5)],
        [("open", 0, 65535)], [("closed", 2**32 - 5, 5)]]
    failed = "Failed to configure port: "
    assert warnings(service) == [
        failed + "State is undefined.", failed + "Invalid range.",
        failed + "State is undefined.", *[failed + "Invalid range."] * 3]


# ---- measuring ----

def test_readout_is_what_the_ranges_make_of_the_level(guard):
    overlapping = [("closed", 0, 100), ("short", 50, 150)]
    service = guard(zone_port(0), zone_port(1, ranges=overlapping),
                    zone_port(2, ranges=[]))
    few = [0, 49, 50, 100, 101, 150, 151, 255]
    for zone, ranges, levels in ((0, RANGES, range(256)),
                                 (1, overlapping, few), (2, [], few)):
        for level in levels:
            service.set_level(zone, level)
            assert service.readout(zone) == (classified(ranges, level), level)


def test_readouts_of_a_loop(guard):
    service = guard(zone_port(0))
    for state, level in LEVELS.items():
        assert service.board.loop("zone0", state) == level
        assert service.readout(0) == (state, level)


# ---- the two modes ----

def test_plain_input_s_edges_are_its_changes(guard):
    service = guard(zone_port(0), zone_port(1))
    service.supervise(1)
    reports = Reports(service)
    service.board.open("in0")
    reports.wait_for(0, True)
    assert service.call("GetState", 0) is True
    service.board.close("in0")
    reports.wait_for(0, True, False)
    # The level alone is none of its business.
    service.set_level(0, 255)
    service.wait_for_polls(1)
    assert reports.of(0) == [True, False]
    assert service.readings(0) == 0
    assert service.call("GetState", 0) is False


def test_supervised_input_s_states_are_its_changes(guard):
    """Active is every one but open. The contact stays closed, and what it
    says is still to be had."""
    service = guard(zone_port(0))
    reports = Reports(service)
    service.supervise(0)
    expected = [True]
    reports.wait_for(0, *expected)
    for level, active in ((170, False), (255, True), (0, True), (50, True),
                          (85, True), (170, False), (50, True)):
        service.set_level(0, level)
        expected.append(active)
        reports.wait_for(0, *expected)
        assert service.call("GetState", 0) is False
    # Another level of the same state is no change.
    service.set_level(0, 51)
    service.wait_for_polls(0)
    assert reports.of(0) == expected


def test_supervised_input_is_measured_four_times_a_second(guard):
    """It may come late now and then, never early."""
    service = guard(zone_port(0))
    service.supervise(0)

    def four_polls():
        service.wait_for_polls(0, count=1)
        begin = time.monotonic()
        service.wait_for_polls(0, count=4)
        return (time.monotonic() - begin) / POLL_SECONDS

    intervals = four_polls()
    assert intervals > 3
    assert intervals < 6 or any(four_polls() < 6 for _ in range(5))


def test_edges_of_a_supervised_input_are_not_its_changes(guard):
    """The contact that is opened is what the level tells, once."""
    service = guard(zone_port(0))
    service.supervise(0)
    reports = Reports(service)
    reports.wait_for(0, True)
    service.board.open("in0")
    reports.wait_for(0, True, False)
    service.wait_for_polls(0)
    assert reports.of(0) == [True, False]
    assert service.call("GetState", 0) is True


def test_first_report_says_what_is_known(guard):
    """An undefined state is what there was before."""
    service = guard(zone_port(0), zone_port(1))
    service.set_level(0, 50)
    reports = Reports(service)
    service.supervise(0, 1)
    reports.wait_for(1, True)
    service.wait_for_polls(0)
    assert reports.of(0) == []
    service.set_level(0, 170)
    reports.wait_for(0, False)
    for _ in range(2):
        reports.forget()
        service.supervise(0, on=False)
        service.supervise(0)
        reports.wait_for(0, False)


def test_control_lines_select_the_path(guard):
    service = guard(zone_port(0))
    for on, first, second in ((True, "0", "1"), (False, "1", "0")) * 2:
        since = service.board.last_id()
        service.supervise(0, on=on)
        assert service.controls(since) == [("ioctrl0", first),
                                           ("sioctrl0", second)]
        assert service.ask("GetSupervised", 0) is on


def test_input_that_is_not_supervised_any_more_has_edges_again(guard):
    service = guard(zone_port(0), zone_port(1))
    reports = Reports(service)
    service.supervise(0, 1)
    reports.wait_for(0, True)
    service.supervise(0, on=False)
    service.set_level(0, 255)
    read = service.readings(0)
    service.wait_for_polls(1)
    assert service.readings(0) == read
    service.board.open("in0")
    reports.wait_for(0, True, True)
    service.board.close("in0")
    reports.wait_for(0, True, True, False)


def test_active_level_is_the_plain_line_s(guard):
    """Its change is reported with the state of that line."""
    service = guard(zone_port(0))
    service.supervise(0)
    reports = Reports(service)
    reports.wait_for(0, True)
    service.call("SetActive", 0, True, "open")
    assert service.call("GetState", 0) is True
    service.set_level(0, 170)
    reports.wait_for(0, True, True, False)
    service.call("SetActive", 0, True, "closed")
    reports.wait_for(0, True, True, False, False)


# ---- configurable ports ----

AS_SUPERVISED = [("out0", "0"), ("ioctrl0", "0"), ("sioctrl0", "1")]
AS_PLAIN = [("out0", "0"), ("ioctrl0", "1"), ("sioctrl0", "0")]


@pytest.mark.parametrize("on, selected", [(True, AS_SUPERVISED),
                                          (False, AS_PLAIN)])
def test_switched_supervision_makes_an_output_an_input(guard, on, selected):
    """By a change of direction, and again once it is an input."""
    service = guard(zone_port(0, "io_ctrl"))
    service.supervise(0, on=not on)
    service.call("SetDirection", 0, "output")
    service.call("SetState", 0, True)
    changes = service.client.record("PortChanged")
    since = service.board.last_id()
    service.supervise(0, on=on)
    assert service.controls(since) == [*selected, *selected[1:], *selected]
    assert service.call("GetDirection", 0) == "input"
    assert service.board.level("out0") == "low"
    service.settle()
    assert [(args[3], args[5]) for args in changes.args[:2]] == \
        [(True, False)] * 2
    saved = service.parameters()["zone0"]
    assert (saved["input"], saved["supervised_input"]) == \
        ("true", "true" if on else "false")
    service.board.open("in0")
    changes.wait_for(lambda signal: signal.args[5] is not on)


def test_switched_supervision_of_an_input_sets_its_direction_once_more(guard):
    service = guard(zone_port(0, "io_ctrl"))
    for on, selected in ((True, AS_SUPERVISED), (False, AS_PLAIN)):
        since = service.board.last_id()
        service.supervise(0, on=on)
        assert service.controls(since) == [*selected[1:], *selected]


@pytest.mark.parametrize("active, inactive_level", [("closed", "0"),
                                                    ("open", "1")])
def test_direction_of_a_supervised_port_changes(guard, active, inactive_level):
    """Disconnected from the measuring path before its line is driven."""
    service = guard(zone_port(0, "io_ctrl"), zone_port(1))
    service.call("SetActive", 0, False, active)
    service.supervise(0, 1)
    reports = Reports(service)
    since = service.board.last_id()
    service.call("SetDirection", 0, "output")
    assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "0"),
                                       ("out0", inactive_level)]
    # Neither measured nor watched.
    service.settle()
    reports.forget()
    read = service.readings(0)
    service.wait_for_polls(1)
    service.board.open("in0")
    service.settle()
    assert (reports.of(0), service.readings(0)) == ([], read)
    assert service.call("GetState", 0) is False
    service.call("SetState", 0, True)
    assert service.call("GetState", 0) is True
    service.settle()
    reports.forget()
    service.board.close("in0")
    since = service.board.last_id()
    service.call("SetDirection", 0, "input")
    assert service.controls(since) == AS_SUPERVISED
    # Of the contact, then of the loop.
    reports.wait_for(0, False, True)


def test_output_is_an_output_and_nothing_else(guard):
    service = guard(zone_port(0, "output", ranges=[], elements={
        "io_ctrl": None, "sio_ctrl": None, "device": None}))
    reports = Reports(service)
    for state in (True, False):
        service.call("SetState", 0, state)
        assert service.board.level("out0") == ("high" if state else "low")
        assert service.call("GetState", 0) is state
    service.settle()
    assert reports.of(0) == [True, False]
    assert service.ask("IsSupervisable", 0) == (False, False)


# ---- many ports ----

def test_all_zones_are_supervised_at_once(guard):
    """Each for itself, whatever its number is."""
    numbers = [*range(6), 6, 2**31 - 1]
    service = guard(*[zone_port(number, zone=zone)
                      for zone, number in enumerate(numbers)])
    reports = Reports(service)
    service.supervise(*numbers)
    for number in numbers:
        reports.wait_for(number, True)
    for zone in ZONES[::2]:
        service.board.loop(f"zone{zone}", "open")
    for number in numbers[::2]:
        reports.wait_for(number, True, False)
    for zone in ZONES[1::2]:
        service.board.loop(f"zone{zone}", "open")
    for number in numbers[1::2]:
        reports.wait_for(number, True, False)
    service.wait_for_polls(*ZONES, count=1)
    assert {number: reports.of(number) for number in numbers} == \
        {number: [True, False] for number in numbers}
    assert service.ask("GetSupervisedPortNumbers") == numbers[::-1]
