"""A user of Industrial I/O devices, as the kernel's headers have them. Also the
text of programs that run on their own, so it needs nothing but Python."""

import fcntl
import os
import select
import struct

GET_EVENT_FD = 0x80046990
EVENT = struct.Struct("=Qq")


def event_descriptor(device):
    """IIO_GET_EVENT_FD_IOCTL"""
    number = bytearray(4)
    assert fcntl.ioctl(device, GET_EVENT_FD, number) == 0
    return int.from_bytes(number, "little", signed=True)


def event_id(channel_type, channel, direction):
    """IIO_UNMOD_EVENT_CODE of a threshold event."""
    return direction << 48 | channel_type << 32 | channel


def read_event(descriptor):
    """The id of the next event."""
    return EVENT.unpack(os.read(descriptor, EVENT.size))[0]


def poll(descriptor, timeout_ms=0):
    """Everything that poll() reports; 0 when nothing."""
    poller = select.poll()
    poller.register(descriptor, select.POLLIN)
    return dict(poller.poll(timeout_ms)).get(descriptor, 0)


def become(user, group):
    os.setgroups([])
    os.setgid(group)
    os.setuid(user)
