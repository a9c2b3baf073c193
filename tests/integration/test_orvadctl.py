"""The command-line client and the real daemon."""

import json
import re

import pytest

from orvadctl_support import fixture_program, fixture_start_on
from ports_support import HOUR, changed, fixture_serve, key, event, port

IN, LAMP, BOTH, TRIGGER, BARE = 1, 2, 3, 4, 5
PORTS = [
    port("door", "input", IN, names={"input": "Front\n door"},
         defaults={"usage": "Contact"}, events=[event("IOPort")]),
    port("lamp", "output", LAMP, names={"output": "Lämp"}),
    port("both", "io_ctrl", BOTH, defaults={"dir": "input"},
         properties={"ioport": "true", "hidden": "true"}),
    port("trigger", "output", TRIGGER, backend="virtual",
         properties={"virtual": "true"}, events=[event(
             "com.vexa.Event.Qel.ManualTrigger",
             key("port", 1, "int"),
             key("state", "PORT_STATUS", "bool", is_property=True))]),
    port("bare", "output", BARE, properties={}),
]


@pytest.fixture(name="service")
def fixture_service(serve):
    return serve(*PORTS)


@pytest.fixture(name="orvadctl")
def fixture_orvadctl(program, service):
    """orvadctl(words...): the output of a run that has to succeed."""
    def run(*words):
        result = program.run(service.box.bus_address, *words)
        assert (result.returncode, result.stderr) == (0, "")
        return result.stdout
    return run


@pytest.fixture(name="refused")
def fixture_refused(program, service):
    """refused(words...): the error of a run that has to fail."""
    def run(*words):
        result = program.run(service.box.bus_address, *words)
        assert (result.returncode, result.stdout) == (1, "")
        return result.stderr
    return run


@pytest.fixture(name="follow")
def fixture_follow(serve, start_on):
    """follow(words...): a daemon, of PORTS unless told otherwise, and a client
    that has listened from before the daemon was there."""
    def begin(*words, ports=PORTS):
        clients = []

        def prepare(box):
            box.start_bus()
            clients.append(start_on(box.bus_address, *words))
            assert re.search("not running|false", clients[0].line())
        service = serve(*ports, prepare=prepare)
        assert re.search("is there|true", clients[0].line())
        return service, clients[0]
    return begin


def test_list_shows_the_daemon_s_ports(orvadctl):
    lines = [re.split("  +", line) for line in orvadctl("list").splitlines()]
    assert lines == [
        ["NAME", "NUMBER", "KIND", "DIRECTION", "STATE", "ACTIVE-LEVEL",
         "PROPERTIES"],
        ["bare", "5", "output", "output", "inactive", "closed"],
        ["trigger", "4", "virtual", "output", "inactive", "closed", "virtual"],
        ["both", "3", "configurable", "input", "inactive", "closed",
         lines[3][6]],
        ["lamp", "2", "output", "output", "inactive", "closed", "ioport"],
        ["door", "1", "input", "input", "inactive", "closed", "ioport"],
    ]
    assert sorted(lines[3][6].split()) == ["hidden", "ioport"]


def test_get_shows_the_daemon_s_settings(service, orvadctl):
    service.call("SetActive", IN, True, "open")
    shown = json.loads(orvadctl("get", "door", "--json"))
    assert shown.pop("supervisable") is False
    assert shown.pop("supervised") is False
    assert shown.pop("line") is None
    assert shown == {
        "number": IN, "name": "door", "kind": "input", "direction": "input",
        "active": service.call("GetState", IN), "active_level": "open",
        "properties": {"ioport": True}, "input_name": "Front\n door",
        "output_name": "", "input_active_level": "open",
        "output_active_level": "closed", "usage": "Contact"}


def test_names_are_listed(orvadctl):
    ports = json.loads(orvadctl("list", "--names", "--json"))["ports"]
    names = {entry["name"]: (entry["input_name"], entry["output_name"])
             for entry in ports}
    assert names["door"] == ("Front\n door", "")
    assert names["lamp"] == ("", "Lämp")
    assert names["trigger"] == (None, None)


