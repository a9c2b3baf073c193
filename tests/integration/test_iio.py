"""Supervised inputs whose converter the kernel samples, on a simulated
board."""

from events_support import Events, happened
from gpio_support import fixture_boards
from iio_support import (BUFFER_ON, FREQUENCY, LEVELS, SUPERVISED_EVENT,
                         fixture_sampling, sampled_port, values)
from lifecycle_support import complaints
from supervised_support import BOARD, Reports
from waiting import wait_until


# ---- set-up ----

def test_converter_is_set_up_in_order(sampling):
    """After the lines. What is already off cannot be seen to be switched
    off."""
    service = sampling(sampled_port(0))
    assert service.writes()[-7:] == [
        ("ioctrl0", "write", "1"), ("sioctrl0", "write", "0"),
        ("timer0", "plugged", "trigger"),
        ("timer0", "setting", f"sampling_frequency:{FREQUENCY}.000000"),
        ("s0", "setting", "trigger/current_trigger:timer0"),
        *[("s0", "setting", value) for value in BUFFER_ON]]
    assert complaints(service.daemon) == []
    assert service.board.iio_devices()["s0"].open


def test_what_is_right_already_is_left_alone(sampling):
    """The trigger and the converter's choice of it; the buffer is filled
    afresh."""
    service = sampling(sampled_port(0, optional=True))
    since = service.board.last_id()
    service.refresh("zone0")
    assert service.settings(since) == [
        ("timer0", f"sampling_frequency:{FREQUENCY}.000000"),
        ("s0", "buffer/enable:0"), *[("s0", value) for value in BUFFER_ON]]
    assert [change.name for change in service.board.history(since)
            if change.what == "plugged"] == []


def test_trigger_of_somebody_else_is_replaced(sampling):
    def prepare(board):
        (board.triggers_folder / "foreign").mkdir()
        (board.triggers_folder / "timer0").mkdir()
        (board.iio / board.iio_devices()["s0"].device
         / "trigger/current_trigger").write_text("foreign")

    service = sampling(sampled_port(0), prepare=prepare)
    assert service.settings(device="s0") == [
        "trigger/current_trigger:foreign",
        "trigger/current_trigger:timer0", *BUFFER_ON]
    assert sorted(service.board.triggers()) == ["foreign", "timer0"]


def test_files_of_an_only_channel_have_no_number(sampling):
    service = sampling(sampled_port(0, items={"name": "wide", "adc": "wide",
                                              "channel": 7}))
    assert service.settings(device="wide") == [
        "trigger/current_trigger:timer0", "scan_elements/in_voltage_en:1",
        "buffer/enable:1"]


# Keys of a device, what it measures, the item "shift", the level.
TYPES = [
    ("Bits=8\nStorage=8", 0xa5, None, 0xa5),
    ("Bits=12\nStorage=16\nShift=4\nOnesAround=true", 0xabc, None, 0xabc),
    ("Endianness=be\nBits=12\nStorage=16\nShift=2\nOnesAround=true",
     0xdef, "4", 0xde),
    ("Bits=24\nStorage=24", 0x123456, None, 0x123456),
    ("Endianness=be\nBits=24\nStorage=24", 0x123456, None, 0x123456),
    ("Endianness=be\nBits=20\nStorage=24\nShift=4", 0x12345, "8", 0x123),
    ("Bits=32\nStorage=32", 0x89abcdef, None, 0x89abcdef),
    ("Endianness=be\nBits=31\nStorage=32\nShift=1", 0x49abcdef, "1",
     0x24d5e6f7)]


def test_samples_of_every_kind_are_read(sampling):
    """On whichever side the bytes and the value begin."""
    text = BOARD + "".join(
        f"[IIO s{number}]\nName=adc{number}\n{keys}\n"
        f"[Channel s{number}/{number}]\nValue={value}\n"
        for number, (keys, value, _, _) in enumerate(TYPES))
    numbers = range(len(TYPES))
    service = sampling(*[sampled_port(number, items={"shift": shift})
                         for number, (_, _, shift, _) in enumerate(TYPES)],
                       text=text)
    service.supervise(*numbers)
    levels = [level for *_, level in TYPES]
    wait_until(lambda: [service.readout(number)[1] for number in numbers]
               == levels, f"the levels {levels}")


# ---- samples ----

def test_samples_are_reported_when_their_state_changes(sampling):
    service = sampling(sampled_port(0, events=[SUPERVISED_EVENT]))
    reports, events = Reports(service), Events(service)
    service.supervise(0)
    declaration, = service.declarations()
    events.wait_for(*happened(declaration, values(0, "closed")))
    expected = [True]
    reports.wait_for(0, *expected)
    events.take()
    for state in ("open", "short", "cut", "undefined", "open", "closed"):
        service.set_value("s0/0", state)
        events.wait_for(*happened(declaration, values(0, state)))
        expected.append(state != "open")
        reports.wait_for(0, *expected)
        # Another level of the same state is no change.
        service.set_value("s0/0", LEVELS[state] + 1)
        service.wait_for_samples("s0", count=5)
        assert service.readout(0) == (state, LEVELS[state] + 1)
        assert events.take() == [happened(declaration, values(0, state))]
        assert reports.of(0) == expected


def test_first_sample_is_reported_unless_it_is_undefined(sampling):
    """An undefined state is what there was before."""
    service = sampling(sampled_port(0), sampled_port(1), prepare=lambda board:
                       board.adc("s0", 0, LEVELS["undefined"]))
    reports = Reports(service)
    service.supervise(0, 1)
    reports.wait_for(1, True)
    service.wait_for_samples("s0")
    assert reports.of(0) == []
    for _ in range(2):
        reports.forget()
        service.supervise(1, on=False)
        service.supervise(1)
        reports.wait_for(1, True)


