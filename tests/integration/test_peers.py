"""The daemon's neighbours as the tests have them: that they do as told."""

import contextlib
import operator
import threading

import pytest
from gi.repository import Gio, GLib

from bus_client import STATE, BusError, Client
from lifecycle_support import config, descriptors, port
from mock_bus import PrivateBus
from peer import BUS, NEVER, OWN, PROPERTIES, AskDaemon, Reply, in_turn
from peers import (ActionEngine, BootBlock, Coordinator, IOBox, Streamer,
                   fixture_offer)
from usage_support import match_rules, memory, threads, usage
from waiting import DEADLINE, wait_until

BROKEN = BusError("com.example.Error", "broken")
TOGGLE = "com.vexa.action.fixed.io.toggle"
TOGGLE_FILE = f"/etc/orvad/actions/{TOGGLE}.xml"
CONNECTED = "GetIOBoxConnected"


class Caller(Client):
    """A client that uses a peer as a daemon does."""

    def wait_for(self, *args, **options):
        # What a proxy asks for by itself is answered in this context then.
        self._context.push_thread_default()
        try:
            return super().wait_for(*args, **options)
        finally:
            self._context.pop_thread_default()

    @property
    def unique_name(self):
        return self.connection.get_unique_name()

    def ask(self, peer, method, signature="()", *args, **where):
        return self.call(method, signature, args, **{
            "name": peer.NAME, "path": peer.PATH, "interface": peer.INTERFACE,
            **where})

    def error_of(self, *call, **where):
        with pytest.raises(BusError) as caught:
            self.ask(*call, **where)
        return caught.value.name

    def post(self, peer, method):
        """Calls a method without arguments; what came of it, once it has."""
        outcome = []

        def ended(connection, result):
            try:
                outcome.append(connection.call_finish(result).unpack())
            except GLib.Error as error:
                outcome.append(Gio.DBusError.get_remote_error(error))
        self._context.push_thread_default()
        self.connection.call(peer.unique_name, peer.PATH, peer.INTERFACE,
                             method, None, None, Gio.DBusCallFlags.NONE, -1,
                             None, ended)
        self._context.pop_thread_default()
        return outcome

    def proxy(self, peer, path=None):
        """A proxy of the peer, and the signals that it passes on."""
        self._context.push_thread_default()
        proxy = Gio.DBusProxy.new_sync(
            self.connection, Gio.DBusProxyFlags.NONE, None, peer.NAME,
            path or peer.PATH, peer.INTERFACE, None)
        self._context.pop_thread_default()
        signals = []
        proxy.connect("g-signal", lambda _proxy, _sender, member, args:
                      signals.append((member, args.unpack())))
        return proxy, signals


@pytest.fixture(name="bus")
def fixture_bus(tmp_path):
    bus = PrivateBus(tmp_path)
    yield bus
    bus.stop()


@pytest.fixture(name="caller")
def fixture_caller(bus):
    with contextlib.closing(Caller(bus.address)) as caller:
        yield caller


@pytest.fixture(name="box")
def fixture_box(bus, offer):
    return offer(bus, IOBox, {3: "open"})


# ---- coming and going ----

def changes_of_owner(caller, peer, action):
    """Which owner the name passed to with the action; empty: to none."""
    record = caller.record("NameOwnerChanged", interface=BUS)
    before = peer.unique_name
    action()
    caller.sync(BUS)
    changes = [signal.args[1:] for signal in record.signals
               if signal.args[0] == peer.NAME]
    assert changes[0][0] == before
    return [new for _, new in changes]


@pytest.mark.parametrize("action, gap", [
    (IOBox.reappear, True), (IOBox.restart, True), (IOBox.take_over, False)])
def test_name_goes_and_comes(box, caller, action, gap):
    old = box.unique_name
    changes = changes_of_owner(caller, box, lambda: action(box))
    assert changes == ([""] if gap else []) + [box.unique_name]
    assert (box.unique_name == old) == (action == IOBox.reappear)
    assert caller.ask(box, CONNECTED) == (True,)


