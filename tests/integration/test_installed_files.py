"""What a distribution installs: it is where the documentation says, and does
what it is there for."""

import os
import pathlib
import re
import shlex
import signal
import subprocess
import xml.etree.ElementTree

import pytest
from gi.repository import Gio, GLib

from lifecycle_support import LimitedSandbox, complaints, identity
from peers import ActionEngine, fixture_offer
from ports_support import (Service, configuration, fixture_serve, port,
                           pipeline, read_parameters)
from sandbox import QEL_GID, QEL_UID

_ROOT = pathlib.Path(__file__).resolve().parents[2]
_DATA = _ROOT / "data"
_SYSUSERS = "sysusers.d/orvad.conf"
_TMPFILES = "tmpfiles.d/orvad.conf"
_UDEV = "udev/60-orvad-gpio.rules"
_UNIT = "systemd/orvad.service"

LAMP = 0
PORT = port("lamp", "output", LAMP)


def read(name):
    return (_DATA / name).read_text("utf-8")


def entries(name):
    """The lines of a file that are no comments, as lists of fields."""
    lines = (shlex.split(line, comments=True)
             for line in read(name).splitlines())
    return [line for line in lines if line]


def documented_files():
    """What the table of docs/installation.md says is installed."""
    text = (_ROOT / "docs/installation.md").read_text("utf-8")
    return set(re.findall(r"^\| `(/[^`]*)` \|", text.split("\n## ")[1], re.M))


def test_every_file_is_installed_where_the_documentation_says(build, tmp_path):
    subprocess.run(["meson", "install", "-C", build, "--no-rebuild", "--quiet",
                    "--destdir", tmp_path], check=True)
    installed = {f"/{path.relative_to(tmp_path)}"
                 for path in tmp_path.rglob("*") if not path.is_dir()}
    assert installed == documented_files()


# The action templates

ACTIONS = pathlib.PurePosixPath("/etc/orvad/actions")
TEMPLATES = sorted((_DATA / "actions").iterdir())
BASIC_TYPES = {"b", "i", "u", "s"}


def template(path):
    return xml.etree.ElementTree.parse(path).getroot()


def interface(name):
    """A shipped interface and where its object is."""
    text = (_ROOT / f"src/dbus/{name}.xml").read_text("utf-8")
    path = re.search(r"Object (/\S+) on the system bus", text)[1]
    return Gio.DBusNodeInfo.new_for_xml(text).lookup_interface(name), path


def value_of(kind, text):
    """A GVariant's text as a value of a type; GLib.Error if it is not one."""
    return GLib.Variant.parse(GLib.VariantType(kind), text, None, None)


def filled_in(text, **parameters):
    """An argument with the parameters' values in their places."""
    for name, value in parameters.items():
        text = text.replace(f"{{{name}}}", value)
    for word, opposite in (("true", "false"), ("false", "true")):
        text = text.replace(f"not {word}", f"@b {opposite}")
    return text


def arguments_of(call, **parameters):
    """Of a template's call: a GVariant tuple."""
    return GLib.Variant.new_tuple(*(
        value_of(argument.get("type"), filled_in(argument.text, **parameters))
        for argument in call.findall("argument")))


@pytest.fixture(name="asked_for")
def fixture_asked_for(serve, offer):
    """The files that the daemon has the action engine load, and the templates
    that it asks for and removes."""
    engines = []

    def prepare(box):
        box.start_bus()
        engines.append(offer(box, ActionEngine))
    service = serve(port("lamp", "output", LAMP, optional=True),
                    prepare=prepare)
    engines[0].wait_for_answer("AddFromFile", len(TEMPLATES))
    service.call("DropIOPorts", ["lamp"])
    return [[argument for argument, in engines[0].arguments(member)]
            for member in ("AddFromFile", "Remove")]


def test_action_engine_is_told_of_the_installed_templates(asked_for):
    files, names = asked_for
    assert sorted(files) == [str(ACTIONS / path.name) for path in TEMPLATES]
    assert set(files) <= documented_files()
    assert sorted(names) == [template(path).get("id") for path in TEMPLATES]


@pytest.mark.parametrize("path", TEMPLATES, ids=lambda path: path.stem)
def test_template_is_named_as_its_file(path):
    root = template(path)
    assert root.tag == "action-template"
    assert root.get("id") == path.stem
    assert {child.tag for child in root} <= {
        "name", "description", "parameter", "start", "stop"}
    assert all(element.text.strip() for element in root.iter()
               if element.tag in ("name", "description", "argument"))


