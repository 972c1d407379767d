"""A codec module as Python drives it. WAVE_MODULE names the Wave module."""
import ctypes
import os
import struct
import tempfile
from ctypes import (byref, c_char_p, c_int32, c_int64, c_ssize_t, c_uint8, c_uint32, c_uint64,
                    c_void_p, c_wchar_p)
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MODULE = os.environ.get("WAVE_MODULE", str(ROOT / "build/release/bin/wave.dll"))

DECODE, PACKETS, INFO, TAGS, PROPERTIES = 1, 2, 4, 8, 16


def record(**fields):
    return type("Record", (ctypes.Structure,), {"_pack_": 4, "_fields_": list(fields.items())})


Report = record(errors=c_ssize_t, information=c_ssize_t, debug=c_ssize_t)
AudioInfo = record(format=c_uint8 * 40, bit_rate=c_int32, length_ms=c_uint64, length_bytes=c_uint64,
                   reserved=c_uint8 * 8)
OpenRecord = record(
    file_name=c_wchar_p, flags=c_uint32, audio=AudioInfo, tags=c_void_p, tag_size=c_uint32,
    properties=c_void_p, properties_size=c_uint32, reserved=c_uint8 * 24)
AudioBlock = record(
    data=c_void_p, size=c_uint32, format=c_uint8 * 40, bit_rate=c_int32, block_ms=c_uint64,
    reserved1=c_uint8 * 16, position_ms=c_uint64, last=c_uint32, reserved2=c_uint8 * 24)
GetSetRecord = record(index=c_int32, size=c_int32, range=c_int64 * 2, file_name=c_wchar_p,
                      texts=c_void_p * 2, block=c_char_p)


def entries(address, size):
    """(name, value, payload) of each entry of a block; a unit is a character, whatever it is."""
    block = ctypes.string_at(address, size) if size else bytes(4)
    found, at = [], 4
    for _ in range(struct.unpack_from("<I", block)[0]):
        begin, at = at, at + struct.unpack_from("<i", block, at)[0]
        texts, begin = ["", ""], begin + 4
        for i in range(2):
            while unit := struct.unpack_from("<H", block, begin)[0]:
                texts[i] += chr(unit)
                begin += 2
            begin += 2
        found.append((*texts, block[begin:at]))
    assert at == len(block), "the block's entries do not fill it"
    return found


class Decoder:
    """An instance, for a `with` statement."""

    def __init__(self, module=MODULE):
        self.module = ctypes.CDLL(str(module))
        self.module.Create.restype = c_void_p

    def __enter__(self):
        self.errors = tempfile.TemporaryFile()
        self.instance = c_void_p(self.module.Create(byref(Report(errors=self.errors.fileno()))))
        return self

    def __exit__(self, *_):
        self.module.Destroy(self.instance)
        self.errors.close()

    def error_lines(self):
        self.errors.seek(0)
        return [line.partition("  [")[0] for line in self.errors.read().decode().splitlines()]

    def set_range(self, first, end):
        record = GetSetRecord(range=(first, end))
        assert self.module.Set(self.instance, c_wchar_p("Set Decode Range"), byref(record))

    def open(self, name, flags=DECODE | INFO):
        """The filled record; None when it fails."""
        record = OpenRecord(file_name=str(name), flags=flags)
        return record if self.module.Open(self.instance, byref(record)) else None

    def seek(self, frame):
        return bool(self.module.SetPosition(self.instance, c_int64(frame)))

    def decode(self):
        """All that is left; what was decoded before a failure, and "!" behind it."""
        decoded, block = b"", AudioBlock()
        while not block.last:
            block = AudioBlock()
            if not self.module.DecodeBlock(self.instance, byref(block)):
                return decoded + b"!"
            decoded += ctypes.string_at(block.data, block.size) if block.size else b""
        return decoded

    def write_tags(self, path, tags):
        """Writes (name, text or payload) pairs; whether it could."""
        block = struct.pack("<I", len(tags))
        for name, value in tags:
            text, payload = (value, b"") if isinstance(value, str) else ("", value)
            entry = f"{name}\0{text}\0".encode("utf-16-le") + payload
            block += struct.pack("<I", len(entry) + 4) + entry
        record = GetSetRecord(size=len(block), file_name=str(path), block=block)
        return self.module.Set(self.instance, c_wchar_p("IDTags"), byref(record)) == 1

    def delete_tags(self, path, *names):
        """Deletes the tags of those names; all when there are none."""
        packed = ctypes.create_unicode_buffer("\0".join((*names, "\0")))
        return self.module.DeleteATag(self.instance, c_wchar_p(str(path)), packed) == 1


def describe(name):
    """The tags of a source as (name, value, payload), and its properties."""
    with Decoder() as decoder:
        record = decoder.open(name, TAGS | PROPERTIES)
        assert record, f"cannot open {name}: {decoder.error_lines()}"
        return (entries(record.tags, record.tag_size),
                {n: v for n, v, _ in entries(record.properties, record.properties_size)})
