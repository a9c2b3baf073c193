"""Timed sequences: their course, their end, and what they refuse."""

import time

import pytest

from bus_client import BusError
from ports_support import (BUSY, GENERIC, HOUR, NOT_CONFIGURABLE, NOT_OUTPUT,
                           changed, event, expect_error, fixture_serve, key,
                           long_sequence, pipeline, port)
from waiting import wait_until

pytestmark = pytest.mark.threaded

OUTPUT, OTHER, INPUT, CONFIGURABLE, VIRTUAL = range(5)
PORTS = [
    port("out", "output", OUTPUT, optional=True),
    port("other", "output", OTHER),
    port("in", "input", INPUT),
    port("conf", "io_ctrl", CONFIGURABLE, defaults={"dir": "output"}),
    port("virt", "output", VIRTUAL, backend="virtual",
         properties={"virtual": "true"}),
]
EMPTY = (GENERIC, "Empty action sequence.")
BAD_LEVEL = (GENERIC, "Incorrect input to set_active eiter use 'open' or "
                    "'closed'")
NO_SIDE = (GENERIC, "Could not set port to open.")
REFUSED = "WARNING Set action seq on incorrect port\n"


def done(number):
    return ("ActionSequenceDone", (number,))


def moved(number, state, **fields):
    return ("PortChanged", changed(number, state, **fields))


class Signals:
    """The State interface's signals from now on."""

    def __init__(self, service):
        self._recorder = service.record()

    @property
    def seen(self):
        return [(signal.member, signal.args)
                for signal in self._recorder.signals]

    def up_to(self, last):
        """The signals up to this one, which is waited for."""
        self._recorder.wait_for(
            lambda signal: (signal.member, signal.args) == last)
        return self.seen

    def clear(self):
        self._recorder.signals.clear()


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORTS)


@pytest.fixture(name="signals")
def fixture_signals(service):
    return Signals(service)


def start_when_free(service, number, *steps):
    """Starts a sequence where another has announced its end: the port stays
    busy for a moment after that."""
    def started():
        try:
            service.start_sequence(number, *steps)
        except BusError as error:
            assert error.name == BUSY[0]
            return False
        return True
    wait_until(started, f"port {number} to be free")


def hold(service, signals, number, state=True, **options):
    """Starts a sequence that will not end by itself; on return it plays."""
    service.start_sequence(number, (state, HOUR), **options)
    signals.up_to(moved(number, state))
    signals.clear()


# ---- the course ----

def test_steps_are_played_in_order_and_the_end_is_announced(service, signals):
    service.start_sequence(OUTPUT, (True, 20), (False, 10), (True, 0))
    assert signals.up_to(done(OUTPUT)) == [
        moved(OUTPUT, True), moved(OUTPUT, False), moved(OUTPUT, True),
        done(OUTPUT)]
    assert service.call("GetState", OUTPUT) is True


def test_reply_does_not_wait_for_the_end(service, signals):
    service.start_sequence(OUTPUT, (True, HOUR))
    assert signals.up_to(moved(OUTPUT, True)) == [moved(OUTPUT, True)]


def test_every_step_is_held_for_its_time_the_last_one_too(service, signals):
    before = time.monotonic()
    service.start_sequence(OUTPUT, (True, 120), (False, 80))
    signals.up_to(moved(OUTPUT, False))
    middle = time.monotonic()
    signals.up_to(done(OUTPUT))
    assert middle - before >= 0.120
    assert time.monotonic() - before >= 0.200


def test_steps_without_a_change_are_silent(service, signals):
    service.start_sequence(OUTPUT, (False, 1), (True, 1), (True, 1))
    assert signals.up_to(done(OUTPUT)) == [moved(OUTPUT, True), done(OUTPUT)]


def test_open_output_is_played_with_its_level(service, signals):
    service.call("SetActive", OUTPUT, False, "open")
    signals.up_to(moved(OUTPUT, False, activelow=True))
    signals.clear()
    service.start_sequence(OUTPUT, (True, 0), (False, 0))
    assert signals.up_to(done(OUTPUT)) == [
        moved(OUTPUT, True, activelow=True),
        moved(OUTPUT, False, activelow=True), done(OUTPUT)]


def test_configurable_output_plays_a_sequence(service, signals):
    service.start_sequence(CONFIGURABLE, (True, 0))
    assert signals.up_to(done(CONFIGURABLE)) == [
        moved(CONFIGURABLE, True), done(CONFIGURABLE)]


