"""The action templates: registered with the device's action engine exactly
while the device has a port that can be driven."""

import dataclasses
import operator

import pytest

from action_engine_support import (
    ADD, ADDED, BROKEN, BROKEN_TEXT, DOOR, FILES, FIXED, LAMP, LIST, LISTED,
    NOT_LISTED, REMOVE, REMOVED, UNLIMITED, fixture_register, templates)
from bus_client import STATE, BusError
from peer import BUS, BUS_PATH, OWN
from peers import ActionEngine, Streamer, fixture_offer
from ports_support import IOPORT, fixture_serve, port
from sandbox import QEL_UID
from usage_support import usage
from waiting import wait_until


# ---- whether there is a port to drive ----

@pytest.mark.parametrize("ports, wanted", [
    ([port("lamp", "output", 0)], True),
    ([port("both", "io_ctrl", 0)], True),
    ([port("both", "io_ctrl", 0, defaults={"dir": "input"}), DOOR], True),
    ([port("virt", "output", 0, backend="virtual",
           properties={**IOPORT, "virtual": "true"})], True),
    ([DOOR, port("virt", "input", 2, backend="virtual",
                 properties={**IOPORT, "virtual": "true"})], False),
    ([port("lamp", "output", 0, properties={"ioport": "false"}),
      port("plug", "io_ctrl", 1, properties={"video_connector": "true"}),
      port("virt", "output", 2, backend="virtual",
           properties={"virtual": "true"})], False),
    ([port("late", "output", 0, backend="iobox", optional=True),
      port("gone", "output", 1, backend="iobox")], False),
    ([], False),
], ids=["output", "configurable", "configurable input", "virtual real output",
        "inputs", "no real ports", "hardware is missing", "no ports"])
def test_templates_are_there_while_a_port_can_be_driven(register, ports,
                                                        wanted):
    both = register(*ports, templates=templates(FIXED))
    assert both.engine.templates == templates(*(FILES if wanted else ()))


def test_manual_trigger_is_no_port_to_drive(register, offer):
    """It comes when the daemon runs, which is a change of the list."""
    both = register(DOOR + '<first_virtual_input nbr="8"/>',
                    templates=templates(*FILES))
    assert both.calls() == [LISTED, *REMOVED]
    both.engine.templates = templates(*FILES)
    assert both.after(lambda: offer(both.service.box, Streamer,
                                    {1: True, 2: True})) == [LISTED, *REMOVED]
    assert "manualtrigger2" in both.service.names()


# ---- what is brought up to date ----

PRESENT = [(), (FIXED,), (UNLIMITED,), (FIXED, UNLIMITED)]


@pytest.mark.parametrize("listed, wanted", [(LAMP, True), (DOOR, False)],
                         ids=["wanted", "not wanted"])
def test_only_what_is_not_as_wanted_is_changed(register, listed, wanted):
    both = register(listed, appear=False)
    for present in PRESENT:
        for ours in (present, present[::-1]):
            both.engine.templates = templates(*ours)
            changed = [
                (ADD, FILES[name]) if wanted else (REMOVE, name)
                for name in (FIXED, UNLIMITED) if (name in ours) != wanted]
            assert both.after(both.engine.reappear) == [LISTED, *changed]
            assert both.engine.templates == templates(
                *(FILES if wanted else ()))
    assert both.warnings() == ""


def test_calls_go_to_the_engine_s_templates(register):
    both = register(LAMP)
    both.after(lambda: both.drop("lamp"))
    owner, = both.service.client.call("GetNameOwner", "(s)", (STATE,),
                                      name=BUS, path=BUS_PATH)
    made = {(call.path, call.interface, call.sender)
            for call in both.engine.calls}
    assert made == {(ActionEngine.PATH, ActionEngine.TEMPLATES, owner)}
    assert {call.member for call in both.engine.calls} == {LIST, ADD, REMOVE}
    assert both.service.client.call(
        "GetConnectionUnixUser", "(s)", (owner,), name=BUS,
        path=BUS_PATH) == (QEL_UID,)


@pytest.mark.parametrize("listed, wanted", [(LAMP, True), (DOOR, False)],
                         ids=["wanted", "not wanted"])
