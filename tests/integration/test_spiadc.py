"""Plain inputs that are bands of an SPI converter's levels, on a simulated
board."""

import signal
import time

import pytest

from events_support import IOPORT_EVENT, warnings
from gpio_support import fixture_boards
from lifecycle_support import complaints
from ports_support import changed, expect_error, port
from supervised_support import (BOARD, DEVICE, NO_STATES, NOT_SUPERVISABLE,
                                Reports, address, fixture_guard)
from waiting import wait_until

INTERVAL = 5
"""Milliseconds."""

BAND = [{"active_min": 100, "active_max": 150, "hysteresis": 10}]


def detector(number, bands=BAND, *, kind="input", device=None, items=(),
             **options):
    """A port on the zone of its number. bands: attributes each. device:
    attributes in addition to the usual ones. items: (element, attributes)
    that come after the device, in front of the bands."""
    usual = {"device": DEVICE, "address": hex(address(number)),
             "timeout": INTERVAL, **(device or {})}
    elements = [("device", usual), *items]
    for band in bands:
        elements += [("range", {"band": 1}), ("input", band)]
    text = port(f"detector{number}", kind, number, backend="spiadc", **options)
    return text.replace("</backend>", "".join(
        f"<{name}" + "".join(f' {key}="{value}"'
                             for key, value in attributes.items()) + "/>"
        for name, attributes in elements) + "</backend>")


def state_at(service, number, level):
    """The state of a detector once it has seen that level."""
    service.set_level(number, level)
    service.wait_for_polls(number)
    return service.call("GetState", number)


# ---- bands ----

def test_hysteresis_holds_the_state(guard):
    """Inactive, a band is narrower on both sides; active, it is wider."""
    service = guard(detector(0))
    steps = [(0, False), (105, False), (109, False), (110, True), (145, True),
             (160, True), (161, False), (141, False), (140, True), (90, True),
             (89, False), (255, False), (140, True), (105, True)]
    expected = []
    last = False
    reports = Reports(service)
    for level, state in steps:
        assert state_at(service, 0, level) is state, level
        if state is not last:
            expected.append(state)
        last = state
    service.settle()
    assert reports.of(0) == expected


def test_bands_are_what_they_are_configured_to_be(guard):
    """Numbers are decimal, hexadecimal or octal. Each band has the elements
    behind its own start; without one an input is never active."""
    # A band without limits is the level 0.
    only_zero = [{"hysteresis": 0}]
    cases = [
        ([], {}, set()),
        ([], {"inverted": "true"}, {*range(256)}),
        (only_zero, {}, {0}),
        ([{"active_min": "0x10", "active_max": "020"}], {}, {16}),
        ([{"active_min": 10, "active_max": 20},
          {"active_min": 40, "active_max": 50}],
         {"inverted": "TRUE"}, {*range(10, 21), *range(40, 51)}),
        ([{"active_min": 10, "active_max": 20}], {"inverted": "true"},
         {*range(256)} - {*range(10, 21)}),
        ([{"active_min": 20, "active_max": 10}], {}, set()),
        ([{"active_min": -5, "active_max": 3000, "colour": 1}], {},
         {*range(256)}),
    ]
    service = guard(*[detector(number, bands, device=device)
                      for number, (bands, device, _) in enumerate(cases)])
    assert complaints(service.daemon) == []
    for level in (0, 1, 9, 10, 15, 16, 17, 20, 21, 39, 40, 50, 51, 255):
        for number in range(len(cases)):
            service.set_level(number, level)
        service.wait_for_polls(*range(len(cases)))
        assert [service.call("GetState", number)
                for number in range(len(cases))] == \
            [level in active for _, _, active in cases], level


def test_second_range_takes_what_follows(guard):
    """The first one stays the level 0."""
    service = guard(detector(0, [], items=[
        ("range", {"band": 1}), ("range", {"band": 2}),
        ("input", {"active_min": 100, "active_max": 110})]))
    assert [state_at(service, 0, level) for level in (0, 1, 100, 99)] == \
        [True, False, True, False]


def test_negative_hysteresis_is_the_reverse(guard):
    """Wider while inactive, narrower while active: inside the seam the state
    changes with every look."""
    service = guard(detector(0, [{"active_min": 100, "active_max": 150,
                                  "hysteresis": -10}]))
    reports = Reports(service)
    assert state_at(service, 0, 89) is False
    assert state_at(service, 0, 125) is True
    reports.wait_for(0, True)
    service.set_level(0, 105)
    service.client.wait_for(lambda: len(reports.of(0)) >= 4, "changes")
    assert reports.of(0)[:4] == [True, False, True, False]