@pytest.mark.parametrize("action", [IOBox.vanish, IOBox.disconnect])
def test_peer_leaves_and_appears_again(box, caller, action):
    assert changes_of_owner(caller, box, lambda: action(box)) == [""]
    assert not caller.has_owner(box.NAME)
    box.appear()
    assert caller.ask(box, CONNECTED) == (True,)


def test_object_outlives_the_name(box, caller):
    box.vanish()
    assert caller.ask(box, CONNECTED, name=box.unique_name) == (True,)


def test_second_instance_replaces_the_first_without_a_gap(bus, box, caller,
                                                          offer):
    second = offer(bus, IOBox, connected=False, appear=False)
    assert changes_of_owner(caller, box, lambda: second.appear(
        replace=True)) == [second.unique_name]
    assert caller.ask(box, CONNECTED) == (False,)
    assert caller.ask(box, CONNECTED, name=box.unique_name) == (True,)


def test_restarts_leave_nothing_behind(box):
    def held():
        return descriptors("self"), threads("self")
    box.restart()
    before = held()
    for _ in range(100):
        box.restart()
        box.take_over()
        box.reappear()
    # What earlier tests left to GDBus may go meanwhile.
    wait_until(lambda: all(map(operator.le, held(), before)), before)


# ---- answers ----

@pytest.mark.parametrize("reply, values", [
    (Reply("(s)", "yes"), ("yes",)), (Reply(), ()),
    (Reply("(bas)", False, ["x"]), (False, ["x"]))])
def test_any_answer_can_be_given(box, caller, reply, values):
    box.answers[CONNECTED] = reply
    assert caller.ask(box, CONNECTED) == values


def test_answers_are_given_in_turn(box, caller):
    box.answers[CONNECTED] = in_turn(BROKEN, OWN, Reply("(b)", False))
    assert caller.error_of(box, CONNECTED) == BROKEN.name
    assert [caller.ask(box, CONNECTED) for _ in range(3)] == [
        (True,), (False,), (True,)]


def test_answer_can_depend_on_the_call(box, caller):
    box.answers["GetIOState"] = lambda call: (
        BROKEN if call.args == (4,) else OWN)
    assert caller.error_of(box, "GetIOState", "(i)", 4) == BROKEN.name
    assert caller.ask(box, "GetIOState", "(i)", 3) == ("open",)


def test_answer_may_never_come(box, caller):
    box.answers[CONNECTED] = NEVER
    outcome = caller.post(box, CONNECTED)
    assert caller.ask(box, "GetIOState", "(i)", 3) == ("open",)
    caller.sync(box.NAME)
    assert outcome == []
    box.disconnect()
    caller.wait_for(lambda: outcome, "the end of the call")
    assert outcome == [f"{BUS}.Error.NoReply"]


def test_late_answer_comes_when_released(box, caller):
    box.hold(CONNECTED)
    outcome = caller.post(box, CONNECTED)
    box.wait_for_calls(CONNECTED)
    box.connected = False
    assert caller.ask(box, "GetIOState", "(i)", 3) == ("open",)
    assert outcome == [] and CONNECTED not in box.answered
    box.release(CONNECTED)
    box.wait_for_answer(CONNECTED)
    caller.wait_for(lambda: outcome, "the answer")
    assert outcome == [(True,)]
    assert caller.ask(box, CONNECTED) == (False,)


def test_answers_are_held_and_released_in_the_order_of_asking(box, caller):
    """Whatever the peer does meanwhile."""
    busy = threading.Event()
    box.before["GetIOState"] = lambda _peer: busy.wait(DEADLINE)
    caller.post(box, "GetIOState")
    box.wait_for_calls("GetIOState")
    for _ in range(2):
        box.hold(CONNECTED)
        box.release(CONNECTED)
    box.hold(CONNECTED)
    outcome = caller.post(box, CONNECTED)
    busy.set()
    assert caller.ask(box, "GetIOState", "(i)", 3) == ("open",)
    caller.sync(box.NAME)
    assert outcome == []
    box.release(CONNECTED)
    caller.wait_for(lambda: outcome, "the answer")
    assert outcome == [(True,)]


