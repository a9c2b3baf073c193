"""Ports for some boards only, and the service that knows the board."""

import pytest
from gi.repository import GLib

from bus_client import BusError
from lifecycle_support import (
    WITHOUT_LEGACY, complaints, config, ends_for_want_of_a_bus, listed_names,
    log_lines, port)
from peer import OWN, Reply
from peers import BootBlock, fixture_offer

LAMP = port("lamp", 0)
DOOR = port("door", 1, "input")
UNKNOWN_BOARD = "WARNING Could not get the hardware id"
NO_BOOT_BLOCK = BusError("com.example.Error", "no boot block")


def for_board(prefixes, element):
    """The port element, for boards with such ids only."""
    return element.replace("<port ", f'<port hwid="{prefixes}" ', 1)


@pytest.fixture(name="board_starts")
def fixture_board_starts(offer, connect):
    """board_starts(box): starts the daemon beside a service for the hardware
    id, "7A1" unless answer tells otherwise. The service, the ports served, the
    daemon."""
    def start(box, answer=OWN):
        box.start_bus()
        service = offer(box, BootBlock, "7A1")
        service.answers[BootBlock.READ] = answer
        daemon = box.start()
        return service, listed_names(connect(box)), daemon
    return start


@pytest.mark.parametrize("prefixes, there", [
    ("7A1", True), ("7", True), ("B:7A", True), ("7A1.5", False),
    ("B:C", False), ("B::C", True), ("B:", True), ("7a", False),
])
def test_port_is_there_on_its_boards_only(
        make_sandbox, board_starts, prefixes, there):
    box = make_sandbox(config=config(
        LAMP, for_board(prefixes, DOOR), port("last", 2)))
    _, ports, daemon = board_starts(box)
    assert ports == (["last", "door", "lamp"] if there else ["last", "lamp"])
    daemon.stop()
    assert complaints(daemon) == []


def test_hardware_id_is_asked_for_once_per_file(make_sandbox, board_starts):
    box = make_sandbox(
        config=config(for_board("7", LAMP), for_board("8", DOOR)),
        dropins={"more.xml": config(for_board("7", port("more", 2)),
                                    for_board("7", port("last", 3)))})
    service, ports, _ = board_starts(box)
    assert ports == ["last", "more", "lamp"]
    assert service.asked == ["HWID", "HWID"]


def test_files_without_restricted_ports_ask_for_nothing(
        make_sandbox, board_starts):
    box = make_sandbox(config=config(LAMP))
    service, ports, _ = board_starts(box)
    assert ports == ["lamp"]
    assert service.asked == []


def test_port_for_no_board_in_particular_is_taken_with_a_warning(
        make_sandbox, board_starts):
    box = make_sandbox(config=config(for_board("", LAMP)))
    _, ports, daemon = board_starts(box)
    daemon.stop()
    assert ports == ["lamp"]
    assert complaints(daemon) == [UNKNOWN_BOARD]


@pytest.mark.parametrize("answer", [
    NO_BOOT_BLOCK, Reply("(i)", 7), Reply("(as)", ["7A1"]),
    Reply("(v)", GLib.Variant("s", "7A1")), Reply("(ss)", "7A1", ""), Reply(),
], ids=["error", "number", "list", "variant", "two", "nothing"])
def test_unknown_hardware_id_accepts_every_port(
        make_sandbox, board_starts, answer):
    box = make_sandbox(
        config=config(for_board("8", LAMP), for_board("9", DOOR)))
    service, ports, daemon = board_starts(box, answer)
    daemon.stop()
    assert ports == ["door", "lamp"]
    assert len(service.asked) == 1
    assert complaints(daemon) == [UNKNOWN_BOARD] * 2
    assert sum(line.startswith("Failed to request policykit system: ")
               for line in log_lines(daemon, "INFO")) == 1


def test_error_of_the_hardware_id_s_service_is_logged(
        make_sandbox, board_starts):
    box = make_sandbox(config=config(for_board("8", LAMP)))
    _, _, daemon = board_starts(box, NO_BOOT_BLOCK)
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
    daemon = box.start(WITHOUT_LEGACY)
    daemon.wait_for_output("Cannot reach the system bus")
    daemon.stop()
    printed = complaints(daemon)
    assert printed[0].startswith("USER Failed to setup proxy: ")
    assert printed[1:4] == [
        UNKNOWN_BOARD, UNKNOWN_BOARD,
        "USER Setup failed for port 1, removing from list"]


def test_hardware_id_without_a_bus_is_not_what_ends_the_daemon(make_sandbox):
    box = make_sandbox(with_bus=False, config=config(for_board("8", LAMP)))
    first, second = ends_for_want_of_a_bus(box.start())
    assert first.startswith("USER Failed to setup proxy: ")
    assert second == UNKNOWN_BOARD
