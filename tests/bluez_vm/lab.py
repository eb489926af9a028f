"""The lab of the virtual machine: the real daemons and the emulated phone, commanded over a socket.

usage: lab.py SOCKET FOLDER      FOLDER takes the logs

The car is the first controller, the phone the second. One command per line, answered by one line: "ok", "ok RESULT" or
"error REASON".

  ready UUID                   daemons that are not up are started, car and phone are switched on and paired, and an app
                               on the phone offers the service UUID, also after a restart of bluetoothd. Its link is
                               closed, and what connects next is echoed.
  bluetoothd start [apple] | stop | kill      "apple": car and phone say that they are made by Apple
  ofonod start | stop | kill
  pair | unpair
  power car|phone on|off
  disconnect                   the phone drops the connection with everything in it
  mode UUID echo|keep|stall    what the app does with what it receives
  send UUID FILE               the app sends the file's content
  take UUID FILE               what the app kept goes to the file; the result is its size
  connect UUID                 the app connects to the head unit's service
  close UUID                   the app closes its link
  linked UUID                  the result is 1 or 0
  hands-free up car|phone      the car, by oFono, or the phone asks for the hands-free link until it is there. (After
                               pairing, and where it starts beside a connection, oFono asks by itself.)
  hands-free down              the phone closes its end
  address phone                the result is its address
"""
import os
import socket
import sys

import dbus
from gi.repository import GLib

import bus
import daemons
import phone
from daemons import ADAPTERS, device_of

ADAPTER = "org.bluez.Adapter1"
DEVICE = "org.bluez.Device1"