@pytest.mark.parametrize("path", TEMPLATES, ids=lambda path: path.stem)
def test_template_s_parameters_are_used_and_have_values(path):
    root = template(path)
    names = [parameter.get("name") for parameter in root.iter("parameter")]
    used = {name for argument in root.iter("argument")
            for name in re.findall(r"\{([^}]*)\}", argument.text)}
    assert len(set(names)) == len(names)
    assert used == set(names)
    for parameter in root.iter("parameter"):
        assert parameter.get("type") in BASIC_TYPES
        values = [value_of(parameter.get("type"), parameter.get(name))
                  for name in ("minimum", "default", "maximum")
                  if parameter.get(name) is not None]
        assert values == sorted(values, key=GLib.Variant.unpack)


@pytest.mark.parametrize("path", TEMPLATES, ids=lambda path: path.stem)
def test_template_calls_what_is_there(path):
    calls = list(template(path).iter("call"))
    assert calls
    for call in calls:
        described, where = interface(call.get("interface"))
        assert (call.get("name"), call.get("path")) == (
            call.get("interface"), where)
        method = described.lookup_method(call.get("method"))
        assert [argument.get("type") for argument in call.iter("argument")] \
            == [argument.signature for argument in method.in_args]


LONGEST = 2147483


@pytest.mark.parametrize("active", [True, False])
@pytest.mark.parametrize("path", TEMPLATES, ids=lambda path: path.stem)
def test_template_switches_an_output_and_back(serve, path, active):
    service = serve(port("lamp", "output", LAMP))
    service.call("SetState", LAMP, not active)
    recorder = service.client.record("PortChanged")
    for part in ("start", "stop"):
        for call in template(path).findall(f"{part}/call"):
            assert pipeline(service.client, [(
                call.get("method"), arguments_of(
                    call, port=str(LAMP), active=str(active).lower(),
                    duration="1"))]) == [None]
            # What is started switches at once.
            recorder.wait_for(lambda signal: signal.args[5] == active)
    recorder.wait_for_count(2)
    assert [args[5] for args in recorder.args] == [active, not active]


def test_longest_duration_of_a_template_does_not_wrap():
    """A sequence counts microseconds, in 32 bits."""
    longest = [int(parameter.get("maximum")) for path in TEMPLATES
               for parameter in template(path).iter("parameter")
               if parameter.get("name") == "duration"]
    assert longest == [LONGEST]
    assert LONGEST * 1000 < 2**31 <= (LONGEST + 1) * 1000


# The unit

def unit_settings():
    """The unit's settings: name -> words of all its values."""
    settings = {}
    for line in read(_UNIT).splitlines():
        name, assigned, value = line.partition("=")
        if assigned and not line.startswith("#"):
            settings.setdefault(name, []).extend(value.split())
    return settings


def test_unit_starts_an_installed_program():
    program, = unit_settings()["ExecStart"]
    assert program in documented_files()


def test_unit_leaves_the_capabilities_that_the_start_needs(build, connect):
    known = subprocess.run(["setpriv", "--list-caps"], check=True, text=True,
                           capture_output=True).stdout.split()
    left = {name.removeprefix("CAP_").lower()
            for name in unit_settings()["CapabilityBoundingSet"]}
    assert left < set(known)
    with LimitedSandbox(build, lacking=set(known) - left,
                        config=configuration(PORT), orvad_conf="") as box:
        saved = box.etc / "orvad/orvad.conf"
        os.chown(saved, QEL_UID, QEL_GID)
        saved.chmod(0o660)
        service = Service(box, connect)
        assert identity(service.daemon.pid) == (QEL_UID, QEL_GID)
        after = saved.stat()
        assert (after.st_uid, after.st_gid, after.st_mode & 0o7777) == (
            QEL_UID, QEL_GID, 0o660)
        assert service.daemon.stderr() == ""
        assert complaints(service.daemon) == []


def test_unit_shows_what_the_older_system_leaves_in_tmp():
    """In a folder of the service's own, nothing of that could be seen."""
    settings = unit_settings()
    assert "PrivateTmp" not in settings
    assert settings["RequiresMountsFor"] == ["/tmp"]
    assert settings["ProtectSystem"] == ["strict"]


# Users and folders

def declared_users():
    """The users and the groups that the users' file declares."""
    lines = entries(_SYSUSERS)
    users = {line[1] for line in lines if line[0] == "u"}
    return users, users | {line[1] for line in lines if line[0] == "g"}


