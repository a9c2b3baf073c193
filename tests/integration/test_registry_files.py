"""The two files that tell the older configuration system about its objects."""

import contextlib
import os
import pathlib
import shutil
import stat
import xml.etree.ElementTree as ET

import pytest

from lifecycle_support import complaints, file_system, remount
from ports_support import fixture_serve, port
from sandbox import QEL_GID, QEL_UID

_EXPECTED = pathlib.Path(__file__).resolve().parents[1] / "unit/data/legacy"
REGISTRY = "service_registry/services.d/orvad_service_registry.conf"
MAPPING = "legacyconfig/legacymappings.d/orvad.xml"
TEMPORARY_FOLDER = "orvad.d"

NOT_WRITTEN = ["WARNING Couldn't write to service registry",
               "WARNING Couldn't write to legacy mappings"]
NOT_MOVED = "WARNING Couldn't move service registry file correctly"

# In the order of the configuration; the list has the newest first.
MIXED = [
    port("<&\"'>]]>", "input", 0, names={"input": "<group name=\"&amp;\">"}),
    port("out", "output", 1),
    port("no i/o port", "output", 4, properties={"virtual": "true"}),
    port("pin", "io_ctrl", defaults={"usage": "</mapping>"}),
    port("in", "input", 1),
    port("lamp", "output", 2, optional=True),
]
LAMP = port("lamp", "output", 3, optional=True)


def expected(name):
    """The contents that both files must have, as they were written by hand.
    """
    return [(_EXPECTED / f"{name}.{kind}.xml").read_text()
            for kind in ("registry", "mapping")]


def paths(service):
    return [service.box.etc / REGISTRY, service.box.etc / MAPPING]


def contents(service):
    return [path.read_text() for path in paths(service)]


def left_over(service):
    """What there is in the folder where the files are made."""
    return os.listdir(service.box.etc / TEMPORARY_FOLDER)


def failures(service):
    """The warnings about the files."""
    return [line for line in complaints(service.daemon) if "Couldn't" in line]


def resynchronise(service):
    assert service.call("DropIOPorts", ["lamp"]) == ["lamp"]
    service.call("RefreshIOPorts")
    assert "lamp" in service.names()


@pytest.fixture(name="mount")
def fixture_mount(make_sandbox):
    """mount(path): a file system of its own there, which goes before the
    sandbox does; the daemon has to have ended."""
    assert make_sandbox
    with contextlib.ExitStack() as stack:
        yield lambda path: stack.enter_context(file_system(path))


# ---- contents ----

def test_files_describe_the_ports_in_list_order(serve):
    service = serve(*MIXED)
    assert contents(service) == expected("mixed")
    assert [ET.fromstring(text).tag for text in contents(service)] == [
        "service", "mapping"]
    assert left_over(service) == []


@pytest.mark.parametrize("ports", [
    [], [port("in", "input", 1, properties={}),
         port("out", "output", 2, properties={"ioport": "false"}),
         port("pin", "io_ctrl", 3, properties={"virtual": "true"})],
], ids=["no ports", "none for input and output"])
def test_files_without_ports_describe_object_0(serve, ports):
    assert contents(serve(*ports)) == expected("none")


@pytest.mark.parametrize("optional", [True, False],
                         ids=["optional", "not optional"])
def test_files_leave_out_a_port_that_cannot_be_set_up(serve, optional):
    """At the start, and when they are written again."""
    service = serve(port("gone", "input", 1, items={"setup": "fail"},
                         optional=optional), LAMP)
    assert service.names() == ["lamp"]
    assert contents(service) == expected("output")
    service.call("DropIOPorts", ["lamp"])
    assert contents(service) == expected("none")
    service.call("RefreshIOPorts")
    assert contents(service) == expected("output")
    assert failures(service) == []


def test_files_belong_to_the_daemons_user_and_everybody_reads_them(serve):
    service = serve(LAMP)
    before = [path.stat() for path in paths(service)]
    resynchronise(service)
    for status in [*before, *(path.stat() for path in paths(service))]:
        assert (status.st_uid, status.st_gid) == (QEL_UID, QEL_GID)
        assert stat.S_IMODE(status.st_mode) == 0o644


