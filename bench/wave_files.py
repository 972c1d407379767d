"""Wave files that the benchmarks read and write."""
import os
import struct
import subprocess
from pathlib import Path

FOLDER = Path(__file__).resolve().parent.parent / "build" / "bench" / "files"
MIB = 1 << 20
AUDIO = 1024 * MIB
MPEG_SECONDS = 240
FMT = b"fmt " + struct.pack("<IHHIIHH", 16, 1, 2, 44100, 176400, 4, 16)
COMMENT = "n" * 900


def large(name):
    """A file with AUDIO bytes of noise and nothing else; the C++ benchmarks make the same."""
    path = FOLDER / name
    head = b"WAVE" + FMT + b"data" + struct.pack("<I", AUDIO)
    if not path.exists() or path.stat().st_size < 8 + len(head) + AUDIO:
        FOLDER.mkdir(parents=True, exist_ok=True)
        noise = os.urandom(MIB)
        with path.open("wb") as file:
            file.write(b"RIFF" + struct.pack("<I", len(head) + AUDIO) + head)
            for _ in range(AUDIO // MIB):
                file.write(noise)
    return path


def restore(path, front=b"", back=b""):
    """Puts chunks before the audio and behind it; what the audio is does not matter."""
    head = b"WAVE" + FMT + front + b"data" + struct.pack("<I", AUDIO)
    size = len(head) + AUDIO + len(back)
    with open(path, "r+b") as file:
        file.write(b"RIFF" + struct.pack("<I", size) + head)
        file.seek(8 + len(head) + AUDIO)
        file.write(back)
        file.truncate()
        os.fdatasync(file.fileno())  # what is to be written does not disturb what is measured


def id3(padding):
    text = b"\0eng\0" + b"o" * 200
    frames = b"COMM" + struct.pack(">IH", len(text), 0) + text + bytes(padding)
    size = bytes(len(frames) >> shift & 127 for shift in (21, 14, 7, 0))
    tag = b"ID3\3\0\0" + size + frames
    return b"id3 " + struct.pack("<I", len(tag)) + tag + bytes(len(tag) % 2)


def settings(list_position):
    """The module's options: a `LIST` chunk only, at the end (0) or before the audio (1)."""
    path = FOLDER / f"write-settings{list_position}.json"
    if not path.exists():
        path.write_text('{"HKCU":{"Software":{"Mardel":{"Tonvark":{"Tagging":{"WaveTagDefault":1,'
                        f'"WaveLISTPadding":2,"WaveLISTPos":{list_position}' + "}}}}}}")
    return path


def mpeg(layer):
    """The same MPEG stream, bare and inside a Wave file."""
    tag, encoder = {3: (0x55, ("lame", "--quiet", "-b", "128")),
                    2: (0x50, ("twolame", "--quiet", "-b", "192"))}[layer]
    coded, wave, source = (FOLDER / f"layer{layer}{end}" for end in (".mpeg", ".wav", "-source.wav"))
    if not wave.exists():
        FOLDER.mkdir(parents=True, exist_ok=True)
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                        f"anoisesrc=d={MPEG_SECONDS}:c=pink:r=44100:a=0.3", "-ac", "2", source],
                       check=True)
        subprocess.run([*encoder, source, coded], check=True)
        source.unlink()
        stream = coded.read_bytes()
        body = (b"WAVEfmt " + struct.pack("<IHHIIHHH", 18, tag, 2, 44100, 16000, 1, 0, 0) + b"data" +
                struct.pack("<I", len(stream)) + stream + bytes(len(stream) % 2))
        wave.write_bytes(b"RIFF" + struct.pack("<I", len(body)) + body)
    return coded, wave
