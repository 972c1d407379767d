#!/usr/bin/env python3
"""Files tagged by well-known tools read with the values that those tools say themselves.

WAVE_MODULE names the module. A tool that is not installed is skipped."""
import json
import os
import shutil
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

from codec_module import ROOT, chunk, describe, fmt, riff

try:
    import mutagen
    from mutagen import id3
    from mutagen.wave import WAVE
except ImportError:
    mutagen = id3 = WAVE = None
try:
    import taglib
except ImportError:
    taglib = None


def units(text):
    """The low 16 bits of each character, as the tag block carries them."""
    return "".join(chr(ord(c) & 0xFFFF) for c in text)


def as_1252(raw):
    """Bytes of an INFO or bext text as they read; bytes that the code page lacks are '_'."""
    return "".join(bytes([b]).decode("cp1252", "replace").replace("\ufffd", "_") for b in raw)


def wave(*chunks):
    audio = (fmt(1, 1, 8000, 16), chunk(b"data", bytes(range(200)) * 4))
    return riff(*audio, *chunks)


def chunks(data):
    """(name, body) of each chunk of a Wave file."""
    at = 12
    while at + 8 <= len(data):
        size = struct.unpack_from("<I", data, at + 4)[0]
        yield data[at:at + 4], data[at + 8:at + 8 + size]
        at += 8 + size + size % 2


def without_chunk(data, name):
    """The Wave file without its chunks of that name."""
    return riff(*(chunk(n, body) for n, body in chunks(data) if n.lower() != name))


def run(*command, encoding="utf-8"):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60,
                          env={**os.environ, "QT_QPA_PLATFORM": "offscreen"}, check=False)
    assert done.returncode == 0, (command, done.stderr)
    return done.stdout.decode(encoding)


class PeerTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="tag-peers-")
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        os.environ["XDG_CONFIG_HOME"] = folder.name  # not the settings of whoever runs this
        self.path = self.folder / "a.wav"
        self.path.write_bytes(wave())

    def need(self, *tools):
        for tool in tools:
            if not shutil.which(tool):
                self.skipTest(f"{tool} is not installed")

    def check(self, expected, kinds):
        """The expected fields are there; nothing else is but `TagVersion` and carried chunks."""
        tags, properties = describe(self.path)
        got = {name.lower(): value for name, value, _ in tags if name[0] != "_"}
        got.pop("tagversion", None)
        self.maxDiff = None
        self.assertEqual(got, {units(n).lower(): units(v) for n, v in expected.items()})
        self.assertEqual(properties.get("ID Tag"), kinds)


# Frames whose first text is the field's value, and frames that have a value for each text.
SINGLE = {
    "TIT2": "Title", "TIT3": "Subtitle", "TSST": "Set subtitle", "TALB": "Album", "TSRC": "ISRC",
    "TENC": "Encoded by", "TCOP": "Copyright", "TPUB": "Label", "TOWN": "File owner/licensee",
    "TRSN": "Internet radio station name", "TRSO": "Internet radio station owner",
    "TSSE": "Encoder Settings", "TBPM": "Tempo", "TMED": "Source", "TKEY": "Initial key",
    "TLEN": "Length", "TLAN": "Language(s)", "TCMP": "Compilation", "TRCK": "Track",
    "TPOS": "Disc", "TDRC": "Year", "TDOR": "Original release year", "TDRL": "Release date"}
LISTS = {
    "TIT1": "Style", "TSOT": "Title Sort", "TSOP": "Artist Sort", "TSOA": "Album Sort",
    "TSO2": "Album Artist Sort", "TSOC": "ComposerSort", "TCON": "Genre",
    "TOPE": "Original artist(s)/performer(s)", "TOAL": "Original album/movie/show title",
    "TPE1": "Artist", "TPE2": "Album Artist", "TPE3": "Conductor", "TCOM": "Composer",
    "TPE4": "Interpreted, remixed, or otherwise modified by", "TEXT": "Lyricist/Text writer"}
URLS = {
    "WCOM": "Commercial information", "WCOP": "Copyright/Legal infromation",
    "WOAF": "Official audio file webpage", "WOAR": "Official artist/performer webpage",
    "WOAS": "Official audio source webpage", "WPAY": "Payment",
    "WORS": "Official internet radio station homepage", "WPUB": "Official publisher webpage"}
NUMBERS = {"TBPM": "128", "TLEN": "1234", "TCMP": "1", "TRCK": "3/12", "TPOS": "1/2",
           "TDRC": "2021-03-04T05:06:07", "TDOR": "1999", "TDRL": "2022-11-12"}
