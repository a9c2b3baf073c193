"""orvadctl readout --live."""

import json
import re

import pytest

from bus_client import STATE
from mock_bus import STATE_XML, SUPERVISED_XML, Answer, retyped
from orvadctl_mock_support import (ISO_TIME, RANGES, STARTING, TIME,
                                   fixture_bus, fixture_make_daemon,
                                   fixture_make_mock, fixture_make_supervised,
                                   fixture_run, fixture_start,
                                   fixture_start_on_terminal, failure)
from orvadctl_support import fixture_program, fixture_start_on
from waiting import DEADLINE

LABEL = r"port 2 (Tür\n\x1b[2J)"
LIVE = ["readout", "2", "--live"]
UNMEASURED = Answer(error=("a.B", "Failed to\nread."))
BAR = "[s-]....[--closed--][---open---]......x]"
NUMBERS = "0   40  80          200         320  399"


class Line:
    """What a supervised line answers; may be changed at any time."""

    def __init__(self):
        self.readout = Answer("closed", 120)
        self.ranges = Answer(RANGES)


@pytest.fixture(name="line")
def fixture_line():
    return Line()


@pytest.fixture(name="make_line")
def fixture_make_line(line, make_supervised):
    """make_line(): a mock that measures line."""
    def make():
        return make_supervised(GetSupervisedReadout=lambda port: line.readout,
                               GetSupervisedRanges=lambda port: line.ranges)
    return make


@pytest.fixture(name="daemon")
def fixture_daemon(make_daemon, make_line):
    """A daemon that measures line."""
    daemon = make_daemon()
    make_line()
    return daemon


def shown(text):
    """text of a line, without its time."""
    time, rest = text[:23], text[23:]
    assert re.fullmatch(TIME, time), text
    assert rest.startswith(" "), text
    return rest[1:]


@pytest.mark.usefixtures("daemon")
def test_each_change_is_a_line_until_interrupted(line, start):
    client = start(*LIVE)
    assert shown(client.line()) == \
        f"{LABEL}: closed, level 120, 40 from its edge 80"
    line.readout = Answer("open", 200)
    assert shown(client.line()) == f"{LABEL}: open, level 200, at its edge"
    line.readout = Answer("undefined", 500)
    assert shown(client.line()) == \
        f"{LABEL}: undefined, level 500, 100 from its edge 400"
    assert (client.interrupt(), client.errors) == (0, "")


def test_what_does_not_change_is_shown_once(make_daemon, make_supervised,
                                            start):
    make_daemon()
    supervised = make_supervised()
    client = start(*LIVE)
    client.line()
    supervised.wait_for_calls("GetSupervisedReadout", 4)
    client.process.terminate()
    assert client.finish() == ""
    assert (client.status, client.errors) == (0, "")


@pytest.mark.usefixtures("daemon", "line")
def test_it_ends_after_its_time(run):
    result = run(*LIVE, "--for", "0.3")
    assert (result.returncode, result.stderr) == (0, "")


@pytest.mark.usefixtures("daemon")
def test_changes_as_json_are_objects(line, start):
    client = start(*LIVE, "--json", "--count", "3")
    first = json.loads(client.line())
    line.readout = UNMEASURED
    second = json.loads(client.line())
    line.readout = Answer("cut", 4294967295)
    third = json.loads(client.line())
    assert (client.finish(), client.status) == ("", 0)
    port = {"number": 2, "name": "Tür\n\x1b[2J"}
    for change in (first, second, third):
        assert re.fullmatch(ISO_TIME, change.pop("time"))
    assert first == {"type": "readout", **port, "state": "closed",
                     "level": 120}
    assert second == {"type": "failed", **port, "message": "Failed to\nread."}
    assert third == {"type": "readout", **port, "state": "cut",
                     "level": 4294967295}


