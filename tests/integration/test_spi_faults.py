"""Supervised inputs whose lines or converter fail, come and go."""

import os
import signal
import time

import pytest

from events_support import warnings
from gpio_support import fixture_boards
from lifecycle_support import complaints
from ports_support import expect_error, pipeline
from sandbox import QEL_GID
from supervised_support import (BOARD, IN, IOCTRL, NO_SUPERVISED_PORT, OUT,
                                RANGES, SIOCTRL, ZONES, Reports, fixture_guard,
                                line, pipeline_supervised, unmeasured,
                                zone_port)
from waiting import wait_until

GPIO = "/sys/class/gpio"
REFUSED = "Setup failed for port {}, removing from list"
NO_DEVICE = ["Failed to open SPI device.", "Failed to open spi device."]


# ---- set-ups that fail ----

def cannot_export(number):
    return f"Cannot write {number} to {GPIO}/export: Input/output error"


def test_ports_that_lack_something_are_left_out(guard):
    broken = {3: "export", 4: "write"}

    def prepare(board):
        for zone, use in broken.items():
            board.fail(f"sioctrl{zone}", "EIO", use)

    service = guard(
        zone_port(6, elements={"sio_ctrl": {"alias": "nowhere"}}),
        zone_port(5, elements={"device": None}),
        zone_port(4), zone_port(3),
        zone_port(2, "io_ctrl", elements={"output": None}),
        zone_port(1, elements={"input": None}),
        zone_port(0, elements={"output": {"pin": line(0, OUT)}}),
        zone_port(7), prepare=prepare)
    assert service.names() == ["zone7"]
    limited = ("Limited IO port should only have either 'input' or 'output' "
               "pin.")
    assert warnings(service) == [
        limited, limited,
        "Supervised IO port should have both 'input' and 'output' pins.",
        cannot_export(line(3, SIOCTRL)), "Request for gpio pin (null) failed.",
        f"Cannot write to {GPIO}/gpio{line(4, SIOCTRL)}/active_low: "
        "Input/output error", "Failed set active low!",
        *NO_DEVICE,
        "Cannot find in /dev/gpiochip* the line nowhere: No such file or "
        "directory", "Request for gpio pin nowhere failed."]
    log = service.log()
    assert [number for number in ZONES if REFUSED.format(number) in log] == \
        [*range(7)]
    assert service.exported() == [line(7, which)
                                  for which in (IN, IOCTRL, SIOCTRL)]
    assert service.board.converters()["adc"].users == 1
    service.supervise(7)
    assert service.readout(7) == ("closed", 85)


def test_other_lines_may_be_missing(guard):
    """A port does without the line that is read and the one that selects the
    plain path."""
    def prepare(board):
        board.fail("in0", "EIO", "export")
        board.fail("ioctrl1", "EIO", "export")

    service = guard(zone_port(1), zone_port(0), prepare=prepare)
    assert warnings(service) == [
        cannot_export(line(0, IN)),
        f"Failed to allocate pin {line(0, IN)}/(null)",
        cannot_export(line(1, IOCTRL)),
        f"Failed to allocate pin {line(1, IOCTRL)}/(null)",
        "Failed to set gpio pin (null): Bad file descriptor",
        "Failed to set ioctrl pin"]
    assert service.controls() == [("ioctrl0", "1"), ("sioctrl0", "0")]
    assert service.call("GetState", 0) is False
    reports = Reports(service)
    service.supervise(0, 1)
    reports.wait_for(0, True)
    reports.wait_for(1, True)
    service.supervise(0, on=False)
    assert service.call("GetState", 0) is False


@pytest.mark.parametrize("element, condition", [
    ("io_ctrl", "pin != NULL"), ("sio_ctrl", "data->sioctrl != NULL")])
def test_port_without_a_control_line_ends_the_daemon(boards, make_sandbox,
                                                     element, condition):
    board = boards(BOARD)
    box = make_sandbox(
        config=f"<ports>{zone_port(0, elements={element: None})}</ports>",
        binds=board.binds)
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert f"assertion failed: ({condition})" in daemon.stderr()


def test_line_that_was_never_made_an_output_cannot_be_driven(guard):
    """Its direction is left alone; the port is served all the same."""
    service = guard(zone_port(0), text=BOARD.replace("Direction=out\n", ""))
    refused = ["Failed to set gpio pin (null): Operation not permitted",
               "Failed to set sioctrl pin"]
    assert warnings(service) == refused
    service.supervise(0)
    assert warnings(service) == refused * 2
    assert service.readout(0) == ("closed", 85)


