"""The system bus, for a program with one thread: calls that wait while the main loop goes on."""
import time

import dbus
import dbus.mainloop.glib
from gi.repository import GLib

dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
system = dbus.SystemBus()
_context = GLib.MainContext.default()


def wait_until(condition, seconds):
    """Runs the main loop until the condition holds; the condition's last value."""
    end = time.monotonic() + seconds
    while not condition() and time.monotonic() < end:
        if not _context.iteration(False):
            time.sleep(0.005)
    return condition()


def call(service, path, interface, method, *args, signature=None, seconds=40):
    """Asynchronous underneath: BlueZ calls this program back before it answers."""
    done = []
    proxy = system.get_object(service, path, introspect=False)
    proxy.get_dbus_method(method, interface)(
        *args, signature=signature, timeout=seconds, reply_handler=lambda *values: done.append(values),
        error_handler=done.append)
    wait_until(lambda: done, seconds + 5)
    if not done:
        raise TimeoutError(f"{method} of {path} is not answered")
    if isinstance(done[0], Exception):
        raise done[0]
    return done[0][0] if done[0] else None


def get(service, path, interface, name):
    return call(service, path, dbus.PROPERTIES_IFACE, "Get", interface, name)


def put(service, path, interface, name, value):
    call(service, path, dbus.PROPERTIES_IFACE, "Set", interface, name, value, signature="ssv")


def has_owner(service):
    return system.name_has_owner(service)
