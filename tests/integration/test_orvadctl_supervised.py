"""orvadctl supervise, ranges, readout and get of supervised inputs."""

import json

import pytest

from bus_client import STATE, STATE_PATH
from mock_bus import (STATE_XML, SUPERVISED, SUPERVISED_PATH, SUPERVISED_XML,
                      Answer, Mock, PrivateBus, retyped)
from orvadctl_mock_support import (ANSWERS, NO_SUPERVISED_PORT,
                                   SUPERVISED_ANSWERS, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_mock,
                                   fixture_make_supervised, fixture_run,
                                   fixture_start_on_terminal, output)
from orvadctl_support import fixture_program

NAME = "Tür\n\x1b[2J"
LABEL = r"port 2 (Tür\n\x1b[2J)"
UNMEASURED = Answer(error=("com.vexa.IOSupervised.Error.Generic",
                           "Failed to\nread."))
COMMANDS = {
    "SetSupervised": ["supervise", "2", "on"],
    "GetSupervisedRanges": ["ranges", "2"],
    "SetSupervisedRanges": ["ranges", "2", "open", "0", "9"],
    "GetSupervisedReadout": ["readout", "2"],
}
EACH_CALL = [*COMMANDS.items(), ("IsSupervisable", ["get", "2"]),
             ("GetSupervised", ["get", "2"]),
             ("GetSupervisedReadout", ["get", "2"])]


@pytest.fixture(name="supervised")
def fixture_supervised(make_daemon, make_supervised):
    make_daemon()
    return make_supervised()


def test_supervise_switches_and_tells(supervised, run):
    assert output(run("supervise", "2", "on")) == f"{LABEL}: supervised\n"
    assert output(run("supervise", "2", "0")) == f"{LABEL}: not supervised\n"
    assert supervised.arguments("SetSupervised") == [(2, True), (2, False)]


def test_supervise_as_json_is_the_setting(supervised, run):
    assert json.loads(output(run("supervise", NAME, "off", "--json"))) == {
        "number": 2, "name": NAME, "supervised": False}
    assert supervised.arguments("SetSupervised") == [(2, False)]


@pytest.mark.parametrize("words", [
    ["supervise", "lamp", "on"], ["ranges", "lamp"], ["readout", "lamp"]])
def test_daemons_refusal_is_told_in_its_words(supervised, run, words):
    assert failure(run(*words)) == "port 3 (lamp): Port is not supervisable."
    assert len(supervised.calls) == 1


def test_ranges_are_a_table_that_tells_what_overlaps(supervised, run):
    assert output(run("ranges", "2")).splitlines() == [
        "STATE   LOWER  UPPER  REMARK",
        "short   0      39",
        "closed  80     249    200-249 mean open",
        "open    200    319",
        "cut     380    399",
    ]
    assert supervised.calls == [("GetSupervisedRanges", (2,)),
                                ("GetSupervisedStates", (2,))]


def test_ranges_that_only_a_file_can_hold_are_shown(make_daemon,
                                                    make_supervised, run):
    make_daemon()
    make_supervised(GetSupervisedRanges=Answer([
        ("undefined", 20, 10), ("open", 0, 4294967295), ("cut", 7, 7),
        ("a\x1b[2J", 4294967286, 5), ("short", 0, 6)]))
    assert output(run("ranges", "2")).splitlines() == [
        "STATE      LOWER       UPPER       REMARK",
        "undefined  20          10          no level is in it",
        "open       0           4294967295  0-6 mean short, 7 means cut",
        "cut        7           7",
        r"a\x1b[2J   4294967286  5           no level is in it",
        "short      0           6",
        "closed     -           -           no range",
    ]


def test_ranges_as_json_are_in_the_daemons_order(supervised, run):
    assert json.loads(output(run("ranges", "2", "--json"))) == {
        "number": 2, "name": NAME, "ranges": [
            {"state": "short", "lower": 0, "upper": 39},
            {"state": "closed", "lower": 80, "upper": 249},
            {"state": "open", "lower": 200, "upper": 319},
            {"state": "cut", "lower": 380, "upper": 399}],
        "without_range": []}


def test_states_without_a_range_come_last(make_daemon, make_supervised, run):
    make_daemon()
    make_supervised(GetSupervisedRanges=Answer([("cut", 0, 9)]),
                    GetSupervisedStates=Answer(2, [("open",), ("cut",)]))
    assert output(run("ranges", "2")).splitlines()[1:] == [
        "cut    0      9", "open   -      -      no range"]
    assert json.loads(output(run("ranges", "2", "-j")))[
        "without_range"] == ["open"]


