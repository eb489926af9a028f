"""How an app on a phone finds and reaches a service: a search over L2CAP, then RFCOMM, past bluetoothd."""
import re
import socket
import struct
import uuid

_PSM = 1
_SEARCH_REQUEST, _SEARCH_ANSWER = 0x06, 0x07
_SECONDS = 20


def rfcomm_channels(own, other, service):
    """Channels of all records of `other` that have the service's UUID, in the records' order."""
    with socket.socket(socket.AF_BLUETOOTH, socket.SOCK_SEQPACKET, socket.BTPROTO_L2CAP) as connection:
        connection.settimeout(_SECONDS)
        connection.bind((own, 0))
        connection.connect((other, _PSM))
        answer, continuation = b"", b"\0"
        while True:
            part, continuation = _ask(connection, uuid.UUID(service).bytes, continuation)
            answer += part
            if continuation == b"\0":
                break
    # In each list of protocols: the UUID of RFCOMM with 16 bits, then the channel with 8.
    return [found[0] for found in re.findall(rb"\x19\x00\x03\x08(.)", answer, re.DOTALL)]


def _ask(connection, service, continuation):
    pattern = b"\x35\x11\x1c" + service
    attributes = b"\x35\x03\x09\x00\x04"
    question = pattern + b"\xff\xff" + attributes + continuation
    connection.send(struct.pack(">BHH", _SEARCH_REQUEST, 1, len(question)) + question)
    answer = connection.recv(65535)
    kind, _, _, size = struct.unpack(">BHHH", answer[:7])
    if kind != _SEARCH_ANSWER:
        raise LookupError(f"the search is answered with {answer.hex()}")
    return answer[7:7 + size], answer[7 + size:]


def connect_rfcomm(own, other, channel):
    """The descriptor of a link, as bluetoothd hands them out: not blocking."""
    connection = socket.socket(socket.AF_BLUETOOTH, socket.SOCK_STREAM, socket.BTPROTO_RFCOMM)
    connection.settimeout(_SECONDS)
    connection.bind((own, 0))
    connection.connect((other, channel))
    connection.setblocking(False)
    return connection.detach()
