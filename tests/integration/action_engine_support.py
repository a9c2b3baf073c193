"""A daemon beside an action engine, for the tests of its templates."""

import pytest

from bus_client import BusError
from lifecycle_support import complaints
from peers import ActionEngine
from ports_support import port

FIXED = "com.vexa.action.fixed.io.toggle"
UNLIMITED = "com.vexa.action.unlimited.io.toggle"
FILES = {FIXED: "/etc/orvad/actions/com.vexa.action.fixed.io.toggle.xml",
         UNLIMITED:
             "/etc/orvad/actions/com.vexa.action.unlimited.io.toggle.xml"}
OF_OTHERS = {"com.example.siren": "/usr/share/siren.xml"}

LIST, ADD, REMOVE = "List", "AddFromFile", "Remove"
LISTED = (LIST,)
ADDED = [(ADD, file) for file in FILES.values()]
REMOVED = [(REMOVE, name) for name in FILES]

BROKEN = BusError("com.example.Error", "100%s\nbroken%n")
BROKEN_TEXT = f"GDBus.Error:{BROKEN.name}: {BROKEN.message}"
NOT_LISTED = "WARNING Could not retrieve the template list: "

LAMP = port("lamp", "output", 0, optional=True)
DOOR = port("door", "input", 1, optional=True)


def templates(*names):
    """The engine's, with some of ours among them."""
    return {**OF_OTHERS, **{name: FILES[name] for name in names}}


class Registered:
    """A daemon and the engine that it has brought up to date."""

    def __init__(self, service, engine):
        self.service = service
        self.engine = engine
        self._seen = 0
        self._logged = 0

    def settle(self, lists=0):
        """On return, the daemon has been told of whatever the engine did, and
        the updates that were due are over: that many lists in all."""
        self.engine.wait_for_calls(LIST, lists)
        self.service.call("GetNbrPorts")

    def calls(self):
        """What was called since the last time: (method, arguments...)."""
        new = self.engine.calls[self._seen:]
        self._seen += len(new)
        return [(call.member, *call.args) for call in new]

    def warnings(self):
        """What the daemon complained of since the last time."""
        text = "\n".join(complaints(self.service.daemon))
        new, self._logged = text[self._logged:], len(text)
        return new.strip("\n")

    def after(self, action, lists=1):
        """The calls that an action leads to, so many lists among them."""
        lists += self.engine.count(LIST)
        action()
        self.settle(lists)
        return self.calls()

    def drop(self, *names):
        assert self.service.call("DropIOPorts", names) == list(names)

    def refresh(self):
        self.service.call("RefreshIOPorts")


@pytest.fixture(name="register")
def fixture_register(serve, offer):
    """register(port, ..., templates=...): a daemon and an engine that was
    there before it, after the first update. appear=False: an engine that is
    not there yet."""
    def register(*ports, templates=None, appear=True, prepare=None, **options):
        engines = []

        def meet(box):
            if prepare is not None:
                prepare(box)
            box.start_bus()
            engines.append(offer(box, ActionEngine, templates, appear=appear))
        service = serve(*ports, prepare=meet, **options)
        both = Registered(service, engines[0])
        both.settle(1 if appear else 0)
        return both
    return register
