"""Ports on GPIO lines, on a simulated board."""

import pytest

import sanitizers
from gpio_support import (BOARD, BUTTON, CONTROL, DOOR, HELD, IN, OUT, SIREN,
                          button, configurable, fixture_boards, fixture_wire,
                          siren)
from lifecycle_support import WITHOUT_LEGACY, complaints, log_lines, ticks
from ports_support import changed, event, gpio_port, key, pipeline
from sandbox import SandboxError
from waiting import wait_until

INPUT, OUTPUT, BOTH = range(3)
FEW_TICKS = 5
REFUSED = "Setup failed for port {}, removing from list"


def ends_with_criticals(service):
    """The harness takes each failed precondition for a fault."""
    with pytest.raises(SandboxError, match="libugpio_port_setup: assertion"):
        service.daemon.stop()
    assert service.daemon.status == 0


# ---- inputs ----

def test_edges_of_a_line_are_changes_of_its_input(wire):
    service = wire(button())
    changes = service.record()
    assert service.call("GetState", INPUT) is False
    service.board.hold("button")
    changes.wait_for_count(1)
    assert service.call("GetState", INPUT) is True
    service.board.release("button")
    changes.wait_for_count(2)
    assert changes.args == [changed(INPUT, True, is_input=True),
                            changed(INPUT, False, is_input=True)]


def test_nothing_is_announced_before_the_first_edge(wire):
    service = wire(button())
    changes = service.record()
    service.settle()
    assert changes.args == []


def test_edge_between_set_up_and_watch_is_not_lost(wire):
    """The line's value is read at its set-up, and its edges count since. One
    report is the change of direction, the other the edge."""
    service = wire(gpio_port("button", "io_ctrl", INPUT, input={"pin": BUTTON},
                             output={"pin": OUT}, io_ctrl={"pin": CONTROL}))
    service.call("SetDirection", INPUT, "output")
    service.board.hold("button")
    service.settle()
    changes = service.record()
    service.call("SetDirection", INPUT, "input")
    changes.wait_for_count(2)
    service.settle()
    assert changes.args == [changed(INPUT, True, is_input=True)] * 2


@pytest.mark.parametrize("word, active", [
    ("true", True), ("TRUE", False), ("1", False), ("false", False)])
def test_line_is_inverted_by_true_only(wire, word, active):
    service = wire(gpio_port("door", "input", INPUT,
                             input={"pin": DOOR, "inverted": word}))
    assert service.call("GetState", INPUT) is active
    changes = service.record()
    service.board.open("door")
    changes.wait_for_count(1)
    assert changes.args == [changed(INPUT, not active, is_input=True)]


def test_input_s_active_level_comes_on_top(wire):
    service = wire(button())
    service.call("SetActive", INPUT, True, "open")
    assert service.call("GetState", INPUT) is True
    changes = service.record()
    service.board.hold("button")
    changes.wait_for_count(1)
    assert changes.args == [changed(INPUT, False, is_input=True,
                                    activelow=True)]


def test_edges_are_events_too(wire):
    service = wire(button(events=[event("IOPort")]))
    events = service.record_events()
    service.board.hold("button")
    events.wait_for(lambda signal: signal.member == "Event"
                    and signal.args[1]["state"] is True)


def test_state_of_an_early_event_is_corrected(wire):
    """On a first start ports get names, and with them events, before their
    lines are known."""
    text = """
[Event Type]
Name=com.example.Pressed
[Key on]
Type=bool
"""
    pressed = event("com.example.Pressed", key("on", "PORT_STATUS", "bool",
                                               True))
    service = wire(button(events=[pressed]), held=["button"],
                   types={"com.example.Pressed": text})
    assert service.call("GetState", INPUT) is True
    declaration, = service.declarations()
    wait_until(lambda: service.state_of(declaration) == {"on": True},
               "the event's state")


def test_reports_equal_the_line_whoever_asks_for_it_meanwhile(wire):
    """Reading a line's value takes note of an edge, so nobody else may read
    where edges are waited for."""
    service = wire(button())
    changes = service.record()
    for count in range(50):
        active = service.board.burst("button", 41) == "high"
        for _ in range(10):
            service.call("GetState", INPUT)
        changes.wait_for_last(lambda signal, wanted=active:
                              signal.args[5] is wanted)
        assert active is (count % 2 == 0)


