"""Events as the event library shows them, and event types of the tests' own."""

import pytest

from ports_support import event, port as port_without_names

MANUAL_TRIGGER = "com.vexa.Event.Qel.ManualTrigger"
IOPORT_EVENT = event("IOPort")
PORT_ANY = event("PortAny")

TOPICS = {"topic0": "Device", "topic1": "IO", "topic2": "Port"}
NAMESPACES = {"topic0": "tns1", "topic1": "tnsvexa", "topic2": "tnsvexa"}
TAGS = {"port": ["onvif-source"], "state": ["onvif-data"]}

# An event type of the tests' own, with a key of every kind.
ALARM = "com.example.Alarm"
ALARM_TYPE = f"""
[Event Type]
Name={ALARM}
[Key topic0]
Type=string
Value=Alarms
Namespace=tns1
KeyNiceName=Topic
ValueNiceName=All alarms
[Key number]
Type=int
Tags=source;index
[Key level]
Type=double
[Key on]
Type=bool
Tags=data
[Key text]
Type=string
"""


def port(*args, **options):
    """As in ports_support, but with names: a name that is made up during the
    start has the events declared earlier."""
    return port_without_names(
        *args, **{"names": {"input": "In", "output": "Out"}, **options})


def described(number, name):
    """The description of a digital port's declaration."""
    return {
        "type": "", "property": "state", "keys": {"port": number, **TOPICS},
        "nice-names": {"port": ("Port", name), "state": ("Active", ""),
                       "topic0": ("", ""), "topic1": ("", "Input ports"),
                       "topic2": ("", "Digital input port")},
        "namespaces": NAMESPACES, "tags": TAGS,
    }


def sent(number, state):
    """The values of a digital port's event."""
    return {"port": number, "state": state, **TOPICS}


class Events:
    """The event library's signals from now on, as (member, arguments)."""

    def __init__(self, service):
        self._service = service
        self._recorder = service.record_events()

    def take(self, *calls):
        """The signals that those calls, (method, argument, ...) each, cause.
        """
        for method, *args in calls:
            self._service.call(method, *args)
        self._service.settle_events()
        taken = [(signal.member, signal.args)
                 for signal in self._recorder.signals]
        self._recorder.signals.clear()
        return taken

    def wait_for(self, *signal):
        self._recorder.wait_for(
            lambda seen: (seen.member, seen.args) == signal)


def happened(declaration, values):
    return ("Event", (declaration, values))


def warnings(service):
    return [line.removeprefix("WARNING ")
            for line in service.log().splitlines()
            if line.startswith("WARNING ")]


@pytest.fixture(name="serve_types")
def fixture_serve_types(serve):
    """serve_types({type: definition}, port, ...): as serve(), with those event
    types."""
    def serve_types(types, *ports):
        def prepare(box):
            for name, text in types.items():
                (box.share / f"event-types/{name}.conf").write_text(text)
        return serve(*ports, prepare=prepare)
    return serve_types


def alarm(*keys, **attributes):
    return event(ALARM, *keys, **attributes)
