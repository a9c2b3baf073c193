"""The daemon's start: its steps, its identity, its parameter file."""

import os
import stat

import pytest

from lifecycle_support import (
    OLD_PARAMETERS, PARAMETERS, LimitedSandbox, complaints, config,
    file_system, get_usage, group_text, identity, listed, log_lines,
    output_group, parameter_file, parameters, port, remount,
    set_usage, settle, status_field, sysfs_port, umask)
from sandbox import QEL_GID, QEL_UID
from waiting import wait_until

LAMP = config(port("lamp", 0))
CORRUPT = "this is no key file\n"
ROOT = (0, 0)
QEL = (QEL_UID, QEL_GID)


def owner(path):
    return path.stat().st_uid, path.stat().st_gid


def permissions(path):
    return stat.S_IMODE(path.stat().st_mode)


def old_parameters(box, text):
    """Puts the parameter file of an older version in its place."""
    path = box.etc / "dynamic/orvad/params.conf"
    path.parent.mkdir(parents=True)
    path.write_text(text)
    return path


# ---- a plain start ----

def test_clean_starts_have_nothing_to_complain_about(make_sandbox):
    box = make_sandbox(config=config(
        port("lamp", 0), port("door", 1, "input"), port("both", 2, "io_ctrl")))
    for _ in range(2):
        daemon = box.start()
        daemon.stop()
        assert complaints(daemon) == []
        assert daemon.stderr() == ""


@pytest.mark.parametrize("argv", [
    (), ("--disable_legacy_interface",), ("--disable-legacy-interface",),
    ("unknown", "--disable_legacy_interface"), ("--help",), ("",),
], ids=["none", "switch", "hyphens", "second", "help", "empty"])
def test_no_argument_keeps_the_daemon_from_serving(make_sandbox, connect,
                                                   argv):
    box = make_sandbox(config=LAMP)
    daemon = box.start(argv)
    assert listed(connect(box)) == [("lamp", 0)]
    daemon.stop()
    assert complaints(daemon) == []


def test_each_step_speaks_in_its_turn(make_sandbox):
    unknown = "Failed to create event declaration: no.such.Type for port 1"
    box = make_sandbox(
        with_user_qel=False,
        orvad_conf=group_text("door", input_activelow="true"),
        dropins={"ports.xml": config(
            port("odd", 0, "odd"),
            port("door", 1, "input",
                 more='<event declaration="no.such.Type"/>'),
            sysfs_port("gone", 2, "/run/gone"))})
    old_parameters(box, CORRUPT)
    daemon = box.start(combined=True)
    wait_until(lambda: daemon.output().count(unknown) == 2,
               "the declaration of the events")
    daemon.stop()
    expected = [
        "CRITICAL Couldn't load XML (/usr/share/orvad/conf.xml)",
        "CRITICAL Unsupported port type odd",
        "Could not read key file: ",
        "No input name for port door:1",
        "Error parsing param file: ",
        "WARNING Failed to get uid",
        # The port gets its default name, and its event with it.
        f"WARNING {unknown}",
        "WARNING Failed to open /run/gone: No such file or directory",
        "USER Setup failed for port 2, removing from list",
        'Couldn\'t get uid for user "qel".',
        f"WARNING {unknown}",
    ]
    printed = complaints(daemon)
    assert len(printed) == len(expected), printed
    for line, start in zip(printed, expected):
        assert line.startswith(start)


def test_log_goes_to_standard_output_and_other_messages_to_standard_error(
        make_sandbox):
    box = make_sandbox(with_user_qel=False)
    daemon = box.start()
    daemon.stop()
    assert log_lines(daemon, "CRITICAL") == [
        "Couldn't load XML (/usr/share/orvad/conf.xml)"]
    assert daemon.stderr() == 'Couldn\'t get uid for user "qel".\n'


# ---- the change of identity ----

def test_daemon_becomes_qel_with_its_groups_only(make_sandbox):
    box = make_sandbox(config=LAMP)
    with open(box.etc / "group", "a", encoding="ascii") as groups:
        groups.write("board:x:64200:other,qel\nclosed:x:64201:other\n")
    pid = box.start().pid
    assert identity(pid) == QEL
    assert sorted(status_field(pid, "Groups")) == sorted(
        [str(QEL_GID), "64200"])


def test_without_its_user_the_daemon_keeps_its_identity(make_sandbox, connect):
    box = make_sandbox(config=LAMP, with_user_qel=False,
                       orvad_conf=output_group("lamp"))
    daemon = box.start()
    assert identity(daemon.pid) == ROOT
    assert listed(connect(box)) == [("lamp", 0)]
    daemon.stop()
    assert daemon.stderr() == 'Couldn\'t get uid for user "qel".\n'
    assert log_lines(daemon, "WARNING") == ["Failed to get uid"]
    assert owner(parameter_file(box)) == ROOT


