"""Ports of an IO box, whose monitor is another service on the bus."""

import pytest

from bus_client import CONFIGURATION_EVENTS, EVENTS, STATE
from events_support import IOPORT_EVENT, Events, happened, sent
from iobox_support import (BOTH, BOTH_OUT, CLOSED, CONNECTED, GET_STATE,
                           INPUT, OUTPUT, SET_MODE, STATUS, SUPERVISED_EVENT,
                           WORDS, Reports, box_port, every_kind,
                           fixture_serve_box, removed, saved_input,
                           supervised_values, unrecognized)
from legacy_support import SERVICE as LEGACY
from lifecycle_support import identity, output_group, status_field
from peers import IOBox, fixture_offer
from ports_support import HOUR, NOT_OUTPUT, changed, expect_error
from sandbox import QEL_GID, QEL_UID
from supervised_support import SUPERVISED

# The nearest to a word that is none of them.
NO_WORDS = ["Open", "closed ", "undefined", ""]


def saved_output(number, **changes):
    return output_group(f"box{number}", **{
        "supervised_input_ranges": "@a(suu) []", "supervised_input": "false",
        **changes})


def saved_both(number, **changes):
    return saved_output(number, input_name="Door", input_activelow="false",
                        **changes)


# ---- set-up ----

def test_box_is_asked_about_each_port_in_turn(serve_box):
    """Set up are the newest first. Nothing else is asked, no properties, and
    an input's mode is the box's own business."""
    service = serve_box(CLOSED, *every_kind())
    assert service.asked() == [
        (CONNECTED,), (STATUS, BOTH_OUT), (SET_MODE, BOTH_OUT, 0, "out"),
        (CONNECTED,), (STATUS, BOTH), (GET_STATE, BOTH),
        (CONNECTED,), (STATUS, OUTPUT), (SET_MODE, OUTPUT, 0, "out"),
        (CONNECTED,), (STATUS, INPUT), (GET_STATE, INPUT)]
    assert [(props.number, props.state) for props in service.ports()] == [
        (BOTH_OUT, False), (BOTH, True), (OUTPUT, False), (INPUT, True)]
    assert service.complaints() == []


def test_outputs_start_inactive(serve_box):
    """An input that may become one starts with nothing."""
    service = serve_box(
        CLOSED, *every_kind(), orvad_conf="".join([
            saved_output(OUTPUT, output_activelow="true"),
            saved_both(BOTH, output_activelow="true", input="true"),
            saved_both(BOTH_OUT, output_activelow="true", input="false")]))
    assert service.modes() == [(BOTH_OUT, 1, "out"), (OUTPUT, 1, "out")]
    assert [service.call("GetState", number)
            for number in (OUTPUT, BOTH_OUT)] == [False, False]
    service.call("SetDirection", BOTH, "output")
    assert service.modes() == [(BOTH, 0, "out")]
    assert service.complaints() == []


def test_supervision_that_was_saved_needs_no_call(serve_box):
    """The box has not been told since it was switched on."""
    service = serve_box(dict.fromkeys((INPUT, BOTH, BOTH_OUT), "cut"),
                        *[port for port in every_kind()
                          if f'"box{OUTPUT}"' not in port])
    service.supervise(INPUT, BOTH, BOTH_OUT)
    service.daemon.stop()
    service.modes()
    service.start_again()
    assert service.modes() == [(BOTH_OUT, 0, "out")]
    assert [service.ask("GetSupervised", number)
            for number in (INPUT, BOTH, BOTH_OUT)] == [True] * 3
    assert service.readout(INPUT) == service.readout(BOTH) == ("cut", 0)
    service.call("SetDirection", BOTH, "output")
    service.call("SetDirection", BOTH, "input")
    assert service.modes() == [(BOTH, 0, "out"), (BOTH, 0, "supervised_in")]


