"""Manual triggers with services that say what they should not."""

import contextlib
import threading
import time

import pytest
from gi.repository import Gio, GLib

from bus_client import STATE, STATE_PATH, BusError, Client
from lifecycle_support import told
from peer import BUS, BUS_PATH, NEVER, Reply, ask_bus
from peers import fixture_offer
from ports_support import fixture_serve
from virtual_inputs_support import ABSENT, fixture_follow, unique_name
from waiting import wait_until

MOST_CHANNELS = 256
QUICKLY = 10.0
"""Seconds for a start whatever the services say."""
A_SECOND = 1.0
TIME_OUT = 40_000
"""Milliseconds, more than an answer is waited for."""
NO_ANSWERS = {
    "error": BusError("com.example.Error", "broken"),
    "another type": Reply("(s)", "none"), "nothing": Reply(),
    "values of no type": Reply("(a{ss})", {"Enabled": "true"}),
    "empty": Reply("(a{sv})", {}),
}
no_answers = pytest.mark.parametrize("answer", NO_ANSWERS.values(),
                                     ids=NO_ANSWERS)


# ---- channels without end ----

def test_no_more_than_256_channels_are_looked_at(follow):
    begin = time.monotonic()
    device = follow(channels={}, ptz=True, endless=True)
    every = {channel: True for channel in range(1, MOST_CHANNELS + 1)}
    device.wait_for(every)
    assert time.monotonic() - begin < QUICKLY
    assert device.streamer.count("GetAll") == 1 + MOST_CHANNELS
    assert device.warnings() == ["Looking at the first 256 video channels "
                                 "only"]
    # All of them are followed, and so is the coordinator.
    for channel in (1, MOST_CHANNELS // 2, MOST_CHANNELS):
        device.streamer.set_enabled(channel, False)
        every[channel] = False
        assert device.triggers() == every
    device.coordinator.set_ptz(False)
    device.streamer.set_enabled(1, True)
    assert device.triggers() == every
    device.streamer.vanish()
    assert device.triggers() == {1: False}


# ---- properties ----

OF_ANOTHER_TYPE = [GLib.Variant("s", "true"), GLib.Variant("i", 1),
                   GLib.Variant("v", GLib.Variant("b", True))]


@pytest.mark.parametrize("value", OF_ANOTHER_TYPE,
                         ids=lambda value: value.get_type_string())
def test_channel_s_property_of_another_type(follow, value):
    kind = value.get_type_string()
    device = follow(channels={1: value, 2: True, 3: value})
    assert device.triggers() == {2: True}
    complaints = [f"Ignoring Enabled of video channel {channel} of type {kind}"
                  for channel in (1, 3)]
    assert device.warnings() == complaints
    # What it signals can be understood.
    device.streamer.channel_signal(3, "EnabledChanged", "(b)", False)
    assert device.triggers() == {2: True, 3: False}
    # What was known stays.
    device.streamer.channel_signal(3, "EnabledChanged", "(b)", True)
    device.enumerate_after(device.streamer.take_over, 3)
    assert device.triggers() == {2: True, 3: True}
    assert device.warnings() == complaints * 2


@pytest.mark.parametrize("value", OF_ANOTHER_TYPE,
                         ids=lambda value: value.get_type_string())
def test_coordinator_s_property_of_another_type(follow, value):
    device = follow(channels={1: True, 2: False}, ptz=value)
    complaint = f"Ignoring PTZEnabled of type {value.get_type_string()}"
    device.streamer.set_enabled(2, True)
    assert device.triggers() == {1: True, 2: True}
    assert device.warnings() == [complaint]
    # What was known stays.
    device.coordinator.set_ptz(False)
    device.coordinator.keep_ptz(value)
    look_again(device.coordinator)
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: True}
    assert list(told(device.warnings())) == [complaint]


def look_again(coordinator):
    """Has the daemon look at the coordinator."""
    answers = coordinator.answered.count("GetAll")
    coordinator.take_over()
    coordinator.wait_for_answer("GetAll", answers + 1)
    # The bus has passed the answer on when it has this.
    coordinator.emit("SomethingElse")


def test_properties_of_another_type_do_not_fill_the_log(follow):
    """What was left out is told once all is well."""
    begin = time.monotonic()
    wrong, rounds = GLib.Variant("s", "true"), 20
    device = follow(channels={1: wrong}, ptz=wrong)
    for _ in range(rounds):
        device.enumerate_after(device.streamer.take_over, 1)
        look_again(device.coordinator)
    warnings = device.warnings()
    seconds = 1 + (time.monotonic() - begin) // A_SECOND
    expected = {f"Ignoring {what} of type s": 1 + rounds
                for what in ("Enabled of video channel 1", "PTZEnabled")}
    for complaint in expected:
        lines = [line for line in warnings if complaint in line]
        # Of each second one, and one that counts.
        assert 1 <= len(lines) <= 2 * seconds

    def all_is_told():
        device.streamer.set_enabled(1, True)
        device.coordinator.set_ptz(True)
        return told(device.warnings()) == expected
    wait_until(all_is_told, f"{expected}")