# ---- replacing ----

def test_files_are_replaced_whole_and_follow_the_ports(serve):
    """By root at the start, and later by the daemon's own user."""
    def prepare(box):
        for name in (REGISTRY, MAPPING):
            (box.etc / name).write_text("from an older version")

    service = serve(LAMP, prepare=prepare)
    assert contents(service) == expected("output")
    with open(paths(service)[0]) as registry, \
            open(paths(service)[1]) as mapping:
        service.call("DropIOPorts", ["lamp"])
        assert contents(service) == expected("none")
        # Whoever reads has what was there when the reading began.
        assert [registry.read(), mapping.read()] == expected("output")
        for file, path in zip((registry, mapping), paths(service)):
            assert os.fstat(file.fileno()).st_ino != path.stat().st_ino
    service.call("RefreshIOPorts")
    assert contents(service) == expected("output")
    service.restart()
    assert contents(service) == expected("output")
    assert failures(service) == [] and left_over(service) == []


# ---- what goes wrong ----

def test_targets_that_cannot_be_replaced_stay_as_they_were(serve):
    """One has a folder in its place, the other is replaced all the same."""
    service = serve(LAMP, prepare=lambda box: (box.etc / REGISTRY).mkdir())
    assert failures(service) == [NOT_MOVED]
    assert (service.box.etc / REGISTRY).is_dir()
    assert (service.box.etc / MAPPING).read_text() == expected("output")[1]
    assert left_over(service) == []


def test_folders_that_are_missing(serve):
    def prepare(box):
        shutil.rmtree(box.etc / "service_registry")
        shutil.rmtree(box.etc / "legacyconfig")

    service = serve(LAMP, prepare=prepare)
    assert failures(service) == 2 * [NOT_MOVED]
    assert left_over(service) == []
    service.restart()
    assert service.names() == ["lamp"]


def test_folder_to_write_in_that_is_missing(serve):
    service = serve(LAMP, prepare=lambda box: (box.etc / "orvad.d").rmdir())
    assert failures(service) == NOT_WRITTEN
    assert not any(path.exists() for path in paths(service))
    assert service.names() == ["lamp"]


def test_folder_to_write_in_that_is_read_only(mount, serve):
    def prepare(box):
        mount(box.etc / TEMPORARY_FOLDER)
        remount(box.etc / TEMPORARY_FOLDER, "ro")

    service = serve(LAMP, prepare=prepare)
    assert failures(service) == NOT_WRITTEN
    assert not any(path.exists() for path in paths(service))
    service.daemon.stop()


def test_folder_that_the_daemons_user_may_not_write_in(serve):
    """Says so, keeps the files, serves on, and writes them when it may."""
    service = serve(LAMP)
    folder = service.box.etc / TEMPORARY_FOLDER
    folder.chmod(0o755)
    assert service.call("DropIOPorts", ["lamp"]) == ["lamp"]
    assert failures(service) == NOT_WRITTEN
    assert "/etc/orvad.d/legacy.tmp" in service.log()
    assert contents(service) == expected("output")
    assert service.client.call("GetNbrPorts") == (0, 0)
    folder.chmod(0o1775)
    targets = [path.parent for path in paths(service)]
    for target in targets:
        target.chmod(0o755)
    service.call("RefreshIOPorts")
    assert failures(service) == NOT_WRITTEN + 2 * [NOT_MOVED]
    assert left_over(service) == []
    for target in targets:
        target.chmod(0o1775)
    service.call("DropIOPorts", ["lamp"])
    assert contents(service) == expected("none")


def test_target_on_another_file_system(mount, serve):
    """The temporary file, which is in the folder of port configurations, does
    not stay to spoil the next start."""
    service = serve(LAMP, prepare=lambda box: mount(
        (box.etc / REGISTRY).parent))
    assert failures(service) == [NOT_MOVED]
    assert (service.box.etc / MAPPING).read_text() == expected("output")[1]
    resynchronise(service)
    assert failures(service) == 3 * [NOT_MOVED]
    assert left_over(service) == []
    service.restart()
    assert service.names() == ["lamp"]
    service.daemon.stop()
