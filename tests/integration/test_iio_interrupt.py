"""Inputs whose converter tells when a level leaves its range, on a simulated
board."""

import pathlib

import pytest

from events_support import Events, happened, warnings
from gpio_support import fixture_boards
from iio_support import (LEVELS, RANGES, SUPERVISED_EVENT, fixture_watching,
                         level_port, threshold_port, values)
from lifecycle_support import complaints
from ports_support import expect_error
from simboard_support import wakeups_of
from supervised_support import NOT_SUPERVISABLE, Reports

CLOSED = (900, 1800)
OPEN = (2000, 3000)
"""Thresholds."""

OFTEN = {"limit_timeout": 2}


def on_channel(number, *settings, folder="events/", name="voltage"):
    """"rising_value:1" and so on, as the history has them."""
    return [f"{folder}in_{name}{number}_thresh_{setting}"
            for setting in settings]


# ---- set-up ----

def test_events_are_off_after_the_set_up(watching):
    service = watching(threshold_port(0))
    assert service.settings(device="both")[:4] == on_channel(
        0, "falling_value:0", "rising_value:1", "rising_en:0",
        "falling_en:0")
    assert complaints(service.daemon) == []
    assert service.thresholds("both/0") is None
    assert service.board.iio_devices()["both"].listening
    assert not service.board.iio_devices()["both"].open


def test_shared_settings_are_written_first(watching):
    service = watching(
        threshold_port(5, items={"driver": "prox", "channel_name": "proximity",
                                 "integration_time": 350}),
        threshold_port(2, items={"driver": "either",
                                 "shared_thresh_either_period": "2"}),
        threshold_port(4, items={"driver": "other",
                                 "shared_samplefreq": "50"}),
        threshold_port(0, items={"shared_samplefreq": "100"}))
    assert complaints(service.daemon) == []
    off = ("falling_value:0", "rising_value:1")
    for device, settings in {
            "prox": ["in_proximity_integration_time:0.000350",
                     *on_channel("", *off, name="proximity")],
            "either": ["events/in_voltage_thresh_either_period:2.000000",
                       *on_channel(2, *off)],
            "other": ["sampling_frequency:50.000000", *on_channel(4, *off)],
            "both": ["in_voltage_sampling_frequency:100.000000",
                     *on_channel(0, *off)]}.items():
        assert service.settings(device=device)[:3] == settings


# ---- thresholds ----

SMALL = [("short", 0, 10), ("closed", 100, 200)]


@pytest.mark.parametrize("items, ranges, value, rising, falling", [
    ({}, RANGES, 1200, 1800, 900),
    ({"hysteresis": 5, "bitshift": 2}, SMALL, 600, 820, 380),
    # Below zero, and below what a smaller range would be.
    ({"hysteresis": 5}, SMALL, 4, 15, -5),
    ({"hysteresis": 4294967291}, RANGES, 1200, 1795, 905),
    # The last one of those that the level is in.
    ({}, [("short", 0, 4000), ("open", 1000, 3000)], 1200, 3000, 1000)])
def test_thresholds_are_just_outside_of_the_range(
        watching, items, ranges, value, rising, falling):
    service = watching(threshold_port(0, items=items, ranges=ranges), prepare=
                       lambda board: board.adc("both", 0, value))
    since = service.board.last_id()
    service.supervise(0)
    assert service.settings(since, "both") == on_channel(
        0, f"rising_value:{rising}", f"falling_value:{falling}",
        "rising_en:1", "falling_en:1")


@pytest.mark.parametrize("value, direction, threshold", [
    (600, "falling", 95), (40, "rising", 15)])
def test_one_threshold_is_towards_the_lower_range(watching, value, direction,
                                                  threshold):
    """And not shifted."""
    service = watching(threshold_port(3, ranges=SMALL, items={
        "driver": "one", "chan_extend_name": "aux", "one_threshold": "true",
        "hysteresis": 5, "bitshift": 2}), prepare=lambda board: board.adc(
            "one", 3, value))
    since = service.board.last_id()
    service.supervise(3)
    assert service.settings(since, "one") == on_channel(
        "3_aux", f"{direction}_value:{threshold}", f"{direction}_en:1")


# ---- events ----

def test_events_are_reported_and_the_thresholds_follow(watching):
    service = watching(threshold_port(0, events=[SUPERVISED_EVENT]))
    service.supervise(0)
    declaration, = service.declarations()
    reports, events = Reports(service), Events(service)
    expected = []
    limits = {state: (lower, upper) for state, lower, upper in RANGES}
    for state in ("open", "cut", "open", "closed", "short", "cut", "closed"):
        service.set_value("both/0", state)
        events.wait_for(*happened(declaration, values(0, state)))
        service.wait_for_thresholds("both/0", *limits[state])
        expected.append(state != "open")
        reports.wait_for(0, *expected)
        # Within the range nothing happens.
        told = service.board.channels()["both/0"].events
        service.set_value("both/0", LEVELS[state] + 5)
        assert service.board.channels()["both/0"].events == told
        assert events.take() == [happened(declaration, values(0, state))]
    assert reports.of(0) == expected


