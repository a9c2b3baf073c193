"""What an IO box's monitor should not say, and who should not speak for it."""

import contextlib
import time

import pytest
from gi.repository import GLib

from bus_client import STATE, Client
from iobox_support import (CLOSED, INPUT, Reports, box_port, every_kind,
                           fixture_serve_box, unrecognized)
from lifecycle_support import told
from peers import fixture_offer
from waiting import wait_until

A_SECOND = 1.0
"""What the same complaint is kept back for."""
WRONG_SIGNALS = [
    ("()",), ("(i)", INPUT), ("(s)", "open"), ("(si)", "open", INPUT),
    ("(us)", INPUT, "open"), ("(isi)", INPUT, "open", 0),
    ("(iv)", INPUT, GLib.Variant("s", "open")), ("((is))", (INPUT, "open"))]


def ignored(signature):
    return f"WARNING Ignoring IOStateChanged of type {signature}"


def test_signals_of_another_kind_are_ignored(serve_box):
    """Those of another type with a warning of each, which every port hears and
    which is told once."""
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    iobox = service.iobox
    for member in ("IOStateChange", "iostatechanged", "StateChanged"):
        iobox.emit(member, "(is)", INPUT, "open")
    iobox.emit("IOStateChanged", "(is)", INPUT, "open",
               path="/com/vexa/IOBoxMonitor/1")
    iobox.emit("IOStateChanged", "(is)", INPUT, "open",
               interface="com.vexa.IOBox")
    assert service.complaints() == []
    for wrong in WRONG_SIGNALS:
        iobox.emit("IOStateChanged", *wrong)
    assert reports.take() == []
    assert service.call("GetState", INPUT) is True
    counts = told(service.complaints())
    assert list(counts) == [
        ignored(signature) for signature, *_ in WRONG_SIGNALS]
    # The last one is still counted.
    assert set(list(counts.values())[:-1]) == {len(CLOSED)}
    iobox.change(INPUT, "open")
    assert reports.take() == [(INPUT, False)]


FLOODS = pytest.mark.parametrize("wrong, complaint, count", [
    (("(s)", "open"), ignored("(s)"), len(CLOSED)),
    (("(is)", INPUT, "ajar"), unrecognized("ajar"), 1)], ids=["type", "word"])
"""A signal, what is said of it, and how many ports say so."""


@FLOODS
def test_flood_is_complained_of_once_a_second(serve_box, wrong, complaint,
                                              count):
    begin = time.monotonic()
    service = serve_box({**CLOSED, INPUT: "ajar"}, *every_kind())
    for _ in range(300):
        service.iobox.emit("IOStateChanged", *wrong)
    service.settle()
    assert service.call("GetState", INPUT) is False
    lines = [line for line in service.complaints() if complaint in line]
    # Of each second one, and one that counts.
    seconds = 1 + (time.monotonic() - begin) // A_SECOND
    assert 1 <= len(lines) <= 2 * seconds
    assert told(lines)[complaint] <= 1 + 300 * count


@FLOODS
def test_what_was_left_out_is_told_once_all_is_well(serve_box, wrong,
                                                    complaint, count):
    """With a good signal that comes after the second is over."""
    service = serve_box(CLOSED, *every_kind())
    for _ in range(10):
        service.iobox.emit("IOStateChanged", *wrong)

    def all_is_told():
        service.iobox.change(INPUT, "closed")
        service.settle()
        return told(service.complaints())[complaint] == 10 * count
    wait_until(all_is_told, "what was left out")
    assert service.complaints()[-1].startswith(f"{complaint} (repeated ")


def test_strangers_are_not_believed(serve_box):
    """Whether everybody hears them or the daemon alone, with the monitor there
    and without it."""
    service = serve_box(CLOSED, *every_kind())
    reports = Reports(service)
    with contextlib.closing(Client(service.box.bus_address)) as stranger:
        def lie():
            for to in (None, STATE):
                service.iobox.emit("IOStateChanged", "(is)", INPUT, "open",
                                   by=stranger, to=to)
        lie()
        assert reports.take() == []
        service.iobox.vanish()
        service.settle()
        lie()
        assert reports.take() == []
        assert service.call("GetState", INPUT) is True
        service.iobox.appear()
        lie()
        assert reports.take() == []
    # The monitor itself may tell the daemon alone.
    service.iobox.emit("IOStateChanged", "(is)", INPUT, "open", to=STATE)
    assert reports.take() == [(INPUT, False)]


def test_words_of_any_length_are_survived(serve_box):
    long = "ä%n%s" * 20000
    service = serve_box({INPUT: "closed"}, box_port(INPUT))
    reports = Reports(service)
    service.iobox.change(INPUT, long)
    assert reports.take() == [(INPUT, False)]
    assert service.complaints() == [unrecognized(long)]
