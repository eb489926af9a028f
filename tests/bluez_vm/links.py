"""One end of a serial link, as an app on the phone has it."""
import os
import socket

from gi.repository import GLib


class Link:
    """Reads or not, keeps or echoes what it reads, sends what it is given."""

    def __init__(self, fd, mode):
        self._fd = fd
        self._kept = bytearray()
        self._waiting = bytearray()
        self._mode = mode
        self._watches = {}
        self._follow()

    @property
    def is_open(self):
        return self._fd is not None

    def set_mode(self, mode):
        """echo: sends everything back with all bits turned over; keep: until it is taken; stall: does not read."""
        self._mode = mode
        self._follow()

    def send(self, data):
        if not self.is_open:
            raise BrokenPipeError("the link is down")
        self._waiting += data
        self._follow()

    def take(self):
        kept, self._kept = bytes(self._kept), bytearray()
        return kept

    def close(self):
        if self.is_open:
            # The Bluetooth daemon holds the same socket: closing alone would end nothing.
            with socket.socket(fileno=os.dup(self._fd)) as end:
                try:
                    end.shutdown(socket.SHUT_RDWR)
                except OSError:
                    pass
            self._end()

    def _end(self):
        for watch in self._watches.values():
            GLib.source_remove(watch)
        self._watches = {}
        os.close(self._fd)
        self._fd = None

    def _follow(self):
        if self.is_open:
            self._watch(GLib.IO_IN | GLib.IO_HUP | GLib.IO_ERR, self._mode != "stall", self._read)
            self._watch(GLib.IO_OUT, bool(self._waiting), self._write)

    def _watch(self, condition, wanted, action):
        if wanted and condition not in self._watches:
            self._watches[condition] = GLib.io_add_watch(self._fd, GLib.PRIORITY_DEFAULT, condition, action)
        elif not wanted and condition in self._watches:
            GLib.source_remove(self._watches.pop(condition))

    def _read(self, *_):
        try:
            data = os.read(self._fd, 65536)
        except BlockingIOError:
            return True
        except OSError:
            data = b""
        if not data:
            self._end()
        elif self._mode == "echo":
            self._waiting += bytes(255 - byte for byte in data)
            self._follow()
        else:
            self.received(data)
        return self.is_open

    def received(self, data):
        self._kept += data

    def _write(self, *_):
        try:
            del self._waiting[:os.write(self._fd, self._waiting)]
        except BlockingIOError:
            return True
        except OSError:
            self._end()
            return False
        if self._waiting:
            return True
        del self._watches[GLib.IO_OUT]  # returning False takes it away
        return False