def test_only_enabled_ports_are_set_up(serve_box):
    """Silently, but for those that are gone for good."""
    statuses = ["disabled", "Enabled", "enabled ", "", "enabled"]

    def prepare(iobox):
        iobox.status.update(enumerate(2 * statuses))
    service = serve_box(
        dict.fromkeys(range(2 * len(statuses)), "open"),
        *[box_port(number, optional=number >= len(statuses))
          for number in range(2 * len(statuses))], prepare=prepare)
    assert service.names() == ["box9", "box4"]
    assert service.complaints() == [removed(n) for n in (3, 2, 1, 0)]
    assert [call for call in service.asked() if call[0] == GET_STATE] == [
        (GET_STATE, 9), (GET_STATE, 4)]
    for number in range(2 * len(statuses)):
        service.iobox.status[number] = "enabled"
    service.call("RefreshIOPorts")
    assert set(service.names()) == {"box4", *(f"box{n}" for n in range(5, 10))}


def test_box_that_is_not_connected_has_no_ports(serve_box):
    service = serve_box(
        CLOSED, *every_kind(optional=True), box_port(9),
        prepare=lambda iobox: setattr(iobox, "connected", False))
    assert service.names() == []
    assert service.asked() == [(CONNECTED,)] * 5
    assert service.complaints() == [removed(9)]


def test_port_without_a_number_is_minus_one_to_the_box(serve_box):
    """Several ports may be the same one, too."""
    nameless = box_port(0).replace('nbr="0"', 'other="0"')
    service = serve_box(
        {-1: "closed", 4: "open"}, nameless, box_port(4),
        box_port(4, name="twin"))
    assert [(props.number, props.state) for props in service.ports()] == [
        (4, False), (4, False), (-1, True)]
    changes = service.record()
    service.iobox.change(-1, "open")
    service.iobox.change(4, "closed")
    service.settle()
    assert changes.args == [changed(-1, False, is_input=True),
                            *[changed(4, True, is_input=True)] * 2]


def test_items_of_the_configuration_are_ignored(serve_box):
    service = serve_box({INPUT: "closed"}, box_port(
        INPUT, items={"path": "/dev/null", "number": 9},
        groups={"device": {"nbr": 9}, "range": {"state": "x", "upper": -1}}))
    assert service.call("GetState", INPUT) is True
    assert service.complaints() == []


# ---- states ----

def test_words_are_states(serve_box):
    """Those of an input that is not supervised are the nearest level, and
    anything but a level is inactive, whatever the active level."""
    words = WORDS + NO_WORDS
    plain, supervised = range(len(words)), range(20, 20 + len(words))
    numbers = [*plain, *supervised]
    service = serve_box(
        dict(zip(numbers, 2 * words)), *map(box_port, numbers),
        orvad_conf="".join(saved_input(number, supervised_input="true")
                           for number in supervised))

    def states(ports):
        return [service.call("GetState", number) for number in ports]
    unknown = len(NO_WORDS)
    assert states(plain) == [False, True, True, False] + [False] * unknown
    assert states(supervised) == [False, True] + [False] * (2 + unknown)
    assert [service.readout(number) for number in plain] == [
        ("open", 0), ("closed", 0), ("closed", 0), ("open", 0),
        *[("undefined", 0)] * unknown]
    assert [service.readout(number) for number in supervised] == [
        *[(word, 0) for word in WORDS], *[("undefined", 0)] * unknown]
    for number in numbers:
        service.call("SetActive", number, True, "open")
    assert states(plain) == [True, False, False, True] + [False] * unknown
    assert states(supervised) == [True, False] + [False] * (2 + unknown)
    assert service.complaints() == [
        unrecognized(word) for word in 2 * NO_WORDS[::-1]]