def test_without_its_group_the_daemon_keeps_its_identity(make_sandbox,
                                                         connect):
    box = make_sandbox(config=LAMP, with_group_qel=False,
                       orvad_conf=output_group("lamp"))
    daemon = box.start()
    assert identity(daemon.pid) == ROOT
    assert listed(connect(box)) == [("lamp", 0)]
    daemon.stop()
    assert daemon.stderr() == 'Couldn\'t get gid for group "qel".\n'
    assert log_lines(daemon, "WARNING") == ["Failed to get gid"]
    assert owner(parameter_file(box)) == (QEL_UID, 0)


def test_group_that_cannot_be_taken_leaves_the_identity(build, connect):
    with LimitedSandbox(build, config=LAMP, lacking=["setgid"]) as box:
        daemon = box.start()
        assert identity(daemon.pid) == ROOT
        assert listed(connect(box)) == [("lamp", 0)]
        daemon.stop()
        assert daemon.stderr() == (f"Failed setting gid to {QEL_GID}: "
                                   "Operation not permitted\n")


def test_groups_that_cannot_be_taken_leave_the_user(build):
    with LimitedSandbox(build, config=LAMP, lacking=["setgid"]) as box:
        # The group that the process is in already needs no capability.
        groups = box.etc / "group"
        groups.write_text(groups.read_text().replace(str(QEL_GID), "0"))
        daemon = box.start()
        assert identity(daemon.pid) == ROOT
        daemon.stop()
        assert daemon.stderr() == (
            "Unable to run initgroups() with username: qel, gid: 0: "
            "Operation not permitted\n")


def test_user_that_cannot_be_taken_leaves_the_group_changed(build):
    with LimitedSandbox(build, config=LAMP, lacking=["setuid"]) as box:
        daemon = box.start()
        assert identity(daemon.pid) == (0, QEL_GID)
        assert status_field(daemon.pid, "Groups") == [str(QEL_GID)]
        daemon.stop()
        assert daemon.stderr() == (f"Failed setting uid to {QEL_UID}: "
                                   "Operation not permitted\n")


# ---- the parameter file ----

def test_missing_parameter_file_is_made_complete_and_root_s(make_sandbox):
    box = make_sandbox(config=LAMP)
    box.start()
    assert parameters(box) == {"lamp": {
        "output_name": "Output 1", "output_activelow": "false",
        "button_type": "none", "pulse_time": "0", "port_mode": "bistable",
        "delay_time": "0", "usage": ""}}
    assert owner(parameter_file(box)) == ROOT


def test_second_start_gives_the_parameter_file_to_qel(make_sandbox):
    box = make_sandbox(config=LAMP)
    for _ in range(2):
        box.start().stop()
    assert owner(parameter_file(box)) == QEL


def test_parameter_file_that_root_has_written_becomes_qel_s(make_sandbox):
    box = make_sandbox(config=LAMP, orvad_conf=output_group("lamp"))
    assert owner(parameter_file(box)) == ROOT
    box.start()
    assert owner(parameter_file(box)) == QEL


@pytest.mark.parametrize("starts", [1, 2])
def test_rewritten_parameter_file_is_qel_s(make_sandbox, connect, starts):
    box = make_sandbox(config=LAMP)
    for _ in range(starts - 1):
        box.start().stop()
    box.start()
    client = connect(box)
    set_usage(client, 0, "porch")
    settle(client)
    assert parameters(box)["lamp"]["usage"] == "porch"
    assert owner(parameter_file(box)) == QEL


def test_link_in_place_of_the_parameter_file_gives_nothing_away(make_sandbox):
    box = make_sandbox(config=LAMP)
    target = box.etc / "target.conf"
    target.write_text(output_group("lamp"))
    parameter_file(box).symlink_to("../target.conf")
    box.start().stop()
    assert owner(target) == ROOT
    assert target.read_text() == output_group("lamp")