@pytest.mark.parametrize("leave, outcome", [
    (IOBox.vanish, (True,)), (IOBox.reappear, (True,)),
    (IOBox.disconnect, f"{BUS}.Error.NoReply"),
    (IOBox.restart, f"{BUS}.Error.NoReply"),
    (IOBox.take_over, f"{BUS}.Error.NoReply")])
def test_peer_leaves_in_mid_call(box, caller, leave, outcome):
    box.before[CONNECTED] = leave
    got = caller.post(box, CONNECTED)
    caller.wait_for(lambda: got, "the end of the call")
    assert got == [outcome]


def test_unknown_calls_are_refused(box, caller):
    for call, where in [(["NoSuchMethod"], {}),
                        ([CONNECTED], {"path": "/elsewhere"}),
                        ([CONNECTED], {"interface": "com.example.Other"})]:
        assert caller.error_of(box, *call, **where) == (
            f"{BUS}.Error.UnknownMethod")
    assert caller.error_of(box, "GetIOState", "(s)", "3") == (
        f"{BUS}.Error.InvalidArgs")


def test_mistake_in_a_test_s_own_function_is_not_lost(bus, caller):
    box = IOBox(bus.address)
    box.before[CONNECTED] = lambda peer: peer.no_such_thing()
    caller.post(box, CONNECTED)
    box.wait_for_calls(CONNECTED)
    with pytest.raises(AttributeError):
        box.stop()


def test_daemon_can_be_called_from_within_a_call(make_sandbox, connect,
                                                 offer):
    sandbox = make_sandbox(config=config(port("lamp", 0)))
    sandbox.start()
    block = offer(sandbox, BootBlock, "7A1")
    block.before[BootBlock.READ] = ask = AskDaemon()
    connect(sandbox).call(BootBlock.READ, "(s)", ("HWID",),
                          name=block.NAME, path=block.PATH)
    assert ask.outcomes == [(0, 1)]


def test_call_back_without_an_answer_is_noted(bus, offer):
    engine = offer(bus, ActionEngine)
    ask = AskDaemon()
    ask(engine)
    (outcome,) = ask.outcomes
    assert outcome.name == f"{BUS}.Error.NameHasNoOwner"
    daemon = offer(bus, Named)
    daemon.answers["GetNbrPorts"] = NEVER
    ask(engine)
    assert ask.outcomes[1] is None


class Named(BootBlock):
    """In the daemon's place."""
    NAME = STATE


# ---- properties ----

@pytest.mark.parametrize("ptz, seen", [
    (True, True), (False, False), (GLib.Variant("s", "on"), "on")])
def test_proxy_caches_the_property(bus, caller, offer, ptz, seen):
    coordinator = offer(bus, Coordinator, ptz)
    proxy, _ = caller.proxy(coordinator)
    assert proxy.get_cached_property("PTZEnabled").unpack() == seen
    assert coordinator.count("GetAll") == 1


@pytest.mark.parametrize("answer", [
    OWN, Reply("(a{sv})", {}), Reply("(s)", "none"), Reply(), BROKEN])
def test_proxy_gets_no_properties(bus, caller, offer, answer):
    coordinator = offer(bus, Coordinator, None if answer is OWN else True)
    coordinator.answers["GetAll"] = answer
    proxy, _ = caller.proxy(coordinator)
    assert proxy.get_cached_property_names() == []
    assert coordinator.arguments("GetAll") == [(coordinator.INTERFACE,)]


def test_property_is_read_alone(bus, caller, offer):
    coordinator = offer(bus, Coordinator, False)
    get = ["Get", "(ss)", coordinator.INTERFACE]
    assert caller.ask(coordinator, *get, "PTZEnabled",
                      interface=PROPERTIES) == (False,)
    assert caller.error_of(coordinator, *get, "Zoom", interface=PROPERTIES) \
        == f"{BUS}.Error.InvalidArgs"


def test_change_of_properties_reaches_the_proxy(bus, caller, offer):
    coordinator = offer(bus, Coordinator, False)
    proxy, _ = caller.proxy(coordinator)
    coordinator.emit_properties_changed({"PTZEnabled": GLib.Variant("u", 2)})
    caller.sync(BUS)
    assert proxy.get_cached_property("PTZEnabled").unpack() == 2