def test_two_ports_play_at_the_same_time(service, signals):
    hold(service, signals, OUTPUT)
    service.start_sequence(OTHER, (True, 0))
    assert signals.up_to(done(OTHER)) == [moved(OTHER, True), done(OTHER)]


def test_port_plays_one_sequence_after_the_other(service, signals):
    for _ in range(100):
        signals.clear()
        start_when_free(service, OUTPUT, (True, 0), (False, 0))
        assert signals.up_to(done(OUTPUT)) == [
            moved(OUTPUT, True), moved(OUTPUT, False), done(OUTPUT)]


# ---- simulated sequences ----

@pytest.mark.parametrize("number, is_input", [
    (INPUT, True), (OUTPUT, False), (CONFIGURABLE, False)])
def test_simulated_sequence_leaves_the_hardware_alone(service, signals, number,
                                                      is_input):
    service.start_sequence(number, (True, 1), (True, 1), (False, 1), (True, 0),
                           virtual=True)
    fields = {"is_input": is_input, "virtual_trig": True}
    assert signals.up_to(done(number)) == [
        moved(number, True, **fields), moved(number, True, **fields),
        moved(number, False, **fields), moved(number, True, **fields),
        done(number)]
    assert service.call("GetState", number) is False


def test_virtual_port_plays_a_simulated_sequence(service, signals):
    service.start_sequence(VIRTUAL, (True, 0), virtual=True)
    assert signals.up_to(done(VIRTUAL)) == [
        moved(VIRTUAL, True, virtual=True, virtual_trig=True), done(VIRTUAL)]
    assert service.ports()[0].state is True


# ---- durations ----

@pytest.mark.parametrize("duration", [
    0, -1, -1000, -2147483, -2147483648, 2147483647, 2147484,
    # 704 microseconds.
    4294968])
def test_negative_and_wrapped_times_are_not_waited_for(service, signals,
                                                       duration):
    service.start_sequence(OUTPUT, *[(True, duration), (False, duration)] * 20)
    expected = [moved(OUTPUT, True), moved(OUTPUT, False)] * 20
    assert signals.up_to(done(OUTPUT)) == [*expected, done(OUTPUT)]


@pytest.mark.parametrize("duration", [2147483, -2147484, 2147483 + 4294967])
def test_times_that_wrap_into_half_an_hour_are_held(service, signals,
                                                    duration):
    service.start_sequence(OUTPUT, (True, duration), (False, 0))
    signals.up_to(moved(OUTPUT, True))
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))
    service.settle()
    assert signals.seen == [moved(OUTPUT, True)]


def test_many_steps_are_announced_in_order(service, signals):
    states = [i % 2 == 0 for i in range(2000)]
    pipeline(service.client, [long_sequence(OUTPUT, states, -1)])
    expected = [moved(OUTPUT, state) for state in states]
    assert signals.up_to(done(OUTPUT)) == [*expected, done(OUTPUT)]


def test_100000_steps_are_played_while_the_daemon_answers(service):
    # Nobody here listens to the steps.
    recorder = service.client.record("ActionSequenceDone")
    states = [i % 2 == 0 for i in range(100_000)]
    assert pipeline(service.client, [
        long_sequence(OUTPUT, states, -1),
        ("GetState", (OUTPUT,)),
        ("StartActionSequence", (OUTPUT, False, [(True, 0)])),
    ]) == [None, None, BUSY[0]]
    recorder.wait_for_count(1)


# ---- refusals ----

def test_empty_sequence_is_refused_and_starts_nothing(service, signals):
    for number in (OUTPUT, INPUT):
        for virtual in (True, False):
            with expect_error(EMPTY):
                service.start_sequence(number, virtual=virtual)
    service.settle()
    assert signals.seen == []


@pytest.mark.parametrize("number", [INPUT, VIRTUAL])
def test_port_that_is_no_real_output_refuses_to_be_driven(service, signals,
                                                          number):
    with expect_error(NOT_OUTPUT):
        service.start_sequence(number, (True, 0))
    service.settle()
    assert signals.seen == []
    assert REFUSED in service.log()


def test_configurable_input_refuses_to_be_driven(service):
    service.call("SetDirection", CONFIGURABLE, "input")
    with expect_error(NOT_OUTPUT):
        service.start_sequence(CONFIGURABLE, (True, 0))


def test_refused_port_takes_the_next_sequence(service, signals):
    with expect_error(NOT_OUTPUT):
        service.start_sequence(INPUT, (True, 0))
    service.start_sequence(INPUT, (True, 0), virtual=True)
    signals.up_to(done(INPUT))