def test_failure_ends_the_update(register, listed, wanted):
    both = register(listed, appear=False)
    member, change, doing = (ADD, ADDED, "add") if wanted else (
        REMOVE, REMOVED, "remove")
    none, one = ((), (FIXED,)) if wanted else (tuple(FILES), (UNLIMITED,))

    def failed(name):
        return f"WARNING Failed to {doing} template {name}: {BROKEN_TEXT}"

    def only_second(call):
        return OWN if FIXED in call.args[0] else BROKEN
    for present, table, made, warning in [
            (none, {LIST: BROKEN}, [], NOT_LISTED + BROKEN_TEXT),
            (none, {member: BROKEN}, change[:1], failed(FIXED)),
            (none, {member: only_second}, change, failed(UNLIMITED)),
            (one, {member: BROKEN}, change[1:], failed(UNLIMITED))]:
        both.engine.templates = templates(*present)
        both.engine.answers = table
        assert both.after(both.engine.reappear) == [LISTED, *made]
        assert both.warnings() == warning
        # Not tried again before the engine comes again or the list changes.
        both.refresh()
        assert both.calls() == []
    both.engine.answers = {}
    assert both.after(both.engine.reappear) == [LISTED, *change[1:]]
    assert both.warnings() == ""


def test_change_of_the_list_makes_up_for_a_failure(register):
    both = register(LAMP, DOOR, appear=False)
    both.engine.answers[LIST] = BROKEN
    assert both.after(both.engine.appear) == [LISTED]
    both.engine.answers.clear()
    assert both.after(lambda: both.drop("door")) == [LISTED, *ADDED]


# ---- the engine comes and goes ----

def test_engine_that_starts_later_is_told(register):
    both = register(LAMP, appear=False)
    assert both.after(both.engine.appear) == [LISTED, *ADDED]


@pytest.mark.parametrize("listed, change", [(LAMP, ADDED), (DOOR, REMOVED)],
                         ids=["wanted", "not wanted"])
def test_engine_is_told_whenever_it_comes(register, listed, change):
    both = register(listed)
    both.calls()
    before = templates(*(FILES if change == REMOVED else ()))
    for come in [both.engine.reappear, both.engine.restart,
                 both.engine.take_over]:
        both.engine.templates = dict(before)
        assert both.after(come) == [LISTED, *change]
    both.engine.disconnect()
    both.engine.templates = dict(before)
    assert both.after(both.engine.appear) == [LISTED, *change]
    assert both.warnings() == ""


def test_engine_that_comes_and_goes_all_the_time_is_told_in_the_end(register):
    both = register(LAMP)
    for _ in range(30):
        both.engine.reappear()
        both.engine.take_over()
        both.engine.restart()
    both.engine.vanish()
    # What the daemon has begun it may still ask for.
    both.settle()
    both.engine.templates = templates()
    both.calls()
    both.settle()
    assert both.calls() == []
    assert both.after(both.engine.appear) == [LISTED, *ADDED]


def test_engine_that_has_left_is_not_called(register):
    """It is still there, without its name."""
    both = register(LAMP)
    both.calls()
    both.engine.vanish()
    both.drop("lamp")
    both.settle()
    assert both.calls() == []
    assert both.warnings() == ""
    assert both.engine.templates == dict(FILES)
    # What is wanted is remembered for its return.
    assert both.after(both.engine.appear) == [LISTED, *REMOVED]


def startable(box):
    """The engine can be started by the bus; it leaves a mark."""
    folder = box.run / "services"
    folder.mkdir()
    (folder / "engine.service").write_text(
        f"[D-BUS Service]\nName={ActionEngine.NAME}\n"
        "Exec=/bin/sh -c 'touch /tmp/started; exit 1'\n")


BUS_THAT_STARTS_SERVICES = """
  <servicedir>/run/services</servicedir>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
"""


