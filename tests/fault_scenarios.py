"""Wave files whose tags are written while something fails, and how to look at what is left.

What the files hold, what is written, and with which options; a walker of chunks."""
import collections
import random
import struct


def chunk(name, body):
    return name + struct.pack("<I", len(body)) + body + b"\0" * (len(body) % 2)


def riff(*chunks):
    body = b"WAVE" + b"".join(chunks)
    return b"RIFF" + struct.pack("<I", len(body)) + body


def rf64(*chunks, audio):
    """An RF64 file; `data` is its last chunk and has a size only in `ds64`."""
    ds64 = struct.pack("<QQQI", 48 + sum(map(len, chunks)) + len(audio), len(audio), 0, 0)
    return (b"RF64\xff\xff\xff\xffWAVE" + chunk(b"ds64", ds64) + b"".join(chunks) +
            b"data\xff\xff\xff\xff" + audio)


def info(comment):
    return chunk(b"LIST", b"INFO" + chunk(b"INAM", b"Old title\0") + chunk(b"ICMT", b"c" * comment))


def id3(comment):
    text = b"\0eng\0" + b"c" * comment
    frames = b"TIT2\0\0\0\x0a\0\0\0Old title" + b"COMM" + struct.pack(">IH", len(text), 0) + text
    size = bytes(len(frames) >> shift & 127 for shift in (21, 14, 7, 0))
    return chunk(b"id3 ", b"ID3\3\0\0" + size + frames)


def bext(history):
    fixed = b"An old description".ljust(256, b"\0") + bytes(602 - 256)
    return chunk(b"bext", fixed + b"h" * history)


NOISE = random.Random(1).randbytes(3460305)  # pieces of the mover, and an odd rest
FMT = chunk(b"fmt ", struct.pack("<HHIIHH", 1, 2, 44100, 176400, 4, 16))
DATA, BIG = chunk(b"data", NOISE[:4000]), chunk(b"data", NOISE)
CUE, SMPL = chunk(b"cue ", struct.pack("<I", 1) + NOISE[:24]), chunk(b"smpl", NOISE[:37])


def cut(data, missing):
    return riff(FMT, data)[:-missing]


Scenario = collections.namedtuple("Scenario", "file command options trailing")
WRITE = ("write", "Title=A new title", "Artist=Somebody")
LONG = ("write", "Comment=" + "long " * 700)
VERY_LONG = ("write", "Comment=" + "very long " * 700)
SHORT = ("write", "Comment=short")
LIST, ID3, NONE = {"WaveTagDefault": 1}, {"WaveTagDefault": 3}, {"WaveTagDefault": 2}
FRONT, CUT = {**LIST, "WaveLISTPos": 1}, {"WaveLISTPadding": 2}


def scenario(file, command, *options, trailing=b""):
    merged = {name: value for more in options for name, value in more.items()}
    return Scenario(file + trailing, command, merged, trailing)