def test_level_in_no_range_is_undefined_and_nothing_after_it_is_told(watching):
    """Until supervision is switched on again."""
    service = watching(threshold_port(0))
    service.supervise(0)
    reports = Reports(service)
    service.set_value("both/0", "open")
    reports.wait_for(0, False)
    service.wait_for_thresholds("both/0", *OPEN)
    service.set_value("both/0", "undefined")
    reports.wait_for(0, False, True)
    service.settle()
    assert service.thresholds("both/0") is None
    assert service.readout(0) == ("undefined", LEVELS["undefined"])
    service.set_value("both/0", "open")
    service.settle()
    assert reports.of(0) == [False, True]
    service.supervise(0, on=False)
    service.supervise(0)
    service.wait_for_thresholds("both/0", *OPEN)


def test_device_with_one_flag_for_both_thresholds(watching):
    service = watching(threshold_port(2, items={"driver": "either"}))
    since = service.board.last_id()
    service.supervise(2)
    assert service.settings(since, "either") == on_channel(
        2, "rising_value:1800", "falling_value:900", "either_en:1")
    reports = Reports(service)
    service.set_value("either/2", "open")
    reports.wait_for(2, False)
    service.wait_for_thresholds("either/2", *OPEN)
    service.set_value("either/2", "short")
    reports.wait_for(2, False, True)
    service.wait_for_thresholds("either/2", 0, 400)


def test_device_with_one_threshold_at_a_time(watching):
    service = watching(threshold_port(3, items={
        "driver": "one", "chan_extend_name": "aux", "one_threshold": "true"},
        ranges=[("open", 0, 999), ("closed", 1000, 4095)]))
    service.supervise(3)
    reports = Reports(service)
    expected = []
    for value, active in ((500, False), (2000, True)) * 2:
        service.set_value("one/3", value)
        expected.append(active)
        reports.wait_for(3, *expected)
        service.settle()
        assert service.board.channels()["one/3"].enabled == \
            ("falling" if active else "rising")


@pytest.mark.parametrize("items, beyond, inside", [
    ({"lower_limit": 50}, 50, 51), ({"upper_limit": 4050}, 4050, 4049)])
def test_level_at_a_limit_is_polled_until_it_is_back(watching, items, beyond,
                                                     inside):
    service = watching(threshold_port(0, items={**items, **OFTEN}))
    service.supervise(0)
    reports = Reports(service)
    expected = []
    for _ in range(2):
        service.set_value("both/0", beyond)
        service.wait_for_readings("both/0", 5)
        assert service.thresholds("both/0") is None
        service.set_value("both/0", inside)
        service.wait_for_thresholds(
            "both/0", *((0, 400) if inside < 400 else (3500, 4095)))
        # Which was the same state all the time.
        service.set_value("both/0", "open")
        expected += [True, False]
        reports.wait_for(0, *expected)
        service.wait_for_thresholds("both/0", *OPEN)


def test_changes_beyond_a_limit_are_reported_by_the_poll(watching):
    service = watching(threshold_port(0, items={"lower_limit": 2800, **OFTEN}))
    reports = Reports(service)
    service.supervise(0)
    expected = []
    for state in ("closed", "open", "short", "open"):
        service.set_value("both/0", state)
        expected.append(state != "open")
        reports.wait_for(0, *expected)
    service.wait_for_readings("both/0", 5)
    assert reports.of(0) == expected
    assert service.thresholds("both/0") is None
    service.set_value("both/0", "cut")
    service.wait_for_thresholds("both/0", 3500, 4095)


def wakeups(service):
    tasks = pathlib.Path(f"/proc/{service.daemon.pid}/task").iterdir()
    return sum(wakeups_of(task.name) for task in tasks)


@pytest.mark.build("plain")
def test_nothing_wakes_an_idle_daemon(watching):
    """Of several tries at least one must not meet anything of the bus's."""
    service = watching(threshold_port(0), threshold_port(1), threshold_port(
        2, items={"driver": "either"}), level_port(4, items={
            "driver": "other"}))
    service.supervise(0, 1, 2)

    def idle():
        service.settle()
        service.board.ramp("deaf", 6, 0, 10, 10, 2)
        before = wakeups(service)
        service.board.ramp("deaf", 6, 0, 100, 60, 20)
        return wakeups(service) == before

    assert any(idle() for _ in range(3))


# ---- readouts ----

