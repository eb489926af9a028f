#!/usr/bin/env python3
"""A phone app in Python: answers every message with the same bytes.

linkapp phone --app com.example.navi="python3 counterpart.py" --do "plug usb"

Each message is preceded by its length, four bytes, big-endian. The input ends when the session does."""
import struct
import sys


def receive():
    header = sys.stdin.buffer.read(4)
    return sys.stdin.buffer.read(struct.unpack(">I", header)[0]) if header else None


def send(message):
    sys.stdout.buffer.write(struct.pack(">I", len(message)) + message)
    sys.stdout.buffer.flush()


while (message := receive()) is not None:
    send(message)