def test_edges_are_seen_however_often_other_ports_come_and_go(wire):
    service = wire(button(), siren(optional=True))
    changes = service.record()
    for count in range(100):
        level = service.board.line("button", "toggle")
        pipeline(service.client, [("DropIOPorts", (["siren"],)),
                                  ("RefreshIOPorts", ())] * 2)
        changes.wait_for_last(lambda signal, wanted=level == "high":
                              signal.args[5] is wanted, number=INPUT)
        assert level == ("high" if count % 2 == 0 else "low")


def test_last_report_of_a_burst_equals_the_line(wire):
    service = wire(button())
    changes = service.record()
    for count in (10_001, 10_000, 1):
        active = service.board.burst("button", count) == "high"
        changes.wait_for_last(lambda signal, wanted=active:
                              signal.args[5] is wanted)
        for _ in range(5):
            service.settle()
        assert changes.args[-1][5] is active
        assert service.call("GetState", INPUT) is active


# ---- outputs ----

def test_output_starts_low_written_twice(wire):
    service = wire(siren())
    assert service.writes() == [
        ("siren", "exported", f"gpio{SIREN}"), ("siren", "edge", "none"),
        ("siren", "direction", "low"), ("siren", "active_low", "0"),
        ("siren", "write", "0")]
    assert service.board.level("siren") == "low"


def test_output_that_is_active_when_open_starts_high(wire):
    service = wire(siren())
    service.call("SetActive", OUTPUT, False, "open")
    service.settle()
    service.daemon.stop()
    service.board.export("siren")
    (service.board.gpio / f"gpio{SIREN}/value").write_text("0")
    service.board.unexport("siren")
    since = service.board.last_id()
    service.start_again()
    assert service.writes(since)[2:] == [
        ("siren", "direction", "high"), ("siren", "level", "high"),
        ("siren", "active_low", "0"), ("siren", "write", "1")]
    assert service.call("GetState", OUTPUT) is False


def test_inverted_output_starts_with_the_level_that_its_flags_give(wire):
    service = wire(siren(inverted=True))
    assert service.writes()[2:] == [
        ("siren", "direction", "high"), ("siren", "level", "high"),
        ("siren", "active_low", "1"), ("siren", "write", "1"),
        ("siren", "level", "low")]


def test_output_drives_its_line(wire):
    service = wire(siren())
    changes = service.record()
    for state in (True, False):
        service.call("SetState", OUTPUT, state)
        assert service.board.level("siren") == ("high" if state else "low")
        assert service.call("GetState", OUTPUT) is state
    service.settle()
    assert changes.args == [changed(OUTPUT, True), changed(OUTPUT, False)]


@pytest.mark.threaded
def test_sequence_drives_the_line_while_others_read_and_write(wire):
    service = wire(siren(), button(events=[event("IOPort")]))
    changes = service.record()
    steps = [(n % 2 == 0, n % 3 - 1) for n in range(600)]
    calls = [("SetState", (OUTPUT, True)), ("GetState", (OUTPUT,)),
             ("GetState", (INPUT,))] * 20
    for _ in range(3):
        service.start_sequence(OUTPUT, *steps)
        assert set(pipeline(service.client, calls)) == {None}
        service.board.burst("button", 20)
        service.call("SetActive", OUTPUT, False, "closed")
        changes.wait_for(lambda signal: signal.member == "ActionSequenceDone")
        changes.signals.clear()
    service.call("SetState", OUTPUT, True)
    assert service.board.level("siren") == "high"


def test_inverted_output_drives_its_line_the_other_way_round(wire):
    service = wire(siren(inverted=True))
    for state in (True, False):
        service.call("SetState", OUTPUT, state)
        assert service.board.level("siren") == ("low" if state else "high")
        assert service.call("GetState", OUTPUT) is state


def test_relay_that_is_wired_back_is_seen_to_follow(wire):
    service = wire(siren(), gpio_port("feedback", "input", 5,
                                      input={"pin": SIREN + 1}))
    changes = service.record()
    service.start_sequence(OUTPUT, (True, 30), (False, 30), (True, 0))
    changes.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    changes.wait_for_last(lambda signal: signal.args == changed(
        5, True, is_input=True), number=5)
    assert [value for name, what, value in service.writes()
            if (name, what) == ("siren", "level")] == ["high", "low", "high"]


# ---- configurable ports ----

def test_configurable_port_starts_as_an_input_with_its_output_low(wire):
    service = wire(configurable())
    assert [entry for entry in service.writes()
            if entry[1] in ("direction", "write")] == [
        ("in", "direction", "in"), ("out", "direction", "low"),
        ("out", "write", "0"), ("control", "direction", "low"),
        ("control", "write", "0")]