def test_setting_made_on_a_first_start_is_kept(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    box.start()
    client = connect(box)
    set_usage(client, 0, "porch")
    settle(client)
    box.daemon.stop()
    box.start()
    assert get_usage(connect(box), 0) == "porch"


@pytest.mark.parametrize("mask", [0o077, 0o000])
def test_parameter_file_s_mode_does_not_depend_on_the_umask(
        make_sandbox, connect, mask):
    box = make_sandbox(config=LAMP)
    with umask(mask):
        box.start()
    assert permissions(parameter_file(box)) == 0o644
    client = connect(box)
    set_usage(client, 0, "porch")
    settle(client)
    assert permissions(parameter_file(box)) == 0o644
    assert parameters(box)["lamp"]["usage"] == "porch"


def test_folder_of_root_keeps_settings_in_memory_only(make_sandbox, connect):
    box = make_sandbox(config=LAMP, conf_owner="root")
    daemon = box.start()
    client = connect(box)
    before = parameter_file(box).read_bytes()
    set_usage(client, 0, "porch")
    assert get_usage(client, 0) == "porch"
    settle(client)
    assert parameter_file(box).read_bytes() == before
    assert daemon.stderr().startswith(f"Failed to store key file {PARAMETERS}")
    assert daemon.stderr().endswith(": Permission denied\n")
    daemon.stop()
    assert complaints(daemon) == daemon.stderr().splitlines()
    box.start()
    assert get_usage(connect(box), 0) == ""


def test_missing_folder_does_not_stop_the_daemon(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    (box.etc / "orvad").rmdir()
    daemon = box.start()
    assert listed(connect(box)) == [("lamp", 0)]
    daemon.stop()
    assert daemon.stderr().startswith(f"Failed to store key file {PARAMETERS}")


def cannot_start(box):
    """What is printed by a start that ends because of the parameter file."""
    daemon = box.start_daemon(combined=True)
    daemon.wait(expect=1)
    return daemon.output().splitlines()


@pytest.mark.parametrize("contents", [
    CORRUPT, b"\xff\xfe\x00", "[lamp\nusage=1\n", "usage=1\n",
], ids=["text", "bytes", "open group", "no group"])
def test_corrupt_parameter_file_ends_the_start(make_sandbox, contents):
    box = make_sandbox(
        orvad_conf=contents,
        config=config(sysfs_port("gone", 0, "/run/gone")))
    before = parameter_file(box).read_bytes()
    first, second = cannot_start(box)
    assert first.startswith("Could not read key file: ")
    assert second == "WARNING Could not read configuration file"
    assert parameter_file(box).read_bytes() == before


@pytest.mark.parametrize("make", [os.mkdir, os.mkfifo],
                         ids=["folder", "fifo"])
def test_parameter_file_of_another_kind_ends_the_start(make_sandbox, make):
    box = make_sandbox(config=config(sysfs_port("gone", 0, "/run/gone")))
    make(parameter_file(box))
    first, second = cannot_start(box)
    assert first.startswith("Could not read key file: ")
    assert second == "WARNING Could not read configuration file"


# ---- the parameter file of an older version ----

def test_old_parameters_are_taken_over_once(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    old = old_parameters(box, output_group(
        "lamp", output_name="Porch", pulse_time=70, usage="old"))
    daemon = box.start()
    client = connect(box)
    assert client.call("GetNames", "(u)", (0,)) == ("", "Porch")
    assert get_usage(client, 0) == "old"
    assert not old.exists()
    saved = parameters(box)["lamp"]
    assert (saved["output_name"], saved["pulse_time"], saved["usage"]) == (
        "Porch", "70", "old")
    daemon.stop()
    assert complaints(daemon) == []


def test_newer_settings_override_old_ones(make_sandbox, connect):
    box = make_sandbox(config=LAMP,
                       orvad_conf=output_group("lamp", usage="new"))
    old_parameters(box, output_group("lamp", usage="old"))
    box.start()
    assert get_usage(connect(box), 0) == "new"


def test_old_parameters_stay_until_they_are_kept_elsewhere(make_sandbox):
    box = make_sandbox(config=LAMP, orvad_conf="corrupt\n")
    old = old_parameters(box, output_group("lamp", usage="old"))
    box.start_daemon().wait(expect=1)
    assert old.exists()
    parameter_file(box).unlink()
    box.start()
    assert not old.exists()
    assert parameters(box)["lamp"]["usage"] == "old"


def test_old_parameters_of_a_port_that_starts_do_not_save_are_kept(
        make_sandbox, connect):
    box = make_sandbox(config=config(port("lamp", 7)))
    old_parameters(box, output_group("lamp", usage="old"))
    box.start()
    box.daemon.stop()
    box.start()
    assert get_usage(connect(box), 7) == "old"


def test_old_parameters_stay_while_there_is_no_place_for_them(make_sandbox):
    box = make_sandbox(config=LAMP)
    old = old_parameters(box, output_group("lamp", usage="old"))
    with file_system(box.etc / "orvad"):
        remount(box.etc / "orvad", "ro")
        box.start().stop()
        assert old.exists()


def test_unreadable_old_parameters_stay_where_they_are(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    old = old_parameters(box, CORRUPT)
    daemon = box.start()
    assert listed(connect(box)) == [("lamp", 0)]
    assert old.read_text() == CORRUPT
    daemon.stop()
    (line,) = complaints(daemon)
    assert line.startswith("Could not read key file: ")
    assert daemon.stderr() == line + "\n"


@pytest.mark.parametrize("make", [os.mkdir, os.mkfifo],
                         ids=["folder", "fifo"])
def test_old_parameters_of_another_kind_are_left_alone(make_sandbox, make):
    box = make_sandbox(config=LAMP)
    old = box.etc / "dynamic/orvad/params.conf"
    old.parent.mkdir(parents=True)
    make(old)
    daemon = box.start()
    daemon.stop()
    assert complaints(daemon) == []
    assert old.exists()


def test_old_parameters_that_cannot_be_removed_are_still_used(
        make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    folder = box.etc / "dynamic/orvad"
    with file_system(folder):
        (folder / "params.conf").write_text(output_group("lamp", usage="old"))
        remount(folder, "ro")
        daemon = box.start()
        assert get_usage(connect(box), 0) == "old"
        daemon.stop()
    assert complaints(daemon) == [
        f"WARNING Could not remove {OLD_PARAMETERS}: Read-only file system"]
