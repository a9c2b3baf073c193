"""The installed udev rules: what they let the daemon's user do with hardware,
and that this is what the daemon needs."""

import pathlib
import re
import shlex
import subprocess

import pytest

from installed_support import DATA, declared_users, read
from sandbox import QEL_GID

_UDEV = "udev/60-orvad.rules"

UDEV_KEY = re.compile(
    r'(ACTION|KERNEL|SUBSYSTEM|GROUP|MODE|RUN|GOTO|LABEL)'
    r'(==|!=|\+=|=)"([^"]*)"')


def rules():
    """The rules, each a list of (key, operator, value); udev(7)."""
    found = []
    for line in read(_UDEV).splitlines():
        if not line or line.startswith("#"):
            continue
        keys = UDEV_KEY.findall(line)
        assert ", ".join(f'{key}{how}"{value}"'
                         for key, how, value in keys) == line
        found.append(keys)
    return found


def matching(**device):
    """The rules that are about a device, as udev reads rules."""
    found, target = [], None
    for rule in rules():
        labels = [value for key, _, value in rule if key == "LABEL"]
        if target is not None and target not in labels:
            continue
        target = None
        if not all(pathlib.PurePath(device[key]).match(value) == (how == "==")
                   for key, how, value in rule if how in ("==", "!=")):
            continue
        found.append(rule)
        target = next((value for key, _, value in rule if key == "GOTO"), None)
    assert target is None, "GOTO without a LABEL behind it"
    return found


def assigned(rules_, key):
    """The values that the rules give a key."""
    return [value for rule in rules_ for key_, how, value in rule
            if key_ == key and how in ("=", "+=")]


def node_access(**device):
    """Group and mode of a device's node."""
    found = matching(**device)
    return assigned(found, "GROUP"), assigned(found, "MODE")


def run_programs(box, path, **device):
    """Runs in the sandbox what the rules run for the device."""
    found = assigned(matching(**device), "RUN")
    assert found
    for value in found:
        line = value.replace("%S", "/sys").replace("%p", path)
        program = box.start_program(shlex.split(line.replace("$$", "$")))
        assert (program.finish(), program.output()) == (0, "")


def make_attributes(folder, *names):
    for name in names:
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).touch()
        (folder / name).chmod(0o200)


def qel_may_write(path):
    status = path.stat()
    return status.st_gid == QEL_GID and status.st_mode & 0o020 != 0