# ---- signals ----

@pytest.mark.parametrize("signal", [
    ("IOStateChanged", "(is)", 3, "cut"), ("IOStateChanged",),
    ("IOStateChanged", "(si)", "cut", 3), ("SomethingElse", "(b)", True)])
@pytest.mark.parametrize("alone", [False, True])
def test_signal_of_any_kind_arrives(box, caller, signal, alone):
    _, signals = caller.proxy(box)
    box.emit(*signal, to=caller.unique_name if alone else None)
    caller.sync(BUS)
    assert signals == [(signal[0], signal[2:])]


@pytest.mark.parametrize("alone", [False, True])
def test_stranger_can_send_the_signal_too(bus, box, caller, alone):
    seen = caller.record(interface=box.INTERFACE)
    _, signals = caller.proxy(box)
    with contextlib.closing(Client(bus.address)) as stranger:
        box.emit("IOStateChanged", "(is)", 3, "cut", by=stranger,
                 to=caller.unique_name if alone else None)
        caller.sync(BUS)
        (signal,) = seen.signals
        assert signal.sender == stranger.connection.get_unique_name()
    assert (signal.path, signal.args) == (box.PATH, (3, "cut"))
    assert signals == []


def test_signal_of_another_object_is_sent(box, caller):
    seen = caller.record(interface=box.INTERFACE)
    box.emit("IOStateChanged", "(is)", 3, "cut", path="/elsewhere")
    caller.sync(BUS)
    assert seen.signals[0].path == "/elsewhere"


# ---- the IO box ----

def test_box_tells_of_its_ports(box, caller):
    box.status[4] = "disabled"
    assert caller.ask(box, "GetIOPortStatus", "(i)", 3) == ("enabled",)
    assert caller.ask(box, "GetIOPortStatus", "(i)", 4) == ("disabled",)
    assert caller.error_of(box, "GetIOState", "(i)", 9) == (
        "com.example.Error.Unknown")


def test_box_keeps_the_modes_that_were_set(box, caller):
    caller.ask(box, "SetIOMode", "(iis)", 3, 1, "out")
    assert box.modes == [(3, 1, "out")]


def test_port_of_the_box_changes(box, caller):
    _, signals = caller.proxy(box)
    box.change(3, "short")
    caller.sync(BUS)
    assert signals == [("IOStateChanged", (3, "short"))]
    assert caller.ask(box, "GetIOState", "(i)", 3) == ("short",)


# ---- the action engine ----

def test_templates_are_added_listed_and_removed(bus, caller, offer):
    engine = offer(bus, ActionEngine, {"other": "/other.xml"})

    def ask(*call):
        return caller.ask(engine, *call, interface=engine.TEMPLATES)
    ask("AddFromFile", "(s)", TOGGLE_FILE)
    assert engine.templates == {"other": "/other.xml", TOGGLE: TOGGLE_FILE}
    assert [entry[0] for entry in ask("List")[0]] == ["other", TOGGLE]
    ask("Remove", "(s)", "other")
    assert engine.templates == {TOGGLE: TOGGLE_FILE}
    assert engine.arguments("Remove") == [("other",)]
    for call in [("AddFromFile", "(s)", TOGGLE_FILE),
                 ("Remove", "(s)", "other")]:
        assert caller.error_of(engine, *call, interface=engine.TEMPLATES) == (
            "com.example.Error.Unknown")


def test_list_of_templates_has_its_type(bus, caller, offer):
    engine = offer(bus, ActionEngine, {TOGGLE: TOGGLE_FILE})
    reply = caller.connection.call_sync(
        engine.NAME, engine.PATH, engine.TEMPLATES, "List", None, None,
        Gio.DBusCallFlags.NONE, -1, None)
    assert reply.get_type_string() == "(a(sssa{ss}))"


# ---- the streaming service ----

