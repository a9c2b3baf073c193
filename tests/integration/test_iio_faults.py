"""Sampled inputs whose converter fails, comes and goes."""

import signal
import time

import pytest

from events_support import warnings
from gpio_support import fixture_boards
from iio_support import (BUFFER_ON, FREQUENCY, IIO_BOARD, LEVELS,
                         fixture_sampling, sampled_port)
from lifecycle_support import complaints, ticks
from ports_support import configuration, expect_error, pipeline
from supervised_support import NO_SUPERVISED_PORT, Reports
from waiting import wait_until

DEVICES = "/sys/bus/iio/devices"
TRIGGERS = "/sys/kernel/config/iio/triggers/hrtimer"
FAILED = "Failed to setup iio device."
FEW_TICKS = 20


# ---- set-ups that fail ----

def path(number, attribute):
    return f"{DEVICES}/iio:device{number}/{attribute}"


def test_ports_whose_converter_cannot_be_set_up_are_left_out(sampling):
    def prepare(board):
        board.fail("s0", "EIO", "scan_elements/in_voltage0_type")
        board.fail("s1", "EIO", "trigger/current_trigger")
        board.fail("s2", "EIO", "scan_elements/in_voltage2_en")
        board.fail("s3", "EBUSY", "open")

    # The last one is the first to be set up.
    service = sampling(
        sampled_port(8, zone=7, items={"hrtimer": None, "name": "adc4",
                                       "adc": "adc4"}),
        sampled_port(7, items={"name": "adc4", "adc": "wide", "channel": 9}),
        sampled_port(6, items={"name": "adc4", "adc": "nobody"}),
        sampled_port(5, items={"hrtimer": "a/b"}),
        sampled_port(4, items={"freq": "fast"}),
        sampled_port(3), sampled_port(2), sampled_port(1), sampled_port(0),
        prepare=prepare)
    assert service.names() == []
    error = "Input/output error"
    current = path(1, "trigger/current_trigger")
    trigger = service.board.triggers()["timer4"].folder
    assert warnings(service) == [
        "Failed to read sysfs path '"
        f"{path(0, 'scan_elements/in_voltage0_type')}': {error}",
        f"Failed to find device type: {error}", FAILED,
        f"Failed to read sysfs path '{current}': {error}",
        f"Failed to write sysfs path '{current}': {error}", FAILED,
        "Failed to write sysfs path '"
        f"{path(2, 'scan_elements/in_voltage2_en')}': {error}", FAILED,
        "Failed to open device: Device or resource busy", FAILED,
        f"Failed to write sysfs path '{DEVICES}/{trigger}/sampling_frequency'"
        ": Invalid argument", FAILED,
        "Failed to find trigger", FAILED,
        "Failed to find device name: 4 -1", FAILED,
        # Which has no trigger.
        f"Failed to write sysfs path '{path(4, 'buffer/enable')}': "
        "Invalid argument", FAILED,
        "Failed to find trigger", FAILED]
    assert service.exported() == []


@pytest.mark.parametrize("text, condition", [
    ("le:s12/16>>4", "sign == 'u'"), ("x", "sign == 'u'"),
    ("le:u33/40>>0", "bits <= 32"), ("le:u32/64>>0", "size <= 32"),
    ("le:u12/12>>0", "size % 8 == 0")])
def test_other_samples_end_the_daemon(boards, make_sandbox, text, condition):
    """What the type says is all that counts."""
    board = boards(IIO_BOARD.replace("Sign=s", f"Type={text}"))
    box = make_sandbox(config=configuration(sampled_port(
        0, items={"name": "signed", "adc": "signed"})), binds=board.binds)
    daemon = box.start_daemon()
    daemon.wait(expect=128 + signal.SIGABRT)
    assert f"assertion failed: (backend->iio_type.{condition})" in \
        daemon.stderr()


