"""The installed system: a machine, and the packages to install on it."""

import functools
import pathlib
import shutil
import subprocess

import pytest

from machine import Machine
from machine_root import root_archive

ROOT = pathlib.Path(__file__).resolve().parents[2]
SERVICES = ("orvad", "simboard", "dbus")


def on_a_machine(test):
    """Marks a test: the packages are those of the plain build, made once by
    one worker, in which one machine runs at a time."""
    return pytest.mark.build("plain")(pytest.mark.xdist_group("machine")(test))


@functools.lru_cache(maxsize=None)
def packages_of(build, output):
    """The Debian packages of a build folder, made in a folder: name ->
    path."""
    shutil.rmtree(output, ignore_errors=True)
    subprocess.run([ROOT / "scripts/package", "--build", build, "--output",
                    output], check=True)
    made = {path.name.split("_")[0]: path for path in output.glob("*.deb")}
    assert set(made) == {"orvad", "orvadctl", "orvad-simboard"}
    return made


@pytest.fixture(name="packages", scope="module")
def fixture_packages(pytestconfig):
    """Of the build under test: name -> path."""
    build = pathlib.Path(pytestconfig.getoption("build")).resolve()
    return packages_of(build, build / "packages")


@pytest.fixture(name="machine", scope="module")
def fixture_machine(pytestconfig, packages):
    """A booted Machine with the packages in /root, none of them installed."""
    build = pathlib.Path(pytestconfig.getoption("build")).resolve()
    with Machine(root_archive(build, sorted(packages.values()))) as machine:
        for path in packages.values():
            machine.put(f"/root/{path.name}", path.read_bytes())
        yield machine


@pytest.fixture(autouse=True)
def fixture_show_journal(request):
    """Shows with a failure what the machine's services have said during the
    test: pytest shows what was printed then, and nothing else."""
    yield
    if "machine" in request.fixturenames:
        machine = request.getfixturevalue("machine")
        print(machine.journal_since_last_time(*SERVICES))
