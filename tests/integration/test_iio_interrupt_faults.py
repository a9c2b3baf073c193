"""Inputs that share a converter which tells of events, and converters of that
kind that fail, come and go."""

import pytest

from events_support import warnings
from gpio_support import fixture_boards
from iio_support import LEVELS, fixture_watching, level_port, threshold_port
from lifecycle_support import ticks
from ports_support import expect_error, pipeline
from supervised_support import NO_SUPERVISED_PORT, Reports
from waiting import wait_until

DEVICES = "/sys/bus/iio/devices"
FAILED = "Failed to setup iio device."
NO_DEVICE = ["Failed to find device name", "Failed to setup sysfs"]
NO_EVENTS = ["Failed to open backend->device", FAILED]
CLOSED = (900, 1800)
OPEN = (2000, 3000)
FEW_TICKS = 20


def follows(service, reports, number, channel):
    """The port, which is closed, opens and closes."""
    before = reports.of(number)
    service.set_value(channel, "open")
    reports.wait_for(number, *before, False)
    service.wait_for_thresholds(channel, *OPEN)
    service.set_value(channel, "closed")
    reports.wait_for(number, *before, False, True)
    service.wait_for_thresholds(channel, *CLOSED)


def idles(service):
    """The daemon does not spin while nothing happens."""
    before = ticks(service.daemon.pid)
    service.board.ramp("deaf", 6, 0, 100, 25, 20)
    return ticks(service.daemon.pid) - before < FEW_TICKS


# ---- a device of several ports ----

def test_ports_share_the_events_of_their_device(watching):
    service = watching(threshold_port(0), threshold_port(1))
    assert service.event_descriptors() == 1
    service.supervise(0, 1)
    reports = Reports(service)
    follows(service, reports, 0, "both/0")
    follows(service, reports, 1, "both/1")
    service.supervise(0, on=False)
    follows(service, reports, 1, "both/1")
    assert service.event_descriptors() == 1
    assert reports.of(0) == [False, True]


def test_dropped_port_takes_the_events_along_until_a_refresh(watching):
    service = watching(threshold_port(0, optional=True), threshold_port(1),
                       threshold_port(4, items={"driver": "other"}))
    service.supervise(0, 1, 4)
    reports = Reports(service)
    service.call("DropIOPorts", ["zone0"])
    assert service.event_descriptors() == 1
    wait_until(lambda: not service.board.iio_devices()["both"].listening,
               "the events to be closed")
    service.set_value("both/1", "open")
    follows(service, reports, 4, "other/4")
    assert reports.of(1) == []
    assert idles(service)
    service.call("RefreshIOPorts")
    assert service.event_descriptors() == 2
    service.wait_for_thresholds("both/1", *OPEN)
    service.set_value("both/1", "closed")
    reports.wait_for(1, True)
    service.wait_for_thresholds("both/1", *CLOSED)
    follows(service, reports, 0, "both/0")
    follows(service, reports, 1, "both/1")


def test_event_is_told_apart_by_its_channel_alone(watching):
    """It switches a port of the same channel of another device off, and the
    one that was supervised last is told."""
    service = watching(threshold_port(0), threshold_port(
        4, items={"driver": "other", "channel": 0}))
    service.supervise(0, 4)
    reports = Reports(service)
    since = service.board.last_id()
    service.set_value("both/0", "open")
    reports.wait_for(4, True)
    service.settle()
    assert reports.of(0) == []
    assert service.thresholds("both/0") is None
    assert service.thresholds("other/0") == CLOSED
    assert service.settings(since, "other")[:2] == [
        "events/in_voltage0_thresh_rising_en:0",
        "events/in_voltage0_thresh_falling_en:0"]


def test_event_of_a_channel_without_a_port_is_nobody_s(watching):
    service = watching(threshold_port(0))
    service.supervise(0)
    reports = Reports(service)
    folder = service.board.iio / service.board.iio_devices()["both"].device
    for name, text in (("value", "1300"), ("en", "1")):
        (folder / f"events/in_voltage1_thresh_rising_{name}").write_text(text)
    service.set_value("both/1", 1300)
    assert service.board.channels()["both/1"].events == 1
    follows(service, reports, 0, "both/0")
    assert reports.of(0) == [False, True]


