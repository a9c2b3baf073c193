"""A simulated board with SPI converters, for the tests of them."""

import ctypes
import os
import pathlib

import pytest

import simboard_spi_client as spi
from simboard_support import GROUP, opened

SPI_TEXT = """
[Board]
Name=Loop board
{group}

[Chip main]
Base=0
Lines=32

[Line entrance]
Number=7
Wiring=door contact
Exported=true

[Line sioctrl]
Number=8
Wiring=control
Direction=out
Idle=high

[Converter adc]
Device=spidev0.1

[Converter spare]
Device=spidev3.0

[Loop front]
Converter=adc
Address=0x1f
Line=entrance

[Loop gate]
Converter=adc
Address=2
Wiring=normally open
PullUp=1000
EndOfLine=1000
Contact=1000
"""
WITH_GROUP = SPI_TEXT.format(group=f"Group={GROUP}")
CLIENT = pathlib.Path(spi.__file__).read_text(encoding="utf-8")


@pytest.fixture(name="board")
def fixture_board(make_board):
    return make_board(WITH_GROUP)


@pytest.fixture(name="device")
def fixture_device(board):
    with opened(board.devices / "spidev0.1", os.O_RDWR) as descriptor:
        yield descriptor


@pytest.fixture(name="memory")
def fixture_memory():
    """Memory of the test's own, as (address, bytes)."""
    buffer = ctypes.create_string_buffer(8192)
    return ctypes.addressof(buffer), buffer
