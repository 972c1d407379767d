"""Wave files, made and taken apart."""
import struct

UNKNOWN = b"\xff\xff\xff\xff"  # a size


def chunk(name, body):
    return name + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)


def riff(*chunks):
    body = b"WAVE" + b"".join(chunks)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def rf64(*chunks, mark=True):
    """RF64 with its sizes in ds64; with `mark` that of the audio, which comes last then, too."""
    body = bytearray(riff(chunk(b"ds64", bytes(28)), *chunks)[12:])
    at = body.index(b"data") + 4
    (size,) = struct.unpack_from("<I", body, at)
    struct.pack_into("<QQQ", body, 8, 4 + len(body), size, size // 4)
    if mark:
        body[at:at + 4] = UNKNOWN
    return b"RF64" + UNKNOWN + b"WAVE" + bytes(body)


def fmt(tag, channels, rate, bits, extra=None, byte_rate=None, align=None):
    align = channels * bits // 8 if align is None else align
    byte_rate = rate * align if byte_rate is None else byte_rate
    extra = b"" if extra is None else struct.pack("<H", len(extra)) + extra
    fixed = struct.pack("<HHIIHH", tag, channels, rate, byte_rate, align, bits)
    return chunk(b"fmt ", fixed + extra)


def extensible(tag, channels, rate, bits, valid, mask):
    guid = struct.pack("<H", tag) + bytes.fromhex("0000000010008000 00AA00389B71")
    return fmt(0xFFFE, channels, rate, bits, struct.pack("<HI", valid, mask) + guid)


def info(**texts):
    return chunk(b"LIST", b"INFO" + b"".join(
        chunk(name.encode(), (text.encode() if isinstance(text, str) else text) + b"\0")
        for name, text in texts.items()))


def bext(description, originator=b"", history=b""):
    head = description.ljust(256, b"\0") + originator.ljust(64, b"\0") + b"2026-11-2108:30:00"
    return chunk(b"bext", head + struct.pack("<QH", 44100, 1) + bytes(254) + history)


def id3(version, *frames):
    """An ID3v2 tag in its chunk; frames as (name, body)."""
    def syncsafe(size):
        return bytes(size >> shift & 0x7F for shift in (21, 14, 7, 0))

    size = syncsafe if version == 4 else struct.Struct(">I").pack
    body = b"".join(name + size(len(data)) + b"\0\0" + data for name, data in frames)
    return chunk(b"id3 ", b"ID3" + bytes([version, 0, 0]) + syncsafe(len(body)) + body)


def text_frame(name, text):
    return name, b"\3" + text.encode()


def apic(kind, description, picture):
    return b"APIC", (b"\1image/jpeg\0" + bytes([kind]) + description.encode("utf-16") + b"\0\0" +
                     picture)


def samples(size):
    return bytes((7 * i + i // 251) % 256 for i in range(size))


def chunks(data):
    """(name, body, end) of each chunk, as far as they make sense; the last may be cut off."""
    audio, at = 0xFFFFFFFF, 12
    while at + 8 <= len(data):
        name, size = struct.unpack_from("<4sI", data, at)
        if not name.rstrip().isalnum():
            return
        if name == b"ds64":
            (audio,) = struct.unpack_from("<Q", data, at + 16)
        body, size = at + 8, audio if size == 0xFFFFFFFF else size
        at = body + size + size % 2
        yield name, data[body:body + size], at
