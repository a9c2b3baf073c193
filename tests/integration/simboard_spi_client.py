"""A user of an SPI device, as spidev.h has it. Also the text of programs that
run on their own, so it needs nothing but Python."""

import ctypes
import fcntl
import os

MAGIC = ord("k")
WRITE, READ = 1, 2


def number(direction, nr, size, magic=MAGIC):
    """Of an ioctl."""
    return direction << 30 | size << 16 | magic << 8 | nr


RD_MODE, WR_MODE = number(READ, 1, 1), number(WRITE, 1, 1)
RD_LSB_FIRST, WR_LSB_FIRST = number(READ, 2, 1), number(WRITE, 2, 1)
RD_BITS, WR_BITS = number(READ, 3, 1), number(WRITE, 3, 1)
RD_SPEED, WR_SPEED = number(READ, 4, 4), number(WRITE, 4, 4)
RD_MODE32, WR_MODE32 = number(READ, 5, 4), number(WRITE, 5, 4)


class Transfer(ctypes.Structure):
    """struct spi_ioc_transfer"""
    _fields_ = [("tx_buf", ctypes.c_uint64), ("rx_buf", ctypes.c_uint64),
                ("len", ctypes.c_uint32), ("speed_hz", ctypes.c_uint32),
                ("delay_usecs", ctypes.c_uint16),
                ("bits_per_word", ctypes.c_uint8),
                ("cs_change", ctypes.c_uint8), ("tx_nbits", ctypes.c_uint8),
                ("rx_nbits", ctypes.c_uint8),
                ("word_delay_usecs", ctypes.c_uint8), ("pad", ctypes.c_uint8)]


def message(device, *transfers):
    """SPI_IOC_MESSAGE; what the call returns."""
    array = (Transfer * len(transfers))(*transfers)
    return fcntl.ioctl(device, number(WRITE, 0, ctypes.sizeof(array)), array)


def measure(device, address):
    """The word that the converter answers about a channel."""
    command = (ctypes.c_uint8 * 2)(0, address)
    answer = (ctypes.c_uint8 * 2)()
    total = message(
        device,
        Transfer(tx_buf=ctypes.addressof(command), len=2),
        Transfer(rx_buf=ctypes.addressof(answer), len=2))
    assert total == 4
    return int.from_bytes(bytes(answer), "little")


def level(device, address):
    return measure(device, address) >> 4


def get(device, request):
    """A setting."""
    value = bytearray(request >> 16 & 0x3fff)
    fcntl.ioctl(device, request, value)
    return int.from_bytes(value, "little")


def put(device, request, value):
    size = request >> 16 & 0x3fff
    return fcntl.ioctl(device, request, value.to_bytes(size, "little"))


def become(user, group):
    os.setgroups([])
    os.setgid(group)
    os.setuid(user)