APPENDS = {
    "append": scenario(riff(FMT, DATA), WRITE, LIST),
    "append_both": scenario(riff(FMT, CUE, DATA), WRITE),
    "append_truncated": scenario(cut(DATA, 1000), WRITE, LIST),
    "append_truncated_odd": scenario(cut(DATA, 1001), WRITE, LIST),
    "append_no_pad": scenario(cut(chunk(b"data", NOISE[:4001]), 1), WRITE, LIST),
    "append_trailing": scenario(riff(FMT, DATA, CUE), WRITE, LIST, trailing=b"behind the file"),
    "append_rf64": scenario(rf64(FMT, audio=NOISE[:4000]), WRITE),
}
QUIET = {  # nothing but tags and padding changes its place
    "insert_into_junk": scenario(riff(FMT, chunk(b"JUNK", bytes(3000)), DATA), WRITE, FRONT),
    "grow_into_junk": scenario(riff(FMT, info(9), chunk(b"PAD ", bytes(9000)), DATA), VERY_LONG),
    "shrink_to_junk": scenario(riff(FMT, info(3000), DATA, CUE), SHORT),
    "remove_to_junk": scenario(riff(FMT, info(300), DATA, CUE), ("delete",)),
    "remove_name": scenario(riff(FMT, info(300), DATA, id3(300)), ("delete", "Comment")),
}
TAILS = {  # what lies behind the audio is moved
    "grow_behind": scenario(riff(FMT, DATA, info(99), CUE, id3(99)), LONG),
    "grow_behind_trailing": scenario(riff(FMT, DATA, info(99), SMPL), LONG, trailing=b"behind"),
    "shrink_behind": scenario(riff(FMT, DATA, info(3000), CUE, id3(3000)), SHORT, CUT),
    "remove_behind": scenario(riff(FMT, DATA, info(300), CUE, id3(300), SMPL), ("delete",), CUT),
}
MOVES = {  # the audio is moved
    "insert": scenario(riff(FMT, BIG, CUE), WRITE, FRONT, CUT),
    "insert_padding": scenario(riff(FMT, chunk(b"JUNK", bytes(40)), BIG), WRITE, FRONT,
                               {"WaveLISTPaddingSize": 1}),
    "insert_trailing": scenario(riff(FMT, BIG), WRITE, FRONT, trailing=b"behind the file"),
    "grow": scenario(riff(FMT, info(99), BIG), LONG),
    "shrink": scenario(riff(FMT, info(3001), BIG, CUE), SHORT, CUT),
    "remove": scenario(riff(FMT, info(301), BIG, CUE), ("delete",), CUT),
    "bext_new": scenario(riff(FMT, BIG), ("write", "Description=A new description"), NONE),
    "bext_longer": scenario(riff(bext(9), FMT, BIG), ("write", "CodingHistory=" + "H" * 999), NONE),
    "bext_shorter": scenario(riff(bext(3001), FMT, BIG), ("write", "CodingHistory=H"), NONE),
    "bext_removed": scenario(riff(bext(9), FMT, BIG, CUE), ("delete",)),
    "bext_rf64": scenario(rf64(FMT, audio=NOISE), ("write", "Description=A description"), NONE),
    "all_ways": scenario(riff(bext(9), FMT, info(4001), BIG, id3(9), SMPL, chunk(b"JUNK", b"12")),
                         ("write", "CodingHistory=" + "H" * 999, "Comment=" + "x" * 99), CUT),
}
SCENARIOS = {**APPENDS, **QUIET, **TAILS, **MOVES}


def walk(data):
    """The chunks as (id, body), as far as they make sense, and where they end."""
    chunks, at = [], 12
    while at + 8 <= len(data):
        name, size = data[at:at + 4], struct.unpack_from("<I", data, at + 4)[0]
        if size == 0xFFFFFFFF and chunks and chunks[0][0] == b"ds64":
            size = struct.unpack_from("<Q", chunks[0][1], 8)[0]
        if not name.isalnum() and not name.rstrip().isalnum():
            break
        chunks.append((name, data[at + 8:at + 8 + size]))
        at += 8 + size + size % 2
    return chunks, at


def container(data):
    """The size that the file says, its first eight bytes included."""
    size = struct.unpack_from("<I", data, 4)[0]
    if data[:4] == b"RF64" and size == 0xFFFFFFFF:
        size = struct.unpack_from("<Q", data, 20)[0]
    return size + 8


def foreign(data):
    """The chunks that are neither tags nor padding, as far as the file says that it goes."""
    own = (b"bext", b"id3 ", b"JUNK", b"PAD ", b"ds64")
    return [(name, body) for name, body in walk(data[:container(data)])[0]
            if name not in own and not (name == b"LIST" and body[:4] == b"INFO")]


def tag_chunks(data):
    chunks = walk(data)[0]
    return {n: next((b for i, b in chunks if i == n and (n != b"LIST" or b[:4] == b"INFO")), None)
            for n in (b"bext", b"LIST", b"id3 ")}


def strict(data, trailing):
    """What is not tight about a file, or nothing. `trailing`: the bytes behind; None: any."""
    size = container(data)
    end = walk(data[:size])[1]
    if size > len(data):
        return "the container runs past the end of the file"
    if end != size:
        return f"the chunks end at {end}, the container at {size}"
    if trailing is not None and data[size:] != trailing:
        return f"{len(data) - size} bytes behind the container"
    return None
