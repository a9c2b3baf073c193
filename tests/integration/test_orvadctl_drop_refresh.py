"""orvadctl drop and refresh, with mocks of the daemon."""

import json

import pytest

from mock_bus import STATE_XML, Answer, retyped
from orvadctl_mock_support import (PORTS, failure, fixture_bus,
                                   fixture_make_daemon, fixture_make_mock,
                                   fixture_run, fixture_start, output)
from orvadctl_support import fixture_program, fixture_start_on

OPTIONAL = ["lamp", "Tür\n\x1b[2J"]


@pytest.fixture(name="daemon")
def fixture_daemon(make_daemon):
    return make_daemon(DropIOPorts=lambda names: Answer(
        [name for name in names if name in OPTIONAL]))


def listings(*answers):
    """GetPortProps: these lists of ports, one after the other."""
    left = list(answers)

    def answer():
        ports = left.pop(0)
        return Answer(len(ports), ports)
    return answer


# ---- drop ----

def test_drop_is_one_call_and_tells_what_was_dropped(daemon, run):
    assert output(run("drop", "Tür\n\x1b[2J", "lamp")) == (
        '"Tür\\n\\x1b[2J": dropped\n"lamp": dropped\n')
    assert daemon.calls == [("DropIOPorts", (["Tür\n\x1b[2J", "lamp"],))]


def test_drop_tells_what_was_not_dropped_once_the_rest_is(daemon, run):
    result = run("drop", "3", "lamp", "no\x1b[2J", "3")
    assert (result.returncode, result.stdout) == (1, '"lamp": dropped\n')
    assert result.stderr == ("orvadctl: not dropped, unknown or not optional: "
                             '"3", "no\\x1b[2J"\n')
    assert daemon.count("DropIOPorts") == 1


def test_drop_of_nothing_that_can_be_dropped_fails(daemon, run):
    assert failure(run("drop", "3")) == (
        'not dropped, unknown or not optional: "3"')
    assert daemon.count("DropIOPorts") == 1


def test_drop_as_json_has_both(daemon, run):
    result = run("drop", "3", "lamp", "--json")
    assert json.loads(result.stdout) == {"dropped": ["lamp"],
                                         "not_dropped": ["3"]}
    assert (result.returncode, result.stderr) == (
        1, 'orvadctl: not dropped, unknown or not optional: "3"\n')
    assert json.loads(output(run("drop", "lamp", "-j"))) == {
        "dropped": ["lamp"], "not_dropped": []}
    assert daemon.count("DropIOPorts") == 2


def test_drop_of_a_port_named_twice_is_no_failure(make_daemon, run):
    # The second time there is no such port any more.
    make_daemon(DropIOPorts=Answer(["lamp"]))
    assert output(run("drop", "lamp", "lamp")) == '"lamp": dropped\n'


def test_name_that_no_port_can_have_is_not_sent(daemon, run):
    result = run("drop", b"\xff", "lamp", "")
    assert (result.returncode, result.stdout) == (1, '"lamp": dropped\n')
    assert result.stderr.endswith(r': "\xff", ""' + "\n")
    assert daemon.calls == [("DropIOPorts", (["lamp", ""],))]


def test_name_may_look_like_an_option(daemon, run):
    assert '"--json"' in failure(run("drop", "--", "--json"))
    assert daemon.calls == [("DropIOPorts", (["--json"],))]


def test_drop_is_told_the_bus_error(make_daemon, run):
    make_daemon(DropIOPorts=Answer(error=("com.vexa.Odd", "No.\n\x1b[2J")))
    assert failure(run("drop", "lamp")) == r"No.\n\x1b[2J"


# ---- refresh ----

def test_refresh_tells_what_came_into_service(make_daemon, run):
    daemon = make_daemon(GetPortProps=listings(PORTS[4:], PORTS[2:]),
                         RefreshIOPorts=Answer())
    assert output(run("refresh")) == (
        "port 3 (lamp): came into service\n"
        "port 2 (Tür\\n\\x1b[2J): came into service\n")
    assert [method for method, _ in daemon.calls] == [
        "GetPortProps", "RefreshIOPorts", "GetPortProps"]


def test_refresh_tells_that_nothing_came(make_daemon, run):
    daemon = make_daemon(RefreshIOPorts=Answer())
    assert output(run("refresh")) == "no port came into service\n"
    assert json.loads(output(run("refresh", "-j"))) == {"ports": []}
    assert daemon.count("RefreshIOPorts") == 2


def test_refresh_as_json_lists_the_ports_that_came(make_daemon, run):
    make_daemon(GetPortProps=listings(PORTS[3:], PORTS[2:]),
                RefreshIOPorts=Answer())
    assert json.loads(output(run("refresh", "--json"))) == {"ports": [{
        "number": 3, "name": "lamp", "kind": "output", "direction": "output",
        "active": False, "active_level": "open",
        "properties": {"ioport": True, "tampering": False}}]}


# ---- both ----

CALLS = [("DropIOPorts", ["drop", "lamp"]), ("RefreshIOPorts", ["refresh"])]


@pytest.mark.parametrize("method, words", CALLS)
def test_call_without_an_answer_is_told(make_daemon, run, method, words):
    make_daemon(**{method: None})
    assert "does not answer" in failure(run(*words, "--timeout", "1"))


@pytest.mark.parametrize("method, words", CALLS)
def test_daemon_that_ends_in_the_call_is_told(make_daemon, start, method,
                                              words):
    daemon = make_daemon(**{method: None})
    client = start(*words)
    daemon.wait_for_calls(method)
    daemon.disconnect()
    assert client.finish() == ""
    assert (client.status, client.errors) == (
        1, "orvadctl: the port daemon went away without an answer; try again "
           "once it is back\n")


@pytest.mark.parametrize("xml, method, words", [
    (retyped(STATE_XML, "DropIOPorts"), *CALLS[0]),
    (retyped(STATE_XML.replace('<method name="RefreshIOPorts"/>',
                               '<method name="RefreshIOPorts"></method>'),
             "RefreshIOPorts"), *CALLS[1])], ids=["drop", "refresh"])
def test_answer_of_another_type_is_told(make_daemon, run, xml, method, words):
    make_daemon(xml, **{method: Answer(0.5)})
    assert "(d)" in failure(run(*words))


def test_listing_that_fails_after_the_refresh_is_told(make_daemon, run):
    answers = [Answer(len(PORTS), PORTS),
               Answer(error=("com.vexa.Odd", "Not now."))]
    make_daemon(GetPortProps=lambda: answers.pop(0), RefreshIOPorts=Answer())
    assert failure(run("refresh")) == "Not now."