def test_plain_input_s_changes_are_reported(serve_box):
    """Each one of the word, even if the level is the same."""
    service = serve_box({INPUT: "open"},
                        box_port(INPUT, events=[IOPORT_EVENT]))
    number, _ = service.declaration_of(INPUT)
    reports, events = Reports(service), Events(service)
    for word, state in [("closed", True), ("short", True), ("cut", False),
                        ("open", False), ("ajar", False), ("closed", True)]:
        service.iobox.change(INPUT, word)
        assert reports.take() == [(INPUT, state)]
        assert service.call("GetState", INPUT) is state
        assert events.take() == [happened(number, sent(INPUT, state))]
        # The same again is no change.
        service.iobox.change(INPUT, word)
        assert reports.take() == events.take() == []
    assert set(service.complaints()) == {unrecognized("ajar")}


def test_supervised_input_s_changes_are_reported(serve_box):
    service = serve_box({INPUT: "open"}, box_port(
        INPUT, events=[SUPERVISED_EVENT, IOPORT_EVENT]))
    service.supervise(INPUT)
    plain, supervised = sorted(service.declarations())
    if "tampered" in service.state_of(plain):
        plain, supervised = supervised, plain
    reports, events = Reports(service), Events(service)
    for word, state in [("closed", True), ("short", False), ("cut", False),
                        ("ajar", False), ("open", False)]:
        service.iobox.change(INPUT, word)
        known = word if word in WORDS else "undefined"
        assert reports.take() == [(INPUT, state)]
        assert service.readout(INPUT) == (known, 0)
        assert set(map(repr, events.take())) == set(map(repr, [
            happened(plain, sent(INPUT, state)),
            happened(supervised, supervised_values(INPUT, known))]))
        assert service.state_of(supervised) == supervised_values(INPUT, known)


def test_active_level_turns_what_is_reported(serve_box):
    service = serve_box({INPUT: "closed"}, box_port(INPUT))
    reports = Reports(service)
    service.call("SetActive", INPUT, True, "open")
    for word in ("open", "short", "cut"):
        service.iobox.change(INPUT, word)
    assert reports.take() == [(INPUT, state)
                              for state in (False, True, False, True)]


def test_port_s_changes_are_its_own(serve_box):
    numbers = [0, 1, 2]
    service = serve_box(dict.fromkeys(numbers, "open"),
                        *map(box_port, numbers))
    reports = Reports(service)
    service.iobox.change(1, "closed")
    service.iobox.change(9, "closed")
    service.iobox.change(-1, "closed")
    service.iobox.change(2, "cut")
    assert reports.take() == [(1, True), (2, False)]
    assert [service.call("GetState", number) for number in numbers] == [
        False, True, False]


def test_output_follows_the_box_unreported(serve_box):
    """Until it has been an input, whose changes are watched."""
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    for number in (OUTPUT, BOTH_OUT):
        service.iobox.change(number, "closed")
        assert service.call("GetState", number) is True
    assert reports.take() == []
    service.call("SetDirection", BOTH_OUT, "input")
    service.iobox.change(BOTH_OUT, "open")
    service.call("SetDirection", BOTH_OUT, "output")
    service.iobox.change(BOTH_OUT, "closed")
    assert reports.take() == [(BOTH_OUT, state)
                              for state in (True, False, False, True)]


# ---- what the box is told ----

def test_output_is_written(serve_box):
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    service.modes()
    for number in (OUTPUT, BOTH_OUT):
        for active in (True, False):
            service.call("SetState", number, active)
            assert service.modes() == [(number, int(active), "out")]
            assert service.call("GetState", number) is active
            # The same again is written, too.
            service.call("SetState", number, active)
            assert service.modes() == [(number, int(active), "out")]
        service.call("SetActive", number, False, "open")
        assert service.modes() == [(number, 1, "out")]
        service.call("SetState", number, True)
        assert service.modes() == [(number, 0, "out")]
        service.call("SetActive", number, False, "closed")
        assert service.modes() == [(number, 1, "out")]
        assert service.call("GetState", number) is True
    changes = reports.take()
    assert changes[:2] == [(OUTPUT, True), (OUTPUT, False)]
    assert changes[len(changes) // 2:][:2] == [(BOTH_OUT, True),
                                               (BOTH_OUT, False)]


