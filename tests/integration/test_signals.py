"""PortChanged: when it is emitted, and what it says."""

import pytest

from bus_client import STATE, STATE_PATH
from ports_support import (IOPORT, changed, expect_error, fixture_serve, port,
                           sysfs_port, NOT_OUTPUT)

INPUT, OUTPUT, CONFIGURABLE, MARKER = range(4)
PORTS = [
    port("in", "input", INPUT),
    port("out", "output", OUTPUT),
    port("conf", "io_ctrl", CONFIGURABLE),
    port("marker", "input", MARKER),
]
MARK = changed(MARKER, True, is_input=True, virtual_trig=True)


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORTS)


@pytest.fixture(name="signals")
def fixture_signals(service):
    """signals(call, ...): the arguments of the signals from those calls, each
    given as (method, argument, ...)."""
    recorder = service.record()

    def signals(*calls):
        recorder.signals.clear()
        for method, *args in calls:
            service.call(method, *args)
        # Whatever comes late would come before this.
        service.call("SetVirtual", MARKER, True)
        recorder.wait_for(lambda signal: signal.args == MARK)
        service.settle()
        assert recorder.args[-1] == MARK
        return recorder.args[:-1]
    return signals


def test_signal_comes_from_the_interface_s_object(service):
    recorder = service.record()
    service.call("SetState", OUTPUT, True)
    signal, = recorder.wait_for_count(1)
    owner, = service.client.call("GetNameOwner", "(s)", (STATE,),
                                 name="org.freedesktop.DBus",
                                 path="/org/freedesktop/DBus")
    assert (signal.member, signal.path, signal.interface, signal.sender) == \
        ("PortChanged", STATE_PATH, STATE, owner)


# ---- writing ----

def test_write_is_announced(signals):
    assert signals(("SetState", OUTPUT, True)) == [changed(OUTPUT, True)]
    assert signals(("SetState", OUTPUT, False)) == [changed(OUTPUT, False)]


def test_write_to_a_configurable_output_is_announced(signals):
    signals(("SetDirection", CONFIGURABLE, "output"))
    assert signals(("SetState", CONFIGURABLE, True)) == \
        [changed(CONFIGURABLE, True)]


def test_write_of_an_open_output_is_announced_with_its_level(signals):
    signals(("SetState", OUTPUT, True), ("SetActive", OUTPUT, False, "open"))
    assert signals(("SetState", OUTPUT, False)) == \
        [changed(OUTPUT, False, activelow=True)]


def test_writes_are_announced_in_order(signals):
    states = [bool(i % 2) for i in range(1, 31)]
    assert signals(*(("SetState", OUTPUT, state) for state in states)) == \
        [changed(OUTPUT, state) for state in states]


# ---- nothing to announce ----

@pytest.mark.parametrize("calls", [
    [("SetState", OUTPUT, False)],
    [("SetActive", INPUT, True, "closed"),
     ("SetActive", OUTPUT, False, "closed")],
    [("SetActive", CONFIGURABLE, False, "open")],
    [("SetName", INPUT, True, "Door"), ("SetUsage", INPUT, "Door")],
    [("GetState", OUTPUT), ("GetPortProps",), ("RefreshIOPorts",),
     ("DropIOPorts", ["in", "out", "none"])],
], ids=["same state", "same level", "other side's level", "settings",
        "reading"])
def test_without_a_change_there_is_no_signal(signals, calls):
    assert signals(*calls) == []


def test_refused_write_is_not_announced(service, signals):
    with expect_error(NOT_OUTPUT):
        service.call("SetState", INPUT, True)
    assert signals() == []


def test_write_without_effect_is_not_announced(serve):
    service = serve(port("null", "output", 0, backend="null"))
    recorder = service.record()
    service.call("SetState", 0, True)
    service.call("SetActive", 0, False, "open")
    service.settle()
    assert recorder.signals == []


# ---- active level ----

@pytest.mark.parametrize("number", [INPUT, CONFIGURABLE])
def test_level_of_an_input_is_announced_with_the_new_state(signals, number):
    assert signals(("SetActive", number, True, "open")) == \
        [changed(number, True, is_input=True, activelow=True)]
    assert signals(("SetActive", number, True, "closed")) == \
        [changed(number, False, is_input=True)]


@pytest.mark.parametrize("state", [True, False])
def test_level_of_an_output_is_announced_with_the_kept_state(signals, state):
    signals(("SetState", OUTPUT, state))
    assert signals(("SetActive", OUTPUT, False, "open")) == \
        [changed(OUTPUT, state, activelow=True)]
    assert signals(("SetActive", OUTPUT, False, "closed")) == \
        [changed(OUTPUT, state)]