RATINGS = {0: 0, 1: 2, 64: 4, 128: 6, 196: 8, 255: 10}  # a byte of POPM: tenths
KINDS = {  # by APIC type
    0: "Undefined", 1: "32x32 Icon", 2: "Other Icon", 3: "Front Album Cover", 4: "Back Album Cover",
    5: "Leaflet Page", 6: "Media", 7: "Lead Artist", 8: "Artist", 9: "Conductor", 10: "Band",
    11: "Composer", 12: "Writer", 13: "Recording Location", 14: "During Recording",
    15: "During Performance", 16: "Video Capture", 17: "Undefined", 18: "Illustration",
    19: "Artist Logo", 20: "Publisher Logo"}
PLAIN = {"LATIN1": "Größe ÿé", "UTF16": "Ω 語 \U0001F600!", "UTF16BE": "日本 \U0001D11E",
         "UTF8": "žluťoučký \U0001F600"}


OTHER_FRAMES = {  # to the field's name and values
    "TXXX": lambda frame: (frame.desc, *frame.text),
    "WXXX": lambda frame: ("User defined URL link", f"{frame.desc} {frame.url}".strip()),
    "COMM": lambda frame: (f"Comment {frame.desc}".strip(), frame.text[0]),
    "USLT": lambda frame: ("Lyrics", frame.text),
    "POPM": lambda frame: ("Rating", str(RATINGS[frame.rating]))}


def told_by_mutagen(tags):
    """The fields that a tag has by mutagen's reading of it."""
    fields = {}
    for frame in tags.values():
        kind = frame.FrameID
        if kind in SINGLE:
            text = str(frame.text[0])
            if kind.startswith("TD"):
                # `TIME` of version 2.3 has no seconds; mutagen adds them as it updates the tag.
                text = text.replace(" ", "T")[:16 if tags.version < (2, 4, 0) else None]
            name, *values = SINGLE[kind], text
        elif kind in LISTS:
            name, *values = LISTS[kind], *(frame.genres if kind == "TCON" else frame.text)
        elif kind in URLS:
            name, *values = URLS[kind], frame.url
        elif kind in OTHER_FRAMES:
            name, *values = OTHER_FRAMES[kind](frame)
        else:
            continue
        fields.setdefault(name, []).extend(values)
    return {name: "\r".join(values) for name, values in fields.items()}