@pytest.mark.usefixtures("daemon")
def test_ranges_are_asked_for_again(line, start):
    client = start(*LIVE)
    client.line()
    line.ranges = Answer([("closed", 100, 130)])
    assert shown(client.line()) == \
        f"{LABEL}: closed, level 120, 10 from its edge 130"
    line.ranges = Answer(error=("a.B", "Could not get ranges."))
    assert shown(client.line()) == \
        f"{LABEL}: closed, level 120, ranges unknown: Could not get ranges."
    assert client.interrupt() == 0


def test_ranges_that_change_are_no_change_as_json(make_daemon, start,
                                                  make_supervised):
    make_daemon()
    ranges = iter([[("closed", 0, 200)], [("closed", 0, 130)]])
    supervised = make_supervised(
        GetSupervisedRanges=lambda port: Answer(next(ranges, [])))
    client = start(*LIVE, "--json")
    client.line()
    supervised.wait_for_calls("GetSupervisedRanges", 3)
    client.process.terminate()
    assert (client.finish(), client.status) == ("", 0)


@pytest.mark.usefixtures("daemon")
def test_readout_that_fails_is_shown_and_does_not_end_it(line, start):
    line.readout = UNMEASURED
    client = start(*LIVE)
    assert shown(client.line()) == LABEL + r": Failed to\nread."
    line.readout = Answer("closed", 90)
    assert "closed, level 90" in client.line()
    assert (client.interrupt(), client.errors) == (0, "")


def test_missing_answer_is_shown_while_it_is_waited_for(make_daemon, start,
                                                        make_supervised):
    make_daemon()
    supervised = make_supervised(GetSupervisedReadout=None)
    client = start(*LIVE)
    assert shown(client.line()) == f"{LABEL}: the port daemon does not answer"
    assert supervised.count("GetSupervisedReadout") == 1
    assert (client.interrupt(), client.errors) == (0, "")


def test_daemon_that_never_answers_is_asked_again(make_daemon, start,
                                                  make_supervised):
    make_daemon()
    supervised = make_supervised(GetSupervisedReadout=None)
    client = start(*LIVE, "--timeout", "0.05")
    assert "does not answer" in client.line()
    supervised.wait_for_calls("GetSupervisedReadout", 4)
    client.process.terminate()
    assert (client.finish(), client.status) == ("", 0)


@pytest.mark.parametrize("method, text", [
    ("GetSupervisedReadout", ": "), ("GetSupervisedRanges", "unknown: ")])
def test_answer_of_another_type_is_shown(make_daemon, make_supervised, start,
                                         method, text):
    make_daemon()
    make_supervised(retyped(SUPERVISED_XML, method), **{method: Answer(0.5)})
    client = start(*LIVE)
    assert re.search(text + r".*\(d\)", client.line())
    assert client.interrupt() == 0


def test_daemon_that_vanishes_is_waited_for(make_daemon, make_line, line,
                                            start):
    daemon = make_daemon()
    supervised = make_line()
    client = start(*LIVE)
    client.line()
    daemon.vanish()
    assert shown(client.line()) == "the port daemon went away"
    supervised.disconnect()
    line.readout = Answer("cut", 390)
    make_line()
    daemon.appear()
    assert shown(client.line()) == "the port daemon is there"
    assert f"{LABEL}: cut, level 390" in client.line()
    assert (client.interrupt(), client.errors) == (0, "")
    assert daemon.count("GetPortProps") == 2


def test_daemon_that_is_not_there_yet_is_waited_for(make_daemon, make_line,
                                                    start):
    client = start(*LIVE, "--json")
    assert json.loads(client.line())["running"] is False
    make_line()
    make_daemon()
    assert json.loads(client.line())["running"] is True
    assert json.loads(client.line())["state"] == "closed"
    assert (client.interrupt(), client.errors) == (0, "")


def test_daemon_that_is_just_starting_is_told_of_once(make_mock, make_daemon,
                                                      make_line, start):
    starting = make_mock(STATE, {})
    client = start(*LIVE)
    assert client.process.stderr.readline() == STARTING
    starting.vanish()
    assert "went away" in client.line()
    make_line()
    make_daemon()
    assert "is there" in client.line()
    assert "closed, level 120" in client.line()
    assert (client.interrupt(), client.errors) == (0, "")


