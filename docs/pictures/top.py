#!/usr/bin/env python3
"""Draws the whole screen of `linkapp monitor --top` beside a phone and three applications, one of which stands still.

Usage: top.py TOOL FILE       script/picture --top calls it with a /dev/shm of its own
What is drawn is what a terminal (tmux) shows.
"""
import html
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # the folder is the documents'
from session import CHARACTER, FONT, LINE

COLUMNS = 136
ROWS = 25
DEADLINE = 30  # seconds, for each thing that is waited for
COLOURS = {"36": "#56c7d1", "31": "#f2777a"}
BACKGROUND = "#1d2430"
FOREGROUND = "#dfe5ee"


class Process:
    """A process of the tool that tells JSON lines and hears commands."""

    def __init__(self, arguments, environment):
        self.arguments = arguments
        self.child = subprocess.Popen(
            arguments, stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, env=environment, text=True
        )

    def wait_for(self, **fields):
        for line in self.child.stdout:
            event = json.loads(line)
            if all(event.get(name.replace("_", ".")) == value for name, value in fields.items()):
                return
        sys.exit(f"picture: {' '.join(self.arguments)} ended without {fields}")

    def tell(self, line):
        self.child.stdin.write(line + "\n")
        self.child.stdin.flush()

    def end(self):
        self.child.kill()
        self.child.wait()


class Terminal:
    """A program on the whole screen of a tmux of its own."""

    def __init__(self, command, folder, environment):
        self.tmux = ["tmux", "-u", "-S", os.path.join(folder, "tmux"), "-f", "/dev/null"]
        self.environment = environment
        self.run("new-session", "-d", "-x", str(COLUMNS), "-y", str(ROWS), *command)

    def run(self, *arguments):
        return subprocess.run(
            [*self.tmux, *arguments], env=self.environment, check=True, capture_output=True, text=True
        ).stdout

    def wait_for(self, *patterns):
        end = time.monotonic() + DEADLINE
        while True:
            text = self.run("capture-pane", "-p")
            if all(re.search(pattern, text) for pattern in patterns):
                return self.run("capture-pane", "-e", "-p")
            if time.monotonic() > end:
                sys.exit(f"picture: no {patterns} in\n{text}")
            time.sleep(0.05)

    def end(self):
        self.run("kill-server")


def record(tool, folder):
    environment = dict(os.environ, HOME=folder, DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent", VQDBG="off")
    for name in ("NO_COLOR", "TMUX", "XDG_STATE_HOME"):
        environment.pop(name, None)
    processes = []

    def start(*arguments):
        processes.append(Process([tool, *arguments], environment))
        return processes[-1]

    terminal = None
    try:
        phone = start("phone", "--json", "--do", "plug usb")
        phone.wait_for(event="ready")
        radio = start("app", "--json", "--name", "radio", "--launch", "--commands")
        radio.wait_for(event="onDeviceStatus", usb_status=2)
        phone.tell("events off")
        phone.wait_for(reply="events")
        terminal = Terminal([tool, "monitor", "--top"], folder, environment)
        terminal.wait_for(r"\(radio\)")
        traffic = ["--json", "--quiet", "--generate", "1000000", "--expect", "1000000"]
        start("app", *traffic, "--name", "navi", "--rate", "900", "--size", "512")
        terminal.wait_for(r"\(navi\) .* open")
        start("app", *traffic, "--name", "music", "--rate", "150", "--size", "2048")
        terminal.wait_for(r"\(music\) .* open")
        radio.child.send_signal(signal.SIGSTOP)
        for _ in range(60):
            phone.tell("send com.example.radio news")
        return terminal.wait_for(r"lost: \d+ messages of app 1 \(radio\) overwritten", r"radio, stopped\) +\d+ +\d{3}")
    finally:
        if terminal:
            terminal.end()
        for process in processes:
            process.end()


class Style:
    """What the last escape sequences have asked for."""

    def __init__(self):
        self.colour = ""
        self.is_bold = self.is_reverse = False

    def obey(self, numbers):
        for number in numbers.split(";"):
            if number in ("", "0"):
                self.__init__()
            elif number == "1":
                self.is_bold = True
            elif number == "7":
                self.is_reverse = True
            elif number in COLOURS:
                self.colour = COLOURS[number]
            elif number == "39":
                self.colour = ""


def draw_line(line, style, x, y):
    pieces = []
    column = 0
    for part in re.findall(r"\x1b\[([0-9;]*)m|\x1b[()].|\x0e|\x0f|([^\x1b\x0e\x0f]+)", line):
        numbers, text = part
        if not text:
            style.obey(numbers)
            continue
        left = x + column * CHARACTER
        fill = BACKGROUND if style.is_reverse else style.colour
        if style.is_reverse:
            pieces.append(
                f'<rect x="{left:.1f}" y="{y - LINE + 5}" width="{len(text) * CHARACTER:.1f}" height="{LINE}" '
                f'fill="{FOREGROUND}"/>'
            )
        attributes = (f' fill="{fill}"' if fill else "") + (' font-weight="bold"' if style.is_bold else "")
        if text.strip():
            pieces.append(f'<text x="{left:.1f}" y="{y}" xml:space="preserve"{attributes}>{html.escape(text)}</text>')
        column += len(text)
    return "\n".join(pieces)


def draw(screen):
    width = COLUMNS * CHARACTER + 44
    lines = screen.rstrip("\n").split("\n")
    height = len(lines) * LINE + 40
    style = Style()
    body = "\n".join(filter(None, (draw_line(line, style, 22, 38 + row * LINE) for row, line in enumerate(lines))))
    return (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:.0f} {height}" '
        f"font-family=\"ui-monospace, 'DejaVu Sans Mono', Menlo, Consolas, monospace\" "
        f'font-size="{FONT}" fill="{FOREGROUND}">\n'
        f'<rect x="10" y="10" width="{width - 20:.0f}" height="{height - 20}" rx="8" fill="{BACKGROUND}"/>\n'
        f"{body}\n</svg>\n"
    )


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    tool, target = os.path.abspath(sys.argv[1]), sys.argv[2]
    with tempfile.TemporaryDirectory() as folder:
        picture = draw(record(tool, folder))
    with open(target, "w", encoding="utf-8") as file:
        file.write(picture)


if __name__ == "__main__":
    main()
