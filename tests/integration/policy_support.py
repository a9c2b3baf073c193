"""The installed bus policy, and clients of a bus that belong to other users
than the tests' own."""

import contextlib
import os
import pathlib
import re

import pytest

from bus_client import CONFIGURATION_EVENTS, EVENTS, STATE, Client
from legacy_support import SERVICE as LEGACY
from sandbox import QEL_GID, QEL_UID
from supervised_support import SUPERVISED

ROOT = pathlib.Path(__file__).resolve().parents[2]
POLICY = ROOT / "data/dbus/com.vexa.IOControl.conf"

CONNECTOR = "com.vexa.QEL.Connector"
NAMES = [STATE, SUPERVISED, CONNECTOR, EVENTS, LEGACY, CONFIGURATION_EVENTS]

BUS = "org.freedesktop.DBus"
BUS_PATH = "/org/freedesktop/DBus"
REFUSED = BUS + ".Error.AccessDenied"

# As a system bus starts out, but for signals, which it lets everybody hear.
CLOSED_BUS = """
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <deny receive_type="signal"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_sender="org.freedesktop.DBus"/>
    <allow send_destination="org.freedesktop.DBus"/>
  </policy>
"""

CONTROL = "qel-control"
CONTROL_GID = 64125
# Name -> user, group and further groups.
ACCOUNTS = {
    "root": (0, 0),
    "qel": (QEL_UID, QEL_GID),
    "guest": (64200, 64200),
    "operator": (64201, 64201, CONTROL_GID),
}
USERS = {name: ACCOUNTS[name][:2] for name in ("guest", "operator")}
"""For a sandbox."""


def shipped_policy():
    """The policy elements of the shipped file."""
    return re.search("<busconfig>(.*)</busconfig>",
                     POLICY.read_text("utf-8"), re.S)[1]


def add_control_group(box):
    """As it is installed; before the bus starts, which knows groups by name
    only then."""
    with (box.etc / "group").open("a", encoding="utf-8") as file:
        file.write(f"{CONTROL}:x:{CONTROL_GID}:\n")


@contextlib.contextmanager
def acting_as(user, group, *groups):
    """Connections that are made in the meantime are that user's."""
    before = os.getegid(), os.getgroups()
    os.setgroups(groups)
    os.setegid(group)
    os.seteuid(user)
    try:
        yield
    finally:
        os.seteuid(0)
        os.setegid(before[0])
        os.setgroups(before[1])


@pytest.fixture(name="connect_as")
def fixture_connect_as():
    """connect_as(sandbox, name): a new client of that account."""
    with contextlib.ExitStack() as stack:
        def make(box, name):
            with acting_as(*ACCOUNTS[name]):
                client = Client(box.bus_address)
            return stack.enter_context(contextlib.closing(client))
        yield make