def test_daemon_without_supervised_inputs_is_shown(make_daemon, make_line,
                                                   start):
    make_daemon()
    client = start(*LIVE)
    assert shown(client.line()) == \
        f"{LABEL}: the port daemon does not serve supervised inputs"
    make_line()
    assert "closed, level 120" in client.line()
    assert client.interrupt() == 0


def test_port_may_be_missing_for_a_while(make_daemon, make_line, start):
    port = ("door", 2, True, True, False, True, [("ioport", True)])
    lists = iter([[port]])
    daemon = make_daemon(GetPortProps=lambda: (
        lambda ports: Answer(len(ports), ports))(next(lists, [])))
    make_line()
    client = start("readout", "door", "--live")
    client.line()
    daemon.vanish()
    client.line()
    daemon.appear()
    client.line()
    assert "port 2 (door): closed" in client.line()
    assert (client.interrupt(), client.errors) == (0, "")


@pytest.mark.parametrize("xml, answer, text", [
    (retyped(STATE_XML, "GetPortProps"), Answer(0.5), r"\(d\)"),
    (STATE_XML, None, "the port daemon does not answer")])
def test_listing_that_fails_later_is_shown(make_daemon, make_line, start, xml,
                                           answer, text):
    daemon = make_daemon()
    make_line()
    client = start(*LIVE)
    client.line()
    daemon.disconnect()
    assert "went away" in client.line()
    make_daemon(xml, GetPortProps=answer)
    assert "is there" in client.line()
    assert re.search(text, client.line())
    assert client.interrupt() == 0


def test_unknown_port_ends_it(make_daemon, run):
    make_daemon()
    assert 'there is no port "99"' in failure(run("readout", "99", "--live"))


def test_port_behind_another_of_its_number_ends_it(make_daemon, run):
    make_daemon(GetPortProps=Answer(2, [
        ("first", 2, False, True, False, False, [("ioport", True)]),
        ("second", 2, False, True, False, False, [("ioport", True)])]))
    assert "leads to another port" in failure(run("readout", "first", "--live"))


@pytest.mark.usefixtures("daemon")
def test_reader_that_is_gone_ends_it(start):
    client = start(*LIVE)
    client.line()
    client.process.stdout.close()
    assert client.process.wait(DEADLINE) == 0
    assert client.process.stderr.read() == b""


@pytest.mark.usefixtures("daemon")
def test_bus_that_goes_away_is_told(bus, start):
    client = start(*LIVE)
    client.line()
    bus.stop()
    assert (client.finish(), client.status) == ("", 1)
    assert client.errors == ("orvadctl: the system bus went away; try again "
                             "once it is back\n")


def drawn(terminal, words):
    """Waits for a whole frame of a level that is told with these words, below
    nothing else; its lines but for the port's."""
    def whole(screen):
        return len(screen) == 6 and screen[1].startswith(words)
    return terminal.wait_for(whole)[1:]


@pytest.fixture(name="terminal")
def fixture_terminal(daemon, start_on_terminal):
    """A terminal without Unicode that shows line, measured by daemon."""
    assert not daemon.calls
    return start_on_terminal(*LIVE, columns=40, env={"LC_ALL": "C"})


def test_level_is_drawn_in_place(terminal, line):
    assert drawn(terminal, "closed") == [
        "closed, level 120, 40 from its edge 80",
        12 * " " + "v",
        BAR, NUMBERS, ""]
    line.readout = Answer("open", 319)
    assert drawn(terminal, "open") == [
        "open, level 319, at its edge", 31 * " " + "v", BAR, NUMBERS, ""]
    assert terminal.screen[0] == LABEL
    assert terminal.interrupt() == 0


