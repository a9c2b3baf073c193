"""Ports for some boards only, and the service that knows the board."""

import contextlib

import pytest
from gi.repository import GLib

from lifecycle_support import (
    HardwareId, Host, answer_with, complaints, config, listed_names, log_lines,
    port)

LAMP = port("lamp", 0)
DOOR = port("door", 1, "input")
UNKNOWN_BOARD = "WARNING Could not get the hardware id"


def for_board(prefixes, element):
    """The port element, for boards with such ids only."""
    return element.replace("<port ", f'<port hwid="{prefixes}" ', 1)


def board_starts(box, make_answer, **options):
    """Starts the daemon beside a service for the hardware id. The service,
    the ports served, the daemon."""
    box.start_bus()
    with contextlib.closing(Host(box.bus_address)) as host:
        service = HardwareId(host, make_answer, **options)
        daemon = host.start(box)
        return service, listed_names(host), daemon


@pytest.mark.parametrize("prefixes, there", [
    ("7A1", True), ("7", True), ("B:7A", True), ("7A1.5", False),
    ("B:C", False), ("B::C", True), ("B:", True), ("7a", False),
])
def test_port_is_there_on_its_boards_only(make_sandbox, prefixes, there):
    box = make_sandbox(config=config(
        LAMP, for_board(prefixes, DOOR), port("last", 2)))
    _, ports, daemon = board_starts(box, answer_with("(s)", "7A1"))
    assert ports == (["last", "door", "lamp"] if there else ["last", "lamp"])
    daemon.stop()
    assert complaints(daemon) == []


def test_hardware_id_is_asked_for_once_per_file(make_sandbox):
    box = make_sandbox(
        config=config(for_board("7", LAMP), for_board("8", DOOR)),
        dropins={"more.xml": config(for_board("7", port("more", 2)),
                                    for_board("7", port("last", 3)))})
    service, ports, _ = board_starts(box, answer_with("(s)", "7A1"))
    assert ports == ["last", "more", "lamp"]
    assert service.asked == [("HWID",), ("HWID",)]


def test_files_without_restricted_ports_ask_for_nothing(make_sandbox):
    box = make_sandbox(config=config(LAMP))
    service, ports, _ = board_starts(box, answer_with("(s)", "7A1"))
    assert ports == ["lamp"]
    assert service.asked == []


def test_port_for_no_board_in_particular_is_taken_with_a_warning(make_sandbox):
    box = make_sandbox(config=config(for_board("", LAMP)))
    _, ports, daemon = board_starts(box, answer_with("(s)", "7A1"))
    daemon.stop()
    assert ports == ["lamp"]
    assert complaints(daemon) == [UNKNOWN_BOARD]


def error_reply(invocation):
    invocation.return_dbus_error("com.example.Error", "no boot block")


def wrong_reply(signature, value):
    """An answer of another type, and how the service has to declare it."""
    return (answer_with(f"({signature})", value), signature)


@pytest.mark.parametrize("answer, reply", [
    (error_reply, "s"), wrong_reply("i", 7), wrong_reply("as", ["7A1"]),
    wrong_reply("v", GLib.Variant("s", "7A1")),
], ids=["error", "number", "list", "variant"])
def test_unknown_hardware_id_accepts_every_port(make_sandbox, answer, reply):
    box = make_sandbox(
        config=config(for_board("8", LAMP), for_board("9", DOOR)))
    service, ports, daemon = board_starts(box, answer, reply=reply)
    daemon.stop()
    assert ports == ["door", "lamp"]
    assert len(service.asked) == 1
    assert complaints(daemon) == [UNKNOWN_BOARD] * 2
    assert sum(line.startswith("Failed to request policykit system: ")
               for line in log_lines(daemon, "INFO")) == 1


def test_error_of_the_hardware_id_s_service_is_logged(make_sandbox):
    box = make_sandbox(config=config(for_board("8", LAMP)))
    _, _, daemon = board_starts(box, error_reply)
    (line,) = (line for line in log_lines(daemon, "INFO")
               if line.startswith("Failed to request policykit system: "))
    assert line.endswith("no boot block")


def test_absent_service_accepts_every_port_with_one_line_per_file(
        make_sandbox, connect):
    box = make_sandbox(
        config=config(for_board("8", LAMP), for_board("9", DOOR)))
    daemon = box.start()
    assert listed_names(connect(box)) == ["door", "lamp"]
    daemon.stop()
    assert complaints(daemon) == [UNKNOWN_BOARD] * 2
    assert sum(line.startswith("Failed to request policykit system: ")
               for line in log_lines(daemon, "INFO")) == 1


def test_hardware_id_without_a_bus_accepts_every_port(make_sandbox):
    box = make_sandbox(with_bus=False, config=config(
        for_board("8", LAMP), for_board("9", port("gone", 1, "input", "check",
                                                  items='setup="fail"'))))
    daemon = box.start()
    daemon.wait_for_output("Cannot reach the system bus")
    daemon.stop()
    printed = complaints(daemon)
    assert printed[0].startswith("USER Failed to setup proxy: ")
    assert printed[1:4] == [
        UNKNOWN_BOARD, UNKNOWN_BOARD,
        "USER Setup failed for port 1, removing from list"]