def test_configurable_port_starts_as_an_output_when_it_is_one(wire):
    service = wire(configurable(defaults={"dir": "output"}))
    assert [entry for entry in service.writes()
            if entry[1] in ("direction", "write")] == [
        ("in", "direction", "in"), ("out", "direction", "low"),
        ("out", "write", "0"), ("control", "direction", "high"),
        ("control", "write", "1")]


def test_output_is_low_before_the_port_becomes_an_input(wire):
    service = wire(configurable(defaults={"dir": "output"}))
    service.call("SetState", BOTH, True)
    since = service.board.last_id()
    service.call("SetDirection", BOTH, "input")
    assert service.writes(since) == [
        ("out", "write", "0"), ("out", "level", "low"),
        ("control", "write", "0"), ("control", "level", "low")]


@pytest.mark.parametrize("active, value, level", [
    ("closed", "0", []), ("open", "1", [("out", "level", "high")])])
def test_port_is_an_output_before_its_line_is_driven_inactive(
        wire, active, value, level):
    service = wire(configurable())
    service.call("SetActive", BOTH, False, active)
    since = service.board.last_id()
    service.call("SetDirection", BOTH, "output")
    assert service.writes(since) == [
        ("control", "write", "1"), ("control", "level", "high"),
        ("out", "write", value), *level]
    assert service.call("GetState", BOTH) is False


def test_configurable_port_is_watched_while_it_is_an_input(wire):
    service = wire(configurable())
    changes = service.record()
    for _ in range(2):
        service.board.line("in", "high")
        changes.wait_for(lambda signal: signal.args == changed(
            BOTH, True, is_input=True))
        service.call("SetDirection", BOTH, "output")
        service.settle()
        changes.signals.clear()
        service.board.line("in", "low")
        service.settle()
        assert changes.args == []
        service.call("SetDirection", BOTH, "input")
        changes.wait_for(lambda signal: signal.args == changed(
            BOTH, False, is_input=True))


# ---- lines that others hold ----

def test_lines_are_exported_while_the_daemon_runs(wire):
    service = wire(button(), siren(), configurable())
    assert service.exported() == sorted([BUTTON, SIREN, IN, OUT, CONTROL, HELD])
    service.daemon.stop()
    assert service.exported() == [HELD]


def test_lines_of_a_port_are_given_back_in_order(wire):
    service = wire(configurable(optional=True))
    back = [("in", "unexported", f"gpio{IN}"),
            ("out", "unexported", f"gpio{OUT}"),
            ("control", "unexported", f"gpio{CONTROL}")]
    since = service.board.last_id()
    service.call("DropIOPorts", ["both"])
    assert service.writes(since) == back
    service.call("RefreshIOPorts")
    since = service.board.last_id()
    service.daemon.stop()
    assert service.writes(since) == back


def test_line_that_is_exported_already_is_used_and_stays_exported(wire):
    service = wire(gpio_port("held", "input", INPUT,
                             input={"alias": "firmware"}))
    changes = service.record()
    service.board.line("held", "high")
    changes.wait_for_count(1)
    service.daemon.stop()
    assert service.exported() == [HELD]


def test_lines_that_a_killed_daemon_left_are_taken_again(wire):
    service = wire(button(), siren())
    service.call("SetState", OUTPUT, True)
    service.daemon.kill()
    left = service.exported()
    assert left == [BUTTON, SIREN, HELD]
    service.start_again()
    assert complaints(service.daemon) == []
    changes = service.record()
    service.board.hold("button")
    changes.wait_for_count(1)
    service.call("SetState", OUTPUT, True)
    assert service.board.level("siren") == "high"
    service.daemon.stop()
    assert service.exported() == left


# ---- set-ups that fail ----