@pytest.mark.usefixtures("daemon")
def test_terminal_draws_with_what_its_locale_has(start_on_terminal):
    terminal = start_on_terminal(*LIVE, columns=40)
    assert drawn(terminal, "closed")[1:3] == [
        12 * " " + "▼", "├s─┤····├──closed──┤├───open───┤······x┤"]
    assert "\x1b[32m├──closed──┤\x1b[0m" in terminal.text
    assert terminal.interrupt() == 0


@pytest.mark.usefixtures("daemon")
def test_terminal_without_colours_is_drawn_on(start_on_terminal):
    terminal = start_on_terminal(*LIVE, columns=40, env={"NO_COLOR": "1"})
    drawn(terminal, "closed")
    assert terminal.interrupt() == 0
    assert not re.search(r"\x1b\[\d*m", terminal.text)


def test_drawing_follows_the_terminal_s_width(terminal):
    drawn(terminal, "closed")
    terminal.resize(20)
    terminal.wait_for(lambda screen: len(screen) == 6
                      and len(screen[3]) == 20)
    assert terminal.screen[1:4] == [
        "closed, level 120, 4", 6 * " " + "v", "s]..[-c--][open]...x"]
    assert terminal.interrupt() == 0


def test_drawing_follows_the_ranges(terminal, line):
    drawn(terminal, "closed")
    line.ranges = Answer([("closed", 0, 199), ("open", 200, 399)])
    terminal.wait_for(lambda screen: len(screen) == 6 and screen[3] != BAR)
    assert terminal.screen[3] == "[------closed------][-------open-------]"
    assert terminal.interrupt() == 0


def test_scale_keeps_the_highest_level(terminal, line):
    drawn(terminal, "closed")
    line.readout = Answer("undefined", 799)
    assert drawn(terminal, "undefined")[1] == 39 * " " + "v"
    line.readout = Answer("closed", 80)
    assert drawn(terminal, "closed, level 80")[1:3] == [
        4 * " " + "v", "s]..[-c--][open]...x...................."]
    assert terminal.interrupt() == 0


def test_failure_is_drawn_in_place_of_the_level(terminal, line):
    drawn(terminal, "closed")
    line.readout = UNMEASURED
    assert drawn(terminal, "Failed") == [
        r"Failed to\nread.", "", BAR, NUMBERS, ""]
    line.readout = Answer("closed", 81)
    assert drawn(terminal, "closed, level 81")[1] == 8 * " " + "v"
    assert terminal.interrupt() == 0


def test_line_about_the_daemon_is_not_drawn_over(terminal, daemon):
    drawn(terminal, "closed")
    daemon.vanish()
    daemon.appear()
    screen = terminal.wait_for(lambda screen: len(screen) == 13)
    assert screen[3] == BAR
    assert shown(screen[5]) == "the port daemon went away"
    assert shown(screen[6]) == "the port daemon is there"
    assert screen[7:12] == screen[:5]
    assert terminal.interrupt() == 0


@pytest.mark.usefixtures("daemon")
def test_count_on_a_terminal_is_of_changes(line, start_on_terminal):
    terminal = start_on_terminal(*LIVE, "--count", "2", columns=40)
    drawn(terminal, "closed")
    terminal.resize(60)
    terminal.wait_for(lambda screen: len(screen) == 6
                      and len(screen[3]) == 60)
    line.readout = Answer("cut", 399)
    assert terminal.wait() == 0
    assert terminal.screen[1].startswith("cut, level 399")


@pytest.mark.usefixtures("daemon")
@pytest.mark.parametrize("options, env", [
    (["--json"], {}), ([], {"TERM": "dumb", "NO_COLOR": "1"})])
def test_terminal_that_must_not_be_steered_gets_lines(start_on_terminal,
                                                      options, env):
    terminal = start_on_terminal(*LIVE, "--count", "1", *options, env=env)
    assert terminal.wait() == 0
    assert re.fullmatch(r"[^\x1b\r\n]*closed[^\x1b\r\n]*\r\n", terminal.text)