# ---- answers ----

@no_answers
def test_channel_that_does_not_tell_its_properties_is_the_last(follow, answer):
    def prepare(streamer, _):
        streamer.answers[streamer.channel(2), "GetAll"] = answer
        # Of the list itself nothing is wanted.
        streamer.answers[streamer.PATH, "GetAll"] = answer
    device = follow(channels={1: True, 2: True, 3: True}, prepare=prepare)
    assert device.triggers() == {1: True}
    assert device.streamer.count("GetAll", device.streamer.channel(3)) == 0
    assert device.warnings() == []
    device.streamer.answers.clear()
    device.streamer.restart()
    device.wait_for({1: True, 2: True, 3: True})


@no_answers
def test_coordinator_that_does_not_tell_its_properties(follow, answer):
    def prepare(_, coordinator):
        coordinator.answers["GetAll"] = answer
    device = follow(channels={1: True, 2: True}, ptz=False, prepare=prepare)
    assert device.triggers() == {1: True, 2: True}
    assert device.warnings() == []
    device.coordinator.set_ptz(False)
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: True}


@pytest.mark.parametrize("late", [["streamer"], ["coordinator"],
                                  ["streamer", "coordinator"]])
def test_late_answers_hold_the_start_up(follow, late):
    """The names come with the answers, and everything is followed."""
    served_before = []

    def answer_late(*peers):
        for peer in peers:
            peer.wait_for_calls("GetAll", path=peer.PATH)
            served_before.append(
                ask_bus(peer.connection, "NameHasOwner", "(s)", STATE))
            peer.release((peer.PATH, "GetAll"))

    def prepare(streamer, coordinator):
        peers = [{"streamer": streamer, "coordinator": coordinator}[name]
                 for name in late]
        for peer in peers:
            peer.hold((peer.PATH, "GetAll"))
        helpers.append(threading.Thread(target=answer_late, args=peers))
        helpers[0].start()
    helpers = []
    device = follow(channels={1: True, 2: True}, ptz=False, prepare=prepare)
    helpers[0].join()
    assert served_before == [False] * len(late)
    assert device.triggers() == {1: True, 2: False}
    device.coordinator.set_ptz(True)
    assert device.triggers() == {1: True, 2: True}
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: False}
    assert device.warnings() == []


def test_late_answers_of_services_that_come_are_waited_for(follow):
    device = follow(ptz=ABSENT)
    streamer, coordinator = device.streamer, device.coordinator
    for channel in (1, 2):
        streamer.add(channel)
    coordinator.keep_ptz(False)
    for peer in (coordinator, streamer):
        peer.hold("GetAll")
        peer.appear()
        peer.wait_for_calls("GetAll")
        assert device.triggers() == {1: True}
    streamer.release("GetAll")
    device.wait_for({1: True, 2: True})
    # PTZ was unknown so far.
    coordinator.release("GetAll")
    coordinator.wait_for_answer("GetAll")
    coordinator.emit("SomethingElse")
    streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: True}


def test_coordinator_that_never_answers_is_unknown(follow):
    device = follow(channels={1: True, 2: True})
    device.coordinator.answers["GetAll"] = NEVER
    device.coordinator.appear()
    device.coordinator.wait_for_calls("GetAll")
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: False}
    device.coordinator.answers.clear()
    device.coordinator.keep_ptz(False)
    device.coordinator.restart()
    device.coordinator.wait_for_answer("GetAll")
    device.coordinator.emit("SomethingElse")
    device.streamer.set_enabled(2, True)
    assert device.triggers() == {1: True, 2: False}


@pytest.mark.build("plain")
def test_channel_that_never_answers_is_the_last(follow):
    device = follow(ptz=True)
    streamer = device.streamer
    for channel in (1, 2, 3):
        streamer.add(channel, channel != 1)
    streamer.answers[streamer.channel(2), "GetAll"] = NEVER
    streamer.appear()
    streamer.wait_for_calls("GetAll", path=streamer.channel(2))
    # The daemon waits for the answer as long as the bus lets it.
    device.service.client.connection.call_sync(
        STATE, STATE_PATH, STATE, "GetNbrPorts", None, None,
        Gio.DBusCallFlags.NONE, TIME_OUT, None)
    assert device.triggers() == {1: False}
    assert streamer.count("GetAll", streamer.channel(3)) == 0


# ---- signals ----

NOT_ENABLED_CHANGED = [
    ("EnabledChanged", "(s)", "off"), ("EnabledChanged",),
    ("EnabledChanged", "(bb)", False, False),
    ("EnabledChanged", "(i)", 0), ("EnabledChanged", "(v)",
                                   GLib.Variant("b", False))]