def test_absent_engine_is_not_started(register):
    both = register(LAMP, appear=False, prepare=startable,
                    bus_policy=BUS_THAT_STARTS_SERVICES)
    both.drop("lamp")
    both.refresh()
    both.after(both.engine.appear)
    both.engine.vanish()
    both.drop("lamp")
    both.refresh()
    both.settle()
    started = both.service.box.tmp / "started"
    assert not started.exists()
    # Once it is asked for, it is.
    with pytest.raises(BusError):
        both.service.client.call(
            "StartServiceByName", "(su)", (ActionEngine.NAME, 0), name=BUS,
            path=BUS_PATH)
    assert started.exists()


@pytest.mark.parametrize("member", [LIST, ADD])
def test_engine_that_leaves_in_mid_update_is_told_when_it_is_back(register,
                                                                  member):
    both = register(LAMP, appear=False)
    engine = both.engine
    for leave in [ActionEngine.vanish, ActionEngine.disconnect,
                  ActionEngine.restart, ActionEngine.take_over,
                  ActionEngine.reappear]:
        left = []

        def leave_once(peer, leave=leave, left=left):
            peer.before.clear()
            leave(peer)
            left.append(True)
        engine.vanish()
        engine.templates = templates()
        engine.before[member] = leave_once
        engine.appear()
        wait_until(lambda left=left: left, "the engine to leave")
        engine.appear()
        wait_until(lambda: engine.templates == templates(*FILES),
                   "the templates")
        both.settle()


def test_following_the_engine_leaves_nothing_behind(register):
    both = register(LAMP, DOOR)

    def rounds(count):
        for _ in range(count):
            for come in (both.engine.reappear, both.engine.restart,
                         both.engine.take_over):
                assert both.after(come)[0] == LISTED
            both.drop("door")
            both.refresh()
        both.settle()

    def held():
        return dataclasses.astuple(
            usage(both.service.client, both.service.daemon.pid))
    rounds(2)
    before = held()
    rounds(10)
    # GDBus ends a thread that it has no use for, in its own time.
    wait_until(lambda: all(map(operator.le, held(), before)), before)


# ---- the list of ports changes ----

def test_last_output_takes_the_templates_with_it(register):
    both = register(LAMP, port("both", "io_ctrl", 2, optional=True), DOOR)
    both.calls()
    for dropped, calls in [("lamp", [LISTED]), ("both", [LISTED, *REMOVED]),
                           ("door", [LISTED])]:
        assert both.after(lambda name=dropped: both.drop(name)) == calls
    assert both.after(both.refresh) == [LISTED, *ADDED]
    assert both.warnings() == ""


def test_templates_are_looked_at_with_every_port_that_is_dropped(register):
    both = register(LAMP, DOOR, port("lamp2", "output", 2, optional=True))
    both.calls()
    assert both.after(lambda: both.drop("lamp", "lamp2", "door"), 3) == [
        LISTED, LISTED, *REMOVED, LISTED]
    # Of those that come back, only once.
    assert both.after(both.refresh) == [LISTED, *ADDED]


def test_list_that_does_not_change_is_not_told(register):
    both = register(LAMP, port("fixed", "output", 1))
    both.calls()
    both.refresh()
    assert both.service.call("DropIOPorts", ["fixed", "unknown"]) == []
    both.service.call("SetState", 0, True)
    both.settle()
    assert both.calls() == []


def test_replies_come_when_the_templates_are_right(register):
    both = register(LAMP)
    for _ in range(3):
        both.drop("lamp")
        assert both.engine.templates == {}
        both.refresh()
        assert both.engine.templates == FILES


# ---- the end ----

def test_templates_outlive_the_daemon(register):
    both = register(LAMP)
    assert both.calls() == [LISTED, *ADDED]
    both.service.daemon.stop()
    assert both.calls() == []
    both.service.start_again()
    both.settle(2)
    assert both.calls() == [LISTED]


def test_engine_is_not_told_of_ports_that_go_at_the_end(register, offer):
    """Neither of the triggers that are switched off then."""
    both = register(LAMP + '<first_virtual_input nbr="8"/>')
    offer(both.service.box, Streamer, {1: True})
    wait_until(lambda: "manualtrigger1" in both.service.names(), "the trigger")
    both.calls()
    both.service.daemon.stop()
    assert both.calls() == []
    assert both.engine.templates == FILES
