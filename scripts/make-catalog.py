#!/usr/bin/env python3
"""Writes an unsigned catalog that lists a module by its hash.

make-catalog.py sha1|sha256 MEMBER CATALOG

Windows leaves the parts of a module that signing changes out of its hash. SHA-1 catalogs list the hash of the whole
file, too: Wine 8.0 makes that one.
"""
import hashlib
import struct
import sys


def der(tag, *parts):
    content = b"".join(parts)
    size = len(content)
    if size < 0x80:
        return bytes([tag, size]) + content
    length = size.to_bytes((size.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(length)]) + length + content


def sequence(*parts):
    return der(0x30, *parts)


def microsoft(*rest):
    """1.3.6.1.4.1.311 with what follows."""
    return der(0x06, b"\x2B\x06\x01\x04\x01\x82\x37" + bytes(rest))


def signed_parts(image):
    """All of an unsigned module but its checksum and the place that tells where a signature is."""
    header = struct.unpack_from("<I", image, 0x3C)[0] + 24
    directories = 112 if struct.unpack_from("<H", image, header)[0] == 0x20B else 96
    security = header + directories + 4 * 8
    return image[: header + 64] + image[header + 68 : security] + image[security + 8 :]


def member(algorithm, digest):
    """Its tag is the hash in upper-case hexadecimal, its kind a module."""
    kind = "{C689AAB8-8E78-11D0-8C47-00C04FC295EE}".encode("utf-16-be")
    info = sequence(der(0x1E, kind), der(0x02, b"\x02\x00"))
    image = sequence(der(0x03, b"\x00"), der(0xA0, der(0xA2, der(0x80))))
    indirect = sequence(sequence(microsoft(2, 1, 15), image), sequence(algorithm, der(0x04, digest)))
    tag = (digest.hex().upper() + "\0").encode("utf-16-le")
    return sequence(
        der(0x04, tag),
        der(0x31, sequence(microsoft(12, 2, 2), der(0x31, info)), sequence(microsoft(2, 1, 4), der(0x31, indirect))),
    )


kind, source, target = sys.argv[1:]
identifier = b"\x2B\x0E\x03\x02\x1A" if kind == "sha1" else b"\x60\x86\x48\x01\x65\x03\x04\x02\x01"
algorithm = sequence(der(0x06, identifier), der(0x05))
image = open(source, "rb").read()
forms = [signed_parts(image)] + [image] * (kind == "sha1")
members = [member(algorithm, hashlib.new(kind, form).digest()) for form in forms]
catalog = sequence(
    sequence(microsoft(12, 1, 1)),
    der(0x04, b"0123456789ABCDEF"),
    der(0x17, b"240101000000Z"),
    sequence(microsoft(12, 1, 2), der(0x05)),
    sequence(*members),
)
content = sequence(microsoft(10, 1), der(0xA0, catalog))
signed = sequence(der(0x02, b"\x01"), der(0x31, algorithm), content, der(0x31))
with open(target, "wb") as file:
    file.write(sequence(der(0x06, b"\x2A\x86\x48\x86\xF7\x0D\x01\x07\x02"), der(0xA0, signed)))