def test_users_file_declares_what_it_says():
    """sysusers.d(5): type, name, id, then a text, home and shell; or, of type
    m, a user and a group."""
    users, groups = declared_users()
    memberships = []
    for kind, name, value, *rest in entries(_SYSUSERS):
        if kind == "m":
            memberships.append((name, value))
        else:
            assert kind in "ug"
            assert value == "-"
            assert len(rest) <= (3 if kind == "u" else 0)
    assert users == {"qel"}
    assert memberships == [("qel", "gpio")]
    assert "gpio" in groups


def test_folders_file_names_only_known_users():
    """tmpfiles.d(5): type, path, mode, user, group, age."""
    users, groups = declared_users()
    made = {pathlib.PurePosixPath("/etc")}
    for kind, path, mode, user, group, age in entries(_TMPFILES):
        folder = pathlib.PurePosixPath(path)
        assert (kind, age) == ("d", "-")
        assert re.fullmatch("[01][0-7]{3}", mode)
        assert user in users | {"root"}
        assert group in groups | {"root"}
        assert folder.parent in made
        made.add(folder)


def test_folders_of_others_let_qel_add_files_and_keep_theirs():
    """Sticky: only the owner of a file may replace it."""
    shared = {path: mode for _, path, mode, user, _, _ in entries(_TMPFILES)
              if int(mode, 8) & 0o020}
    assert shared == dict.fromkeys([
        "/etc/orvad.d", "/etc/service_registry/services.d",
        "/etc/legacyconfig/legacymappings.d"], "1775")


def test_folders_let_the_daemon_save_as_qel(serve):
    """The sandbox's folders have the owners and modes of the file."""
    service = serve(PORT)
    assert identity(service.daemon.pid) == (QEL_UID, QEL_GID)
    service.call("SetName", LAMP, False, "Hall")
    service.settle()
    saved = read_parameters(service.parameter_file)
    assert any("Hall" in group.values() for group in saved.values())
    assert complaints(service.daemon) == []


# The udev rules

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


def programs(**device):
    """What the rules run for a device, as udev reads rules."""
    run, target = [], None
    for rule in rules():
        labels = [value for key, _, value in rule if key == "LABEL"]
        if target is not None and target not in labels:
            continue
        target = None
        if not all(pathlib.PurePath(device[key]).match(value) == (how == "==")
                   for key, how, value in rule if how in ("==", "!=")):
            continue
        run += [value for key, _, value in rule if key == "RUN"]
        target = next((value for key, _, value in rule if key == "GOTO"), None)
    assert target is None, "GOTO without a LABEL behind it"
    return run


def run_programs(box, path, **device):
    """Runs in the sandbox what the rules run for the device."""
    for value in programs(**device):
        line = value.replace("%S", "/sys").replace("%p", path)
        program = box.start_program(shlex.split(line.replace("$$", "$")))
        assert (program.finish(), program.output()) == (0, "")


def make_attributes(folder, *names):
    folder.mkdir(parents=True)
    for name in names:
        (folder / name).touch()
        (folder / name).chmod(0o200)


def qel_may_write(path):
    status = path.stat()
    return status.st_gid == QEL_GID and status.st_mode & 0o020 != 0


def test_udev_rules_let_qel_export_lines(make_sandbox):
    box = make_sandbox()
    folder = box.sys / "class/gpio"
    make_attributes(folder, "export", "unexport", "other")
    run_programs(box, "/devices/gpiochip0", ACTION="add", SUBSYSTEM="gpio",
                 KERNEL="gpiochip0")
    assert {path.name for path in folder.iterdir() if qel_may_write(path)} == {
        "export", "unexport"}


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
    assert {path.name for path in folder.iterdir()
            if qel_may_write(path)} == attributes


@pytest.mark.parametrize("device", [
    {"ACTION": "remove", "SUBSYSTEM": "gpio", "KERNEL": "gpio7"},
    {"ACTION": "add", "SUBSYSTEM": "mem", "KERNEL": "gpio7"}])
def test_udev_rules_leave_other_devices_alone(device):
    assert not programs(**device)


def test_udev_rules_name_declared_groups_only():
    _, groups = declared_users()
    named = {value for rule in rules() for key, _, value in rule
             if key == "GROUP"}
    named.update(re.findall(r"chgrp (\S+)", read(_UDEV)))
    assert named == {"gpio", "qel"} <= groups