# ---- events that fail ----

@pytest.mark.parametrize("error, reason", [
    ("SHORT", "No data available"), ("EIO", "Input/output error")])
def test_event_that_cannot_be_read_ends_the_watch(watching, error, reason):
    """Of that device only, until nobody waits for its events."""
    service = watching(threshold_port(0), threshold_port(1), threshold_port(
        4, items={"driver": "other"}))
    service.supervise(0, 1, 4)
    reports = Reports(service)
    service.board.fail("both", error, "event")
    service.set_value("both/0", "open")
    service.daemon.wait_for_output(f"WARNING read Error: {reason}\n")
    assert idles(service)
    service.board.heal("both")
    service.set_value("both/0", "closed")
    service.set_value("both/1", "open")
    follows(service, reports, 4, "other/4")
    assert reports.of(0) == reports.of(1) == []
    assert warnings(service) == [f"read Error: {reason}"]
    # One of them alone does not help.
    service.supervise(0, on=False)
    service.supervise(0)
    service.set_value("both/0", "open")
    follows(service, reports, 4, "other/4")
    assert reports.of(0) == []
    service.set_value("both/0", "closed")
    for on in (False, True):
        service.supervise(0, 1, on=on)
    service.client.sync()
    reports.forget()
    service.set_value("both/0", "cut")
    service.client.wait_for(lambda: reports.of(0)[-1:] == [True], "the event")


def test_level_that_cannot_be_read_is_zero(watching):
    service = watching(threshold_port(0))
    service.supervise(0)
    reports = Reports(service)
    service.board.fail("both", "EIO", "in_voltage0_raw")
    service.set_value("both/0", "open")
    reports.wait_for(0, True)
    path = f"{DEVICES}/iio:device0/in_voltage0_raw"
    service.settle()
    assert set(warnings(service)) == {
        f"Failed to read sysfs path '{path}': Input/output error"}
    assert service.readout(0) == ("short", 0)
    assert service.thresholds("both/0") == (0, 400)


def test_threshold_that_cannot_be_set_is_warned_of(watching):
    service = watching(threshold_port(0))
    service.board.fail("both", "EIO",
                       "events/in_voltage0_thresh_rising_value")
    service.supervise(0)
    assert warnings(service) == ["Failed to write sysfs: Input/output error"]
    service.board.heal("both", "events/in_voltage0_thresh_rising_value")
    reports = Reports(service)
    service.set_value("both/0", "short")
    reports.wait_for(0, True)
    service.wait_for_thresholds("both/0", 0, 400)


def test_device_that_is_unplugged_is_gone_until_a_refresh(watching):
    service = watching(threshold_port(0, optional=True), threshold_port(
        4, items={"driver": "other"}))
    service.supervise(0, 4)
    reports = Reports(service)
    service.board.unplug("both")
    assert idles(service)
    assert service.readout(0) == ("closed", 1200)
    follows(service, reports, 4, "other/4")
    told = len(warnings(service))
    service.refresh("zone0")
    assert warnings(service)[-2:] == NO_DEVICE
    # Switching the events off.
    assert set(warnings(service)[told:-2]) == {
        "Failed to write sysfs: No such device"}
    service.board.plug("both")
    told = len(warnings(service))
    service.call("RefreshIOPorts")
    assert warnings(service)[told:] == []
    follows(service, reports, 0, "both/0")


# ---- set-ups that fail ----

def attribute(device, name):
    return f"{DEVICES}/iio:device{device}/{name}"