def test_optional_port_waits_for_its_converter(guard):
    """By the time that it comes, the daemon has given up root's rights."""
    service = guard(zone_port(0, optional=True),
                    prepare=lambda board: board.unplug("adc"))
    reasons = list(NO_DEVICE)
    assert service.names() == []
    assert warnings(service) == reasons

    def refresh(*more):
        service.call("RefreshIOPorts")
        reasons.extend(more)
        assert warnings(service) == reasons

    refresh(*NO_DEVICE)
    service.board.plug("adc")
    service.board.fail("adc", "EIO", "ioctl")
    refresh("Failed to set bits per word.", "Failed to open spi device.")
    service.board.heal("adc")
    service.board.fail("adc", "EBUSY", "open")
    refresh(*NO_DEVICE)
    service.board.heal("adc")
    # What is not its group's is not the daemon's.
    device = service.board.devices / "spidev0.1"
    os.chown(device, 0, 0)
    refresh(*NO_DEVICE)
    os.chown(device, 0, QEL_GID)
    # It is written to as well.
    device.chmod(0o440)
    refresh(*NO_DEVICE)
    device.chmod(0o660)
    assert service.names() == []
    with expect_error(NO_SUPERVISED_PORT):
        service.readout(0)
    refresh()
    assert service.names() == ["zone0"]
    reports = Reports(service)
    service.supervise(0)
    reports.wait_for(0, True)
    assert service.readout(0) == ("closed", 85)


def test_line_that_may_be_written_but_not_opened_is_named(guard):
    text = BOARD + """
[Line path]
Number=50
Direction=out
Exported=true
"""
    service = guard(zone_port(0, optional=True, elements={
        "sio_ctrl": {"pin": 50}}), text=text)
    assert service.call("DropIOPorts", ["zone0"]) == ["zone0"]
    (service.board.gpio / "gpio50/value").chmod(0o220)
    service.call("RefreshIOPorts")
    assert warnings(service) == [
        f"Cannot open {GPIO}/gpio50/value: Permission denied",
        "Failed to open gpio pin (null)"]
    assert service.names() == []


# ---- control lines that fail ----

def test_control_line_that_cannot_be_driven_is_warned_of(guard):
    """The second is left alone then; supervision is switched all the same."""
    service = guard(zone_port(0))
    service.board.fail("ioctrl0", "EIO", "write")
    since = service.board.last_id()
    service.supervise(0)
    failed = "Failed to set gpio pin (null): Input/output error"
    assert warnings(service) == [failed, "Failed to set ioctrl pin"]
    assert service.controls(since) == []
    assert service.ask("GetSupervised", 0) is True
    service.wait_for_polls(0, count=1)
    service.board.heal("ioctrl0")
    service.board.fail("sioctrl0", "EIO", "write")
    since = service.board.last_id()
    service.supervise(0, on=False)
    assert warnings(service)[2:] == [failed, "Failed to set sioctrl pin"]
    assert service.controls(since) == [("ioctrl0", "1")]


# ---- transfers that fail ----

CLOSED = unmeasured("Bad file descriptor")


def test_converter_that_fails_once_is_not_asked_again(guard):
    service = guard(zone_port(0, optional=True), zone_port(1))
    service.board.fail("adc", "EIO", "transfer")
    with expect_error(unmeasured("Input/output error")):
        service.readout(0)
    wait_until(lambda: service.board.converters()["adc"].users == 1,
               "the converter to be closed")
    service.board.heal("adc")
    messages = service.board.converters()["adc"].messages
    for _ in range(3):
        with expect_error(CLOSED):
            service.readout(0)
    service.supervise(0)
    with expect_error(CLOSED):
        service.readout(0)
    assert service.board.converters()["adc"].messages == messages
    # Who has not asked in the meantime has not lost it.
    assert service.readout(1) == ("closed", 85)
    assert warnings(service)[:2] == ["Error: Input/output error",
                                     "Error: Bad file descriptor"]
    reports = Reports(service)
    service.call("DropIOPorts", ["zone0"])
    service.call("RefreshIOPorts")
    assert service.readout(0) == ("closed", 85)
    reports.wait_for(0, True)


