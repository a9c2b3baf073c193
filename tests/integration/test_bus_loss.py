"""A system bus that is not there, that goes away, that never answers."""

import contextlib
import select
import signal
import socket

import pytest

from bus_client import STATE
from lifecycle_support import (
    WITHOUT_LEGACY, complaints, config, ends_for_want_of_a_bus, get_usage,
    listed_names, parameters, port, post_usage, set_usage, settle, sysfs_port)
from peer import NEVER
from peers import BootBlock, fixture_offer
from waiting import wait_until

LAMP = config(port("lamp", 0))
FOR_A_BOARD = LAMP.replace("<port ", '<port hwid="A" ')
WENT_AWAY = ["WARNING The system bus went away"]
UNANNOUNCED = (
    "USER orvad_g_dbus_common_emit_property_changed_signal Failed to emit "
    "configuration changed signal: The connection is closed")
"""The calls that had arrived are still carried out."""
PATIENCE = 5.0
"""Seconds in which a daemon that was told to end has to end."""


def no_bus(line):
    return line.startswith("WARNING Cannot reach the system bus: ")


# ---- no bus ----

def test_daemon_ends_without_a_bus(make_sandbox):
    box = make_sandbox(config=LAMP, with_bus=False)
    daemon = box.start()
    assert ends_for_want_of_a_bus(daemon) == []
    assert daemon.stderr() == ""
    assert parameters(box)["lamp"]["output_name"] == "Output 1"


