"""A simulated board with devices of the kernel's Industrial I/O."""

import pathlib
import select

import pytest

import simboard_iio_client
from simboard_support import GROUP, put

IIO_TEXT = f"""
[Board]
Name=IIO board
Group={GROUP}

[Converter spi]
Device=spidev0.1

[IIO main]
Name=adc0
Shift=4
Attributes=in_voltage_sampling_frequency;sampling_frequency

[Channel main/0]

[Channel main/2]
Value=100

[IIO wide]
Endianness=be
Bits=20
Storage=24
Sign=s

[Channel wide/0]
Name=voltage

[IIO watch]
Thresholds=both

[Channel watch/0]

[Channel watch/1]

[IIO prox]
Thresholds=either
Buffer=false
Attributes=in_proximity_integration_time

[Channel prox/0]
Name=proximity

[IIO simple]
Thresholds=one

[Channel simple/3]
Extension=aux

[Loop gate]
Converter=watch
Address=1
"""
CLIENT = pathlib.Path(simboard_iio_client.__file__).read_text(encoding="utf-8")
IN = select.POLLIN


@pytest.fixture(name="board")
def fixture_board(make_board):
    return make_board(IIO_TEXT)


def folder(board, name):
    return board.iio / board.iio_devices()[name].device


def device(board, name):
    return board.devices / board.iio_devices()[name].device


def start(board, name="main", channels=("voltage2",), frequency=2000,
          trigger="timer"):
    """Has the device's buffer filled."""
    path = folder(board, name)
    (board.triggers_folder / trigger).mkdir()
    put(board.iio / board.triggers()[trigger].folder / "sampling_frequency",
        str(frequency))
    put(path / "trigger/current_trigger", trigger)
    for channel in channels:
        put(path / f"scan_elements/in_{channel}_en", "1")
    put(path / "buffer/enable", "1")
    return path