def test_set_drives_an_output(service, orvadctl):
    orvadctl("set", "lamp", "on")
    assert service.call("GetState", LAMP) is True
    orvadctl("set", str(LAMP), "off")
    assert service.call("GetState", LAMP) is False


@pytest.mark.parametrize("words, number", [
    (["trigger"], TRIGGER), (["--virtual", "door"], IN)])
def test_set_simulates(service, orvadctl, words, number):
    signals = service.record()
    assert "(simulated)" in orvadctl("set", *words, "on")
    signals.wait_for(lambda signal: signal.args == changed(
        number, True, virtual=number == TRIGGER, is_input=number == IN,
        virtual_trig=True))


@pytest.mark.parametrize("words, error", [
    (["set", "door", "on"], "port 1 (door): Port not output."),
    (["pulse", "both", "10"], "port 3 (both): Port not output."),
    (["set", "bare", "on"], "port 5 (bare) cannot be reached: it is neither a "
                            "real port nor a virtual one"),
    (["get", "6"], 'there is no port "6"; "orvadctl list" shows the numbers '
                   "and names"),
])
def test_refusals_are_told(refused, words, error):
    assert refused(*words) == f"orvadctl: {error}\n"


def test_pulse_plays_its_steps_and_waits(service, orvadctl):
    signals = service.record()
    assert orvadctl("pulse", "lamp", "5", "5", "5") == \
        "port 2 (lamp): sequence done\n"
    signals.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert [signal.args for signal in signals.signals] == [
        *(changed(LAMP, state) for state in (True, False, True, False)),
        (LAMP,)]


def test_pulse_simulates_on_a_virtual_port(service, orvadctl):
    signals = service.record()
    assert json.loads(orvadctl("pulse", "trigger", "0", "--json"))["done"]
    signals.wait_for(lambda signal: signal.member == "ActionSequenceDone")
    assert [args[4:6] for args in signals.args[:-1]] == [(True, True),
                                                         (True, False)]


def test_shortest_pulses_are_never_missed(orvadctl):
    for _ in range(50):
        assert orvadctl("pulse", "lamp", "0") == \
            "port 2 (lamp): sequence done\n"


def test_pulse_ends_with_a_sequence_that_is_ended_early(service, start_on):
    signals = service.record()
    client = start_on(service.box.bus_address, "pulse", "lamp", str(HOUR))
    signals.wait_for(lambda signal: signal.args == changed(LAMP, True))
    service.call("SetActive", LAMP, False, "open")
    assert client.finish() == "port 2 (lamp): sequence done\n"
    assert client.status == 0


def test_busy_port_is_told(service, refused):
    service.start_sequence(LAMP, (True, HOUR))
    assert refused("pulse", "lamp", "1") == \
        "orvadctl: port 2 (lamp): The port is busy.\n"


@pytest.mark.parametrize("number", [-7, -1])
def test_port_of_negative_number_is_driven(serve, program, number):
    service = serve(port("low", "output", number))
    bus = service.box.bus_address
    on_bus = number % 2**32

    def run(command, *words):
        result = program.run(bus, command, "--", str(number), *words)
        assert (result.returncode, result.stderr) == (0, "")
        return result.stdout

    assert f"Number:           {number}\n" in run("get")
    assert run("set", "on") == f"port {number} (low): active\n"
    assert service.call("GetState", on_bus) is True
    assert run("set", "off") == f"port {number} (low): inactive\n"
    assert service.call("GetState", on_bus) is False
    assert run("pulse", "5") == f"port {number} (low): sequence done\n"


def test_watch_shows_a_port_of_negative_number(follow):
    service, client = follow("watch", "--", "-7", ports=[
        port("low", "output", -7), port("lamp", "output", LAMP)])
    service.call("SetState", LAMP, True)
    service.call("SetState", -7 % 2**32, True)
    assert client.line().split(" ", 2)[2] == (
        "port -7 (low): active, output, active level closed")
    assert (client.interrupt(), client.errors) == (0, "")