def test_readout_is_of_the_last_sample_and_of_the_present_ranges(sampling):
    """Whether or not the device is still there."""
    service = sampling(sampled_port(0))
    service.supervise(0)
    wait_until(lambda: service.readout(0) == ("closed", 1200), "a sample")
    service.board.unplug("s0")
    assert service.readout(0) == ("closed", 1200)
    service.ask("SetSupervisedRanges", 0, "cut", 1200, 1300)
    assert service.readout(0) == ("cut", 1200)
    service.ask("SetSupervisedRanges", 0, "cut", 1201, 1300)
    assert service.readout(0) == ("closed", 1200)
    # But for a sample that was there before the device went, and could not be
    # read after.
    assert set(complaints(service.daemon)) <= {
        "WARNING read Error: No such device",
        "WARNING Readout failed: No such device"}


def test_all_converters_are_sampled_at_once(sampling):
    numbers = range(6)
    service = sampling(*[sampled_port(number) for number in numbers])
    reports = Reports(service)
    service.supervise(*numbers)
    for number in numbers:
        reports.wait_for(number, True)
    for number in numbers:
        service.set_value(f"s{number}/{number}", "open")
        reports.wait_for(number, True, False)
    service.wait_for_samples(*[f"s{number}" for number in numbers])
    assert {number: reports.of(number) for number in numbers} == \
        {number: [True, False] for number in numbers}


# ---- the two modes ----

def test_plain_input_s_edges_are_its_changes(sampling):
    """The samples are none of its business."""
    service = sampling(sampled_port(0), sampled_port(1))
    service.supervise(1)
    reports = Reports(service)
    service.board.open("in0")
    reports.wait_for(0, True)
    assert service.call("GetState", 0) is True
    service.set_value("s0/0", "open")
    service.wait_for_samples("s1")
    service.board.close("in0")
    reports.wait_for(0, True, False)
    assert service.call("GetState", 0) is False


def test_supervision_is_switched_on_and_off(sampling):
    """What is measured is no change of a plain input, and edges are none of a
    supervised one."""
    service = sampling(sampled_port(0), sampled_port(1))
    service.supervise(1)
    for _ in range(2):
        reports = Reports(service)
        since = service.board.last_id()
        service.supervise(0)
        assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "1")]
        reports.wait_for(0, True)
        since = service.board.last_id()
        service.supervise(0, on=False)
        assert service.controls(since) == [("ioctrl0", "1"), ("sioctrl0", "0")]
        reports = Reports(service)
        service.board.open("in0")
        reports.wait_for(0, True)
        service.board.close("in0")
        reports.wait_for(0, True, False)
        service.wait_for_samples("s1")
        assert reports.of(0) == [True, False]
    service.supervise(0)
    reports.wait_for(0, True, False, True)
    service.board.open("in0")
    service.wait_for_samples("s0", "s1")
    assert service.call("GetState", 0) is True
    assert reports.of(0) == [True, False, True]


def test_nothing_is_read_while_the_port_is_not_supervised(sampling):
    """What was sampled long ago is not reported then."""
    service = sampling(sampled_port(0), sampled_port(1))
    service.supervise(1)
    wait_until(lambda: service.board.iio_devices()["s0"].lost > 3, "losses")
    device = service.board.iio_devices()["s0"]
    assert device.scans - device.lost == device.waiting
    service.set_value("s0/0", "open")
    reports = Reports(service)
    service.supervise(0)
    reports.wait_for(0, False)


def test_direction_of_a_supervised_port_changes(sampling):
    """An output is neither sampled nor watched."""
    service = sampling(sampled_port(0, "io_ctrl"), sampled_port(1))
    service.supervise(0, 1)
    reports = Reports(service)
    since = service.board.last_id()
    service.call("SetDirection", 0, "output")
    assert service.controls(since) == [("ioctrl0", "0"), ("sioctrl0", "0"),
                                       ("out0", "0")]
    service.settle()
    reports.forget()
    service.set_value("s0/0", "open")
    service.board.open("in0")
    service.wait_for_samples("s1")
    assert reports.of(0) == []
    service.call("SetState", 0, True)
    assert service.board.level("out0") == "high"
    assert service.call("GetState", 0) is True
    since = service.board.last_id()
    service.call("SetDirection", 0, "input")
    assert service.controls(since) == [("out0", "0"), ("ioctrl0", "0"),
                                       ("sioctrl0", "1")]
    service.client.wait_for(lambda: reports.of(0)[-1:] == [False],
                            "the loop's state")


def test_supervision_makes_an_output_an_input(sampling):
    service = sampling(sampled_port(0, "io_ctrl"))
    service.call("SetDirection", 0, "output")
    service.supervise(0)
    assert service.call("GetDirection", 0) == "input"
    reports = Reports(service)
    service.set_value("s0/0", "open")
    service.client.wait_for(lambda: reports.of(0)[-1:] == [False],
                            "the loop's state")


def test_output_needs_no_converter(sampling):
    service = sampling(sampled_port(0, "output", ranges=[], elements={
        "io_ctrl": None, "sio_ctrl": None, "device": None}))
    service.call("SetState", 0, True)
    assert service.board.level("out0") == "high"
    assert service.settings() == []
    assert service.ask("IsSupervisable", 0) == (False, False)
