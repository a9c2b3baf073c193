"""The action templates, with an engine that answers what it should not, late, or
never."""

import threading

import pytest
from gi.repository import GLib

from action_engine_support import (
    ADD, ADDED, DOOR, FILES, FIXED, LAMP, LIST, LISTED, NOT_LISTED, REMOVE,
    REMOVED, UNLIMITED, fixture_register, templates)
from lifecycle_support import BUS_THAT_STARTS_NOBODY
from peer import BUS, NEVER, AskDaemon, Reply
from peers import fixture_offer
from ports_support import event, fixture_serve, port, post


# ---- answers ----

OURS = (FIXED, "", "", {})


def test_list_of_another_type_ends_the_update(register):
    both = register(DOOR, appear=False)
    for reply in [
            Reply(), Reply("(s)", FIXED), Reply("(as)", [FIXED]),
            Reply("(a(sss))", [OURS[:3]]), Reply("(a(sssa{sv}))", [OURS]),
            Reply("(a(ossa{ss}))", [("/o", "", "", {})]), Reply("(aas)", []),
            Reply("((sssa{ss}))", OURS), Reply("(a{ss})", {FIXED: ""}),
            Reply("(ua(sssa{ss}))", 1, [OURS]),
            Reply("(v)", GLib.Variant("a(sssa{ss})", [OURS]))]:
        both.engine.answers[LIST] = reply
        assert both.after(both.engine.reappear) == [LISTED]
        kind = reply.body.get_type_string()
        assert both.warnings() == (
            f"{NOT_LISTED}Unexpected reply of type {kind}")


def test_what_follows_the_list_is_not_looked_at(register):
    both = register(DOOR, appear=False, templates=templates(*FILES))
    both.engine.answers[LIST] = Reply(
        "(a(sssa{ss})sa(sssa{ss}))", [OURS], "", [(UNLIMITED, "", "", {})])
    assert both.after(both.engine.appear) == [LISTED, REMOVED[0]]


@pytest.mark.parametrize("listed, member, change", [
    (LAMP, ADD, ADDED), (DOOR, REMOVE, REMOVED)])
def test_any_reply_to_a_change_is_success(register, listed, member, change):
    both = register(listed, appear=False)
    for reply in [Reply("(s)", "no"), Reply("(b)", False),
                  Reply("(a(sssa{ss})u)", [OURS], 7)]:
        both.engine.templates = templates(
            *(FILES if change == REMOVED else ()))
        both.engine.answers[member] = reply
        assert both.after(both.engine.reappear) == [LISTED, *change]
    assert both.warnings() == ""


STRANGE = ["", " ", FIXED + "2", FIXED + " ", " " + FIXED, FIXED[:-1],
           FIXED.upper(), FIXED.title(), UNLIMITED + ".xml",
           FILES[UNLIMITED], FIXED + "\n" + UNLIMITED, "*", "%s%n", "ä" * 300]


def long_list(*ours):
    """A reply with 100,000 templates of others, ours in the middle."""
    def entry(name):
        return GLib.Variant("(sssa{ss})", (name, "name", "", {"k": "fixed"}))
    others = [entry("com.example.template")] * 50_000
    reply = Reply()
    reply.body = GLib.Variant.new_tuple(GLib.Variant.new_array(
        None, [*others, *map(entry, ours), *others]))
    return reply


def test_templates_are_told_apart_exactly(register):
    both = register(LAMP, appear=False)
    both.engine.answers[LIST] = Reply(
        "(a(sssa{ss}))", [(name, FIXED, UNLIMITED, {FIXED: UNLIMITED})
                          for name in STRANGE])
    assert both.after(both.engine.appear) == [LISTED, *ADDED]
    both.engine.answers[LIST] = Reply("(a(sssa{ss}))", [OURS, OURS])
    both.engine.templates = templates(FIXED)
    assert both.after(both.engine.reappear) == [LISTED, ADDED[1]]


def test_endless_list_is_read(register):
    both = register(LAMP, appear=False, templates=templates(UNLIMITED))
    both.engine.answers[LIST] = long_list(UNLIMITED)
    assert both.after(both.engine.appear) == [LISTED, ADDED[0]]
    assert both.warnings() == ""


# ---- an engine that is late ----

