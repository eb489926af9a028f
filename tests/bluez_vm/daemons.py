"""bluetoothd and ofonod as processes of the lab, to be started, ended and killed."""
import os
import shutil
import signal
import subprocess

import dbus

import bus

ADAPTERS = {"car": "/org/bluez/hci0", "phone": "/org/bluez/hci1"}
# What a bluetoothd says of its devices. Always something: the kernel goes on saying what it was told once.
NOBODY_IN_PARTICULAR = "usb:1D6B:0246:0542"
APPLE = "bluetooth:004C:7203:0102"


class Daemon:
    def __init__(self, name, service, log):
        self.service = service
        self._name = name
        self._log = log
        self._process = None

    @property
    def is_running(self):
        return self._process is not None and self._process.poll() is None

    def start(self, *command):
        with open(self._log, "ab", buffering=0) as log:
            log.write(f"---- {' '.join(command)}\n".encode())
            self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        if not bus.wait_until(self._is_up, 20):
            raise TimeoutError(f"{self._name} does not take its name on the bus")

    def _is_up(self):
        if not self.is_running:
            raise ChildProcessError(f"{self._name} ended with {self._process.returncode}; see {self._log}")
        return bus.has_owner(self.service)

    def end(self, how):
        self._process.send_signal(how)
        if not bus.wait_until(lambda: not self.is_running, 20):
            raise TimeoutError(f"{self._name} does not end")
        if not bus.wait_until(lambda: not bus.has_owner(self.service), 20):
            raise TimeoutError(f"{self._name} has ended and keeps its name")


class Bluetooth(Daemon):
    def __init__(self, folder):
        super().__init__("bluetoothd", "org.bluez", os.path.join(folder, "bluetoothd.log"))
        self._settings = os.path.join(folder, "bluetoothd.conf")
        self.device_id = ""

    def start_as(self, device_id):
        if device_id != self.device_id:
            self._forget_all()
        self.device_id = device_id
        with open(self._settings, "w", encoding="utf-8") as settings:
            settings.write(f"[General]\nDeviceID = {device_id}\n")
        self.start("/usr/libexec/bluetooth/bluetoothd", "-n", "-d", "-f", self._settings)
        if not bus.wait_until(lambda: set(ADAPTERS.values()) <= set(objects()), 20):
            raise TimeoutError("bluetoothd does not see both controllers")

    @staticmethod
    def _forget_all():
        """Pairings, and what a device said of itself: bluetoothd believes it also after pairing anew."""
        for entry in os.scandir("/var/lib/bluetooth"):
            shutil.rmtree(entry.path) if entry.is_dir() else os.remove(entry.path)


class Telephony(Daemon):
    def __init__(self, folder):
        super().__init__("ofonod", "org.ofono", os.path.join(folder, "ofonod.log"))

    def begin(self):
        # Its own audio gateway would take the phone's place on the same bus.
        self.start("/usr/sbin/ofonod", "-n", "-d", "--noplugin=hfp_ag_bluez5")

    def is_linked(self):
        try:
            modems = bus.call("org.ofono", "/", "org.ofono.Manager", "GetModems")
        except dbus.DBusException:
            return False
        return any(path == self._modem() and properties.get("Online") for path, properties in modems)

    def link(self):
        bus.call("org.ofono", self._modem(), "org.ofono.Modem", "SetProperty", "Powered", True, signature="sv")

    @staticmethod
    def _modem():
        return "/hfp" + device_of("car")


def device_of(side):
    """The object under which `side` knows the other."""
    other = "phone" if side == "car" else "car"
    address = bus.get("org.bluez", ADAPTERS[other], "org.bluez.Adapter1", "Address")
    return f"{ADAPTERS[side]}/dev_{address.replace(':', '_')}"


def objects():
    return bus.call("org.bluez", "/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")


SIGNALS = {"kill": signal.SIGKILL, "stop": signal.SIGTERM}