def test_busy_port_goes_on_with_its_own_sequence(service, signals):
    hold(service, signals, OUTPUT)
    for virtual in (True, False):
        with expect_error(BUSY):
            service.start_sequence(OUTPUT, (False, 0), virtual=virtual)
    with expect_error(EMPTY):
        service.start_sequence(OUTPUT)
    service.settle()
    assert signals.seen == []
    assert service.call("GetState", OUTPUT) is True


def test_busy_input_is_refused_as_busy(service, signals):
    service.start_sequence(INPUT, (True, HOUR), virtual=True)
    with expect_error(BUSY):
        service.start_sequence(INPUT, (True, 0))
    signals.up_to(moved(INPUT, True, is_input=True, virtual_trig=True))


# ---- the early end ----

@pytest.mark.parametrize("method, args, after", [
    ("SetActive", (CONFIGURABLE, False, "open"),
     [moved(CONFIGURABLE, True, activelow=True)]),
    # Nothing changes, the sequence ends all the same.
    ("SetActive", (CONFIGURABLE, False, "closed"), []),
    ("SetActive", (CONFIGURABLE, True, "open"), []),
    ("SetDirection", (CONFIGURABLE, "input"),
     [moved(CONFIGURABLE, True, is_input=True)]),
    ("SetDirection", (CONFIGURABLE, "output"), [moved(CONFIGURABLE, True)]),
], ids=["level", "same level", "other side's level", "direction",
        "same direction"])
def test_change_of_a_setting_ends_the_sequence_first(service, signals, method,
                                                     args, after):
    hold(service, signals, CONFIGURABLE)
    service.call(method, *args)
    service.settle()
    assert signals.seen == [done(CONFIGURABLE), *after]
    service.call("SetDirection", CONFIGURABLE, "output")
    service.start_sequence(CONFIGURABLE, (True, 0))


@pytest.mark.parametrize("method, args, error", [
    ("SetActive", (OUTPUT, True, "open"), NO_SIDE),
    ("SetActive", (OUTPUT, False, "ajar"), BAD_LEVEL),
    ("SetDirection", (OUTPUT, "input"), NOT_CONFIGURABLE),
])
def test_refused_change_does_not_end_the_sequence(service, signals, method,
                                                  args, error):
    hold(service, signals, OUTPUT)
    with expect_error(error):
        service.call(method, *args)
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))
    service.settle()
    assert signals.seen == []


@pytest.mark.parametrize("method, args", [
    ("SetName", (OUTPUT, False, "Lamp")),
    ("SetUsage", (OUTPUT, "Lamp")),
    ("SetActive", (OTHER, False, "closed")),
    ("RefreshIOPorts", ()),
    ("DropIOPorts", (["other", "in"],)),
])
def test_other_calls_do_not_end_the_sequence(service, signals, method, args):
    hold(service, signals, OUTPUT)
    service.call(method, *args)
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))
    service.settle()
    assert signals.seen == []


def test_ended_sequence_leaves_the_state_of_its_step(service, signals):
    service.start_sequence(OUTPUT, (False, 0), (True, HOUR), (False, 0))
    signals.up_to(moved(OUTPUT, True))
    service.call("SetActive", OUTPUT, False, "closed")
    assert service.call("GetState", OUTPUT) is True
    assert signals.up_to(done(OUTPUT)) == [moved(OUTPUT, True), done(OUTPUT)]


def test_dropped_port_ends_its_sequence(service, signals):
    hold(service, signals, OUTPUT)
    assert service.call("DropIOPorts", ["out"]) == ["out"]
    service.settle()
    assert signals.seen == [done(OUTPUT)]
    service.call("RefreshIOPorts")
    service.start_sequence(OUTPUT, (True, 0))


def test_drops_in_mid_sequence_end_each_sequence(service, signals):
    rounds = 100
    for _ in range(rounds):
        service.start_sequence(OUTPUT, (True, HOUR))
        assert service.call("DropIOPorts", ["out"]) == ["out"]
        service.call("RefreshIOPorts")
    service.settle()
    assert signals.seen.count(done(OUTPUT)) == rounds


def test_termination_ends_every_sequence(service, signals):
    for number in (OUTPUT, OTHER, CONFIGURABLE):
        service.start_sequence(number, (True, HOUR))
    for number in (INPUT, VIRTUAL):
        service.start_sequence(number, (True, HOUR), virtual=True)
    service.daemon.stop()


def test_termination_ends_sequences_that_never_wait(service):
    calls = [long_sequence(number, [i % 2 == 0 for i in range(50_000)], -1)
             for number in (OUTPUT, OTHER)]
    for _ in range(5):
        assert pipeline(service.client, calls) == [None, None]
        service.restart()