def enabled(caller, streamer, number):
    """What a proxy of the channel has for Enabled, and whether it has
    anything."""
    proxy, _ = caller.proxy(streamer, streamer.channel(number))
    value = proxy.get_cached_property("Enabled")
    return (None if value is None else value.unpack(),
            bool(proxy.get_cached_property_names()))


def test_channels_have_what_they_were_given(bus, caller, offer):
    streamer = offer(bus, Streamer, {1: True, 2: False, 3: None,
                                     4: GLib.Variant("i", 7)})
    streamer.remove(1)
    streamer.add(5)
    assert [enabled(caller, streamer, number) for number in range(1, 7)] == [
        (None, False), (False, True), (None, True), (7, True), (True, True),
        (None, False)]


def test_answer_for_one_channel_alone(bus, caller, offer):
    streamer = offer(bus, Streamer, {1: True, 2: True})
    second = streamer.channel(2)
    streamer.answers[second, "GetAll"] = BROKEN
    assert enabled(caller, streamer, 1) == (True, True)
    assert enabled(caller, streamer, 2) == (None, False)
    assert streamer.count("GetAll", second) == 1
    assert streamer.count("GetAll") == 2


def test_channels_without_end(bus, caller, offer):
    streamer = offer(bus, Streamer, {2: False}, endless=True)
    assert enabled(caller, streamer, 2) == (False, True)
    assert enabled(caller, streamer, 100000) == (True, True)
    assert enabled(caller, streamer, "no/number") == (True, True)


def test_channel_is_switched(bus, caller, offer):
    streamer = offer(bus, Streamer, {1: True, 2: True})
    _, first = caller.proxy(streamer, streamer.channel(1))
    _, second = caller.proxy(streamer, streamer.channel(2))
    streamer.set_enabled(2, False)
    streamer.channel_signal(2, "EnabledChanged", "(s)", "off")
    caller.sync(BUS)
    assert first == []
    assert second == [("EnabledChanged", (False,)),
                      ("EnabledChanged", ("off",))]
    assert enabled(caller, streamer, 2) == (False, True)


# ---- the coordinator ----

def test_ptz_is_switched(bus, caller, offer):
    coordinator = offer(bus, Coordinator, True)
    _, signals = caller.proxy(coordinator)
    coordinator.set_ptz(False)
    caller.sync(BUS)
    assert signals == [("PtzEnabledChanged", (1, False))]
    assert caller.proxy(coordinator)[0].get_cached_property(
        "PTZEnabled").unpack() is False


def test_restarted_coordinator_is_asked_again(bus, caller, offer):
    coordinator = offer(bus, Coordinator, True)
    proxy, _ = caller.proxy(coordinator)
    coordinator.keep_ptz(False)
    coordinator.restart()
    caller.wait_for(lambda: proxy.get_name_owner() == coordinator.unique_name,
                    "the new owner")
    assert proxy.get_cached_property("PTZEnabled").unpack() is False


# ---- the boot block ----

def test_boot_block_is_read(bus, caller, offer):
    block = offer(bus, BootBlock, "7A1")
    read = [BootBlock.READ, "(s)"]
    assert caller.ask(block, *read, "HWID") == ("7A1",)
    assert caller.error_of(block, *read, "NAME") == "com.example.Error.Unknown"
    assert block.asked == ["HWID", "NAME"]


# ---- what the daemon holds ----

def test_usage_of_the_daemon_is_told(make_sandbox, connect):
    sandbox = make_sandbox(config=config(port("lamp", 0)))
    daemon = sandbox.start()
    client = connect(sandbox)
    held = usage(client, daemon.pid)
    assert held.names >= 2 and held.descriptors > 2 and held.threads >= 2
    assert len(match_rules(client)) == held.match_rules
    assert memory(daemon.pid, "Rss") > memory(daemon.pid, "Pss") > 0


def test_every_match_rule_is_counted(bus, caller):
    with contextlib.closing(Client(bus.address)) as other:
        name = other.connection.get_unique_name()
        before = match_rules(caller, name)
        other.record("First", interface="com.example.Test")
        (rule,) = [rule for rule in match_rules(caller, name)
                   if rule not in before]
    assert "member='First'" in rule