def test_optional_port_waits_for_its_converter(sampling):
    """By the time that it comes, the daemon has given up root's rights: the
    files must be its group's, and its trigger must be there."""
    service = sampling(sampled_port(0, optional=True),
                       prepare=lambda board: board.unplug("s0"))
    assert service.names() == []
    with expect_error(NO_SUPERVISED_PORT):
        service.readout(0)
    service.call("RefreshIOPorts")
    assert warnings(service) == [
        "Failed to find device name: -1 -1", FAILED] * 2
    service.board.plug("s0")
    board = service.board

    def refusal():
        told = len(warnings(service))
        service.call("RefreshIOPorts")
        assert service.names() == []
        return warnings(service)[told:]

    assert refusal() == [
        f"Failed to create sysfs directory '{TRIGGERS}/timer0': "
        "Permission denied", "Failed to find trigger", FAILED]
    (board.triggers_folder / "timer0").mkdir()
    frequency = board.iio / board.triggers()["timer0"].folder / \
        "sampling_frequency"
    mode = frequency.stat().st_mode
    frequency.chmod(0o644)
    assert refusal() == [
        f"Failed to open sysfs path '{DEVICES}/{frequency.parent.name}/"
        "sampling_frequency': Permission denied", FAILED]
    frequency.chmod(mode)
    device = board.devices / board.iio_devices()["s0"].device
    mode = device.stat().st_mode
    device.chmod(0o600)
    assert refusal() == ["Failed to open device: Permission denied", FAILED]
    device.chmod(mode)
    reports = Reports(service)
    service.call("RefreshIOPorts")
    assert service.names() == ["zone0"]
    service.supervise(0)
    reports.wait_for(0, True)


# ---- samples that fail ----

def test_samples_that_cannot_be_read_are_an_undefined_state(sampling):
    """Reported once; the log has it once a second."""
    service = sampling(sampled_port(0), prepare=lambda board: board.adc(
        "s0", 0, LEVELS["open"]))
    reports = Reports(service)
    service.supervise(0)
    reports.wait_for(0, False)
    begin = time.monotonic()
    service.board.fail("s0", "EIO", "read")
    service.daemon.wait_for_output(
        "Readout failed: Input/output error (repeated ")
    seconds = time.monotonic() - begin
    told = warnings(service)
    assert told[:2] == ["read Error: Input/output error",
                        "Readout failed: Input/output error"]
    assert len(told) <= 2 * 2 * (seconds + 2)
    reports.wait_for(0, False, True)
    service.board.heal("s0")
    reports.wait_for(0, False, True, False)
    service.wait_for_samples("s0")
    assert reports.of(0) == [False, True, False]


def test_converter_that_is_unplugged_is_gone_until_a_refresh(sampling):
    """The daemon waits for it in peace."""
    service = sampling(sampled_port(0, optional=True), sampled_port(1))
    reports = Reports(service)
    service.supervise(0, 1)
    reports.wait_for(0, True)
    service.board.unplug("s0")
    before = ticks(service.daemon.pid)
    service.wait_for_samples("s1", count=FREQUENCY // 2)
    assert ticks(service.daemon.pid) - before < FEW_TICKS
    service.refresh("zone0")
    assert warnings(service)[-2:] == ["Failed to find device name: -1 -1",
                                      FAILED]
    # A sample that was there before it went, and could not be read after, has
    # been told as a fault.
    service.client.sync()
    reports.forget()
    service.board.plug("s0")
    since = service.board.last_id()
    service.call("RefreshIOPorts")
    assert service.settings(since, "s0") == [
        "trigger/current_trigger:timer0", *BUFFER_ON]
    reports.wait_for(0, True)


# ---- coming and going ----

def test_supervised_port_is_dropped_and_refreshed_a_hundred_times(sampling):
    service = sampling(sampled_port(0, optional=True), sampled_port(1))
    service.supervise(0, 1)
    reports = Reports(service)
    descriptors = sorted(service.descriptors())
    assert pipeline(service.client, [("DropIOPorts", (["zone0"],)),
                                     ("RefreshIOPorts", ())] * 100) == \
        [None] * 200
    assert sorted(service.descriptors()) == descriptors
    service.set_value("s0/0", "open")
    service.client.wait_for(lambda: False in reports.of(0), "the report")
    service.wait_for_samples("s0")
    service.settle()
    assert reports.of(0).count(False) == 1


@pytest.mark.parametrize("unplugged", [False, True])
def test_shutdown_while_sampling_leaves_nothing_open(sampling, unplugged):
    service = sampling(sampled_port(0), sampled_port(1, "io_ctrl"))
    service.supervise(0, 1)
    service.wait_for_samples("s0", "s1")
    if unplugged:
        service.board.unplug("s0")
    assert service.daemon.stop() == 0
    assert service.exported() == []
    wait_until(lambda: not any(device.open for device in
                               service.board.iio_devices().values()),
               "the devices to be closed")


def test_daemon_that_was_killed_is_followed_by_another(sampling):
    service = sampling(sampled_port(0))
    service.supervise(0)
    service.daemon.kill()
    wait_until(lambda: not service.board.iio_devices()["s0"].open, "its end")
    service.start_again()
    assert complaints(service.daemon) == []
    service.wait_for_samples("s0")
    reports = Reports(service)
    service.set_value("s0/0", "open")
    service.client.wait_for(lambda: reports.of(0)[-1:] == [False],
                            "the loop's state")