def test_no_ranges_and_no_states_are_the_heading(make_daemon, make_supervised,
                                                 run):
    make_daemon()
    make_supervised(GetSupervisedRanges=Answer([]),
                    GetSupervisedStates=Answer(0, []))
    assert output(run("ranges", "2")) == "STATE  LOWER  UPPER  REMARK\n"
    assert json.loads(output(run("ranges", "2", "-j")))["ranges"] == []


@pytest.mark.parametrize("limits, numbers", [
    (("0", "65535"), (0, 65535)), (("0x10", "0xFFFF"), (16, 65535)),
    (("4294967295", "0xffffffff"), (4294967295, 4294967295)),
    (("200", "100"), (200, 100))])
def test_range_is_passed_on_as_it_is(supervised, run, limits, numbers):
    lower, upper = numbers
    assert output(run("ranges", "2", "closed", *limits)) == \
        f"{LABEL}: closed from {lower} to {upper}\n"
    assert supervised.calls == [
        ("SetSupervisedRanges", (2, "closed", lower, upper))]


def test_range_that_was_set_as_json(supervised, run):
    assert json.loads(output(run("ranges", "2", "cut", "1", "2", "-j"))) == {
        "number": 2, "name": NAME,
        "ranges": [{"state": "cut", "lower": 1, "upper": 2}]}
    assert supervised.count("SetSupervisedRanges") == 1


def test_daemon_judges_a_range(make_daemon, make_supervised, run):
    make_daemon()
    supervised = make_supervised(SetSupervisedRanges=Answer(error=(
        "com.vexa.IOSupervised.Bad_supervised_range", "State is undefined.")))
    assert failure(run("ranges", "2", "tampered", "1", "2")) == \
        f"{LABEL}: State is undefined."
    assert supervised.count("SetSupervisedRanges") == 1


def test_readout_is_state_and_level(supervised, run):
    assert output(run("readout", "2")) == f"{LABEL}: closed, level 120\n"
    assert json.loads(output(run("readout", "2", "--json"))) == {
        "number": 2, "name": NAME, "state": "closed", "level": 120}
    assert supervised.calls == [("GetSupervisedReadout", (2,))] * 2


def test_readout_of_strange_words_is_one_line(make_daemon, make_supervised,
                                              run):
    make_daemon()
    make_supervised(GetSupervisedReadout=Answer("a\n\x1b[2J", 4294967295))
    assert output(run("readout", "2")) == \
        LABEL + r": a\n\x1b[2J, level 4294967295" + "\n"


def test_readout_has_colours_on_a_terminal(supervised, start_on_terminal):
    terminal = start_on_terminal("readout", "2")
    assert terminal.wait() == 0
    assert "\x1b[32mclosed\x1b[0m, level 120" in terminal.text
    assert supervised.count("GetSupervisedReadout") == 1


def test_readout_that_fails_is_told_in_one_line(make_daemon, make_supervised,
                                                run):
    make_daemon()
    make_supervised(GetSupervisedReadout=UNMEASURED)
    assert failure(run("readout", "2")) == LABEL + r": Failed to\nread."


@pytest.mark.parametrize("words", COMMANDS.values())
def test_daemon_without_supervised_inputs_is_told(make_daemon, run, words):
    make_daemon()
    assert failure(run(*words)) == (
        f"{LABEL}: the port daemon does not serve supervised inputs")


@pytest.mark.parametrize("words", COMMANDS.values())
@pytest.mark.parametrize("objects", [
    {}, {SUPERVISED_PATH: ('<node><interface name="a.B"/></node>', {})},
    {SUPERVISED_PATH: (f'<node><interface name="{SUPERVISED}"/></node>', {})}])
def test_name_without_its_interface_is_told(make_daemon, make_mock, run, words,
                                            objects):
    make_daemon()
    make_mock(SUPERVISED, objects)
    assert failure(run(*words)) == (
        f"{LABEL}: the port daemon does not serve supervised inputs")


@pytest.mark.parametrize("words", COMMANDS.values())
def test_port_behind_another_of_its_number_is_left_alone(
        make_daemon, make_supervised, run, words):
    make_daemon(GetPortProps=Answer(2, [
        ("first", 2, False, True, False, False, [("ioport", True)]),
        ("second", 2, False, True, False, False, [("ioport", True)])]))
    supervised = make_supervised()
    assert "leads to another port" in failure(
        run(words[0], "first", *words[2:]))
    assert not supervised.calls