NOT_PTZ_CHANGED = [
    ("PtzEnabledChanged", "(b)", False), ("PtzEnabledChanged",),
    ("PtzEnabledChanged", "(bi)", False, 1),
    ("PtzEnabledChanged", "(ub)", 1, False),
    ("PtzEnabledChanged", "(ibb)", 1, False, False)]


def types_of(signals):
    return [f"Ignoring {member} of type {(*rest, '()')[0]}"
            for member, *rest in signals]


def test_signals_of_another_type_are_ignored(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    for signal in NOT_ENABLED_CHANGED:
        device.streamer.channel_signal(2, *signal)
    assert device.triggers() == {1: True, 2: True}
    assert device.warnings() == types_of(NOT_ENABLED_CHANGED)
    for signal in NOT_PTZ_CHANGED:
        device.coordinator.emit(*signal)
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: False}
    assert device.warnings() == types_of(NOT_ENABLED_CHANGED +
                                         NOT_PTZ_CHANGED)


def test_signals_of_another_type_do_not_fill_the_log(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    begin = time.monotonic()
    for _ in range(100):
        device.streamer.channel_signal(1, "EnabledChanged", "(s)", "off")
        device.streamer.channel_signal(2, "EnabledChanged", "(s)", "off")
        device.coordinator.emit("PtzEnabledChanged", "(b)", False)
    device.service.settle()
    # Of each kind one a second, and one that counts.
    seconds = 1 + (time.monotonic() - begin) // A_SECOND
    warnings = device.warnings()
    for member in ("EnabledChanged", "PtzEnabledChanged"):
        told = [line for line in warnings if f" {member} " in line]
        assert 1 <= len(told) <= 2 * seconds


def signals(streamer, coordinator):
    """What would disable channel 2, and PTZ: (peer, signal, path)."""
    return [(streamer, ("EnabledChanged", "(b)", False), streamer.channel(2)),
            (coordinator, ("PtzEnabledChanged", "(ib)", 1, False),
             coordinator.PATH)]


def is_untouched(device):
    """Whether channel 2 is enabled and PTZ not off."""
    assert device.triggers() == {1: True, 2: True}
    device.streamer.set_enabled(2, False)
    followed = device.triggers() == {1: True, 2: False}
    device.streamer.set_enabled(2, True)
    return followed


@pytest.mark.parametrize("ptz", [True, ABSENT])
def test_strangers_are_not_believed(follow, ptz):
    device = follow(channels={1: True, 2: True}, ptz=ptz)
    daemon = unique_name(device.service)
    with contextlib.closing(
            Client(device.service.box.bus_address)) as stranger:
        for to in (None, daemon):
            for peer, signal, path in signals(device.streamer,
                                              device.coordinator):
                peer.emit(*signal, path=path, to=to, by=stranger)
                peer.emit("NameOwnerChanged", "(sss)", peer.NAME,
                          peer.unique_name, "", path=BUS_PATH, interface=BUS,
                          to=to, by=stranger)
                peer.emit_properties_changed(
                    {"Enabled": GLib.Variant("b", False),
                     "PTZEnabled": GLib.Variant("b", False)},
                    path=path, to=to, by=stranger)
        assert is_untouched(device)
    assert device.warnings() == []


def test_other_signals_are_ignored(follow):
    device = follow(channels={1: True, 2: True, 3: None}, ptz=True)
    for peer, (member, *rest), path in signals(device.streamer,
                                               device.coordinator):
        for other, where in [
                (member + "2", {"path": path}),
                ("A" + member, {"path": path}),
                (member.lower(), {"path": path}),
                (member, {"path": path + "/1"}),
                (member, {"path": "/"}),
                (member, {"path": path, "interface": "com.example.Other"})]:
            peer.emit(other, *rest, **where)
    for channel in (3, 4, 12):
        device.streamer.channel_signal(channel, "EnabledChanged", "(b)", False)
    device.streamer.emit("EnabledChanged", "(b)", False)
    device.streamer.emit_properties_changed(
        {"Enabled": GLib.Variant("b", False)}, path=device.streamer.channel(2))
    device.coordinator.emit_properties_changed(
        {"PTZEnabled": GLib.Variant("b", False)})
    device.streamer.set_enabled(2, False)
    assert device.triggers() == {1: True, 2: False, 3: True}
    assert device.warnings() == []


def test_signals_to_the_daemon_alone_are_taken(follow):
    device = follow(channels={1: True, 2: True, 3: True}, ptz=True)
    daemon = unique_name(device.service)
    device.streamer.channel_signal(2, "EnabledChanged", "(b)", False,
                                   to=daemon)
    assert device.triggers() == {1: True, 2: False, 3: True}
    device.coordinator.emit("PtzEnabledChanged", "(ib)", 1, False, to=daemon)
    device.streamer.set_enabled(3, False)
    assert device.triggers() == {1: True, 2: False, 3: True}
