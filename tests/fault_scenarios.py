"""Wave files whose tags are written while something fails, and how to look at what is left."""
import collections
import random
import struct

import wave_files
from wave_files import bext, chunk, chunks, fmt, riff, rf64

NOISE = random.Random(1).randbytes(3460305)  # pieces of the mover, and an odd rest
FMT = fmt(1, 2, 44100, 16)
DATA, BIG = chunk(b"data", NOISE[:4000]), chunk(b"data", NOISE)
CUE, SMPL = chunk(b"cue ", struct.pack("<I", 1) + NOISE[:24]), chunk(b"smpl", NOISE[:37])


def info(comment):
    return wave_files.info(INAM="Old title", ICMT="c" * comment)


def id3(comment):
    return wave_files.id3(3, (b"TIT2", b"\0Old title"), (b"COMM", b"\0eng\0" + b"c" * comment))


def history(size):
    return bext(b"An old description", history=b"h" * size)


Scenario = collections.namedtuple("Scenario", "file command options trailing")
WRITE = ("write", "Title=A new title", "Artist=Somebody")
LONG = ("write", "Comment=" + "long " * 700)
VERY_LONG = ("write", "Comment=" + "very long " * 700)
SHORT, HISTORY = ("write", "Comment=short"), ("write", "CodingHistory=" + "H" * 999)
LIST, NONE = {"WaveTagDefault": 1}, {"WaveTagDefault": 2}
FRONT, CUT = {**LIST, "WaveLISTPos": 1}, {"WaveLISTPadding": 2}


def scenario(file, command, *options, trailing=b""):
    merged = {name: value for more in options for name, value in more.items()}
    return Scenario(file + trailing, command, merged, trailing)


SCENARIOS = {
    "append": scenario(riff(FMT, DATA), WRITE, LIST),
    "append_both": scenario(riff(FMT, CUE, DATA), WRITE),
    "append_truncated": scenario(riff(FMT, DATA)[:-1000], WRITE, LIST),
    "append_truncated_odd": scenario(riff(FMT, DATA)[:-1001], WRITE, LIST),
    "append_truncated_little": scenario(riff(FMT, DATA)[:-46], WRITE),
    "append_no_pad": scenario(riff(FMT, chunk(b"data", NOISE[:4001]))[:-1], WRITE, LIST),
    "append_trailing": scenario(riff(FMT, DATA, CUE), WRITE, LIST, trailing=b"behind the file"),
    "append_rf64": scenario(rf64(FMT, DATA), WRITE),
    # Nothing but tags and padding changes its place.
    "insert_into_junk": scenario(riff(FMT, chunk(b"JUNK", bytes(3000)), DATA), WRITE, FRONT),
    "grow_into_junk": scenario(riff(FMT, info(9), chunk(b"PAD ", bytes(9000)), DATA), VERY_LONG),
    "grow_two_into_junk": scenario(riff(FMT, info(9), id3(9), chunk(b"JUNK", bytes(20000)), DATA),
                                   VERY_LONG),
    "grow_by_half_a_header": scenario(riff(FMT, info(5000), chunk(b"JUNK", bytes(90)), DATA),
                                      ("write", "Comment=" + "c" * 5004)),
    "grow_by_shortened_junk": scenario(riff(FMT, chunk(b"JUNK", bytes(9000)), info(9), DATA), LONG),
    "shrink_to_junk": scenario(riff(FMT, info(3000), DATA, CUE), SHORT),
    "remove_to_junk": scenario(riff(FMT, info(300), DATA, CUE), ("delete",)),
    "remove_name": scenario(riff(FMT, info(300), DATA, id3(300)), ("delete", "Comment")),
    # What lies behind the audio is moved.
    "grow_behind": scenario(riff(FMT, DATA, info(99), CUE, id3(99)), LONG),
    "grow_behind_trailing": scenario(riff(FMT, DATA, info(99), SMPL), LONG, trailing=b"behind"),
    "shrink_behind": scenario(riff(FMT, DATA, info(3000), CUE, id3(3000)), SHORT, CUT),
    "remove_behind": scenario(riff(FMT, DATA, info(300), CUE, id3(300), SMPL), ("delete",), CUT),
    # The audio is moved.
    "insert": scenario(riff(FMT, BIG, CUE), WRITE, FRONT, CUT),
    "insert_padding": scenario(riff(FMT, chunk(b"JUNK", bytes(40)), BIG), WRITE, FRONT,
                               {"WaveLISTPaddingSize": 1}),
    "insert_trailing": scenario(riff(FMT, BIG), WRITE, FRONT, trailing=b"behind the file"),
    "grow": scenario(riff(FMT, info(99), BIG), LONG),
    "shrink": scenario(riff(FMT, info(3001), BIG, CUE), SHORT, CUT),
    "remove": scenario(riff(FMT, info(301), BIG, CUE), ("delete",), CUT),
    "bext_new": scenario(riff(FMT, BIG), ("write", "Description=A new description"), NONE),
    "bext_longer": scenario(riff(history(9), FMT, BIG), HISTORY, NONE),
    "bext_shorter": scenario(riff(history(3001), FMT, BIG), ("write", "CodingHistory=H"), NONE),
    "bext_removed": scenario(riff(history(9), FMT, BIG, CUE), ("delete",)),
    "bext_rf64": scenario(rf64(FMT, BIG)[:-1], ("write", "Description=A description"), NONE),
    "all_ways": scenario(riff(history(9), FMT, info(4001), BIG, id3(9), SMPL,
                              chunk(b"JUNK", b"12")), (*HISTORY, "Comment=" + "x" * 99), CUT),
}


def container(data):
    """The size that the file says, its first eight bytes included."""
    if data[:8] == b"RF64" + wave_files.UNKNOWN:
        return struct.unpack_from("<Q", data, 20)[0] + 8
    return struct.unpack_from("<I", data, 4)[0] + 8


def foreign(data):
    """The chunks that are neither tags nor padding, as far as the file says that it goes."""
    own = (b"bext", b"id3 ", b"JUNK", b"PAD ", b"ds64", b"LIST")
    return [(name, body) for name, body, _ in chunks(data[:container(data)]) if name not in own]


def looseness(data, trailing):
    """What is not tight about a file, or nothing."""
    size = container(data)
    *_, (_, _, end) = chunks(data[:size])
    if size > len(data):
        return "the container runs past the end of the file"
    if end != size:
        return f"the chunks end at {end}, the container at {size}"
    return None if data[size:] == trailing else f"{len(data) - size} bytes behind the container"