def test_poll_goes_on_while_nothing_can_be_measured(guard):
    service = guard(zone_port(0, optional=True))
    reports = Reports(service)
    service.supervise(0)
    reports.wait_for(0, True)
    service.board.fail("adc", "EREMOTEIO", "transfer")
    service.daemon.wait_for_output("Readout failed: Bad file descriptor\n")
    assert warnings(service) == [
        "Error: Remote I/O error", "Readout failed: Remote I/O error",
        "Error: Bad file descriptor", "Readout failed: Bad file descriptor"]
    assert reports.of(0) == [True]
    service.board.heal("adc")
    service.set_level(0, 170)
    service.call("DropIOPorts", ["zone0"])
    service.call("RefreshIOPorts")
    reports.wait_for(0, True, False)


def test_lasting_fault_does_not_flood_the_log(guard):
    """A message comes again once a second, and a count of it in between."""
    service = guard(zone_port(0), zone_port(1))
    service.board.fail("adc", "EIO", "transfer")
    begin = time.monotonic()
    service.supervise(0)
    assert pipeline_supervised(
        service.client, [("GetSupervisedReadout", 1)] * 2000) == \
        {CLOSED[0]: 2000}
    service.daemon.wait_for_output(
        "Readout failed: Bad file descriptor (repeated ")
    seconds = time.monotonic() - begin
    # Of two ports and one poll, two texts each.
    assert len(warnings(service)) <= 3 * 2 * (seconds + 2)


def test_converter_that_is_unplugged_is_gone_until_a_refresh(guard):
    service = guard(zone_port(0, optional=True))
    reports = Reports(service)
    service.supervise(0)
    reports.wait_for(0, True)
    service.board.unplug("adc")
    service.daemon.wait_for_output(
        "Readout failed: Cannot send after transport endpoint shutdown\n")
    with expect_error(CLOSED):
        service.readout(0)
    service.board.plug("adc")
    with expect_error(CLOSED):
        service.readout(0)
    service.call("DropIOPorts", ["zone0"])
    service.call("RefreshIOPorts")
    reports.wait_for(0, True, True)
    assert service.readout(0) == ("closed", 85)


# ---- coming and going ----

def test_dropped_port_comes_back_as_it_was(guard):
    service = guard(zone_port(0, optional=True), zone_port(1))
    service.supervise(0, 1)
    service.ask("SetSupervisedRanges", 0, "closed", 61, 111)
    ranges = [*[entry for entry in RANGES if entry[0] != "closed"],
              ("closed", 61, 111)]
    service.call("DropIOPorts", ["zone0"])
    assert service.exported() == [line(1, which)
                                  for which in (IN, IOCTRL, SIOCTRL)]
    wait_until(lambda: service.board.converters()["adc"].users == 1,
               "the converter to be closed")
    read = service.readings(0)
    service.wait_for_polls(1)
    assert service.readings(0) == read
    since = service.board.last_id()
    reports = Reports(service)
    service.call("RefreshIOPorts")
    assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "1")]
    reports.wait_for(0, True)
    assert service.ask("GetSupervisedRanges", 0) == ranges


def test_supervised_port_is_dropped_and_refreshed_a_hundred_times(guard):
    service = guard(zone_port(0, optional=True), zone_port(1))
    service.supervise(0, 1)
    reports = Reports(service)
    descriptors = len(service.descriptors())
    assert pipeline(service.client, [("DropIOPorts", (["zone0"],)),
                                     ("RefreshIOPorts", ())] * 100) == \
        [None] * 200
    assert len(service.descriptors()) == descriptors
    service.set_level(0, 170)
    service.client.wait_for(lambda: False in reports.of(0), "the report")
    service.wait_for_polls(0)
    service.settle()
    assert reports.of(0).count(False) == 1


@pytest.mark.parametrize("unplugged", [False, True])
def test_shutdown_while_supervised_leaves_nothing_behind(guard, unplugged):
    service = guard(zone_port(0), zone_port(1, "io_ctrl"))
    service.supervise(0, 1)
    service.wait_for_polls(0, count=1)
    if unplugged:
        service.board.unplug("adc")
        service.daemon.wait_for_output("Readout failed: ")
    assert service.daemon.stop() == 0
    assert service.exported() == []
    service.released()


def test_daemon_that_was_killed_is_followed_by_another(guard):
    """Its lines are still exported, its control lines as they were."""
    service = guard(zone_port(0))
    service.supervise(0)
    service.daemon.kill()
    service.released()
    since = service.board.last_id()
    service.start_again()
    assert complaints(service.daemon) == []
    assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "1")]
    # The first report is out by then.
    service.wait_for_polls(0)
    reports = Reports(service)
    service.set_level(0, 170)
    reports.wait_for(0, False)