def test_input_is_not_written(serve_box):
    service = serve_box(CLOSED, *every_kind())
    service.modes()
    for number in (INPUT, BOTH):
        with expect_error(NOT_OUTPUT):
            service.call("SetState", number, False)
        service.call("SetVirtual", number, False)
        assert service.call("GetState", number) is True
    assert service.modes() == []


def test_direction_is_told_with_the_last_level(serve_box):
    service = serve_box(CLOSED, *every_kind())
    service.modes()
    service.call("SetDirection", BOTH, "output")
    assert service.modes() == [(BOTH, 0, "out")]
    # What the input was is what is known of the output.
    assert service.call("GetState", BOTH) is True
    service.call("SetState", BOTH, True)
    service.call("SetDirection", BOTH, "input")
    service.call("SetDirection", BOTH, "input")
    assert service.modes() == [(BOTH, 1, "out"), *[(BOTH, 1, "in")] * 2]
    service.supervise(BOTH)
    service.call("SetDirection", BOTH, "output")
    assert service.modes() == [*[(BOTH, 1, "supervised_in")] * 2,
                               (BOTH, 1, "out")]


@pytest.mark.parametrize("number, on, off", [
    (INPUT, [(INPUT, 0, "supervised_in")], [(INPUT, 0, "in")]),
    (OUTPUT, [(OUTPUT, 0, "out")], [(OUTPUT, 0, "out")]),
    # By its direction, which is set once more.
    (BOTH, [(BOTH, 0, "supervised_in")] * 2, [(BOTH, 0, "in")] * 2),
    (BOTH_OUT, [(BOTH_OUT, 0, "out")], [(BOTH_OUT, 0, "out")]),
])
def test_supervision_is_told(serve_box, number, on, off):
    service = serve_box(CLOSED, *every_kind())
    service.modes()
    for _ in range(2):
        service.supervise(number)
        service.supervise(number)
        assert service.modes() == on
        assert service.ask("GetSupervised", number) is True
        service.supervise(number, on=False)
        assert service.modes() == off
    # What the box said last is what is known.
    service.iobox.change(number, "cut")
    service.supervise(number)
    is_input = number in (INPUT, BOTH)
    assert service.readout(number) == ("cut" if is_input else "open", 0)


def test_every_port_can_be_supervised(serve_box):
    service = serve_box(CLOSED, *every_kind())
    assert [service.ask("IsSupervisable", number)[0]
            for number in CLOSED] == [True] * 4
    assert service.ask("GetSupervisedPortNumbers") == [
        BOTH_OUT, BOTH, OUTPUT, INPUT]


# ---- ranges ----

def test_ranges_are_kept_and_mean_nothing(serve_box):
    """Those that are saved are not looked at; the box knows the states."""
    odd = [("undefined", 7, 3), ("open", 70000, 1)]
    service = serve_box(
        CLOSED, *every_kind(optional=True),
        orvad_conf=saved_input(INPUT, odd, supervised_input="true"))
    assert service.ask("GetSupervisedRanges", INPUT) == odd
    assert [service.ask("GetSupervisedRanges", number)
            for number in (OUTPUT, BOTH, BOTH_OUT)] == [[]] * 3
    for number in CLOSED:
        service.ask("SetSupervisedRanges", number, "cut", 0, 65535)
        service.ask("SetSupervisedRanges", number, "closed", 1, 2)
        service.ask("SetSupervisedRanges", number, "cut", 5, 6)
    ranges = [("closed", 1, 2), ("cut", 5, 6)]
    assert service.ask("GetSupervisedRanges", INPUT) == odd + ranges
    assert service.readout(INPUT) == ("closed", 0)
    service.call("DropIOPorts", [f"box{OUTPUT}", f"box{INPUT}"])
    service.call("RefreshIOPorts")
    assert service.ask("GetSupervisedRanges", INPUT) == odd + ranges
    assert service.ask("GetSupervisedRanges", OUTPUT) == ranges
    service.settle()
    service.daemon.kill()
    service.start_again()
    # They are sorted then.
    assert service.ask("GetSupervisedRanges", INPUT) == sorted(
        odd + ranges, key=lambda limits: limits[1])
    assert service.ask("GetSupervisedRanges", BOTH) == ranges
    assert service.readout(INPUT) == ("closed", 0)