def test_inverted_input_starts_inside_of_its_bands(guard):
    """Inactive is the state at the start, so the bands are wide then."""
    def prepare(board):
        board.adc("adc", address(0), 95)
        board.adc("adc", address(1), 95)

    service = guard(detector(0, device={"inverted": "true"}), detector(1),
                    prepare=prepare)
    service.wait_for_polls(0, 1)
    assert [service.call("GetState", number) for number in range(2)] == \
        [False, False]
    assert state_at(service, 0, 80) is True
    assert state_at(service, 0, 95) is True
    assert state_at(service, 0, 110) is False


# ---- reports ----

def test_change_is_reported_once(guard):
    service = guard(detector(0, events=[IOPORT_EVENT]))
    changes = service.client.record("PortChanged")
    events = service.record_events()
    for level, state in ((125, True), (126, True), (130, True), (20, False),
                         (21, False), (125, True)):
        assert state_at(service, 0, level) is state
    service.settle_events()
    assert changes.args == [changed(0, state, is_input=True)
                            for state in (True, False, True)]
    assert [signal.args[1]["state"] for signal in events.signals] == \
        [True, False, True]


def test_state_at_the_start_is_reported_when_active(guard):
    service = guard(detector(0, optional=True), detector(1, optional=True))
    service.call("DropIOPorts", ["detector0", "detector1"])
    service.set_level(0, 125)
    reports = Reports(service)
    service.call("RefreshIOPorts")
    reports.wait_for(0, True)
    service.wait_for_polls(0, 1)
    service.settle()
    assert (reports.of(0), reports.of(1)) == ([True], [])


def test_active_level_turns_the_state_round(guard):
    service = guard(detector(0))
    changes = service.client.record("PortChanged")
    service.call("SetActive", 0, True, "open")
    assert service.call("GetState", 0) is True
    assert state_at(service, 0, 125) is False
    service.settle()
    assert changes.args == [changed(0, state, is_input=True, activelow=True)
                            for state in (True, False)]


def test_simulated_change_leaves_the_state_alone(guard):
    service = guard(detector(0))
    reports = Reports(service)
    service.call("SetVirtual", 0, True)
    service.wait_for_polls(0)
    service.settle()
    assert reports.of(0) == [True]
    assert service.call("GetState", 0) is False


# ---- the device ----

def test_device_is_used_as_it_is(guard):
    """Opened for reading, and nothing is set. Of the address the low byte
    counts, in any notation."""
    service = guard(*[
        detector(number, device={"address": text})
        for number, text in enumerate(["0x1f", "31", "037", "0xa1f", "-225"])])
    adc = service.board.converters()["adc"]
    assert (adc.users, adc.bits, adc.speed, adc.mode) == (5, 8, 10000000, 0)
    assert service.writes() == []
    service.board.adc("adc", 0x1f, 125)
    for number in range(5):
        wait_until(lambda number=number: service.call("GetState", number),
                   f"the state of {number}")


@pytest.mark.parametrize("interval", ["0", "0x5", "05"])
def test_poll_interval_is_a_number_of_milliseconds(guard, interval):
    """With none, every turn of the main loop is one; others get theirs."""
    service = guard(detector(0, device={"timeout": interval}))
    begin = time.monotonic()
    service.wait_for_polls(0, count=10)
    if interval != "0":
        assert time.monotonic() - begin > 9 * 0.005
    assert state_at(service, 0, 125) is True


def test_negative_poll_interval_is_none(guard):
    service = guard(detector(0, device={"timeout": "-5"}), detector(1))
    assert warnings(service) == [
        "Poll interval -5 of port detector0 is out of range"]
    service.wait_for_polls(1, count=5)
    assert service.readings(0) == 0


