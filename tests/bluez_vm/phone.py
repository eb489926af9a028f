"""The emulated phone: its serial services and its hands-free gateway, on the second controller."""
import os

import dbus
import dbus.service

import bus
import links
import sdp
from daemons import ADAPTERS

PROFILE = "org.bluez.Profile1"
DEVICE = "org.bluez.Device1"
GATEWAY = "0000111f-0000-1000-8000-00805f9b34fb"
HANDS_FREE = "0000111e-0000-1000-8000-00805f9b34fb"

# A service record with the head unit's UUID and a channel of its own. Car and phone live under one bluetoothd, which
# lets a UUID have one owner only, so the phone registers under another one and shows this. What is registered shows on
# both controllers, and who searches takes the record that was registered first: so the phone's app registers before the
# head unit's. Where the app connects by itself it does without bluetoothd, as an app on a phone does, and passes over
# its own channel.
RECORD = """<?xml version="1.0" encoding="UTF-8"?>
<record>
  <attribute id="0x0001"><sequence><uuid value="{uuid}"/></sequence></attribute>
  <attribute id="0x0004"><sequence>
    <sequence><uuid value="0x0100"/></sequence>
    <sequence><uuid value="0x0003"/><uint8 value="{channel:#04x}"/></sequence>
  </sequence></attribute>
  <attribute id="0x0005"><sequence><uuid value="0x1002"/></sequence></attribute>
  <attribute id="0x0100"><text value="App on the phone"/></attribute>
</record>
"""


class Agent(dbus.service.Object):
    """Says yes to every pairing, for both sides."""

    PATH = dbus.ObjectPath("/lab/agent")

    def __init__(self):
        super().__init__(bus.system, self.PATH)

    def register(self):
        bus.call("org.bluez", "/org/bluez", "org.bluez.AgentManager1", "RegisterAgent", self.PATH, "NoInputNoOutput")
        bus.call("org.bluez", "/org/bluez", "org.bluez.AgentManager1", "RequestDefaultAgent", self.PATH)

    @dbus.service.method("org.bluez.Agent1", in_signature="ou", out_signature="")
    def RequestConfirmation(self, device, passkey):
        pass

    @dbus.service.method("org.bluez.Agent1", in_signature="o", out_signature="")
    def RequestAuthorization(self, device):
        pass

    @dbus.service.method("org.bluez.Agent1", in_signature="os", out_signature="")
    def AuthorizeService(self, device, uuid):
        print("agent: authorizes", uuid, flush=True)

    @dbus.service.method("org.bluez.Agent1", in_signature="", out_signature="")
    def Cancel(self):
        pass


class Refused(dbus.DBusException):
    _dbus_error_name = "org.bluez.Error.Rejected"


class Profile(dbus.service.Object):
    """One registration with bluetoothd; what connects goes to `taker(fd)`."""

    def __init__(self, path, uuid, options, taker):
        super().__init__(bus.system, path)
        self.uuid = uuid
        self._path = dbus.ObjectPath(path)
        self._options = options
        self._taker = taker

    def register(self):
        bus.call("org.bluez", "/org/bluez", "org.bluez.ProfileManager1", "RegisterProfile", self._path, self.uuid,
                 self._options, signature="osa{sv}")

    def unregister(self):
        bus.call("org.bluez", "/org/bluez", "org.bluez.ProfileManager1", "UnregisterProfile", self._path)

    @dbus.service.method(PROFILE, in_signature="oha{sv}", out_signature="")
    def NewConnection(self, device, fd, properties):
        print("phone: link for", self._path, "from", device, flush=True)
        socket = fd.take()
        if not device.startswith(ADAPTERS["phone"]):
            os.close(socket)
            raise Refused("the phone is at its own controller")
        self._taker(socket)

    @dbus.service.method(PROFILE, in_signature="o", out_signature="")
    def RequestDisconnection(self, device):
        print("phone:", self._path, "is asked to close", flush=True)

    @dbus.service.method(PROFILE, in_signature="", out_signature="")
    def Release(self):
        print("phone:", self._path, "is released", flush=True)


class App:
    """An app on the phone with one serial service: others connect to it, or it connects to the head unit's."""

    def __init__(self, number, uuid):
        self.link = None
        self._uuid = uuid
        self._channel = 20 + number
        self._mode = "echo"
        self._listener = Profile(
            f"/lab/app{number}/listener", f"b1d0a5f0-0000-4000-8000-{number:012}",
            {"Role": "server", "Channel": dbus.UInt16(self._channel), "RequireAuthorization": False,
             "ServiceRecord": RECORD.format(uuid=uuid, channel=self._channel)}, self._take)

    def register(self):
        self._listener.register()

    def begin_anew(self):
        if self.link:
            self.link.close()
        self._mode = "echo"

    def set_mode(self, mode):
        self._mode = mode
        if self.link:
            self.link.set_mode(mode)

    def connect(self, phone_address, car_address):
        channels = sdp.rfcomm_channels(phone_address, car_address, self._uuid)
        others = [channel for channel in channels if channel != self._channel]
        if not others:
            raise LookupError(f"the car offers no {self._uuid}, but only the channels {channels}")
        self._take(sdp.connect_rfcomm(phone_address, car_address, others[0]))

    def _take(self, fd):
        if self.link:
            self.link.close()
        self.link = links.Link(fd, self._mode)


class Gateway:
    """The phone's side of hands-free: enough of the AT commands for the service level connection."""

    ANSWERS = {
        "AT+BRSF": "+BRSF: 871",
        "AT+CIND=?": '+CIND: ("service",(0,1)),("call",(0,1)),("callsetup",(0-3)),("callheld",(0-2)),'
                     '("signal",(0-5)),("roam",(0,1)),("battchg",(0-5))',
        "AT+CIND?": "+CIND: 1,0,0,0,5,0,4",
        "AT+CHLD=?": "+CHLD: (0,1,2,3,4)",
    }

    def __init__(self):
        self._link = None
        self._profile = Profile("/lab/gateway", GATEWAY, {"Features": dbus.UInt16(0x27)}, self._take)

    def register(self):
        self._profile.register()

    def connect(self, device):
        connect_profile(device, HANDS_FREE)

    def close(self):
        if self._link:
            self._link.close()

    def _take(self, fd):
        self.close()
        self._link = GatewayLink(fd)


class GatewayLink(links.Link):
    def __init__(self, fd):
        self._line = b""
        super().__init__(fd, "keep")

    def received(self, data):
        self._line += data
        while b"\r" in self._line:
            command, self._line = self._line.split(b"\r", 1)
            self._answer(command.decode().strip())

    def _answer(self, command):
        print("phone: hears", command, flush=True)
        for known, answer in Gateway.ANSWERS.items():
            if command == known or command.startswith(known + "="):
                self.send(f"\r\n{answer}\r\n".encode())
        if command:
            self.send(b"\r\nOK\r\n")


def connect_profile(device, uuid):
    """As a phone does it, which asks for the car's services each time: bluetoothd asks anew after a disconnection."""
    try:
        bus.call("org.bluez", device, DEVICE, "ConnectProfile", uuid)
    except dbus.DBusException as error:
        if error.get_dbus_name() != "org.bluez.Error.NotAvailable":
            raise
        bus.call("org.bluez", device, DEVICE, "Disconnect")
        bus.call("org.bluez", device, DEVICE, "ConnectProfile", uuid)