# ---- sequences ----

def test_sequence_is_played_on_the_box(serve_box):
    service = serve_box(CLOSED, *every_kind())
    service.modes()
    ends = service.client.record("ActionSequenceDone")
    service.start_sequence(OUTPUT, (True, 1), (False, 1), (True, 0))
    service.start_sequence(BOTH_OUT, (True, HOUR))
    ends.wait_for(lambda signal: signal.args == (OUTPUT,))
    assert [mode for mode in service.iobox.modes if mode[0] == OUTPUT] == [
        (OUTPUT, level, "out") for level in (1, 0, 1)]
    service.iobox.wait_for_calls(SET_MODE, 4)
    service.call("SetDirection", BOTH_OUT, "input")
    ends.wait_for(lambda signal: signal.args == (BOTH_OUT,))
    assert [mode for mode in service.iobox.modes if mode[0] == BOTH_OUT] == [
        (BOTH_OUT, 1, "out"), (BOTH_OUT, 1, "in")]


@pytest.mark.threaded
def test_box_changes_an_output_beside_its_sequence(serve_box):
    service = serve_box(CLOSED, *every_kind())
    ends = service.client.record("ActionSequenceDone")
    for _ in range(3):
        service.start_sequence(
            OUTPUT, *[(n % 2 == 0, n % 3 - 1) for n in range(60)])
        for number in range(60):
            service.iobox.change(OUTPUT, WORDS[number % 4])
            service.iobox.change(INPUT, WORDS[number % 4])
            service.call("GetState", OUTPUT)
        ends.wait_for_count(1)
        ends.signals.clear()
    service.iobox.change(OUTPUT, "open")
    service.iobox.change(OUTPUT, "closed")
    assert service.call("GetState", OUTPUT) is True


# ---- the connection ----

def test_connection_is_the_service_user_s(serve_box):
    """Although the ports are set up, and events declared, before the daemon
    gives up root. Nobody else may have its names."""
    names = STATE, SUPERVISED, EVENTS, LEGACY, CONFIGURATION_EVENTS
    service = serve_box(
        CLOSED, *every_kind(events=[IOPORT_EVENT]),
        bus_policy=f"""
  <policy context="default">
    <allow user="*"/><allow send_destination="*"/>
    <allow receive_sender="*"/><allow own="{IOBox.NAME}"/>
  </policy>
  <policy user="qel">
    {"".join(f'<allow own="{name}"/>' for name in names)}
  </policy>
""")
    assert [service.user_of(name) for name in names] == [QEL_UID] * 5
    assert identity(service.daemon.pid) == (QEL_UID, QEL_GID)
    assert set(status_field(service.daemon.pid, "Groups")) <= {str(QEL_GID)}
    assert service.complaints() == []


@pytest.mark.parametrize("missing", ["user", "group"])
def test_ports_work_without_the_service_user(serve_box, missing):
    service = serve_box(CLOSED, *every_kind(), **{
        f"with_{missing}_qel": False,
        **({"conf_owner": "root"} if missing == "user" else {})})
    assert service.user_of(STATE) == 0
    service.call("SetState", OUTPUT, True)
    assert service.modes()[-1] == (OUTPUT, 1, "out")
    reports = Reports(service)
    service.iobox.change(INPUT, "open")
    assert reports.take() == [(INPUT, False)]