def test_watch_shows_changes(follow):
    service, client = follow("watch", "lamp", "both")
    service.call("SetVirtual", IN, True)
    service.call("SetState", LAMP, True)
    service.start_sequence(LAMP, (False, 0))
    # The end of a sequence comes from a thread of its own.
    shown = [client.line().split(" ", 2)[2] for _ in range(3)]
    service.call("SetVirtual", BOTH, True)
    shown.append(client.line().split(" ", 2)[2])
    assert shown == [
        "port 2 (lamp): active, output, active level closed",
        "port 2 (lamp): inactive, output, active level closed",
        "port 2 (lamp): sequence done",
        "port 3 (both): active, input, active level closed, simulated, "
        "hidden port"]
    assert (client.interrupt(), client.errors) == (0, "")


def test_watch_outlives_the_daemon(follow):
    service, client = follow("watch", "--json")
    service.call("SetState", LAMP, False)
    service.call("SetState", LAMP, True)
    assert json.loads(client.line())["name"] == "lamp"
    service.restart()
    assert [json.loads(client.line())["running"] for _ in range(2)] == [
        False, True]
    service.call("SetState", LAMP, True)
    assert json.loads(client.line())["name"] == "lamp"
    assert (client.interrupt(), client.errors) == (0, "")


def test_watch_tells_that_the_bus_is_gone(follow):
    service, client = follow("watch")
    service.box.stop_bus()
    service.daemon.wait()
    assert client.finish() == ""
    assert client.status == 1
    assert client.errors == ("orvadctl: the system bus went away; try again "
                             "once it is back\n")


def test_events_shows_the_live_declarations_first(service, start_on):
    client = start_on(service.box.bus_address, "events")
    shown = sorted(client.line().split(" ", 4)[4] for _ in range(2))
    assert shown == [
        "live tns1:Device/tnsvexa:IO/tnsvexa:Port port=1 "
        r"(Front\n door) [state: state]",
        "live tns1:Device/tnsvexa:IO/tnsvexa:VirtualPort port=1 "
        "[state: state] [type: com.vexa.Event.Qel.ManualTrigger]",
    ]
    service.call("SetVirtual", IN, True)
    assert client.line().split(" ", 4)[4] == (
        "event tns1:Device/tnsvexa:IO/tnsvexa:Port port=1 state=true")
    assert (client.interrupt(), client.errors) == (0, "")


def test_events_shows_withdrawals(service, start_on):
    client = start_on(service.box.bus_address, "events", "--json", "--count",
                      "2")
    live = [json.loads(client.line()) for _ in range(2)]
    door, = [line for line in live if line["event_type"] == ""]
    service.call("SetName", IN, True, "Back door")
    withdrawn, declared = map(json.loads, client.finish().splitlines())
    assert client.status == 0
    assert (withdrawn["type"], withdrawn["id"]) == ("undeclared", door["id"])
    assert withdrawn["topic"] == door["topic"]
    assert declared["type"] == "declared"
    assert declared["nice_names"]["port"]["value"] == "Back door"


def next_topics(client, count):
    """The topics of that many declarations, live ones or new ones."""
    topics = set()
    while len(topics) < count:
        line = json.loads(client.line())
        if line["type"] in ("live", "declared"):
            topics.add(line["topic"])
    return topics


def next_presence(client):
    """Whether the service is there, when that changes next."""
    while (line := json.loads(client.line()))["type"] != "presence":
        pass
    return line["running"]


def test_events_outlives_the_daemon(follow):
    service, client = follow("events", "--json")
    topics = next_topics(client, 2)
    service.restart()
    assert next_presence(client) is False
    assert next_presence(client) is True
    assert next_topics(client, 2) == topics
    assert (client.interrupt(), client.errors) == (0, "")