@unittest.skipUnless(mutagen, "mutagen is not installed")
class Mutagen(PeerTest):
    def save(self, version, *frames, sep=None):
        """Puts a tag with the frames into the file; the fields that mutagen then reads."""
        self.path.write_bytes(wave())
        file = WAVE(self.path)
        file.add_tags()
        for frame in frames:
            file.tags.add(frame)
        if version == 3:
            file.tags.update_to_v23()
        file.tags.save(self.path, v2_version=version, v23_sep=sep)
        return told_by_mutagen(WAVE(self.path).tags)

    def test_every_frame_in_every_encoding(self):
        for version in (3, 4):
            for name in ("LATIN1", "UTF16") if version == 3 else PLAIN:
                with self.subTest(version=version, encoding=name):
                    self.every_frame(version, getattr(id3.Encoding, name), PLAIN[name])

    def every_frame(self, version, encoding, sample):
        frames = [id3.PRIV(owner="o", data=b"\0\xff\xe0" * 50), id3.PCNT(count=7),
                  id3.UFID(owner="http://o", data=b"1"), id3.MCDI(data=bytes(12)),
                  id3.GEOB(encoding=encoding, mime="a/b", filename=sample, desc="d", data=b"12"),
                  id3.CTOC(element_id="toc", flags=3, child_element_ids=["c"], sub_frames=[]),
                  id3.CHAP(element_id="c", start_time=0, end_time=9, start_offset=0, end_offset=0,
                           sub_frames=[id3.TIT2(encoding=encoding, text=["chapter"])])]
        for kind in SINGLE:
            text = NUMBERS.get(kind, f"{kind} {sample}")
            frames.append(id3.Frames[kind](encoding=encoding, text=[text]))
        for kind in LISTS:
            frames.append(id3.Frames[kind](encoding=encoding, text=[f"{kind} {sample}", "z"]
                                           if kind != "TCON" else ["Rock", sample, "17"]))
        frames += [id3.Frames[kind](url=f"http://a/{kind}?x=1") for kind in URLS]
        text = {"encoding": encoding, "text": [sample]}
        frames += [id3.TXXX(desc=f"Mood {sample}", encoding=encoding, text=[sample, "2"]),
                   id3.TXXX(desc="REPLAYGAIN_TRACK_GAIN", encoding=encoding, text=["-3.21 dB"]),
                   id3.WXXX(desc=sample, encoding=encoding, url="http://b"),
                   id3.WXXX(desc="", encoding=encoding, url="http://c"),
                   id3.COMM(lang="eng", desc="", **text), id3.COMM(lang="deu", desc="", **text),
                   id3.COMM(lang="eng", desc=f"Foo {sample}", **text),
                   id3.USLT(lang="eng", desc="d", encoding=encoding, text=f"{sample}\nline two"),
                   id3.POPM(email="a@b", rating=196, count=3)]
        told = self.save(version, *frames)
        self.assertGreater(len(told), 45)
        self.check(told, "ID3")

    def test_dates_genres_ratings_and_joined_values(self):
        dates = ["2021", "2021-03", "2021-03-04", "2021-03-04 05:06:07"]
        genres = [["17"], ["(17)"], ["((Live)"], ["(RX)"], ["Foo"], ["17", "Bar", "8"]]
        cases = [id3.TDRC(encoding=0, text=[d]) for d in dates]
        cases += [id3.TCON(encoding=0, text=g) for g in genres]
        cases += [id3.POPM(email="", rating=r, count=0) for r in RATINGS]
        cases += [id3.TPE1(encoding=1, text=["A", "B"]), id3.TRCK(encoding=0, text=["3"])]
        for frame in cases:
            for version in (4, 3):  # the update to 2.3 changes the frame
                with self.subTest(frame=frame, version=version):
                    self.check(self.save(version, frame, sep="/"), "ID3")

    def test_pictures(self):
        big = bytes(range(256)) * 81920  # 20 MB
        frames = [id3.APIC(encoding=1, mime="image/png", type=kind, data=b"\x89PNG" * kind + b"!",
                           desc=f"{kind} {PLAIN['UTF16']}") for kind in KINDS]
        frames += [id3.APIC(encoding=0, mime="image/jpeg", type=3, desc="", data=big)]
        for version in (3, 4):
            self.save(version, *frames)
            told = {}
            for number, picture in enumerate(WAVE(self.path).tags.getall("APIC"), 1):
                name = f"_albumart_{number}_{KINDS[picture.type]}"
                name += f"<subdesc>{units(picture.desc)}" if picture.desc else ""
                told[name] = picture.data
            got = {n: data for n, _, data in describe(self.path)[0] if n.startswith("_albumart_")}
            with self.subTest(version=version):
                self.assertEqual(list(got), list(told))
                self.assertTrue(got == told, "the pictures' bytes")


INFO = {"title": "Title", "artist": "Artist", "comment": "Comment", "date": "Year",
        "genre": "Genre", "album": "Album", "copyright": "Copyright", "encoder": "Encoded By"}


