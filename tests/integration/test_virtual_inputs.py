"""Manual triggers follow the video channels and PTZ."""

import functools

import pytest
from gi.repository import GLib

from events_support import (IOPORT_EVENT, MANUAL_TRIGGER, NAMESPACES, TAGS,
                            Events, happened, port)
from peer import Peer
from peers import Streamer, fixture_offer
from ports_support import (HOUR, NOT_OUTPUT, changed, expect_error,
                           fixture_serve)
from usage_support import match_rules
from virtual_inputs_support import (ABSENT, DOOR, FIRST, first_virtual_input,
                                    fixture_follow, number_of, unique_name)
from waiting import wait_until

TOPICS = {"topic0": "Device", "topic1": "IO", "topic2": "VirtualPort"}
PATIENCE = 5.0
"""Seconds in which a daemon that was told to end has to end."""


def values(channel, state):
    """What the event of a channel's trigger carries."""
    return {"port": channel, "state": state, **TOPICS}


# ---- whether there are any ----

@pytest.mark.parametrize("ports", [
    (DOOR,), (first_virtual_input(), DOOR)], ids=["without", "in front"])
def test_nobody_is_asked_unless_the_configuration_wants_triggers(follow,
                                                                 ports):
    device = follow(*ports, channels={1: True, 2: True}, ptz=True)
    device.streamer.restart()
    device.coordinator.restart()
    assert device.triggers() == {}
    rules = "\n".join(match_rules(device.service.client))
    for peer in device.streamer, device.coordinator:
        assert peer.calls == []
        assert peer.NAME not in rules


# ---- at the start ----

@pytest.mark.parametrize("channels, ptz, triggers", [
    ({1: True, 2: True}, ABSENT, {1: True, 2: True}),
    ({1: True, 2: False, 3: None}, ABSENT, {1: True, 2: False, 3: True}),
    ({1: True, 2: False, 3: True}, True, {1: True, 2: False, 3: True}),
    ({1: True, 2: True, 3: None}, False, {1: True, 2: False, 3: False}),
    ({1: True, 2: True}, None, {1: True, 2: True}),
    # PTZ is off until the coordinator is looked at, after the channels.
    ({1: False, 2: True}, ABSENT, {1: True, 2: True}),
    ({1: False, 2: False}, True, {1: True, 2: False}),
    ({1: False, 2: False}, False, {1: True, 2: False}),
    # The first one that is not there ends the channels.
    ({1: True, 3: True}, True, {1: True}),
    ({2: True}, True, {1: True}),
    # A channel 1 that nobody speaks of counts as enabled.
    ({}, False, {1: True}), (ABSENT, ABSENT, {1: True}),
    (ABSENT, True, {1: True}), (ABSENT, False, {1: True}),
    (ABSENT, None, {1: True}),
])
def test_triggers_at_the_start(follow, channels, ptz, triggers):
    device = follow(channels=channels, ptz=ptz)
    assert device.triggers() == triggers
    assert device.warnings() == []


def test_numbers_wrap(follow):
    device = follow(DOOR, first_virtual_input(GLib.MAXINT),
                    channels={1: True, 2: True})
    assert {props.name: props.number for props in device.service.ports()} == {
        "door": 0, "manualtrigger1": GLib.MAXINT,
        "manualtrigger2": GLib.MININT}


def test_triggers_are_the_newest_ports(follow):
    device = follow(channels={1: True, 2: False, 3: True})
    assert device.service.names() == [
        "manualtrigger3", "manualtrigger2", "manualtrigger1", "door"]
    assert {props.name: (props.input, props.state, props.properties)
            for props in device.service.ports()}["manualtrigger2"] == (
        False, False, [("virtual", True)])


# ---- what a trigger does ----