def test_level_of_the_side_that_a_configurable_port_is_on_is_announced(
        signals):
    signals(("SetDirection", CONFIGURABLE, "output"))
    assert signals(("SetActive", CONFIGURABLE, True, "open")) == []
    assert signals(("SetActive", CONFIGURABLE, False, "open")) == \
        [changed(CONFIGURABLE, False, activelow=True)]


# ---- direction ----

def test_direction_is_announced_with_the_side_s_state_and_level(signals):
    signals(("SetActive", CONFIGURABLE, True, "open"))
    assert signals(("SetDirection", CONFIGURABLE, "output")) == \
        [changed(CONFIGURABLE, False)]
    assert signals(("SetDirection", CONFIGURABLE, "input")) == \
        [changed(CONFIGURABLE, True, is_input=True, activelow=True)]


def test_unchanged_direction_is_announced_all_the_same(signals):
    assert signals(("SetDirection", CONFIGURABLE, "input")) == \
        [changed(CONFIGURABLE, False, is_input=True)]


# ---- simulated changes ----

@pytest.mark.parametrize("number, is_input", [
    (INPUT, True), (OUTPUT, False), (CONFIGURABLE, True)])
def test_simulated_change_is_announced_as_such(signals, number, is_input):
    for state in (True, True, False, False):
        assert signals(("SetVirtual", number, state)) == \
            [changed(number, state, is_input=is_input, virtual_trig=True)]


def test_simulated_change_carries_the_level(signals):
    signals(("SetActive", INPUT, True, "open"))
    assert signals(("SetVirtual", INPUT, False)) == \
        [changed(INPUT, False, is_input=True, virtual_trig=True,
                 activelow=True)]


# ---- properties and numbers ----

@pytest.mark.parametrize("properties, expected", [
    ({"virtual": "true"}, {"virtual": True}),
    ({"virtual": "true", "hidden": "TRUE"}, {"virtual": True, "hidden": True}),
    ({"ioport": "true", "hidden": "true"}, {"hidden": True}),
    ({"ioport": "true", "hidden": "1", "virtual": "yes"}, {}),
])
def test_properties_are_announced(serve, properties, expected):
    service = serve(port("out", "output", 0, backend="virtual",
                         properties=properties))
    recorder = service.record()
    service.call("SetVirtual", 0, True)
    recorder.wait_for_count(1)
    assert recorder.args == [changed(0, True, virtual_trig=True, **expected)]


@pytest.mark.parametrize("number, addressed", [
    (None, 4294967295), (-2147483648, 2147483648), (2147483647, 2147483647)])
def test_number_is_announced_as_it_is_configured(serve, number, addressed):
    service = serve(port("odd", "output", number, properties=IOPORT))
    recorder = service.record()
    service.call("SetState", addressed, True)
    recorder.wait_for_count(1)
    assert recorder.args == [changed(-1 if number is None else number, True)]


# ---- hardware ----

def test_change_of_a_file_is_announced(serve):
    def prepare(box):
        (box.sys / "level").write_text("0\n")
    service = serve(sysfs_port("file", 0, "/sys/level"), prepare=prepare)
    recorder = service.record()
    expected = []
    for level in (1, 0, 1):
        (service.box.sys / "level").write_text(f"{level}\n")
        expected.append(changed(0, level == 1, is_input=True))
        recorder.wait_for_count(len(expected))
        assert recorder.args == expected


def test_latch_is_cleared_and_announced_as_a_pulse(serve):
    def prepare(box):
        (box.sys / "latch").write_text("0")
        (box.sys / "latch").chmod(0o666)
    service = serve(port("latch", "input", 0, backend="sysfs",
                         items={"path": "/sys/latch", "timeout": 2,
                                "clear_flag": "true"}), prepare=prepare)
    recorder = service.record()
    (service.box.sys / "latch").write_text("1")
    recorder.wait_for_count(2)
    assert recorder.args == [changed(0, True, is_input=True),
                             changed(0, False, is_input=True)]
    assert (service.box.sys / "latch").read_text() == "0"


# ---- who hears ----

def test_every_client_hears_the_same(service):
    recorders = [client.record() for client in
                 (service.client, service.another_client())]
    for state in (True, False):
        service.call("SetState", OUTPUT, state)
    for recorder in recorders:
        recorder.wait_for_count(2)
        assert recorder.args == [changed(OUTPUT, True), changed(OUTPUT, False)]
