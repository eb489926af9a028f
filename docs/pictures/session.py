#!/usr/bin/env python3
"""Draws README's picture: a session of `linkapp phone` and `linkapp app`, each at a terminal of its own.

Usage: session.py TOOL FILE       script/picture calls it with a /dev/shm of its own
What is drawn is what the two wrote.
"""
import fcntl
import html
import os
import pty
import re
import select
import struct
import sys
import tempfile
import termios
import time

COLUMNS = 134
ROWS = 40
DEADLINE = 10  # seconds, for each thing that is waited for
FONT = 13
CHARACTER = 7.83  # width of one at this size
LINE = 18
COLOURS = {"36": "#56c7d1", "31": "#f2777a"}


class Screen:
    """As much of a terminal as the tool needs: lines of (character, colour)."""

    def __init__(self):
        self.lines = [[]]
        self.row = self.column = 0
        self.colour = ""

    def write(self, text):
        for part in re.findall(r"\x1b\[[0-9;]*[A-Za-z]|.", text, re.DOTALL):
            if part.startswith("\x1b["):
                self.order(part[2:-1], part[-1])
            elif part == "\r":
                self.column = 0
            elif part == "\n":
                self.row += 1
                self.lines += [[] for _ in range(self.row + 1 - len(self.lines))]
            elif part == "\b":
                self.column = max(0, self.column - 1)
            elif part >= " ":
                line = self.lines[self.row]
                line += [(" ", "")] * (self.column + 1 - len(line))
                line[self.column] = (part, self.colour)
                self.column += 1

    def order(self, number, letter):
        if letter == "m":
            self.colour = COLOURS.get(number, "")
        elif letter in "KJ":
            del self.lines[self.row][self.column :]
            if letter == "J":
                del self.lines[self.row + 1 :]
        elif letter == "G":
            self.column = int(number or 1) - 1
        elif letter == "A":
            self.row = max(0, self.row - int(number or 1))

    def text(self):
        return "\n".join("".join(character for character, _ in line) for line in self.lines)


class Terminal:
    """One program at a terminal."""

    def __init__(self, tool, arguments, home):
        self.screen = Screen()
        self.seen = 0
        self.raw = ""
        pid, self.fd = pty.fork()
        if pid == 0:
            os.environ.update(TERM="xterm", HOME=home, DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent", VQDBG="off")
            os.environ.pop("NO_COLOR", None)
            os.environ.pop("XDG_STATE_HOME", None)
            fcntl.ioctl(0, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, COLUMNS, 0, 0))
            os.execv(tool, [tool, *arguments])
        self.screen.write("$ linkapp " + " ".join(arguments) + "\r\n")

    def wait_for(self, text):
        end = time.monotonic() + DEADLINE
        while self.raw.find(text, self.seen) == -1:
            if not select.select([self.fd], [], [], max(0, end - time.monotonic()))[0]:
                sys.exit(f"picture: no {text!r} in {self.raw!r}")
            piece = os.read(self.fd, 65536).decode()
            self.raw += piece
            self.screen.write(piece)
        self.seen = self.raw.find(text, self.seen) + len(text)

    def type(self, line):
        os.write(self.fd, (line + "\r").encode())


def record(tool, home):
    phone = Terminal(tool, ["phone"], home)
    phone.wait_for("phone> ")
    phone.type("plug usb")
    phone.wait_for("link=usb")
    app = Terminal(tool, ["app", "--launch"], home)
    app.wait_for("usb.app=app")
    app.wait_for("app> ")
    phone.wait_for("session-opened")
    app.type("send hello")
    app.wait_for("onSendResult")
    app.wait_for("app> ")
    phone.wait_for("sent ")
    phone.type("send com.example.app turn left")
    app.wait_for("turn left")
    app.wait_for("app> ")
    phone.wait_for("turn left")
    phone.wait_for("phone> ")
    phone.type("unplug")
    phone.wait_for("by=unplug")
    phone.wait_for("disconnected")
    phone.wait_for("phone> ")
    app.wait_for("usb.status=0")
    app.wait_for("app> ")
    return [("1: a phone", phone.screen), ("2: a head-unit application", app.screen)]


def draw_line(line, x, y):
    parts = []
    at = 0
    while at < len(line):
        end = at
        while end < len(line) and line[end][1] == line[at][1]:
            end += 1
        text = html.escape("".join(character for character, _ in line[at:end]))
        colour = f' fill="{line[at][1]}"' if line[at][1] else ""
        parts.append(f'<tspan x="{x + at * CHARACTER:.1f}"{colour}>{text}</tspan>')
        at = end
    return f'<text y="{y}" xml:space="preserve">{"".join(parts)}</text>' if parts else ""


def draw(screens):
    width = COLUMNS * CHARACTER + 40
    pieces = []
    y = 10
    for title, screen in screens:
        lines = [line for line in screen.lines]
        height = (len(lines) + 2) * LINE + 14
        pieces.append(f'<rect x="10" y="{y}" width="{width - 20:.0f}" height="{height}" rx="8" fill="#1d2430"/>')
        pieces.append(f'<text x="22" y="{y + 20}" fill="#8b97a8">{html.escape(title)}</text>')
        for number, line in enumerate(lines):
            pieces.append(draw_line(line, 22, y + 24 + (number + 1) * LINE))
        y += height + 10
    body = "\n".join(piece for piece in pieces if piece)
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {y}" '
        f"font-family=\"ui-monospace, 'DejaVu Sans Mono', Menlo, Consolas, monospace\" "
        f'font-size="{FONT}" fill="#dfe5ee">\n{body}\n</svg>\n'
    )


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    tool, target = os.path.abspath(sys.argv[1]), sys.argv[2]
    with tempfile.TemporaryDirectory() as home:
        picture = draw(record(tool, home))
    with open(target, "w", encoding="utf-8") as file:
        file.write(picture)


if __name__ == "__main__":
    main()