@pytest.mark.parametrize("pins, warnings", [
    ({"pin": 99}, ["Cannot write 99 to /sys/class/gpio/export: Invalid "
                   "argument", "Failed to allocate pin 99/(null)"]),
    ({"pin": "-1"}, ["Cannot write 4294967295 to /sys/class/gpio/export: "
                     "Invalid argument",
                     "Failed to allocate pin -1/(null)"]),
    ({"alias": "horn"}, ["Cannot find in /dev/gpiochip* the line horn: No such "
                         "file or directory", "Failed to allocate pin 0/horn"]),
    ({"alias": "../gpio17"}, ["Cannot take for a line's name ../gpio17: "
                              "Invalid argument",
                              "Failed to allocate pin 0/../gpio17"]),
    ({"alias": "gpiochip0"}, ["Cannot find in /dev/gpiochip* the line "
                              "gpiochip0: No such file or directory",
                              "Failed to allocate pin 0/gpiochip0"]),
], ids=["number", "negative", "alias", "path", "chip"])
def test_line_that_is_not_there_leaves_its_port_out(wire, pins, warnings):
    service = wire(gpio_port("odd", "input", 7, input=pins), button())
    assert service.names() == ["button"]
    log = service.log()
    assert log_lines(service.daemon, "WARNING") == warnings
    assert ("CRITICAL libugpio_port_setup: assertion "
            "'libugpio_port_init_gpio_pin (data->input_pin, TRUE, FALSE)' "
            "failed\n") in log
    assert REFUSED.format(7) in log
    assert service.exported() == [BUTTON, HELD]
    ends_with_criticals(service)


def test_hyphen_in_a_group_s_name_is_not_understood(wire):
    service = wire(gpio_port("both", "io_ctrl", BOTH, input={"pin": IN},
                             output={"pin": OUT},
                             **{"io-ctrl": {"pin": CONTROL}}))
    assert log_lines(service.daemon, "WARNING")[0] == \
        "Could not parse backend data!"
    assert service.names() == []
    assert service.exported() == [HELD]
    ends_with_criticals(service)


LINE = f"/sys/class/gpio/gpio{BUTTON}"


@pytest.mark.parametrize("access, warnings", [
    ("export", [f"Cannot write {BUTTON} to /sys/class/gpio/export: "
                "Input/output error",
                f"Failed to allocate pin {BUTTON}/(null)"]),
    ("write", [f"Cannot write in to {LINE}/direction: Input/output error",
               f"Failed to allocate pin {BUTTON}/(null)"]),
    ("read", [f"Cannot open {LINE}/value: Input/output error",
              "Failed to open pin fd!"]),
], ids=["export", "write", "read"])
def test_fault_during_set_up_leaves_nothing_exported(wire, access, warnings):
    service = wire(button(), faults=[(BUTTON, "EIO", access)])
    assert log_lines(service.daemon, "WARNING") == warnings
    assert REFUSED.format(INPUT) in service.log()
    assert service.exported() == [HELD]
    ends_with_criticals(service)


@pytest.mark.parametrize("make, line, call", [
    (button, BUTTON, "(data->input_pin, TRUE, FALSE)"),
    (siren, SIREN, "(data->output_pin, FALSE, state)"),
    (configurable, IN, "(data->input_pin, TRUE, FALSE)"),
    (configurable, OUT, "(data->output_pin, FALSE, "
                        "io_port_direction_input (port) ? FALSE : state)"),
    (configurable, CONTROL, "(data->io_ctrl_pin, FALSE, "
                            "io_port_direction_input (port) ? 0 : 1)"),
], ids=["input", "output", "both's input", "both's output", "control"])
def test_request_that_fails_is_quoted_and_what_was_requested_stays(
        wire, make, line, call):
    """For as long as the port stays, which an optional one does."""
    service = wire(make(optional=True), faults=[(line, "EIO", "export")])
    assert ("CRITICAL libugpio_port_setup: assertion "
            f"'libugpio_port_init_gpio_pin {call}' failed\n") in service.log()
    lines = [IN, OUT, CONTROL] if make is configurable else [line]
    assert service.exported() == sorted([*lines[:lines.index(line)], HELD])
    assert service.names() == []
    service.board.heal(line)
    service.call("RefreshIOPorts")
    assert service.exported() == sorted([*lines, HELD])
    ends_with_criticals(service)


def test_files_that_appear_late_are_waited_for(wire):
    service = wire(button(), siren(),
                   text=BOARD.replace("Group=", "AttributeDelay=100\nGroup="))
    assert complaints(service.daemon) == []
    assert service.call("GetNbrPorts") == (1, 1)


# ---- optional ports ----

def test_port_whose_chip_comes_later_is_served_after_a_refresh(wire):
    """By then, the daemon has given up root's rights."""
    service = wire(button(optional=True), unplugged=["gpiochip0"],
                   text=BOARD.replace("Group=", "GroupDelay=50\nGroup="))
    assert service.names() == []
    service.board.plug("gpiochip0")
    service.call("RefreshIOPorts")
    assert service.names() == ["button"]
    changes = service.record()
    service.board.hold("button")
    changes.wait_for_count(1)
    ends_with_criticals(service)