class Others(PeerTest):
    def ffmpeg(self, metadata, *options):
        self.need("ffmpeg", "ffprobe")
        bare = self.folder / "bare.wav"
        bare.write_bytes(wave())
        run("ffmpeg", "-v", "error", "-y", "-i", bare, *options,
            *(a for k, v in metadata.items() for a in ("-metadata", f"{k}={v}")), self.path)
        shown = run("ffprobe", "-v", "error", "-show_entries", "format_tags", "-of", "json",
                    self.path)
        return json.loads(shown)["format"].get("tags", {})

    def test_ffmpeg_info(self):
        given = {key: f"{key} {PLAIN['UTF8']}" for key in INFO if key != "encoder"}
        told = self.ffmpeg({**given, "track": "5"})
        # It writes UTF-8 where the format has Windows-1252, and a track as `IPRT`, which is no part
        # of it.
        self.check({INFO[k]: as_1252(v.encode()) for k, v in told.items() if k in INFO}, "LIST")
        self.assertEqual(set(given) - set(told), set())

    def test_ffmpeg_bext(self):
        names = {"comment": "Description", "encoded_by": "Originator", "date": "OrigDate",
                 "originator_reference": "OrigReference", "creation_time": "OrigTime",
                 "time_reference": "TimeReference", "coding_history": "CodingHistory"}
        given = {"description": "D" * 256, "originator": "An originator",
                 "originator_reference": "R" * 32, "origination_date": "2020-01-02",
                 "origination_time": "03:04:05", "time_reference": "12345678901234",
                 "coding_history": "A=PCM\r\nB"}
        told = self.ffmpeg(given, "-write_bext", "1", "-fflags", "+bitexact")
        self.assertEqual(set(told), set(names))
        self.check({names[k]: v for k, v in told.items()}, "BEXT v1")

    def test_sndfile(self):
        self.need("sndfile-metadata-set", "sndfile-metadata-get")
        given = {"str-title": ("Title", "Größe"), "str-artist": ("Artist", "A"),
                 "str-comment": ("Comment", "C"), "str-album": ("Album", "Alb"),
                 "str-copyright": ("Copyright", "Co"), "str-date": ("Year", "2020"),
                 "bext-description": ("Description", "Größe"),
                 "bext-originator": ("Originator", "O" * 31),
                 "bext-orig-ref": ("OrigReference", "R"),
                 "bext-orig-date": ("OrigDate", "2020-01-02"),
                 "bext-orig-time": ("OrigTime", "03:04:05"),
                 "bext-coding-hist": ("CodingHistory", "A=PCM,F=8000")}
        plain = self.folder / "plain.wav"
        plain.write_bytes(wave())
        run("sndfile-metadata-set", "--bext-time-ref", "987654321",
            *(a for option, (_, value) in given.items() for a in ("--" + option, value)),
            plain, self.path)
        told = {"TimeReference": "987654321"}
        for option, (name, _) in given.items():
            shown = run("sndfile-metadata-get", "--" + option, self.path).split(": ", 1)[1]
            told[name] = as_1252(shown.strip().encode())
        self.check(told, "LIST & BEXT v2")

    @unittest.skipUnless(taglib, "pytaglib is not installed")
    def test_taglib(self):
        both = {"TITLE": "Title", "ARTIST": "Artist", "ALBUM": "Album", "COMMENT": "Comment",
                "GENRE": "Genre", "DATE": "Year", "COPYRIGHT": "Copyright"}
        names = {**both, "TRACKNUMBER": "Track", "COMPOSER": "Composer", "BPM": "Tempo",
                 "ALBUMARTIST": "Album Artist", "LYRICS": "Lyrics", "MY MOOD": "my mood"}
        file = taglib.File(str(self.path))
        for key in names:
            file.tags[key] = [f"{key} {PLAIN['UTF8']}"]
        file.tags.update(DATE=["2021-03-04"], TRACKNUMBER=["3/12"], BPM=["99"],
                         GENRE=["Rock", "Foo"], ARTIST=["A", "B"])
        file.save()
        file.close()
        saved = self.path.read_bytes()
        for gone, kinds in ((b"none", "LIST & ID3"), (b"list", "ID3"), (b"id3 ", "LIST")):
            self.path.write_bytes(without_chunk(saved, gone))
            told = taglib.File(str(self.path)).tags
            with self.subTest(kinds=kinds):
                if kinds == "LIST":  # written as UTF-8, and a track as `IPRT`
                    told = {both[k]: as_1252(v[0].encode()) for k, v in told.items() if k in both}
                else:
                    told = {names[k]: "\r".join(v) for k, v in told.items()}
                self.assertGreaterEqual(len(told), 5)
                self.check(told, kinds)

    def test_kid3(self):
        self.need("kid3-cli")
        names = {"Title": "Title", "Artist": "Artist", "Comment": "Comment", "Genre": "Genre",
                 "Album": "Album", "Date": "Year", "Track Number": "Track", "Composer": "Composer"}
        given = {"title": PLAIN["UTF16"], "artist": "A", "comment": "C", "album": "Größe",
                 "genre": "Rock", "date": "2021", "track number": "3/12", "composer": "B"}
        for update, tag in (([], 2), (["to24"], 2), ([], 3)):
            with self.subTest(update=update, tag=tag):
                self.path.write_bytes(wave())
                steps = [f"set '{k}' '{v}' {tag}" for k, v in given.items()] + update + ["save"]
                run("kid3-cli", *(a for step in steps for a in ("-c", step)), self.path)
                ask = json.dumps({"method": "get", "params": ["all", tag]})
                shown = json.loads(run("kid3-cli", "-c", ask, self.path))
                frames = shown["result"]["taggedFile"][f"tag{tag}"]["frames"]
                told = {names[f["name"]]: f["value"] for f in frames if f["name"] in names}
                if tag == 3:  # written as UTF-8; a track as `TRAC`, a composer as `IMUS`
                    told = {k: as_1252(v.encode()) for k, v in told.items()
                            if k not in ("Track", "Composer")}
                self.assertGreater(len(told), 5)
                self.check(told, "ID3" if tag == 2 else "LIST")

    def test_code_page_of_info(self):
        raw = bytes(range(0x80, 0x100))
        self.path.write_bytes(wave(chunk(b"LIST", b"INFO" + chunk(b"IART", raw + b"\0"))))
        self.check({"Artist": as_1252(raw)}, "LIST")


if __name__ == "__main__":
    unittest.main()