def test_engine_may_not_call_the_daemon_back(register):
    """The daemon waits for the engine, and goes on when that gives up."""
    both = register(LAMP, DOOR)
    both.calls()
    ask = AskDaemon(timeout=0.05)
    both.engine.before = dict.fromkeys([LIST, ADD, REMOVE], ask)
    # The port list is held meanwhile.
    assert both.after(lambda: both.drop("lamp")) == [LISTED, *REMOVED]
    assert both.after(both.refresh) == [LISTED, *ADDED]
    # It is not.
    both.engine.templates.clear()
    assert both.after(both.engine.reappear) == [LISTED, *ADDED]
    assert ask.outcomes == [None] * 9
    both.engine.before.clear()
    ask(both.engine)
    assert ask.outcomes[-1] == (1, 1)
    assert both.warnings() == ""


def sequence(number, steps, duration):
    """A call for post(): so many steps of so many milliseconds."""
    return "StartActionSequence", (
        number, False, [(bool(step % 2), duration) for step in range(steps)])


@pytest.mark.threaded
def test_sequences_run_on_while_the_engine_is_late(register):
    """Those with an event that looks at all ports go on afterwards at the
    latest."""
    both = register(DOOR, port("free", "output", 2),
                    port("any", "output", 3, events=[event("PortAny")]))
    recorder = both.service.client.record("PortChanged")

    def wait_for_another_change(number):
        recorder.signals.clear()
        recorder.wait_for(lambda signal: signal.args[0] == number)
    both.engine.hold(LIST)
    for number in (2, 3):
        # Longer than any test.
        post(both.service.client, *sequence(number, 2000, 50))
    post(both.service.client, "DropIOPorts", (["door"],))
    both.engine.wait_for_calls(LIST, 2)
    # What was on its way before is here afterwards.
    both.service.client.sync(BUS)
    wait_for_another_change(2)
    assert both.engine.answered.count(LIST) == 1
    both.engine.release(LIST)
    both.engine.wait_for_answer(LIST, 2)
    assert both.service.names() == ["any", "free"]
    for number in (2, 3):
        wait_for_another_change(number)


@pytest.mark.threaded
def test_sequence_ends_while_the_engine_is_late(register):
    both = register(DOOR, port("lamp", "output", 2))
    recorder = both.service.record()
    both.engine.hold(LIST)
    post(both.service.client, *sequence(2, 200, 1))
    post(both.service.client, "DropIOPorts", (["door"],))
    both.engine.wait_for_calls(LIST, 2)
    recorder.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert both.engine.answered.count(LIST) == 1
    both.engine.release(LIST)
    assert both.service.names() == ["lamp"]


@pytest.mark.parametrize("end", ["late", "gone"])
def test_daemon_that_waits_for_the_engine_ends_in_order(register, end):
    both = register(LAMP)
    both.engine.hold(LIST)
    post(both.service.client, "DropIOPorts", (["lamp"],))
    both.engine.wait_for_calls(LIST, 2)
    stopped = threading.Thread(target=both.service.daemon.stop)
    stopped.start()
    if end == "late":
        both.engine.release(LIST)
    else:
        both.engine.disconnect()
    stopped.join()
    assert both.service.daemon.status == 0


@pytest.mark.build("plain")
def test_engine_that_never_answers_is_given_up(register):
    """After the bus's usual time, 25 s."""
    both = register(LAMP)
    both.calls()
    both.engine.answers[LIST] = NEVER
    post(both.service.client, "DropIOPorts", (["lamp"],))
    both.service.daemon.wait_for_output(NOT_LISTED, timeout=40)
    both.engine.answers.clear()
    assert both.service.names() == []
    assert both.calls() == [LISTED]
    assert both.engine.templates == FILES
    assert both.after(both.refresh) == [LISTED]
    assert both.after(lambda: both.drop("lamp")) == [LISTED, *REMOVED]
    assert len(both.warnings().splitlines()) == 1


# ---- no proxy, no bus ----

def test_engine_that_cannot_be_reached_is_left_alone(register):
    both = register(LAMP, appear=False, bus_policy=BUS_THAT_STARTS_NOBODY)
    for action in (both.engine.appear, both.engine.restart):
        action()
        both.drop("lamp")
        both.refresh()
        both.settle()
    assert both.calls() == []
    assert both.warnings() == ""
