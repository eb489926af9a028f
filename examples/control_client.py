#!/usr/bin/env python3
"""Drives a phone over its control socket, with nothing but the standard library.

linkapp phone --control /tmp/phone.sock        in one terminal
python3 control_client.py /tmp/phone.sock      in another"""
import json
import socket
import sys


class Phone:
    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(20)
        self.socket.connect(path)
        self.lines = self.socket.makefile("r", encoding="utf-8")
        self.events, self.last_id = [], 0

    def read(self):
        line = self.lines.readline()
        if not line:
            raise ConnectionError("the phone has closed the connection")
        return json.loads(line)

    def command(self, *words):
        """Sends one command; returns its reply, or raises with the phone's reason."""
        self.last_id += 1
        request = {"id": self.last_id, "command": list(words)}
        self.socket.sendall(json.dumps(request).encode() + b"\n")
        while True:
            answer = self.read()
            if "event" in answer:
                self.events.append(answer)  # came before the reply
            elif not answer["ok"]:
                raise RuntimeError(answer["error"])
            else:
                return answer

    def wait_for(self, event, **fields):
        """The next event of this name with these fields."""
        while True:
            answer = self.events.pop(0) if self.events else self.read()
            if answer.get("event") == event and all(answer.get(name) == value for name, value in fields.items()):
                return answer


if __name__ == "__main__":
    phone = Phone(sys.argv[1])
    phone.command("events", "on")
    phone.command("plug", "usb")
    event = phone.wait_for("connected", link="usb")
    print("connected over", event["link"])
    try:
        phone.command("plug", "lan")
    except RuntimeError as error:
        print("as expected:", error)
    phone.command("hands-free", "up", "12:34:56:78:9a:bc")
    print("state:", phone.command("state"))
    phone.command("unplug")
