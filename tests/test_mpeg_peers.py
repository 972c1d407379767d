#!/usr/bin/env python3
"""mp3.dll, which MP3_MODULE names, gives the samples that the `mpg123` program gives for the same
bytes, whatever encoder made them and however they are cut into blocks."""
import ctypes
import itertools
import math
import os
import random
import struct
import unittest
import wave

from codec_module import PACKETS, ROOT, AudioBlock, Decoder, OpenRecord
from folder_case import FolderCase, run

MODULE = os.environ.get("MP3_MODULE", str(ROOT / "build/release/bin/mp3.dll"))
RATES = (8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000)


def decode(data, most):
    """(rate, channels) and the samples of data handed in as blocks of up to `most` bytes."""
    sizes, source = random.Random(most), ctypes.create_string_buffer(data, len(data))
    found, samples, at = set(), b"", 0
    with Decoder(MODULE) as decoder:
        assert decoder.module.Open(decoder.instance, ctypes.byref(OpenRecord(flags=PACKETS))) == 1
        while at < len(data):
            size = min(sizes.randint(1, most), len(data) - at)
            block = AudioBlock(data=ctypes.addressof(source) + at, size=size,
                               last=at + size == len(data))
            assert decoder.module.DecodeBlock(decoder.instance, ctypes.byref(block)) == 1, \
                decoder.error_lines()
            at += size
            if block.size:
                samples += ctypes.string_at(block.data, block.size)
                found.add(struct.unpack_from("<HI", bytes(block.format), 2)[::-1])
    assert len(found) == 1, "the format changes"
    return found.pop(), samples


def music(path, rate, channels, seconds):
    """A Wave file of a gliding tone, its overtone on the other side, and a little noise."""
    noise, samples = random.Random(rate), []
    for i in range(int(rate * seconds)):
        turn = 2 * math.pi * i / rate * (200 + 300 * i / rate)
        for side in range(channels):
            samples.append(int(14000 * math.sin(turn * (1 + side)) + noise.randint(-1500, 1500)))
    with wave.open(str(path), "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        file.writeframes(struct.pack(f"<{len(samples)}h", *samples))


def layer1(frames, seed=1):
    """Layer 1 frames, stereo, 44.1 kHz, 448 kbit/s: four bits a sample, the samples are noise."""
    noise, head = random.Random(seed), b"\xff\xff\xe0\x00" + b"\x33" * 32
    return b"".join(head + noise.randbytes(448) for _ in range(frames))


class PeerTest(FolderCase):
    def check(self, data, channels=2, rate=44100, options=()):
        """In blocks of 64 KiB and in small ones the samples are those of mpg123."""
        self.need("mpg123")
        path = self.put("stream.mpeg", data)
        wanted = run("mpg123", "-q", "-s", *options, path, encoding=None)
        self.assertTrue(wanted)
        for most in (65536, 3000, 40):
            found, samples = decode(data, most)
            self.assertEqual((found, len(samples)), ((rate, channels), len(wanted)))
            self.assertTrue(samples == wanted, f"samples differ in blocks of up to {most} bytes")

    def encoded(self, command, channels=2, rate=44100, seconds=0.7):
        """What an encoder makes of music; "IN" and "OUT" stand for the files."""
        command = command.split()
        self.need(command[0])
        source, target = self.folder / f"{rate}.{channels}.wav", self.folder / "out.mp3"
        if not source.exists():
            music(source, rate, channels, seconds)
        run(*[{"IN": source, "OUT": target}.get(part, part) for part in command])
        return target.read_bytes()

    def test_encoders(self):
        controls = itertools.cycle(("-b 32", "-V 2", "--abr 56", "-V 9 -p", "-b 64 -t"))
        lame = "lame --quiet -m {} {} --resample {} IN OUT"
        twolame = "twolame --quiet -m {} {} IN OUT"
        ffmpeg = "ffmpeg -v error -y -i IN -metadata title=" + "T" * 5000 + " -c:a "
        cases = [(command, "j", 44100) for command in (
            "lame --quiet --freeformat -b 400 IN OUT", ffmpeg + "mp2 -f mp2 OUT",
            ffmpeg + "libmp3lame -id3v2_version 3 OUT",
            ffmpeg + "libmp3lame -write_xing 0 -write_id3v1 1 OUT")]
        for rate, mode in itertools.product(RATES, "mjs"):
            cases.append((lame.format(mode, next(controls), rate / 1000), mode, rate))
            if rate >= 16000:
                protect = "-b 96 -p" if rate > 30000 else "-b 96"
                cases.append((twolame.format(mode, protect), mode, rate))
        for command, mode, rate in cases:
            channels = 1 if mode == "m" else 2
            with self.subTest(command=command):
                self.check(self.encoded(command, channels, rate), channels, rate)

    def test_layer1(self):
        self.check(layer1(40))

    def test_damaged_streams(self):
        """Garbage, lost bytes, flipped bits: as mpg123 conceals them when it keeps one format where
        bits make a frame look like another kind."""
        data = self.encoded("lame --quiet -b 96 -t --resample 32 IN OUT", 2, 32000, seconds=3)
        options = ("-r", "32000", "--stereo", "--resample", "ntom")
        for seed in range(30):
            noise, broken = random.Random(seed), bytearray(data)
            for _ in range(noise.randint(0, 20)):
                broken[noise.randrange(2000, len(broken))] ^= 1 << noise.randrange(8)
            at = noise.randrange(2000, len(broken) - 700)
            if seed % 3 == 0:
                del broken[at:at + noise.randint(1, 700)]
            if seed % 3 == 1:
                broken[at:at] = bytes(noise.randint(1, 600))
            if seed % 2:
                broken[:0] = bytes(noise.randrange(255) for _ in range(noise.randint(1, 5000)))
            with self.subTest(seed=seed):
                self.check(bytes(broken), 2, 32000, options)


if __name__ == "__main__":
    unittest.main()