@pytest.mark.parametrize("method, words", EACH_CALL)
def test_call_without_answer_is_told(make_daemon, make_supervised, run, method,
                                     words):
    make_daemon()
    make_supervised(**{method: None})
    message = failure(run(*words, "--timeout", "1"))
    assert message.startswith(f"{LABEL}: the port daemon does not answer")


@pytest.mark.parametrize("method, words", EACH_CALL)
def test_answer_of_another_type_is_told(make_daemon, make_supervised, run,
                                        method, words):
    make_daemon()
    make_supervised(retyped(SUPERVISED_XML, method), **{method: Answer(0.5)})
    assert "(d)" in failure(run(*words))


def test_get_shows_supervision_and_line(supervised, run):
    lines = output(run("get", "2")).splitlines()
    assert lines[-4:] == ["Supervised:       yes",
                          "Line:             closed",
                          "Level:            120",
                          "Properties:       ioport hidden"]
    port = json.loads(output(run("get", "2", "--json")))
    assert (port["supervisable"], port["supervised"], port["line"]) == (
        True, True, {"state": "closed", "level": 120})
    assert {args for _, args in supervised.calls} == {(2,)}


def test_get_does_not_measure_what_cannot_be_supervised(supervised, run):
    assert "Supervised:       not possible\nProp" in output(run("get", "3"))
    port = json.loads(output(run("get", "3", "--json")))
    assert (port["supervisable"], port["supervised"], port["line"]) == (
        False, False, None)
    assert supervised.count("GetSupervisedReadout") == 0


def test_get_shows_why_a_line_was_not_measured(make_daemon, make_supervised,
                                               run):
    make_daemon()
    make_supervised(GetSupervised=Answer(False),
                    GetSupervisedReadout=UNMEASURED)
    lines = output(run("get", "2")).splitlines()
    assert lines[-3:-1] == ["Supervised:       no",
                            r"Line:             Failed to\nread."]
    assert json.loads(output(run("get", "2", "--json")))["line"] == {
        "message": "Failed to\nread."}


def without_supervision(run):
    """Whether "get" works and tells nothing of supervision."""
    assert "Supervised" not in output(run("get", "2"))
    port = json.loads(output(run("get", "2", "--json")))
    assert port["usage"] == "Door switch"
    return [port["supervisable"], port["supervised"], port["line"]] == \
        [None] * 3


def test_get_needs_no_supervised_inputs(make_daemon, run):
    make_daemon()
    assert without_supervision(run)


@pytest.mark.parametrize("objects", [
    {}, {SUPERVISED_PATH: (f'<node><interface name="{SUPERVISED}"/></node>',
                           {})}])
def test_get_needs_no_methods_of_supervised_inputs(make_daemon, make_mock, run,
                                                   objects):
    make_daemon()
    make_mock(SUPERVISED, objects)
    assert without_supervision(run)


@pytest.mark.parametrize("method", ["IsSupervisable", "GetSupervised"])
def test_get_of_a_port_that_is_gone_for_supervision(make_daemon, run, method,
                                                    make_supervised):
    make_daemon()
    make_supervised(**{method: NO_SUPERVISED_PORT})
    assert without_supervision(run)


def test_get_needs_no_right_to_supervised_inputs(tmp_path, program):
    bus = PrivateBus(tmp_path, policy=(
        f'<deny send_interface="{SUPERVISED}" '
        'send_type="method_call"/>'))
    mocks = [Mock(bus.address, STATE, {STATE_PATH: (STATE_XML, ANSWERS)}),
             Mock(bus.address, SUPERVISED,
                  {SUPERVISED_PATH: (SUPERVISED_XML, SUPERVISED_ANSWERS)})]
    try:
        assert without_supervision(lambda *words: program.run(bus.address,
                                                              *words))
        assert "the bus does not let" in failure(
            program.run(bus.address, "readout", "2"))
    finally:
        for mock in mocks:
            mock.stop()
        bus.stop()


def test_list_and_virtual_ports_need_no_supervised_inputs(supervised, run):
    output(run("list", "--names"))
    port = json.loads(output(run("get", "manualtrigger1", "--json")))
    assert port["supervised"] is None
    assert not supervised.calls