def test_trigger_is_declared_with_its_channel(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    assert device.service.declaration_of(2)[1] == {
        "type": MANUAL_TRIGGER, "property": "state",
        "keys": {"port": 2, **TOPICS},
        "nice-names": {"port": ("Port", ""), "state": ("Active", ""),
                       "topic0": ("", ""), "topic1": ("", "Input ports"),
                       "topic2": ("", "Manual trigger")},
        "namespaces": NAMESPACES, "tags": TAGS}


def test_enabled_trigger_is_pulled(follow):
    device = follow(channels={1: True, 2: True, 3: False}, ptz=True)
    declaration = device.service.declaration_of(2)[0]
    events = Events(device.service)
    recorder = device.service.record()
    for state in (True, False):
        recorder.signals.clear()
        assert events.take(("SetVirtual", number_of(2), state)) == [
            happened(declaration, values(2, state))]
        assert recorder.args == [changed(number_of(2), state, virtual=True,
                                         virtual_trig=True)]
    assert device.service.state_of(declaration) == values(2, False)
    with expect_error(NOT_OUTPUT):
        device.service.start_sequence(number_of(2), (True, 0))


def test_disabled_trigger_is_silent(follow):
    device = follow(channels={1: True, 2: False}, ptz=True)
    assert device.service.names()[0] == "manualtrigger2"
    events = Events(device.service)
    recorder = device.service.record()
    assert events.take(("SetVirtual", number_of(2), True)) == []
    assert recorder.signals == []
    assert device.service.ports()[0].state is False


def test_switched_trigger_is_declared_once_and_withdrawn_once(follow):
    device = follow(channels={1: True, 2: False}, ptz=True)
    events = Events(device.service)
    device.streamer.set_enabled(2, True)
    declared, sent = events.take()
    number = declared[1][0]
    assert declared[0] == "Declared"
    assert sent == happened(number, values(2, False))
    device.streamer.set_enabled(2, True)
    assert events.take() == []
    device.streamer.set_enabled(2, False)
    assert events.take() == [("Undeclared", (number,))]


def test_trigger_keeps_its_state_while_it_is_disabled(follow):
    device = follow(channels={1: True}, ptz=True)
    device.service.call("SetVirtual", FIRST, True)
    device.streamer.set_enabled(1, False)
    device.service.call("SetVirtual", FIRST, False)
    device.streamer.set_enabled(1, True)
    number, _ = device.service.declaration_of(1)
    assert device.service.state_of(number) == values(1, True)


# ---- signals of the channels ----

def test_channels_are_followed(follow):
    device = follow(channels={1: True, 2: True, 3: False, 4: None})
    for channel, enabled, triggers in [
            (2, False, {1: True, 2: False, 3: False, 4: True}),
            (3, True, {1: True, 2: False, 3: True, 4: True}),
            (1, False, {1: False, 2: False, 3: True, 4: True}),
            (1, True, {1: True, 2: False, 3: True, 4: True})]:
        device.streamer.set_enabled(channel, enabled)
        assert device.triggers() == triggers


def test_channel_without_the_property_is_not_followed(follow):
    device = follow(channels={1: None, 2: None, 3: True})
    for channel in (1, 2):
        device.streamer.set_enabled(channel, False)
    assert device.triggers() == {1: True, 2: True, 3: True}


# ---- PTZ ----

def take_steps(device, steps):
    """Steps: an action, and the triggers that follow. Channels that nobody
    names are as before."""
    triggers = device.triggers()
    for action, changes in steps:
        action()
        triggers |= changes
        assert device.triggers() == triggers, action


def actions(device):
    """switch(channel, enabled) and ptz(enabled), as actions."""
    return (functools.partial(functools.partial,
                              device.streamer.set_enabled),
            functools.partial(functools.partial, device.coordinator.set_ptz))


def test_ptz_off_leaves_the_triggers_that_there_are(follow):
    device = follow(channels={1: True, 2: True, 3: False}, ptz=True)
    switch, ptz = actions(device)
    take_steps(device, [
        (ptz(False), {}),
        (switch(2, False), {}), (switch(3, True), {}), (switch(1, False), {}),
        # Enabled by now is channel 3 alone.
        (ptz(True), {3: True}),
        (switch(2, False), {2: False}), (switch(1, False), {1: False}),
        (ptz(False), {}), (ptz(True), {1: True}),
        (switch(3, False), {3: False}),
    ])


def test_ptz_on_enables_the_triggers_of_enabled_channels(follow):
    device = follow(channels={1: True, 2: True, 3: False}, ptz=False)
    assert device.triggers() == {1: True, 2: False, 3: False}
    switch, ptz = actions(device)
    take_steps(device, [
        (ptz(False), {}), (switch(2, True), {}),
        (ptz(True), {2: True}), (ptz(True), {}),
        (switch(3, True), {3: True}), (switch(2, False), {2: False}),
        (ptz(True), {}),
    ])


def test_without_an_enabled_channel_ptz_enables_the_first_trigger(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    switch, ptz = actions(device)
    take_steps(device, [
        (switch(1, False), {1: False}), (switch(2, False), {2: False}),
        (ptz(True), {1: True}),
        (switch(1, False), {1: False}),
        # With PTZ off it counts as enabled, but its trigger is there already.
        (ptz(False), {}), (ptz(True), {1: True}),
    ])


def test_number_of_the_ptz_signal_does_not_matter(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    for number in (0, -1, GLib.MAXINT):
        device.coordinator.set_ptz(False, number)
        device.streamer.set_enabled(2, False)
        assert device.triggers() == {1: True, 2: True}
        device.coordinator.set_ptz(True, number)
        device.streamer.set_enabled(2, False)
        assert device.triggers() == {1: True, 2: False}
        device.streamer.set_enabled(2, True)
        assert device.triggers() == {1: True, 2: True}


COMING_AND_GOING = [
    (Peer.appear, False), (Peer.take_over, True), (Peer.take_over, False),
    (Peer.restart, None), (Peer.restart, False), (Peer.reappear, True),
    (Peer.restart, False), (Peer.take_over, None), (Peer.reappear, False),
]
"""What the coordinator does, and its PTZEnabled then."""


def test_coordinator_comes_and_goes(follow):
    device = follow(channels={1: True, 2: False})
    coordinator = device.coordinator

    def triggers_follow():
        device.streamer.set_enabled(2, True)
        triggers = device.triggers()
        device.streamer.set_enabled(2, False)
        assert triggers in ({1: True, 2: True}, {1: True, 2: False})
        return triggers[2]

    assert triggers_follow()
    for action, ptz in COMING_AND_GOING:
        coordinator.keep_ptz(ptz)
        answers = coordinator.answered.count("GetAll")
        action(coordinator)
        coordinator.wait_for_answer("GetAll", answers + 1)
        coordinator.emit("SomethingElse")
        assert triggers_follow() == (ptz is not False), (action, ptz)
    coordinator.disconnect()
    assert triggers_follow()
    assert device.warnings() == []


# ---- the streaming service comes and goes ----

def test_streaming_service_starts_after_the_daemon(follow):
    device = follow(channels=ABSENT, ptz=True)
    for channel, enabled in [(1, False), (2, True), (3, False)]:
        device.streamer.add(channel, enabled)
    device.streamer.appear()
    device.wait_for({1: False, 2: True, 3: False})
    device.streamer.set_enabled(3, True)
    assert device.triggers() == {1: False, 2: True, 3: True}


@pytest.mark.parametrize("leave, first_enabled", [
    (Peer.vanish, True), (Peer.disconnect, False)])
def test_only_the_first_trigger_outlives_the_streaming_service(
        follow, leave, first_enabled):
    channels = {1: True, 2: True, 3: False, 4: None}
    device = follow(channels=channels, ptz=True)
    device.streamer.set_enabled(1, first_enabled)
    assert device.triggers()[1] is first_enabled
    events = Events(device.service)
    leave(device.streamer)
    assert [member for member, _ in events.take()] == ["Undeclared"] * 2
    assert device.triggers() == {1: first_enabled}
    assert device.service.names() == ["manualtrigger1", "door"]
    # The channels still count as enabled, whatever PTZ is next.
    device.coordinator.set_ptz(True)
    assert device.triggers() == {1: first_enabled, 2: True, 4: True}


def test_signals_of_channels_that_are_gone_are_ignored(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    device.streamer.vanish()
    for channel in (1, 2):
        device.streamer.set_enabled(channel, False)
        device.streamer.channel_signal(
            channel, "EnabledChanged", "(b)", False,
            to=unique_name(device.service))
    assert device.triggers() == {1: True}


def test_port_that_has_the_name_after_the_last_one_goes_too(follow):
    device = follow(
        *[port(f"manualtrigger{number}", "input", number)
          for number in (2, 3, 4)],
        DOOR, first_virtual_input(), channels={1: True, 2: True}, ptz=True)
    device.streamer.vanish()
    device.service.settle()
    assert device.service.names() == ["manualtrigger1", "door",
                                      "manualtrigger4"]


RETURNS = [Peer.restart, Peer.reappear, Peer.take_over]


def test_streaming_service_that_returns_leaves_nothing_twice(follow):
    triggers = {1: True, 2: True, 3: False, 4: True}
    device = follow(channels={1: True, 2: True, 3: False, 4: None}, ptz=True)
    assert device.triggers() == triggers
    events = Events(device.service)
    recorder = device.service.record()

    def signals_are_single():
        """Of a channel's switch, and of what its trigger does."""
        for enabled in (False, True):
            events.take()
            device.streamer.set_enabled(2, enabled)
            assert [member for member, _ in events.take()] == (
                ["Declared", "Event"] if enabled else ["Undeclared"])
        recorder.signals.clear()
        device.service.call("SetVirtual", number_of(4), True)
        device.service.settle()
        assert len(recorder.signals) == 1

    rules = match_rules(device.service.client)
    for come_back in RETURNS * 2:
        device.enumerate_after(functools.partial(come_back, device.streamer),
                               4)
        device.wait_for(triggers)
        signals_are_single()
        assert match_rules(device.service.client) == rules


def test_replaced_streaming_service_is_asked_anew(follow):
    device = follow(channels={1: True, 2: True, 3: False}, ptz=True)
    for channels in [{1: False, 2: None, 3: True},
                     {1: True, 2: False, 3: None},
                     {1: None, 2: True, 3: True, 4: True}]:
        for channel, enabled in channels.items():
            device.streamer.add(channel, enabled)
        device.enumerate_after(device.streamer.take_over, len(channels))
        assert device.triggers() == {
            channel: enabled is not False
            for channel, enabled in channels.items()}
    # Without the property it is not followed any more.
    device.streamer.set_enabled(1, False)
    assert device.triggers()[1] is True


def test_channels_that_the_next_service_lacks_stay_until_it_leaves(follow):
    device = follow(channels={1: True, 2: True, 3: True}, ptz=True)
    device.streamer.remove(3)
    device.enumerate_after(device.streamer.take_over, 2)
    assert device.triggers() == {1: True, 2: True, 3: True}
    device.streamer.vanish()
    assert device.triggers() == {1: True}


@pytest.mark.parametrize("leave", [Peer.vanish, Peer.disconnect])
@pytest.mark.parametrize("path", [Streamer.PATH, Streamer.channel(1),
                                  Streamer.channel(3)])
def test_streaming_service_vanishes_while_it_is_asked(follow, leave, path):
    def vanish(peer):
        leave(peer)
        peer.before.clear()

    def prepare(streamer, _):
        streamer.before[path, "GetAll"] = vanish
    device = follow(channels={1: True, 2: True, 3: True}, prepare=prepare)
    streamer = device.streamer
    wait_until(lambda: not streamer.before, "its end")
    device.wait_for({1: True})
    prepare(streamer, None)
    streamer.appear()
    wait_until(lambda: not streamer.before, "its end")
    device.wait_for({1: True})
    streamer.appear()
    device.wait_for({1: True, 2: True, 3: True})


# ---- other ports, and the end ----

def test_port_of_the_configuration_is_the_first_channel_s_trigger(follow):
    device = follow(
        port("manualtrigger1", "input", 3, events=[IOPORT_EVENT]),
        first_virtual_input(), channels={1: True, 2: True}, ptz=True)
    events = Events(device.service)
    assert device.declared() == [2]
    device.streamer.set_enabled(1, False)
    assert [member for member, _ in events.take()] == ["Undeclared"]
    assert events.take(("SetVirtual", 3, True)) == []
    device.streamer.set_enabled(1, True)
    assert [member for member, _ in events.take()] == ["Declared"]
    device.streamer.vanish()
    device.service.settle()
    assert device.service.names() == ["manualtrigger1"]


def run_sequences(device, *channels):
    """Sequences that run until the triggers have pulled."""
    recorder = device.service.record()
    for channel in channels:
        device.service.start_sequence(number_of(channel), (True, HOUR),
                                      virtual=True)
    recorder.wait_for_count(len(channels))


@pytest.mark.threaded
def test_end_withdraws_the_triggers_and_ends_their_sequences(follow):
    device = follow(channels={1: True, 2: True, 3: False}, ptz=True)
    run_sequences(device, 1, 2)
    recorder = device.service.record_events()
    declared = sorted(device.service.declarations())
    device.service.daemon.stop(timeout=PATIENCE)
    recorder.wait_for_count(len(declared))
    assert sorted((signal.member, *signal.args)
                  for signal in recorder.signals) == [
        ("Undeclared", number) for number in declared]


@pytest.mark.threaded
def test_sequence_of_a_trigger_that_goes_does_not_hold_up_the_end(follow):
    device = follow(channels={1: True, 2: True, 3: True}, ptz=True)
    run_sequences(device, 2, 3)
    device.streamer.vanish()
    assert device.service.names() == ["manualtrigger1", "door"]
    # The triggers that come back are others.
    device.enumerate_after(device.streamer.appear, 3)
    run_sequences(device, 2)
    device.service.daemon.stop(timeout=PATIENCE)


@pytest.mark.threaded
def test_trigger_that_goes_plays_its_sequence_to_the_end(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    declaration, _ = device.service.declaration_of(2)
    events = Events(device.service)
    recorder = device.service.record()
    device.service.start_sequence(number_of(2), (True, 200), (False, 0),
                                  virtual=True)
    device.streamer.vanish()
    recorder.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert [signal.args[:1] + signal.args[5:6] for signal in recorder.signals
            ] == [(number_of(2), True), (number_of(2), False),
                  (number_of(2),)]
    events.wait_for("Undeclared", (declaration,))
    device.streamer.appear()
    device.wait_for({1: True, 2: True})


def test_bus_that_goes_away_ends_the_daemon_in_order(follow):
    device = follow(channels={1: True, 2: True}, ptz=True)
    device.service.box.stop_bus()
    assert device.service.daemon.wait() == 0


def test_daemon_starts_again_among_the_same_services(follow):
    device = follow(channels={1: True, 2: True, 3: False}, ptz=True)
    device.service.restart()
    assert device.triggers() == {1: True, 2: True, 3: False}
    device.streamer.set_enabled(3, True)
    assert device.triggers() == {1: True, 2: True, 3: True}
