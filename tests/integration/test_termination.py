"""Signals, and the daemon's orderly end."""

import contextlib
import signal

from bus_client import STATE
from lifecycle_support import (
    complaints, config, get_usage, listed, log_lines, output_group,
    parameter_file, parameters, port)
from peers import BootBlock, fixture_offer
from waiting import wait_until

LAMP = config(port("lamp", 0))
MANY = 300


def test_hang_up_is_logged_and_nothing_else(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    daemon = box.start()
    (box.share / "conf.xml").write_text(config(port("other", 1)))
    parameter_file(box).write_text(output_group("lamp", usage="changed"))
    for count in range(1, 4):
        daemon.send(signal.SIGHUP)
        wait_until(
            lambda: log_lines(daemon, "INFO").count("Got SIGHUP") == count,
            "the signal in the log")
    client = connect(box)
    assert listed(client) == [("lamp", 0)]
    assert get_usage(client, 0) == ""
    daemon.stop()
    assert complaints(daemon) == []


def test_termination_ends_the_daemon_in_order(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    daemon = box.start()
    client = connect(box)
    names = client.record("NameOwnerChanged", interface="org.freedesktop.DBus")
    assert daemon.stop() == 0
    names.wait_for(lambda signal: signal.args[0] == STATE
                   and signal.args[2] == "")
    assert log_lines(daemon, "INFO")[-1] == "Got SIGTERM"


def terminate_until_it_ends(daemon):
    """Sends SIGTERM again and again; the exit status."""
    with contextlib.suppress(ProcessLookupError):
        while not daemon.ended:
            daemon.send(signal.SIGTERM)
    return daemon.wait()


def start_sequence(client, number, milliseconds):
    client.call("StartActionSequence", "(uba(bi))",
                (number, False, [(True, milliseconds)]))


def test_repeated_termination_changes_nothing(make_sandbox, connect):
    """The running sequences make the shutdown take a while."""
    box = make_sandbox(config=config(
        *(port(f"lamp{n}", MANY + n) for n in range(MANY))))
    daemon = box.start()
    client = connect(box)
    for number in range(MANY, 2 * MANY):
        start_sequence(client, number, 1_000_000)
    assert terminate_until_it_ends(daemon) == 0


def test_termination_ends_a_running_sequence(make_sandbox, connect):
    box = make_sandbox(config=LAMP)
    daemon = box.start()
    start_sequence(connect(box), 0, 1_000_000)
    assert daemon.stop() == 0


def test_termination_during_the_start_ends_the_daemon_in_order(
        make_sandbox, offer):
    box = make_sandbox(
        config=LAMP.replace("<port ", '<port hwid="A" '))
    box.start_bus()
    block = offer(box, BootBlock, "A1")
    block.hold(BootBlock.READ)
    daemon = box.start_daemon()
    block.wait_for_calls(BootBlock.READ)
    daemon.send(signal.SIGTERM)
    block.release(BootBlock.READ)
    assert daemon.wait() == 0
    assert log_lines(daemon, "INFO")[-1] == "Got SIGTERM"
    assert complaints(daemon) == []
    assert "lamp" in parameters(box)


def test_hang_up_during_the_start_is_harmless(make_sandbox, connect, offer):
    box = make_sandbox(
        config=LAMP.replace("<port ", '<port hwid="A" '))
    box.start_bus()
    block = offer(box, BootBlock, "A1")
    block.before[BootBlock.READ] = lambda _: box.daemon.send(signal.SIGHUP)
    daemon = box.start()
    daemon.wait_for_output("Got SIGHUP")
    assert listed(connect(box)) == [("lamp", 0)]
    daemon.stop()