class Lab:
    def __init__(self, folder):
        self._bluetooth = daemons.Bluetooth(folder)
        self._telephony = daemons.Telephony(folder)
        self._agent = phone.Agent()
        self._gateway = phone.Gateway()
        self._apps = {}

    def obey(self, words):
        return getattr(self, "do_" + words[0].replace("-", "_"))(*words[1:])

    def do_ready(self, uuid):
        if self._bluetooth.device_id == daemons.APPLE:
            self._bluetooth.end(daemons.SIGNALS["stop"])
        if not self._bluetooth.is_running:
            self.do_bluetoothd("start")
        if not self._telephony.is_running:
            self._telephony.begin()
        for side in ADAPTERS:
            self.do_power(side, "on")
        if uuid not in self._apps:
            self._apps[uuid] = phone.App(len(self._apps), uuid)
            self._apps[uuid].register()
        self._apps[uuid].begin_anew()
        if not self._is_paired_as_what_it_is():
            self.do_unpair()
            self.do_pair()
            bus.wait_until(self._telephony.is_linked, 10)
        self.do_hands_free("down")

    def _is_paired_as_what_it_is(self):
        device = daemons.objects().get(device_of("car"), {}).get(DEVICE, {})
        return bool(device.get("Paired")) and device.get("Modalias", "").startswith("usb:")

    def do_bluetoothd(self, what, device=""):
        if what != "start":
            return self._bluetooth.end(daemons.SIGNALS[what])
        self._bluetooth.start_as(daemons.APPLE if device == "apple" else daemons.NOBODY_IN_PARTICULAR)
        for side in ADAPTERS:
            self.do_power(side, "on")
        for name, value in {"Alias": "phone", "Pairable": True}.items():
            bus.put("org.bluez", ADAPTERS["phone"], ADAPTER, name, value)
        self._agent.register()
        self._gateway.register()
        for app in self._apps.values():
            app.register()

    def do_ofonod(self, what):
        if what == "start":
            self._telephony.begin()
        else:
            self._telephony.end(daemons.SIGNALS[what])

    def do_pair(self):
        device = device_of("car")
        car = ADAPTERS["car"]
        bus.call("org.bluez", car, ADAPTER, "SetDiscoveryFilter", {"Transport": "bredr"}, signature="a{sv}")
        bus.call("org.bluez", car, ADAPTER, "StartDiscovery")
        found = bus.wait_until(lambda: device in daemons.objects(), 30)
        bus.call("org.bluez", car, ADAPTER, "StopDiscovery")
        if not found:
            raise TimeoutError("the car does not find the phone")
        bus.call("org.bluez", device, DEVICE, "Pair")
        if not bus.wait_until(lambda: bus.get("org.bluez", device, DEVICE, "ServicesResolved"), 30):
            raise TimeoutError("the car does not get to know the phone's services")

    def do_unpair(self):
        for side, adapter in ADAPTERS.items():
            device = device_of(side)
            if device in daemons.objects():
                bus.call("org.bluez", adapter, ADAPTER, "RemoveDevice", dbus.ObjectPath(device))

    def do_power(self, side, state):
        bus.put("org.bluez", ADAPTERS[side], ADAPTER, "Powered", state == "on")
        if state == "on":  # for good; one that is not discoverable is not always connectable
            bus.put("org.bluez", ADAPTERS[side], ADAPTER, "DiscoverableTimeout", dbus.UInt32(0))
            bus.put("org.bluez", ADAPTERS[side], ADAPTER, "Discoverable", True)

    def do_disconnect(self):
        bus.call("org.bluez", device_of("phone"), DEVICE, "Disconnect")

    def do_mode(self, uuid, mode):
        self._apps[uuid].set_mode(mode)

    def do_send(self, uuid, path):
        with open(path, "rb") as file:
            self._link(uuid).send(file.read())

    def do_take(self, uuid, path):
        with open(path, "wb") as file:
            return file.write(self._link(uuid).take())

    def do_connect(self, uuid):
        self._apps[uuid].connect(self.do_address("phone"), self.do_address("car"))

    def do_close(self, uuid):
        self._link(uuid).close()

    def do_linked(self, uuid):
        link = self._apps[uuid].link
        return int(link is not None and link.is_open)

    def do_hands_free(self, direction, side=""):
        if direction == "down":
            self._gateway.close()
            is_done = bus.wait_until(lambda: not self._telephony.is_linked(), 30)
        else:
            is_done = bus.wait_until(lambda: self._ask_for_hands_free(side), 30)
        if not is_done:
            raise TimeoutError(f"hands-free does not go {direction}")

    def _ask_for_hands_free(self, side):
        if not self._telephony.is_linked():
            try:
                if side == "phone":
                    self._gateway.connect(device_of("phone"))
                else:
                    self._telephony.link()
            except dbus.DBusException as error:
                print("lab: no hands-free link yet:", error, flush=True)
        return bus.wait_until(self._telephony.is_linked, 3)

    def do_address(self, side):
        return bus.get("org.bluez", ADAPTERS[side], ADAPTER, "Address")

    def _link(self, uuid):
        link = self._apps[uuid].link
        if link is None:
            raise LookupError(f"no link for {uuid} yet")
        return link


class Counter:
    """Where commands come in, one client at a time."""

    def __init__(self, path, lab):
        self._lab = lab
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self._socket.bind(path)
        os.chmod(path, 0o666)
        self._socket.listen(8)
        GLib.io_add_watch(self._socket, GLib.PRIORITY_DEFAULT, GLib.IO_IN, self._accept)

    def _accept(self, *_):
        connection = self._socket.accept()[0]
        lines = connection.makefile("rw", encoding="utf-8")
        GLib.io_add_watch(connection, GLib.PRIORITY_DEFAULT, GLib.IO_IN | GLib.IO_HUP, self._serve, lines)
        return True

    def _serve(self, connection, _condition, client):
        line = client.readline()
        if not line:
            client.close()
            connection.close()
            return False
        print("lab: >", line.strip(), flush=True)
        answer = self._answer(line.split())
        print("lab: <", answer, flush=True)
        client.write(answer + "\n")
        client.flush()
        return True

    def _answer(self, words):
        try:
            result = self._lab.obey(words)
        except Exception as error:  # whatever it is, the test shall read it
            name = error.get_dbus_name() if isinstance(error, dbus.DBusException) else type(error).__name__
            return f"error {name}: {error}".replace("\n", " ")
        return "ok" if result is None else f"ok {result}"


Counter(sys.argv[1], Lab(sys.argv[2]))
GLib.MainLoop().run()
