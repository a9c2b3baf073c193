"""Fixtures for the tests of the real binary in its sandbox."""

import contextlib
import os
import pathlib
import signal
import sys
import threading

import pytest

_TESTS = pathlib.Path(__file__).resolve().parents[1]
sys.path.insert(0, str(_TESTS / "sandbox"))

# pylint: disable=wrong-import-position
import sanitizers  # noqa: E402
from sandbox import Sandbox, obstacle  # noqa: E402

from bus_client import Client  # noqa: E402

_sandboxes = pytest.StashKey()


def pytest_addoption(parser):
    parser.addoption("--build", default=os.environ.get("ORVAD_BUILD"),
                     help="the build folder (else ORVAD_BUILD)")


def _build(config):
    path = config.getoption("build")
    if path is None:
        raise pytest.UsageError("name the build folder: --build, ORVAD_BUILD")
    return pathlib.Path(path).resolve()


def pytest_configure():
    # Ended from outside, tests clean up as after Ctrl-C. A worker of several
    # may run them in another thread, which knows no signals.
    if threading.current_thread() is threading.main_thread():
        signal.signal(signal.SIGTERM, signal.default_int_handler)


def pytest_sessionstart(session):
    if session.config.getoption("collectonly"):
        return
    reason = obstacle()
    if reason:
        raise pytest.UsageError(reason)


def pytest_collection_modifyitems(config, items):
    """Leaves out what is about another kind of build; the longest chain of
    tests that wait for each other comes first."""
    runtimes = sanitizers.built_into(_build(config) / "tests/sandbox/faulty")
    kinds = set(runtimes) or {"plain"}

    def belongs(item):
        mark = item.get_closest_marker("build")
        return mark is None or mark.args[0] in kinds

    def on_the_machine(item):
        return any(mark.args[0] == "machine"
                   for mark in item.iter_markers("xdist_group"))

    config.hook.pytest_deselected(
        items=[item for item in items if not belongs(item)])
    items[:] = sorted((item for item in items if belongs(item)),
                      key=lambda item: not on_the_machine(item))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    """Shows with a failure what the programs in its sandboxes printed."""
    outcome = yield
    report = outcome.get_result()
    if report.failed:
        for number, box in enumerate(item.stash.get(_sandboxes, []), 1):
            report.sections.append((f"sandbox {number}", box.outputs()))


@pytest.fixture(name="build")
def fixture_build(pytestconfig):
    """The build folder."""
    return _build(pytestconfig)


@pytest.fixture(name="make_sandbox")
def fixture_make_sandbox(request, build):
    """make_sandbox(**options): a Sandbox that ends with the test. A daemon that
    still runs then is stopped, and has to end cleanly."""
    made = request.node.stash.setdefault(_sandboxes, [])
    with contextlib.ExitStack() as stack:
        def make(**options):
            box = Sandbox(build, **options)
            made.append(stack.enter_context(box))
            return box
        yield make


@pytest.fixture(name="connect")
def fixture_connect():
    """connect(sandbox): a new Client on the sandbox's bus."""
    with contextlib.ExitStack() as stack:
        def make(box):
            return stack.enter_context(
                contextlib.closing(Client(box.bus_address)))
        yield make