def test_readout_is_the_last_one_unless_configured_otherwise(watching):
    """A word other than false changes nothing."""
    service = watching(
        threshold_port(1, items={"cache_ad_value": "false"}),
        threshold_port(0, items={"cache_ad_value": "FALSE"}))
    service.supervise(0, 1)
    for channel in ("both/0", "both/1"):
        service.set_value(channel, 1300)
    assert service.readout(0) == ("closed", 1200)
    assert service.readout(1) == ("closed", 1300)
    read = service.board.channels()["both/0"].readings
    service.ask("SetSupervisedRanges", 0, "cut", 1100, 1250)
    assert service.readout(0) == ("cut", 1200)
    assert service.board.channels()["both/0"].readings == read
    # The state is always measured.
    service.set_value("both/0", 1400)
    assert service.call("GetState", 0) is True
    assert service.readout(0) == ("closed", 1400)


# ---- the two modes of an input ----

def test_supervision_is_switched_on_and_off(watching):
    service = watching(threshold_port(0))
    for _ in range(2):
        since = service.board.last_id()
        service.supervise(0)
        assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "1")]
        assert service.thresholds("both/0") == CLOSED
        since = service.board.last_id()
        service.supervise(0, on=False)
        assert service.controls(since) == [("ioctrl0", "1"), ("sioctrl0", "0")]
        assert service.thresholds("both/0") is None
        reports = Reports(service)
        service.board.open("in0")
        reports.wait_for(0, True)
        assert service.call("GetState", 0) is True
        service.set_value("both/0", "open")
        service.board.close("in0")
        reports.wait_for(0, True, False)
        service.set_value("both/0", "closed")
    service.supervise(0)
    service.board.open("in0")
    service.set_value("both/0", "open")
    reports.wait_for(0, True, False, False)


def test_polling_ends_with_supervision(watching):
    service = watching(threshold_port(0, items={"lower_limit": 2000, **OFTEN}),
                       threshold_port(1, items={"lower_limit": 2000, **OFTEN}))
    service.supervise(0, 1)
    service.wait_for_readings("both/0")
    service.supervise(0, on=False)
    read = service.board.channels()["both/0"].readings
    service.wait_for_readings("both/1", 5)
    assert service.board.channels()["both/0"].readings == read
    reports = Reports(service)
    service.board.open("in0")
    reports.wait_for(0, True)


def test_pull_up_may_stay_while_the_input_is_supervised(watching):
    """The line of the supervised path may be missing."""
    service = watching(
        threshold_port(1, elements={"sio_ctrl": None}),
        threshold_port(0, items={"pullup_when_supervised": "true"}))
    since = service.board.last_id()
    service.supervise(0, 1)
    assert service.controls(since) == [("ioctrl0", "1"), ("sioctrl0", "1"),
                                       ("ioctrl1", "0")]
    assert complaints(service.daemon) == []


def test_direction_of_a_supervised_port_changes(watching):
    """An output has no events."""
    service = watching(threshold_port(0, "io_ctrl"))
    service.supervise(0)
    since = service.board.last_id()
    service.call("SetDirection", 0, "output")
    assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "0"),
                                       ("out0", "0")]
    assert service.thresholds("both/0") is None
    service.call("SetState", 0, True)
    assert service.call("GetState", 0) is True
    assert service.board.level("out0") == "high"
    service.call("SetDirection", 0, "input")
    assert service.thresholds("both/0") == CLOSED
    reports = Reports(service)
    service.set_value("both/0", "open")
    reports.wait_for(0, False)


# ---- the mode without lines ----

def test_port_without_lines_has_the_state_of_its_range(watching):
    """Its line is active in a range of the state closed, and its events are
    on from the beginning."""
    service = watching(level_port(0))
    assert service.exported() == []
    assert service.thresholds("both/0") == CLOSED
    assert service.ask("IsSupervisable", 0) == (False, False)
    for call in (("GetSupervisedReadout", 0), ("SetSupervised", 0, True)):
        with expect_error(NOT_SUPERVISABLE):
            service.ask(*call)
    reports = Reports(service)
    expected = []
    for state in ("open", "closed", "short", "open", "cut"):
        service.set_value("both/0", state)
        expected.append(state != "open")
        reports.wait_for(0, *expected)
        assert service.call("GetState", 0) is (state == "closed")
        service.settle()
        assert service.thresholds("both/0") is not None
    assert service.writes()[0][0] == "both"


def test_ranges_before_the_mode_are_not_the_mode_s(watching):
    ranges = '<range state="closed" lower="0" upper="4095"/>'
    backend = '<backend name="iio-interrupt">'
    service = watching(
        level_port(0, ranges=[]).replace(backend, backend + ranges))
    assert service.call("GetState", 0) is False
    assert service.thresholds("both/0") is None
    assert warnings(service) == []
