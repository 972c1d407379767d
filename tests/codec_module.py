"""A codec module as Python drives it, and the chunks of Wave files. WAVE_MODULE names the Wave module."""
import ctypes
import os
import struct
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MODULE = os.environ.get("WAVE_MODULE", str(ROOT / "build/release/bin/wave.dll"))

DECODE, PACKETS, INFO, TAGS, PROPERTIES = 1, 2, 4, 8, 16


class Report(ctypes.Structure):
    _fields_ = [("errors", ctypes.c_ssize_t), ("information", ctypes.c_ssize_t),
                ("debug", ctypes.c_ssize_t)]


class AudioInfo(ctypes.Structure):
    _pack_ = 4
    _fields_ = [("format", ctypes.c_uint8 * 40), ("bit_rate", ctypes.c_int32),
                ("length_ms", ctypes.c_uint64), ("length_bytes", ctypes.c_uint64),
                ("reserved", ctypes.c_uint8 * 8)]


class OpenRecord(ctypes.Structure):
    _pack_ = 4
    _fields_ = [
        ("file_name", ctypes.c_wchar_p), ("flags", ctypes.c_uint32), ("audio", AudioInfo),
        ("tags", ctypes.c_void_p), ("tag_size", ctypes.c_uint32), ("properties", ctypes.c_void_p),
        ("properties_size", ctypes.c_uint32), ("reserved", ctypes.c_uint8 * 24)]


class AudioBlock(ctypes.Structure):
    _pack_ = 4
    _fields_ = [
        ("data", ctypes.c_void_p), ("size", ctypes.c_uint32), ("format", ctypes.c_uint8 * 40),
        ("bit_rate", ctypes.c_int32), ("block_ms", ctypes.c_uint64), ("reserved1", ctypes.c_uint8 * 16),
        ("position_ms", ctypes.c_uint64), ("last", ctypes.c_uint32), ("reserved2", ctypes.c_uint8 * 24)]


class GetSetRecord(ctypes.Structure):
    _pack_ = 4
    _fields_ = [("index", ctypes.c_int32), ("size", ctypes.c_int32), ("range", ctypes.c_int64 * 2),
                ("file_name", ctypes.c_wchar_p), ("texts", ctypes.c_void_p * 2),
                ("block", ctypes.c_char_p)]


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
        self.module.Create.restype = ctypes.c_void_p

    def __enter__(self):
        self.errors = tempfile.TemporaryFile()
        handle = self.errors.fileno()
        self.instance = ctypes.c_void_p(self.module.Create(ctypes.byref(Report(errors=handle))))
        return self

    def __exit__(self, *_):
        self.module.Destroy(self.instance)
        self.errors.close()

    def error_lines(self):
        self.errors.seek(0)
        return [line.partition("  [")[0] for line in self.errors.read().decode().splitlines()]

    def set_range(self, first, end):
        record = GetSetRecord(range=(first, end))
        assert self.module.Set(self.instance, ctypes.c_wchar_p("Set Decode Range"),
                               ctypes.byref(record))

    def open(self, name, flags=DECODE | INFO):
        """The filled record; None when it fails."""
        record = OpenRecord(file_name=str(name), flags=flags)
        return record if self.module.Open(self.instance, ctypes.byref(record)) else None

    def seek(self, frame):
        return bool(self.module.SetPosition(self.instance, ctypes.c_int64(frame)))

    def block(self):
        """The next block; None when it fails."""
        block = AudioBlock()
        return block if self.module.DecodeBlock(self.instance, ctypes.byref(block)) else None

    def blocks(self):
        """(bytes, block) of all that is left; ends with None after a failure."""
        while block := self.block():
            yield ctypes.string_at(block.data, block.size) if block.size else b"", block
            if block.last:
                return
        yield None

    def decode(self):
        """All that is left; what was decoded before a failure, and "!" behind it."""
        return b"".join(b"!" if got is None else got[0] for got in self.blocks())

    def write_tags(self, path, tags):
        """Writes (name, text or payload) pairs."""
        block = struct.pack("<I", len(tags))
        for name, value in tags:
            text, payload = (value, b"") if isinstance(value, str) else ("", value)
            entry = f"{name}\0{text}\0".encode("utf-16-le") + payload
            block += struct.pack("<I", len(entry) + 4) + entry
        record = GetSetRecord(size=len(block), file_name=str(path), block=block)
        assert self.module.Set(self.instance, ctypes.c_wchar_p("IDTags"), ctypes.byref(record)) == 1

    def delete_tags(self, path, *names):
        """Deletes the tags of those names; all when there are none."""
        packed = ctypes.create_unicode_buffer("\0".join((*names, "\0")))
        assert self.module.DeleteATag(self.instance, ctypes.c_wchar_p(str(path)), packed) == 1


def describe(name):
    """The tags of a source as (name, value, payload), and its properties."""
    with Decoder() as decoder:
        record = decoder.open(name, TAGS | PROPERTIES)
        assert record, f"cannot open {name}: {decoder.error_lines()}"
        return (entries(record.tags, record.tag_size),
                {n: v for n, v, _ in entries(record.properties, record.properties_size)})


def chunk(name, body):
    return name + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)


def riff(*chunks):
    body = b"WAVE" + b"".join(chunks)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def fmt(tag, channels, rate, bits):
    align = channels * bits // 8
    return chunk(b"fmt ", struct.pack("<HHIIHH", tag, channels, rate, rate * align, align, bits))


def info(**texts):
    return chunk(b"LIST", b"INFO" + b"".join(
        chunk(name.encode(), text.encode() + b"\0") for name, text in texts.items()))