def writable_in(folder):
    """The files that qel may write to."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*")
            if path.is_file() and qel_may_write(path)}


# GPIO lines

def test_udev_rules_let_qel_export_lines(make_sandbox):
    box = make_sandbox()
    folder = box.sys / "class/gpio"
    make_attributes(folder, "export", "unexport", "other")
    run_programs(box, "/devices/gpiochip0", ACTION="add", SUBSYSTEM="gpio",
                 KERNEL="gpiochip0")
    assert writable_in(folder) == {"export", "unexport"}


def test_udev_rules_bear_a_kernel_without_files_for_lines(make_sandbox):
    box = make_sandbox()
    assert not (box.sys / "class/gpio").exists()
    run_programs(box, "/devices/gpiochip0", ACTION="add", SUBSYSTEM="gpio",
                 KERNEL="gpiochip0")


@pytest.mark.parametrize("line", ["gpio7", "door-contact"])
@pytest.mark.parametrize("attributes", [
    {"direction", "edge", "active_low", "value"}, {"active_low", "value"}],
    ids=["any line", "fixed line"])
def test_udev_rules_let_qel_use_exported_lines(make_sandbox, line, attributes):
    box = make_sandbox()
    folder = box.sys / "devices" / line
    make_attributes(folder, "uevent", *attributes)
    run_programs(box, f"/devices/{line}", ACTION="add", SUBSYSTEM="gpio",
                 KERNEL=line)
    assert writable_in(folder) == attributes


# Converters

SAMPLED = {"buffer/enable", "scan_elements/in_voltage0_en",
           "trigger/current_trigger"}
WATCHED = {"events/in_voltage0_thresh_rising_value",
           "events/in_voltage0_thresh_falling_value",
           "events/in_voltage0_thresh_rising_en",
           "events/in_voltage0_thresh_either_en",
           "events/in_voltage_thresh_either_period", "sampling_frequency",
           "in_voltage_sampling_frequency", "in_proximity_integration_time"}
LEFT_ALONE = {"uevent", "name", "in_voltage0_raw", "buffer/length",
              "scan_elements/in_voltage0_type", "power/control"}


@pytest.mark.parametrize("device, access", [
    ({"SUBSYSTEM": "gpio", "KERNEL": "gpiochip0"}, (["gpio"], ["0660"])),
    ({"SUBSYSTEM": "spidev", "KERNEL": "spidev0.1"}, (["qel"], ["0660"])),
    ({"SUBSYSTEM": "iio", "KERNEL": "iio:device12"}, (["qel"], ["0660"])),
    ({"SUBSYSTEM": "iio", "KERNEL": "trigger0"}, ([], []))],
    ids=["chip", "SPI", "IIO", "no node"])
def test_udev_rules_let_qel_open_nodes(device, access):
    assert node_access(ACTION="add", **device) == access


@pytest.mark.parametrize("attributes", [SAMPLED, WATCHED, SAMPLED | WATCHED],
                         ids=["sampled", "watched", "both"])
def test_udev_rules_let_qel_set_up_converters(make_sandbox, attributes):
    box = make_sandbox()
    folder = box.sys / "devices/adc/iio:device0"
    make_attributes(folder, *LEFT_ALONE, *attributes)
    run_programs(box, "/devices/adc/iio:device0", ACTION="add",
                 SUBSYSTEM="iio", KERNEL="iio:device0")
    assert writable_in(folder) == attributes


def test_udev_rules_let_qel_make_timers(make_sandbox):
    box = make_sandbox()
    timers = box.sys / "kernel/config/iio/triggers/hrtimer"
    timers.mkdir(parents=True)
    (box.sys / "devices/iio:device0").mkdir(parents=True)
    run_programs(box, "/devices/iio:device0", ACTION="add", SUBSYSTEM="iio",
                 KERNEL="iio:device0")
    assert qel_may_write(timers)
    assert not qel_may_write(timers.parent)


def test_udev_rules_let_qel_pace_timers(make_sandbox):
    box = make_sandbox()
    folder = box.sys / "devices/trigger0"
    make_attributes(folder, "uevent", "name", "sampling_frequency")
    run_programs(box, "/devices/trigger0", ACTION="add", SUBSYSTEM="iio",
                 KERNEL="trigger0")
    assert writable_in(folder) == {"sampling_frequency"}


def test_udev_rules_bear_other_triggers(make_sandbox):
    box = make_sandbox()
    folder = box.sys / "devices/trigger1"
    make_attributes(folder, "uevent", "name")
    run_programs(box, "/devices/trigger1", ACTION="add", SUBSYSTEM="iio",
                 KERNEL="trigger1")
    assert writable_in(folder) == set()


# What the rules are about

@pytest.mark.parametrize("device", [
    {"ACTION": "remove", "SUBSYSTEM": "gpio", "KERNEL": "gpio7"},
    {"ACTION": "remove", "SUBSYSTEM": "iio", "KERNEL": "iio:device0"},
    {"ACTION": "add", "SUBSYSTEM": "mem", "KERNEL": "gpio7"},
    {"ACTION": "add", "SUBSYSTEM": "iio", "KERNEL": "iio_evdev0"},
    {"ACTION": "add", "SUBSYSTEM": "input", "KERNEL": "spidev0.1"}])
def test_udev_rules_leave_other_devices_alone(device):
    found = matching(**device)
    assert not [value for key in ("RUN", "GROUP", "MODE")
                for value in assigned(found, key)]


def test_udev_rules_name_declared_groups_only():
    _, groups = declared_users()
    named = {value for rule in rules() for key, _, value in rule
             if key == "GROUP"}
    named.update(re.findall(r"chgrp (\S+)", read(_UDEV)))
    assert named == {"gpio", "qel"} <= groups


def test_udev_takes_every_line(make_sandbox):
    """What it says of these rules when it reads nothing else."""
    groups = make_sandbox().etc / "group"
    groups.write_text("".join(f"{name}:x:{number}:\n" for number, name in
                              enumerate(sorted(declared_users()[1]), 64300)))
    rules_file = "/usr/lib/udev/rules.d/60-orvad.rules"
    told = subprocess.run(
        ["bwrap", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc",
         "--tmpfs", "/run", "--tmpfs", "/etc/udev", "--tmpfs",
         "/usr/lib/udev/rules.d", "--ro-bind", DATA / _UDEV, rules_file,
         "--ro-bind", groups, "/etc/group", "udevadm", "--debug", "test",
         "/sys/devices/virtual/mem/null"],
        check=True, text=True, capture_output=True).stderr
    assert [line for line in told.splitlines() if rules_file in line] == [
        f"Reading rules file: {rules_file}"]