def test_line_that_the_daemon_s_user_may_not_export_is_named(wire):
    service = wire(button(optional=True), text=BOARD.replace(
        "Group=64124\n", ""))
    assert service.call("DropIOPorts", ["button"]) == ["button"]
    service.call("RefreshIOPorts")
    assert service.names() == []
    assert log_lines(service.daemon, "WARNING") == [
        f"Cannot write {BUTTON} to /sys/class/gpio/unexport: Permission "
        "denied",
        f"Cannot use the attributes in /sys/class/gpio/gpio{BUTTON}: "
        "Permission denied",
        f"Failed to allocate pin {BUTTON}/(null)"]
    ends_with_criticals(service)


def test_dropped_port_gives_its_lines_back(wire):
    service = wire(configurable(optional=True))
    # An input's value is open twice, once for its edges.
    assert service.value_files() == [f"gpio{n}"
                                     for n in (OUT, IN, IN, CONTROL)]
    service.call("DropIOPorts", ["both"])
    assert service.exported() == [HELD]
    assert service.value_files() == []


def test_port_is_dropped_and_refreshed_ten_thousand_times(wire, build):
    """A thousand times where a sanitizer slows it down."""
    service = wire(button(optional=True), configurable(optional=True),
                   argv=WITHOUT_LEGACY)
    descriptors = len(service.descriptors())
    exported = service.exported()
    calls = [("DropIOPorts", (["button", "both"],)),
             ("RefreshIOPorts", ())] * 50
    assert pipeline(service.client, calls) == [None] * len(calls)
    calls = [("DropIOPorts", (["button"],)), ("RefreshIOPorts", ())] * 1000
    for _ in range(1 if sanitizers.built_into(build / "src/orvad") else 10):
        assert pipeline(service.client, calls) == [None] * len(calls)
    assert len(service.descriptors()) == descriptors
    assert service.exported() == exported
    changes = service.record()
    service.board.hold("button")
    changes.wait_for_count(1)
    service.settle()
    assert changes.args == [changed(INPUT, True, is_input=True)]


# ---- lines that fail ----

def idles(service):
    before = ticks(service.daemon.pid)
    # What time passes is the board's: it is pressed for so long.
    service.board.press("door_bell", 500)
    return ticks(service.daemon.pid) - before < FEW_TICKS


BELL = BOARD + """
[Line door_bell]
Number=40
Wiring=button
"""


@pytest.mark.parametrize("take_away", [
    lambda board: board.unexport("button"), lambda board: board.unplug("button"),
    lambda board: board.unplug("gpiochip0")],
    ids=["unexported", "line", "chip"])
def test_line_that_disappears_is_warned_of_once(wire, take_away):
    service = wire(button(), siren(), text=BELL)
    take_away(service.board)
    service.daemon.wait_for_output("Cannot read the line of port 0: No such "
                                   "device\n")
    assert idles(service)
    assert log_lines(service.daemon, "WARNING") == [
        "Cannot read the line of port 0: No such device"]
    assert service.call("GetNbrPorts") == (1, 1)


def test_line_that_cannot_be_read_for_a_while_is_watched_again(wire):
    service = wire(button(), text=BELL)
    changes = service.record()
    service.board.fail("button", "EIO", "read")
    service.board.hold("button")
    service.daemon.wait_for_output("Cannot read the line of port 0: "
                                   "Input/output error\n")
    assert idles(service)
    assert changes.args == []
    service.board.heal("button")
    changes.wait_for_count(1)
    service.board.release("button")
    changes.wait_for_count(2)
    assert [args[5] for args in changes.args] == [True, False]
    assert len(log_lines(service.daemon, "WARNING")) == 1


def test_line_that_cannot_be_written_is_warned_of(wire):
    service = wire(siren(), configurable())
    service.board.fail("siren", "EIO", "write")
    changes = service.record()
    service.call("SetState", OUTPUT, True)
    assert log_lines(service.daemon, "WARNING") == [
        "Failed to set state on port!"]
    assert service.call("GetState", OUTPUT) is False
    service.settle()
    assert changes.args == []
    service.board.fail("control", "EIO", "write")
    service.call("SetDirection", BOTH, "output")
    assert log_lines(service.daemon, "WARNING")[1:] == [
        "Failed to set gpio pin (null): Input/output error",
        "Couldn't change direction on port!"]
    assert service.call("GetDirection", BOTH) == "output"


def test_idle_daemon_takes_no_time(wire):
    service = wire(button(), siren(), configurable(), text=BELL)
    assert idles(service)