def test_transfer_that_fails_reads_as_zero(guard):
    """And is tried again. Where 0 is inside of a band, that is active."""
    low = [{"active_min": 0, "active_max": 10}]
    service = guard(detector(0), detector(1, low), detector(2, []))
    for number in range(3):
        service.set_level(number, 125)
    reports = Reports(service)
    wait_until(lambda: service.call("GetState", 0), "the state")
    begin = time.monotonic()
    service.board.fail("adc", "EIO", "transfer")
    reports.wait_for(1, True)
    wait_until(lambda: not service.call("GetState", 0), "the state")
    service.daemon.wait_for_output(
        "SPI_IOC_MESSAGE failed! : Input/output error (repeated ")
    lasting = time.monotonic() - begin
    texts = [text.partition(" (repeated ")[0] for text in warnings(service)]
    assert set(texts) == {"SPI_IOC_MESSAGE failed! : Input/output error"}
    # Each port once a second, with the number of those in between.
    assert len(texts) <= 3 * 2 * (lasting + 2)
    service.board.heal("adc")
    reports.wait_for(1, True, False)
    wait_until(lambda: service.call("GetState", 0), "the state")


def test_converter_that_is_unplugged_reads_as_zero_until_a_refresh(guard):
    service = guard(detector(0, optional=True))
    reports = Reports(service)
    service.set_level(0, 125)
    reports.wait_for(0, True)
    service.board.unplug("adc")
    reports.wait_for(0, True, False)
    assert warnings(service)[0] == ("SPI_IOC_MESSAGE failed! : Cannot send "
                                    "after transport endpoint shutdown")
    service.board.plug("adc")
    service.set_level(0, 125)
    service.settle()
    assert service.call("GetState", 0) is False
    assert service.call("DropIOPorts", ["detector0"]) == ["detector0"]
    service.call("RefreshIOPorts")
    reports.wait_for(0, True, False, True)


def test_detector_whose_converter_comes_later_is_served_after_a_refresh(guard):
    service = guard(detector(0, optional=True), detector(1),
                    prepare=lambda board: board.unplug("adc"))
    assert service.names() == []
    missing = f"Failed to open {DEVICE}: No such file or directory"
    assert warnings(service) == [missing] * 2
    assert "Setup failed for port 1, removing from list" in service.log()
    service.board.plug("adc")
    service.board.fail("adc", "EACCES", "open")
    service.call("RefreshIOPorts")
    assert warnings(service) == [
        missing, missing, f"Failed to open {DEVICE}: Permission denied"]
    service.board.heal("adc")
    # It is only read from.
    (service.board.devices / "spidev0.1").chmod(0o440)
    service.call("RefreshIOPorts")
    assert service.names() == ["detector0"]
    assert state_at(service, 0, 125) is True


def test_dropped_detector_is_not_measured(guard):
    service = guard(detector(0, optional=True), detector(1))
    service.call("DropIOPorts", ["detector0"])
    wait_until(lambda: service.board.converters()["adc"].users == 1,
               "the converter to be closed")
    read = service.readings(0)
    service.wait_for_polls(1, count=5)
    assert service.readings(0) == read


def test_shutdown_leaves_nothing_behind(guard):
    service = guard(detector(0), detector(1, device={"timeout": 0}))
    service.wait_for_polls(0, 1)
    assert service.daemon.stop() == 0
    service.released()


# ---- what is refused ----

@pytest.mark.parametrize("kind", ["output", "io_ctrl"])
def test_only_inputs_are_served(boards, make_sandbox, kind):
    board = boards(BOARD)
    box = make_sandbox(config=f"<ports>{detector(0, kind=kind)}</ports>",
                       binds=board.binds)
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert "assertion failed: (port->type == PORT_INPUT)" in daemon.stderr()


def test_items_that_make_no_sense_are_warned_of(guard):
    service = guard(detector(0, items=[("input", {"active_min": 1}),
                                       ("output", {"pin": 2})]),
                    detector(1, device={"name": "x"}))
    assert warnings(service) == [
        "Spi ADC backend configured incorrectly",
        "Could not parse backend data!"]
    assert state_at(service, 0, 125) is True


def test_detector_cannot_be_supervised(guard):
    service = guard(detector(0))
    assert service.ask("IsSupervisable", 0) == (False, False)
    assert service.ask("GetSupervisedPortNumbers") == []
    for method, *arguments in (("SetSupervised", True),
                               ("SetSupervisedRanges", "open", 1, 2),
                               ("GetSupervisedRanges",),
                               ("GetSupervisedReadout",)):
        with expect_error(NOT_SUPERVISABLE):
            service.ask(method, 0, *arguments)
    with expect_error(NO_STATES):
        service.ask("GetSupervisedStates", 0)
    assert not [key for key in service.parameters()["detector0"]
                if "supervised" in key]