def test_ports_whose_device_cannot_be_set_up_are_left_out(watching):
    def prepare(board):
        board.fail("either", "EBUSY", "open")
        board.fail("prox", "EIO", "ioctl")
        board.fail("one", "EIO", "events/in_voltage3_aux_thresh_rising_value")

    # The last one is the first to be set up.
    service = watching(
        threshold_port(7, items={"shared_samplefreq": "fast", "channel": 0}),
        threshold_port(6, items={"driver": "deaf"}),
        threshold_port(5, items={"driver": "prox"}),
        threshold_port(4, items={"chan_extend_name": "a/b"}),
        threshold_port(3, items={"driver": "one", "chan_extend_name": "aux"}),
        threshold_port(2, items={"driver": "either"}),
        threshold_port(1, items={"channel_name": "current1"}),
        threshold_port(0, items={"driver": "nobody"}), prepare=prepare)
    assert service.names() == []
    rising = "events/in_current1_thresh_rising_value"
    assert warnings(service) == [
        *NO_DEVICE,
        f"Failed to open sysfs path '{attribute(0, rising)}': "
        "No such file or directory", FAILED,
        "Failed to open device: Device or resource busy", *NO_EVENTS,
        "Failed to write sysfs: Input/output error", FAILED,
        "'a/b' cannot be part of a file's name", FAILED,
        "Failed to open device /dev/iio:device4: Input/output error",
        *NO_EVENTS,
        "Failed to open device /dev/iio:device5: No such device", *NO_EVENTS,
        "Failed to write sysfs: Invalid argument", FAILED]
    assert service.exported() == []


def test_optional_port_waits_for_its_device(watching):
    """By the time that it comes, the daemon has given up root's rights."""
    service = watching(threshold_port(0, optional=True),
                       prepare=lambda board: board.unplug("both"))
    board = service.board
    assert warnings(service) == NO_DEVICE

    def refusal():
        told = len(warnings(service))
        service.call("RefreshIOPorts")
        assert service.names() == []
        return warnings(service)[told:]

    assert refusal() == NO_DEVICE
    with expect_error(NO_SUPERVISED_PORT):
        service.readout(0)
    board.plug("both")
    device = board.devices / "iio:device0"
    rising = "events/in_voltage0_thresh_rising_value"
    for path, told in (
            (device, ["Failed to open device: Permission denied", *NO_EVENTS]),
            (board.iio / "iio:device0" / rising,
             [f"Failed to open sysfs path '{attribute(0, rising)}': "
              "Permission denied", FAILED])):
        mode = path.stat().st_mode
        path.chmod(0o600)
        assert refusal() == told
        path.chmod(mode)
    service.call("RefreshIOPorts")
    assert service.names() == ["zone0"]
    service.supervise(0)
    follows(service, Reports(service), 0, "both/0")


# ---- coming and going ----

@pytest.mark.parametrize("level", ["closed", "short"])
def test_port_is_dropped_and_refreshed_a_hundred_times(watching, level):
    """Armed, or polled."""
    service = watching(threshold_port(0, optional=True, items={
        "lower_limit": LEVELS["short"], "limit_timeout": 2}),
        level_port(1, optional=True))
    service.supervise(0)
    # While nothing is polled, which opens a file.
    descriptors = len(service.descriptors())
    service.set_value("both/0", level)
    reports = Reports(service)
    assert pipeline(service.client, [
        ("DropIOPorts", (["zone0", "zone1"],)),
        ("RefreshIOPorts", ())] * 100) == [None] * 200
    wait_until(lambda: len(service.descriptors()) == descriptors,
               "as much to be open as before")
    service.set_value("both/0", "open")
    service.client.wait_for(lambda: reports.of(0)[-1:] == [False], "the event")
    assert warnings(service) == []


@pytest.mark.parametrize("unplugged", [False, True])
def test_shutdown_leaves_nothing_open(watching, unplugged):
    service = watching(
        threshold_port(0), threshold_port(1, "io_ctrl", items={
            "lower_limit": 2000, "limit_timeout": 2}),
        level_port(4, items={"driver": "other"}))
    service.supervise(0, 1)
    service.wait_for_readings("both/1")
    if unplugged:
        service.board.unplug("both")
    assert service.daemon.stop() == 0
    assert service.exported() == []
    wait_until(lambda: not any(device.listening for device in
                               service.board.iio_devices().values()),
               "the events to be closed")
    if not unplugged:
        assert service.thresholds("both/0") is None
    assert service.thresholds("other/4") is None
