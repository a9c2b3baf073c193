"""A daemon whose ports are wired to a simulated board."""

import contextlib

import pytest

from board import Board
from ports_support import Service, configuration, gpio_port

BUTTON, DOOR, SIREN, FEEDBACK, OUT, IN, CONTROL, HELD = range(17, 25)
"""Numbers of the board's lines."""

BOARD = f"""
[Board]
Name=Test board
Group=64124
[Chip gpiochip0]
Base=0
Lines=64
[Line button]
Number={BUTTON}
Wiring=button
Idle=low
[Line door]
Number={DOOR}
Wiring=door contact
[Line siren]
Number={SIREN}
Wiring=relay
[Line feedback]
Number={FEEDBACK}
Follows=siren
[Line out]
Number={OUT}
[Line in]
Number={IN}
[Line control]
Number={CONTROL}
Wiring=control
[Line held]
Number={HELD}
Exported=firmware
"""


def button(**options):
    return gpio_port("button", "input", 0, input={"pin": BUTTON}, **options)


def siren(*, inverted=False, **options):
    return gpio_port("siren", "output", 1, output={
        "pin": SIREN, **({"inverted": "true"} if inverted else {})}, **options)


def configurable(**options):
    return gpio_port("both", "io_ctrl", 2, input={"pin": IN},
                     output={"pin": OUT}, io_ctrl={"pin": CONTROL}, **options)


class Wired(Service):
    """A service with its board."""

    def __init__(self, box, connect, board, argv=()):
        self.board = board
        super().__init__(box, connect, argv)

    def exported(self):
        """The numbers of the lines that are exported now."""
        return sorted(self.board.exported())

    def value_files(self):
        """The lines whose values the daemon has open, as folders."""
        return sorted(path.split("/")[-2] for path in self.descriptors()
                      if path.startswith("/sys/class/gpio/"))

    def writes(self, since=0):
        """What the daemon has done to lines: (name, what, value)."""
        return [(change.name, change.what, change.value)
                for change in self.board.history(since)
                if change.actor != "board"]


@pytest.fixture(name="boards")
def fixture_boards(build):
    """boards(text): a board that outlives the sandboxes of the test."""
    with contextlib.ExitStack() as stack:
        yield lambda text=BOARD: stack.enter_context(Board(build, text))


@pytest.fixture(name="wire")
def fixture_wire(boards, make_sandbox, connect):
    """wire(port, ..., text=board file, **sandbox options): a running daemon on
    a board. Before its start, unplugged are, held are buttons, faults, as
    (line, error, use) each, happen, and types are event types, name -> text."""
    def wire(*ports, text=BOARD, unplugged=(), held=(), faults=(), types=None,
             argv=(), **options):
        board = boards(text)
        for name in held:
            board.hold(name)
        for what in unplugged:
            board.unplug(what)
        for fault in faults:
            board.fail(*fault)
        box = make_sandbox(config=configuration(*ports), binds=board.binds,
                           **options)
        for name, definition in (types or {}).items():
            (box.share / f"event-types/{name}.conf").write_text(definition)
        return Wired(box, connect, board, argv)
    return wire
