#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""The other end of an object channel, written from the wire format alone.

usage: objectPeer.py read FILE CLASS           prints "NAME ATTRIBUTE NUMBER" for each object of a file of frames
       objectPeer.py listen SOCKET CLASS       the same for what one connection brings until it is closed
       objectPeer.py serve SOCKET CLASS NAME   sends objects to whoever connects; see serve()

CLASS is the number that stands for the class of the objects on a stream.
"""
import socket
import struct
import sys
import zlib

START = bytes.fromhex("FEF0F0FAFEEEDA00")
END = bytes.fromhex("ABCDEF6806012537")
CONTAINER = 0xFFFFFFFE
MAGIC = 0xFEBFCD07


def checksum(payload):
    words = len(payload) // 8
    return sum(struct.unpack_from("<%dQ" % words, payload)) % 2**64


def variable(number):
    """The shortest form of a number: 7 bits in each byte, the lowest first, the top bit on all but the last."""
    groups = []
    while True:
        groups.append(number & 0x7F)
        number >>= 7
        if not number:
            break
    return bytes(g | (0x80 if i < len(groups) - 1 else 0) for i, g in enumerate(groups))


def take_variable(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        shift += 7
        if not byte & 0x80:
            return value, at


def record(class_id, attributes, user="data"):
    """A root object with one container of numbers that fit a byte."""
    container = struct.pack("<II", MAGIC, len(attributes))
    for name, number in attributes:
        container += name.encode() + b"\0" + bytes([0xFC, 2, 0, 1, number])
    body = struct.pack("<I", 1) + user.encode() + b"\0" + struct.pack("<I", CONTAINER) + container
    return struct.pack(">III", class_id, 12 + len(body), 0) + body


def frame(name, plain, method=1):
    payload = variable(len(plain)) + variable(method) + (zlib.compress(plain) if method else plain)
    return (START + name.encode() + b"\0" + struct.pack(">QI", checksum(payload), len(payload)) + END + payload)


def frames(data):
    at = 0
    while True:
        at = data.find(START, at)
        if at < 0:
            return
        at += 8
        end = data.index(b"\0", at)
        name = data[at:end].decode()
        total, size = struct.unpack_from(">QI", data, end + 1)
        assert data[end + 13:end + 21] == END
        payload = data[end + 21:end + 21 + size]
        assert len(payload) == size and checksum(payload) == total
        plain, at = take_variable(payload, 0)
        method, at = take_variable(payload, at)
        block = zlib.decompress(payload[at:]) if method else payload[at:]
        assert len(block) == plain
        yield name, block
        at = end + 21 + size


def listen(path):
    """Says "ready" when it can be connected to."""
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(path)
    listener.listen(1)
    print("ready", flush=True)
    return listener


def show(data, class_id):
    for name, block in frames(data):
        number, size, instance = struct.unpack_from(">III", block)
        assert (number, size, instance) == (class_id, len(block), 0)
        count, = struct.unpack_from("<I", block, 12)
        assert count == 1
        at = block.index(b"\0", 16) + 1
        kind, magic, attributes = struct.unpack_from("<III", block, at)
        assert (kind, magic) == (CONTAINER, MAGIC)
        at += 12
        for _ in range(attributes):
            end = block.index(b"\0", at)
            assert block[end + 1:end + 5] == bytes([0xFC, 2, 0, 1])
            print(name, block[at:end].decode(), block[end + 5])
            at = end + 6
        assert at == len(block)


def serve(path, class_id, name):
    """Writes a file beside the socket. Three connections: the first ends within a frame, the second sends byte by byte and damaged frames, the
    third stays until the other side goes."""
    def object_frame(number, channel=name, method=1):
        return frame(channel, record(class_id, [("n", number)]), method)

    with open(path + ".frames", "wb") as file:
        file.write(object_frame(21) + object_frame(22, channel="another") + object_frame(22, method=0))
    listener = listen(path)

    peer, _ = listener.accept()
    peer.sendall(b"garbage" + START[:5] + object_frame(1) + object_frame(2)[:-3])
    peer.close()

    peer, _ = listener.accept()
    wrong_sum = bytearray(object_frame(100))
    wrong_sum[8 + len(name) + 1] ^= 1
    wrong_end = bytearray(object_frame(101))
    wrong_end[8 + len(name) + 1 + 12] ^= 1
    payload = b"\x40\x01this is no zlib stream"
    no_zlib = START + name.encode() + b"\0" + struct.pack(">QI", checksum(payload), len(payload)) + END + payload
    empty = START + name.encode() + b"\0" + struct.pack(">QI", 0, 0) + END
    cut_object = frame(name, record(class_id, [("n", 102)])[:-4])
    unknown = frame(name, record(class_id ^ 1, [("n", 103)]))
    lying = frame(name, struct.pack(">III", class_id, 11, 0))
    for part in (wrong_sum, wrong_end, no_zlib, empty, cut_object, unknown, lying,
                 object_frame(3), object_frame(4, channel="another"), object_frame(5, method=0)):
        for byte in part:
            peer.send(bytes([byte]))
    peer.close()

    peer, _ = listener.accept()
    peer.sendall(object_frame(6))
    peer.recv(1)  # until the other side closes


if __name__ == "__main__":
    if sys.argv[1] == "read":
        with open(sys.argv[2], "rb") as source:
            show(source.read(), int(sys.argv[3]))
    elif sys.argv[1] == "listen":
        connection, _ = listen(sys.argv[2]).accept()
        with connection.makefile("rb") as source:
            show(source.read(), int(sys.argv[3]))
    else:
        serve(sys.argv[2], int(sys.argv[3]), sys.argv[4])
