"""orvadctl and a supervised port of the real daemon, on the board."""

import json

from gpio_support import fixture_boards
from orvadctl_support import fixture_program
from supervised_support import RANGES, fixture_guard, zone_port


def test_installer_supervises_a_loop_measures_it_and_sets_its_ranges(
        guard, program):
    service = guard(zone_port(0))

    def ctl(*words):
        done = program.run(service.box.bus_address, *words)
        assert done.returncode == 0, done.stderr
        return done.stdout

    assert json.loads(ctl("get", "zone0", "--json"))["supervised"] is False
    ctl("supervise", "zone0", "on")
    assert service.ask("GetSupervised", 0) is True

    service.board.loop("zone0", "cut")
    shown = json.loads(ctl("readout", "zone0", "--json"))
    assert (shown["state"], shown["level"]) == ("cut", 255)
    line = json.loads(ctl("get", "zone0", "--json"))["line"]
    assert line == {"state": "cut", "level": 255}

    ctl("ranges", "zone0", "open", "0x10", "32")
    ranges = json.loads(ctl("ranges", "zone0", "--json"))["ranges"]
    assert [tuple(entry[key] for key in ("state", "lower", "upper"))
            for entry in ranges] == service.ask("GetSupervisedRanges", 0) == [
                *(entry for entry in RANGES if entry[0] != "open"),
                ("open", 16, 32)]
