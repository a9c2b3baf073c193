"""What a distribution installs: it is where the documentation says, and does
what it is there for."""

import pathlib
import re
import subprocess
import xml.etree.ElementTree

import pytest
from gi.repository import Gio, GLib

from bus_client import STATE, STATE_PATH
from installed_support import (DATA, ROOT, declared_users, documented_files,
                               entries)
from legacy_support import SERVICE as LEGACY, path_of
from lifecycle_support import complaints, identity
from peers import ActionEngine, fixture_offer
from policy_support import CONNECTOR, CONTROL
from ports_support import fixture_serve, pipeline, port, read_parameters
from sandbox import QEL_GID, QEL_UID
from supervised_support import SUPERVISED, SUPERVISED_PATH

_SYSUSERS = "sysusers.d/orvad.conf"
_TMPFILES = "tmpfiles.d/orvad.conf"

LAMP = 0
PORT = port("lamp", "output", LAMP)


@pytest.fixture(name="installed")
def fixture_installed(build, tmp_path):
    """The folder into which everything is installed."""
    subprocess.run(["meson", "install", "-C", build, "--no-rebuild", "--quiet",
                    "--destdir", tmp_path], check=True)
    return tmp_path


def test_every_file_is_installed_where_the_documentation_says(installed):
    assert {f"/{path.relative_to(installed)}"
            for path in installed.rglob("*") if not path.is_dir()} \
        == documented_files()


# The interfaces

OBJECTS = {
    STATE: (STATE, STATE_PATH),
    SUPERVISED: (SUPERVISED, SUPERVISED_PATH),
    CONNECTOR: (CONNECTOR, "/com/vexa/QEL/Connector"),
    "com.vexa.Configuration.Legacy.IOControl1": (LEGACY, path_of(LAMP)),
}
"""File -> a name and an object that have what it describes."""


def shape(interface):
    """What an interface says but for its documentation."""
    def arguments(part):
        return [(argument.name, argument.signature) for argument in part]
    return (
        {method.name: (arguments(method.in_args), arguments(method.out_args))
         for method in interface.methods},
        {signal.name: arguments(signal.args) for signal in interface.signals},
        {prop.name: (prop.signature, prop.flags)
         for prop in interface.properties})


def test_interfaces_are_described_as_they_are(installed, serve):
    described = {}
    for path in (installed / "usr/share/dbus-1/interfaces").iterdir():
        node = Gio.DBusNodeInfo.new_for_xml(path.read_text("utf-8"))
        described[path.stem] = {interface.name: shape(interface)
                                for interface in node.interfaces}
    service = serve(port("both", "io_ctrl", LAMP))
    served = {}
    for file, (name, path) in OBJECTS.items():
        service.box.wait_for_name(name)
        text, = service.client.call(
            "Introspect", name=name, path=path,
            interface="org.freedesktop.DBus.Introspectable")
        served[file] = {
            interface.name: shape(interface)
            for interface in Gio.DBusNodeInfo.new_for_xml(text).interfaces
            if not interface.name.startswith("org.freedesktop.DBus.")}
    assert described == served


# The action templates

ACTIONS = pathlib.PurePosixPath("/etc/orvad/actions")
TEMPLATES = sorted((DATA / "actions").iterdir())
BASIC_TYPES = {"b", "i", "u", "s"}


def template(path):
    return xml.etree.ElementTree.parse(path).getroot()


def interface(name):
    """A shipped interface and where its object is."""
    text = (ROOT / f"src/dbus/{name}.xml").read_text("utf-8")
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


# Users and folders

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
    assert groups == {"qel", "gpio", CONTROL}


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