# ---- steps that are not held ----

STEPS = [i % 2 == 0 for i in range(100_000)]


def play_without_waits(service, number):
    assert pipeline(service.client,
                    [long_sequence(number, STEPS, -1)]) == [None]


@pytest.mark.build("plain")
def test_signals_of_a_long_sequence_do_not_pile_up(serve):
    """Where a sanitizer keeps freed memory, there is nothing to measure."""
    service = serve(port("out", "output", 0, events=[event("IOPort")]))
    ends = service.client.record("ActionSequenceDone")
    play_without_waits(service, 0)
    # The call itself, which GDBus takes apart step by step, is behind now.
    before = most = service.memory()
    while not ends.signals:
        most = max(most, service.memory())
        service.client.sync()
    assert most - before < 8 * 1024 * 1024


def test_write_gets_in_between_steps_that_are_not_held(service):
    ends = service.client.record("ActionSequenceDone")
    play_without_waits(service, OUTPUT)
    for state in (True, False):
        service.call("SetState", OUTPUT, state)
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))
    service.client.sync()
    assert ends.signals == []


def test_setting_gets_in_between_steps_that_are_not_held(service):
    ends = service.client.record("ActionSequenceDone")
    changes = service.record()
    play_without_waits(service, OUTPUT)
    service.call("SetActive", OUTPUT, False, "open")
    ends.wait_for_count(1)
    service.client.sync()
    assert len(changes.signals) < len(STEPS)


# ---- writes in between ----

def test_write_is_done_in_mid_sequence_and_does_not_end_it(service, signals):
    hold(service, signals, OUTPUT)
    service.call("SetState", OUTPUT, False)
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))
    assert service.call("GetState", OUTPUT) is False
    service.settle()
    assert signals.seen == [moved(OUTPUT, False)]


def test_sequence_goes_on_after_a_write_with_its_next_step(service, signals):
    service.start_sequence(OUTPUT, (True, 1500), (True, 0))
    signals.up_to(moved(OUTPUT, True))
    service.call("SetState", OUTPUT, False)
    assert signals.up_to(done(OUTPUT)) == [
        moved(OUTPUT, True), moved(OUTPUT, False), moved(OUTPUT, True),
        done(OUTPUT)]


def test_simulated_change_in_mid_sequence_does_not_end_it(service, signals):
    hold(service, signals, OUTPUT)
    service.call("SetVirtual", OUTPUT, False)
    with expect_error(BUSY):
        service.start_sequence(OUTPUT, (True, 0))
    service.settle()
    assert signals.seen == [moved(OUTPUT, False, virtual_trig=True)]


# ---- races ----

def test_start_and_change_of_the_level_at_once(service, signals):
    rounds = 500
    calls = []
    for i in range(rounds):
        calls += [("StartActionSequence",
                   (OUTPUT, False, [(True, HOUR), (False, HOUR)])),
                  ("SetActive", (OUTPUT, False, "closed" if i % 2 else "open"))]
    assert pipeline(service.client, calls) == [None] * len(calls)
    service.settle()
    assert signals.seen.count(done(OUTPUT)) == rounds
    assert service.call("GetActive", OUTPUT) == ("closed", "closed")


def test_everything_at_once_on_ports_that_play(serve):
    events = [event("IOPort"), event("PortAny"),
              event("com.vexa.Event.Qel.ManualTrigger",
                    key("port", "7", "int", key_nice_name="PORT_NAME"),
                    key("state", "PORT_STATUS", "bool", True))]
    service = serve(port("one", "output", 0, events=events),
                    port("two", "io_ctrl", 1, events=events,
                         defaults={"dir": "output"}))
    signals = Signals(service)
    for number in range(2):
        service.start_sequence(number, *[(i % 2 == 0, i % 2)
                                         for i in range(500)])
    rounds = 0
    while not {done(0), done(1)} <= set(signals.seen):
        rounds += 1
        for number in range(2):
            service.call("SetName", number, False, f"Lamp {rounds}")
            service.call("SetUsage", number, f"Usage {rounds}")
            service.call("SetState", number, rounds % 2 == 0)
            service.call("SetVirtual", number, True)
        service.call("GetPortProps")
        service.call("RefreshIOPorts")
        for declaration in service.declarations():
            service.state_of(declaration)
        service.settle()
    assert [signals.seen.count(done(number)) for number in range(2)] == [1, 1]
    assert service.call("GetNames", 1) == ("Input 1", f"Lamp {rounds}")
