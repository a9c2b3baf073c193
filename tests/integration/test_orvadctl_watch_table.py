"""orvadctl watch on a terminal."""

import re

import pytest

from mock_bus import Answer
from orvadctl_mock_support import (fixture_bus, fixture_make_daemon,
                                   fixture_make_mock,
                                   fixture_start_on_terminal)
from orvadctl_support import fixture_program

DOOR = ("door", 2, True, True, False, True, [("ioport", True)])
LAMP = ("lamp", 3, False, False, False, False, [("ioport", True)])
HEADINGS = ["NUMBER", "NAME", "DIRECTION", "STATE", "LEVEL", "CHANGES",
            "LAST-CHANGE"]
AWAY = "the port daemon went away"
CLOCK = r"\d\d:\d\d:\d\d\.\d{3}"


class Ports:
    """What the daemon lists; may be changed at any time."""

    def __init__(self):
        self.listed = [LAMP, DOOR]

    def answer(self):
        return Answer(len(self.listed), self.listed)


@pytest.fixture(name="ports")
def fixture_ports():
    return Ports()


@pytest.fixture(name="daemon")
def fixture_daemon(make_daemon, ports):
    return make_daemon(GetPortProps=ports.answer)


def has(*rows):
    """A screen that shows a table of these rows, regular expressions in which
    one blank stands for many, and nothing else."""
    def condition(screen):
        table = [re.sub(" +", " ", line) for line in screen]
        return (len(table) == len(rows) + 2 and table[-1] == ""
                and table[0].split() == HEADINGS
                and all(map(re.fullmatch, rows, table[1:])))
    return condition


LISTED = has(" 2 door input active open 0 -",
             " 3 lamp output inactive closed 0 -")


@pytest.fixture(name="watch")
def fixture_watch(daemon, start_on_terminal):
    """watch(words..., **options): a terminal with the table of all ports."""
    def start(*words, **options):
        assert not daemon.calls
        terminal = start_on_terminal("watch", *words, **options)
        terminal.wait_for(LISTED)
        return terminal
    return start


def test_table_is_updated_in_place(watch, daemon):
    terminal = watch()
    daemon.port_changed(3, True)
    terminal.wait_for(has(
        " 2 door .*", rf"\* 3 lamp input active open 1 {CLOCK}"))
    daemon.sequence_done(3)
    terminal.wait_for(has(
        " 2 door .*",
        rf"\* 3 lamp input active open 2 {CLOCK} sequence done"))
    assert "\x1b[32mactive\x1b[0m" in terminal.text
    assert terminal.interrupt() == 0


def test_ports_asked_for_are_shown(daemon, start_on_terminal):
    terminal = start_on_terminal("watch", "lamp", "--count", "1")
    terminal.wait_for(has(" 3 lamp output inactive closed 0 -"))
    daemon.port_changed(2, True)
    daemon.port_changed(3, True)
    assert terminal.wait() == 0
    assert has(rf"\* 3 lamp input active open 1 {CLOCK}")(terminal.screen)


def test_ports_that_are_dropped_and_come_back_are_followed(watch, ports):
    terminal = watch()
    ports.listed = [DOOR]
    terminal.wait_for(has(
        " 2 door input active open 0 -", " 3 lamp - absent - 0 -"))
    ports.listed = [LAMP, DOOR]
    terminal.wait_for(LISTED)
    assert terminal.interrupt() == 0


def test_daemon_that_vanishes_is_waited_for(watch, daemon):
    terminal = watch()
    daemon.vanish()
    terminal.wait_for(has(" 2 door - - - 0 -", " 3 lamp - - - 0 -", AWAY))
    daemon.appear()
    terminal.wait_for(LISTED)
    assert terminal.interrupt() == 0


def test_daemon_that_is_not_there_yet_is_waited_for(start_on_terminal, ports,
                                                    make_daemon):
    terminal = start_on_terminal("watch")
    terminal.wait_for(has(
        "the port daemon is not running; waiting for it"))
    make_daemon(GetPortProps=ports.answer)
    terminal.wait_for(LISTED)
    assert terminal.interrupt() == 0


def test_table_is_cut_to_the_window(watch):
    terminal = watch()
    terminal.resize(20)
    terminal.wait_for(lambda screen: len(screen) == 4
                      and screen[0] == "   NUMBER  NAME  DIR")
    assert terminal.screen == ["   NUMBER  NAME  DIR", "   2       door  inp",
                               "   3       lamp  out", ""]
    terminal.resize(20, rows=3)
    terminal.wait_for(lambda screen: len(screen) == 3)
    assert terminal.screen == ["   NUMBER  NAME  DIR", "2 more ports, no roo",
                               ""]
    terminal.resize(80)
    terminal.wait_for(LISTED)
    assert terminal.interrupt() == 0


def test_what_was_typed_below_the_table_is_gone_at_the_end(watch):
    terminal = watch()
    terminal.type("^C")
    assert terminal.interrupt() == 0
    assert terminal.text.endswith("^C" + terminal.text[
        terminal.text.rindex("\r\x1b[3A\x1b[J"):])
    assert LISTED(terminal.screen)


@pytest.mark.parametrize("options, end", [
    ([], lambda terminal: terminal.process.terminate()),
    (["--for", "0.3"], lambda terminal: None)])
def test_terminal_is_left_as_it_was(watch, options, end):
    """Nothing but colours, which are reset, is ever switched: no cursor is
    hidden, no other screen shown."""
    terminal = watch(*options)
    end(terminal)
    assert terminal.wait() == 0
    codes = set(re.findall(r"\x1b\[?[^a-zA-Z]*[a-zA-Z]", terminal.text))
    assert all(re.fullmatch(r"\x1b\[(\d*m|\d+A|J)", code) for code in codes)
    assert re.findall(r"\x1b\[\d*m", terminal.text)[-1] == "\x1b[0m"
    assert terminal.text.endswith("\r\n")
    assert LISTED(terminal.screen)


def test_no_color_leaves_the_table_without_colours(watch):
    terminal = watch(env={"NO_COLOR": "1"})
    assert terminal.interrupt() == 0
    assert not re.search(r"\x1b\[\d*m", terminal.text)


@pytest.mark.parametrize("options, env", [
    (["--json"], {}), (["--lines"], {"NO_COLOR": "1"}),
    ([], {"TERM": "dumb", "NO_COLOR": "1"})])
def test_lines_are_written_where_they_are_asked_for(
        daemon, start_on_terminal, options, env):
    terminal = start_on_terminal("watch", "--count", "1", *options, env=env)
    daemon.wait_for_calls("GetPortProps")
    daemon.port_changed(3, True)
    assert terminal.wait() == 0
    assert re.fullmatch(r"[^\x1b\r\n]*lamp[^\x1b\r\n]*\r\n", terminal.text)


def test_unknown_port_ends_it(daemon, start_on_terminal):
    terminal = start_on_terminal("watch", "99")
    assert terminal.wait() == 1
    assert daemon.count("GetPortProps") == 1
    assert terminal.screen == [
        'orvadctl: there is no port "99"; "orvadctl list" shows the numbers '
        "and names", ""]


def test_answer_that_does_not_come_is_told_below_the_table(
        make_daemon, start_on_terminal):
    answers = iter([Answer(2, [LAMP, DOOR])])
    make_daemon(GetPortProps=lambda: next(answers, None))
    terminal = start_on_terminal("watch", "--timeout", "0.05")
    terminal.wait_for(has(
        " 2 door input active open 0 -", " 3 lamp output inactive closed 0 -",
        "the port daemon does not answer; .*"))
    assert terminal.interrupt() == 0