def test_daemon_that_ended_without_a_bus_serves_once_there_is_one(
        make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    ends_for_want_of_a_bus(box.start_daemon())
    box.start()
    set_usage(connect(box), 0, "porch")


def test_daemon_lives_without_a_bus(make_sandbox):
    box = make_sandbox(config=LAMP, with_bus=False)
    daemon = box.start(WITHOUT_LEGACY)
    daemon.wait_for_output("Cannot reach the system bus: ")
    assert parameters(box)["lamp"]["output_name"] == "Output 1"
    assert daemon.stop(timeout=PATIENCE) == 0
    (line,) = complaints(daemon)
    assert no_bus(line)


def test_ports_are_polled_without_a_bus(make_sandbox):
    box = make_sandbox(with_bus=False, config=config(
        sysfs_port("latch", 0, "/run/latch", flags='clear_flag="true"')))
    latch = box.run / "latch"
    latch.write_text("0")
    daemon = box.start(WITHOUT_LEGACY)
    daemon.wait_for_output("Cannot reach the system bus: ")
    with open(latch, "r+b", buffering=0) as file:
        file.write(b"1")
    wait_until(lambda: latch.read_text() == "0", "the latch to be cleared")
    assert daemon.stop() == 0


def test_bus_that_comes_later_serves_the_next_start(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    daemon = box.start_daemon(WITHOUT_LEGACY)
    daemon.wait_for_output("Cannot reach the system bus: ")
    daemon.stop()
    box.start()
    set_usage(connect(box), 0, "porch")


# ---- a bus that goes away ----

def lose_bus(box):
    """Takes the bus away and waits for the daemon's end."""
    box.stop_bus()
    box.daemon.wait()


def test_bus_that_goes_away_ends_the_daemon_in_order(make_sandbox):
    box = make_sandbox(config=LAMP)
    daemon = box.start()
    lose_bus(box)
    assert complaints(daemon) == WENT_AWAY


def test_daemon_serves_again_after_a_lost_bus(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    box.start()
    client = connect(box)
    set_usage(client, 0, "porch")
    settle(client)
    lose_bus(box)
    box.start()
    assert get_usage(connect(box), 0) == "porch"


def test_bus_that_goes_away_ends_running_sequences(make_sandbox, connect):
    count = 20
    box = make_sandbox(config=config(
        *(port(f"lamp{n}", n) for n in range(count))))
    daemon = box.start()
    client = connect(box)
    for number in range(count):
        client.call("StartActionSequence", "(uba(bi))", (
            number, number % 2 == 1, [(True, 1_000_000), (False, 0)]))
    lose_bus(box)
    assert complaints(daemon) == WENT_AWAY


def test_bus_that_goes_away_during_fast_sequences(make_sandbox, connect):
    """The sequences announce changes while there is no bus to do it on."""
    count = 4
    box = make_sandbox(config=config(
        *(port(f"lamp{n}", n, backend="check") for n in range(count))))
    daemon = box.start()
    client = connect(box)
    changes = client.record("PortChanged")
    steps = [(True, 1), (False, 1)] * 1000
    for number in range(count):
        client.call("StartActionSequence", "(uba(bi))", (number, False, steps))
    changes.wait_for(lambda signal: signal.args[0] == count - 1)
    lose_bus(box)
    assert complaints(daemon) == WENT_AWAY


def test_bus_that_goes_away_during_calls_leaves_the_settings_whole(
        make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    daemon = box.start()
    client = connect(box)
    wanted = [str(n) for n in range(50)]
    for text in wanted:
        post_usage(client, 0, text)
    wait_until(lambda: parameters(box)["lamp"]["usage"] in wanted,
               "a change to be saved")
    lose_bus(box)
    assert [line for line in complaints(daemon)
            if line != UNANNOUNCED] == WENT_AWAY
    assert parameters(box)["lamp"]["usage"] in wanted


def test_bus_that_goes_away_and_a_termination_at_once(make_sandbox):
    box = make_sandbox(config=LAMP)
    daemon = box.start()
    daemon.send(signal.SIGSTOP)
    box.stop_bus()
    daemon.send(signal.SIGTERM)
    daemon.send(signal.SIGCONT)
    assert daemon.wait() == 0


def test_bus_that_goes_away_while_the_hardware_id_is_asked_for(make_sandbox,
                                                               offer):
    box = make_sandbox(config=FOR_A_BOARD)
    box.start_bus()
    block = offer(box, BootBlock)
    block.answers[BootBlock.READ] = NEVER
    daemon = box.start_daemon(WITHOUT_LEGACY)
    block.wait_for_calls(BootBlock.READ)
    box.stop_bus()
    daemon.wait_for_output("Cannot reach the system bus: ")
    assert daemon.stop(timeout=PATIENCE) == 0
    warning, line = complaints(daemon)
    assert warning == "WARNING Could not get the hardware id"
    assert no_bus(line)


def test_bus_that_goes_away_during_the_start_ends_the_daemon(make_sandbox,
                                                             offer):
    box = make_sandbox(config=FOR_A_BOARD)
    box.start_bus()
    block = offer(box, BootBlock)
    block.answers[BootBlock.READ] = NEVER
    daemon = box.start_daemon()
    block.wait_for_calls(BootBlock.READ)
    box.stop_bus()
    assert ends_for_want_of_a_bus(daemon) == [
        "WARNING Could not get the hardware id"]


def test_service_that_vanishes_while_it_is_asked_ends_the_wait(make_sandbox,
                                                               offer):
    box = make_sandbox(config=FOR_A_BOARD)
    box.start_bus()
    block = offer(box, BootBlock, "A7")
    block.before[BootBlock.READ] = BootBlock.disconnect
    box.start()
    assert block.asked == ["HWID"]
    assert complaints(box.daemon) == [
        "WARNING Could not get the hardware id"]


def test_service_that_answers_late_is_waited_for(make_sandbox, connect, offer):
    box = make_sandbox(config=FOR_A_BOARD)
    box.start_bus()
    client = connect(box)
    block = offer(box, BootBlock, "A7")
    block.hold(BootBlock.READ)
    daemon = box.start_daemon()
    block.wait_for_calls(BootBlock.READ)
    assert not client.has_owner(STATE)
    block.release(BootBlock.READ)
    box.wait_for_name(STATE)
    assert listed_names(client) == ["lamp"]
    assert complaints(daemon) == []


# ---- a bus that does not answer ----

@contextlib.contextmanager
def mute_bus(box):
    """Where the bus should be, a socket that takes connections and never
    answers."""
    path = box.run / "dbus/system_bus_socket"
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(path))
        path.chmod(0o666)
        listener.listen()
        yield listener


def asked(listener):
    """Whether somebody waits to be let in."""
    return select.select([listener], [], [], 0)[0]


def hang_up_until(listener, condition):
    """Ends every connection as it comes, until the condition holds."""
    def holds():
        if asked(listener):
            listener.accept()[0].close()
        return condition()
    wait_until(holds, "the daemon to give up")


@pytest.mark.parametrize("ports", [LAMP, FOR_A_BOARD],
                         ids=["plain", "hardware id"])
def test_bus_that_never_answers_does_not_keep_the_daemon_from_ending(
        make_sandbox, ports):
    box = make_sandbox(config=ports)
    with mute_bus(box) as listener:
        daemon = box.start_daemon(WITHOUT_LEGACY)
        wait_until(lambda: asked(listener), "the daemon to connect")
        # The hardware id is given up after 5 s.
        assert daemon.stop() == 0


def test_bus_that_never_answers_is_no_bus(make_sandbox):
    """It is given up after 5 s."""
    box = make_sandbox(config=LAMP)
    with mute_bus(box):
        assert ends_for_want_of_a_bus(box.start_daemon()) == []


def test_bus_that_hangs_up_on_everybody_is_no_bus(make_sandbox):
    box = make_sandbox(config=LAMP)
    with mute_bus(box) as listener:
        daemon = box.start_daemon(WITHOUT_LEGACY)
        hang_up_until(listener, lambda: any(map(no_bus, complaints(daemon))))
    assert daemon.stop(timeout=PATIENCE) == 0


def test_bus_that_hangs_up_on_everybody_ends_the_daemon(make_sandbox):
    box = make_sandbox(config=LAMP)
    with mute_bus(box) as listener:
        daemon = box.start_daemon()
        hang_up_until(listener, lambda: daemon.ended)
    assert ends_for_want_of_a_bus(daemon) == []
