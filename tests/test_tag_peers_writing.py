#!/usr/bin/env python3
"""Well-known tools read what the module writes, and what they wrote outlives its edits.

WAVE_MODULE names the module. A tool that is not installed is left out."""
import codecs
import io
import json
import os
import re
import shutil
import struct
import subprocess
import unittest
from concurrent.futures import ThreadPoolExecutor

from codec_module import Decoder
from test_tag_peers import (WAVE, PeerTest, chunks, id3, mutagen, run, taglib, wave,
                            without_chunk)

PNG = bytes.fromhex(
    "89504e470d0a1a0a0000000d49484452000000010000000108060000001f15c4890000000d49444154789c63606060"
    "60000000050001a5f645400000000049454e44ae426082")
JPEG = (b"\xff\xd8\xff\xdb\0\x43\0" + b"\1" * 64 + b"\xff\xc0\0\x0b\x08\0\1\0\1\1\1\x11\0"
        b"\xff\xc4\0\x14\0\1" + bytes(16) + b"\xff\xc4\0\x14\x10\1" + bytes(16) +
        b"\xff\xda\0\x08\1\1\0\0\x3f\0\x3f\xff\xd9")


def write(path, tags):
    with Decoder() as module:
        module.write_tags(path, tags)


def delete(path, *names):
    with Decoder() as module:
        module.delete_tags(path, *names)


def by_mutagen(path):
    """The frames as they stand in the file."""
    bodies = [body for name, body in chunks(path.read_bytes()) if name.lower() == b"id3 "]
    tag = id3.ID3(io.BytesIO(bodies[0]), translate=False) if bodies else {}
    return {key: repr(frame) for key, frame in tag.items()}


def by_taglib(path):
    file = taglib.File(str(path))
    told = {key: "\r".join(values) for key, values in file.tags.items()}
    told["other frames"] = sorted(file.unsupported)
    file.close()
    return told


# `INFO` and `bext` texts come out as the bytes that they are.
codecs.register_error("as1252", lambda e: (e.object[e.start:e.end].decode("cp1252"), e.end))


def by_ffprobe(path):
    shown = subprocess.run(
        ["ffprobe", "-v", "error", "-show_entries", "format_tags:stream=codec_name:stream_tags:"
         "chapter_tags", "-of", "json=sv=ignore", path], capture_output=True, check=True)
    assert not shown.stderr, shown.stderr
    told = json.loads(shown.stdout.decode(errors="as1252"))
    return {**told["format"].get("tags", {}), "streams": told["streams"],
            "chapters": told["chapters"]}


def by_exiftool(path):
    shown = json.loads(run("exiftool", "-j", "-a", "-b", "-G1:4", "-RIFF:all", "-ID3:all",
                           "-validate", "-warning", path))[0]
    told = {}
    for key, value in shown.items():
        key = re.sub(":Copy[0-9]+", "", key)
        # Padding that begins with letters is "TextJunk".
        if key not in ("SourceFile", "RIFF:TextJunk") and value != "":
            told[key] = f"{told[key]}\r{value}" if key in told else str(value)
    return told


def by_kid3(path):
    asks = (json.dumps({"method": "get", "params": ["all", tag]}) for tag in (2, 3))
    shown = run("kid3-cli", *(a for ask in asks for a in ("-c", ask)), path).strip()
    return {f"{tag}:{frame['name']}": frame["value"]
            for tag, part in enumerate(shown.split("\n\n"), 2)
            for frame in json.loads(part)["result"]["taggedFile"].get(f"tag{tag}", {"frames": ()})
            ["frames"]}


def by_sndfile(path):
    log = run("sndfile-info", path, encoding="cp1252").replace("(unknown marker)", "").lower()
    assert "error" not in log and "warning" not in log, log
    shown = run("sndfile-metadata-get", "--all", path, encoding="cp1252").split("\n")
    return {key.strip(): value for key, _, value in (line.partition(": ") for line in shown)
            if value}


TOOLS = {name: reader for name, reader, is_there in (
    ("mutagen", by_mutagen, mutagen), ("taglib", by_taglib, taglib),
    ("ffprobe", by_ffprobe, shutil.which("ffprobe")), ("kid3", by_kid3, shutil.which("kid3-cli")),
    ("exiftool", by_exiftool, shutil.which("exiftool")),
    ("sndfile", by_sndfile, shutil.which("sndfile-metadata-get"))) if is_there}


class PeerWritingTest(PeerTest):
    empty = {}  # what the tools tell about a file without tags

    def setUp(self):
        super().setUp()
        self.maxDiff = None
        self.bare = self.folder / "bare.wav"
        self.bare.write_bytes(wave())
        self.settings = self.folder / "settings.json"
        os.environ["XCLASS_XREGISTRY_LOCATION"] = str(self.settings)

    def choose(self, **options):
        options = {f"Wave{name}": value for name, value in options.items()}
        self.settings.write_text(json.dumps(
            {"HKCU": {"Software": {"Mardel": {"Tonvark": {"Tagging": options}}}}}))

    def told(self, path=None):
        """What every tool reads from the file, which has the audio that it had."""
        path = path or self.path
        self.assertEqual(dict(chunks(path.read_bytes()))[b"data"],
                         dict(chunks(wave()))[b"data"])
        with ThreadPoolExecutor() as pool:
            return dict(zip(TOOLS, pool.map(lambda reader: reader(path), TOOLS.values())))

    def delete_all(self):
        if not self.empty:
            self.empty.update(self.told(self.bare))
        delete(self.path)
        self.assertEqual(self.told(), self.empty)


NAMES = {  # of the fields where each tool shows them, "" where it does not
    ("exiftool", "LIST"): "RIFF:Title,RIFF:Artist,RIFF:Product,RIFF:Genre,RIFF:DateCreated,"
                          "RIFF:TrackNumber,RIFF:Comment",
    ("ffprobe", "LIST"): "title,artist,album,genre,date,track,comment",
    ("kid3", "LIST"): "3:Title,3:Artist,3:Album,3:Genre,3:Date,3:Track Number,3:Comment",
    ("sndfile", "LIST"): "Name,Artist,Album,,Create date,,Comment",
    ("taglib", "LIST"): "TITLE,ARTIST,ALBUM,GENRE,DATE,,COMMENT",
    ("exiftool", "ID3"): "ID3v2_3:Title,ID3v2_3:Artist,ID3v2_3:Album,ID3v2_3:Genre,ID3v2_3:Year,"
                         "ID3v2_3:Track,ID3v2_3:Comment",
    ("ffprobe", "ID3"): "title,artist,album,genre,date,track,comment,Mood",
    ("kid3", "ID3"): "2:Title,2:Artist,2:Album,2:Genre,2:Date,2:Track Number,2:Comment,2:Mood",
    ("taglib", "ID3"): "TITLE,ARTIST,ALBUM,GENRE,DATE,TRACKNUMBER,COMMENT,MOOD",
    ("exiftool", "bext"): ",RIFF:Originator,RIFF:OriginatorReference,,,RIFF:TimeReference,"
                          "RIFF:CodingHistory",
    ("ffprobe", "bext"): "comment,encoded_by,originator_reference,date,creation_time,"
                         "time_reference,coding_history",
    ("sndfile", "bext"): "Description,Originator,Origination ref,Origination date,"
                         "Origination time,,Coding history"}
HIDDEN = (("taglib", "LIST"), ("ffprobe", "ID3"))  # by the other chunk, when there is one
SHOWN = {  # several values and dates in the tool's way: the first value only, the year only
    ("exiftool", "LIST"): {"-": ":"}, ("exiftool", "ID3"): {"\r": "/", "-03-04": ""},
    ("taglib", "LIST"): {"-03-04": ""}, ("ffprobe", "ID3"): {"\rB": ""},
    ("kid3", "ID3"): {"\r": "|"}}


class WrittenHere(PeerWritingTest):
    def test_fields_and_pictures_under_every_option(self):
        for creation, kinds in ((0, ("LIST", "ID3")), (1, ("LIST",)), (3, ("ID3",))):
            for unicode in (0, 1):
                text = "Ω 語" if unicode else "Größe"
                values = (text, "A\rB", "Alb", "Rock", "2021-03-04", "3/12", f"C {text}", text)
                names = ("Title", "Artist", "Album", "Genre", "Year", "Track", "Comment", "Mood")
                self.choose(TagDefault=creation, LISTPos=unicode, LISTPaddingSize=unicode,
                            ID3v2UnicodeEncode=unicode)
                self.path.write_bytes(wave())
                write(self.path, (*zip(names, values), ("_albumart_1_Back Album Cover", JPEG),
                                  (f"_albumart_2_Front Album Cover<subdesc>{text}", PNG)))
                with self.subTest(kinds=kinds, unicode=unicode):
                    order = [name for name, _ in chunks(self.path.read_bytes())]
                    if "LIST" in kinds:
                        self.assertEqual(order.index(b"LIST") < order.index(b"data"), unicode == 1)
                    told = self.told()
                    for tool, kind in NAMES:
                        hidden = (tool, kind) in HIDDEN and len(kinds) > 1
                        if tool in told and kind in kinds and not hidden:
                            self.check_fields(told[tool], tool, kind, values)
                    if "ID3" in kinds:
                        self.check_frames(told, text, unicode)
                    self.assertEqual(told.get("exiftool", {}).get("ExifTool:Validate", "OK"), "OK")
                    self.delete_all()

    def check_fields(self, told, tool, kind, values):
        for name, value in zip(NAMES[tool, kind].split(","), values):
            if kind == "LIST":
                value = value.replace("Ω 語", "_ _")
                if tool in ("kid3", "taglib") and not value.isascii():
                    continue  # they take it for UTF-8
            for here, there in SHOWN.get((tool, kind), {}).items():
                value = value.replace(here, there)
            if name:
                self.assertEqual(told.get(name), value, (tool, kind, name))

    def check_frames(self, told, text, encoding):
        said, number = {"encoding": encoding}, {"encoding": 0}
        if "mutagen" in told:
            frames = [
                id3.TIT2(text=[text], **said), id3.TPE1(text=["A", "B"], **said),
                id3.TALB(text=["Alb"], **said), id3.TCON(text=["Rock"], **said),
                id3.TYER(text=["2021"], **number), id3.TDAT(text=["0403"], **number),
                id3.TRCK(text=["3/12"], **number), id3.TXXX(desc="Mood", text=[text], **said),
                id3.COMM(lang="eng", desc="", text=[f"C {text}"], **said),
                id3.APIC(mime="image/png", type=3, desc=text, data=PNG, encoding=1),
                id3.APIC(mime="image/jpeg", type=4, desc="", data=JPEG, **number)]
            self.assertEqual(told["mutagen"], {frame.HashKey: repr(frame) for frame in frames})
        if "ffprobe" in told:
            self.assertEqual(told["ffprobe"]["streams"][1:], [
                {"codec_name": "png", "tags": {"title": text, "comment": "Cover (front)"}},
                {"codec_name": "mjpeg", "tags": {"comment": "Cover (back)"}}])

    def test_broadcast_fields(self):
        names = ("Description", "Originator", "OrigReference", "OrigDate", "OrigTime",
                 "TimeReference", "CodingHistory")
        values = ("Größe " + "D" * 250, "O" * 32, "R" * 32, "2020-01-02", "03:04:05",
                  "12345678901", "A=PCM,F=8000")
        self.choose(TagDefault=2)
        write(self.path, (*zip(names, values),))
        told = self.told()
        for tool, kind in NAMES:
            if tool in told and kind == "bext":
                self.check_fields(told[tool], tool, kind, values)
        self.delete_all()


class WrittenThere(PeerWritingTest):
    """One field is changed, one added and one deleted; each tool still reads all the others."""
    EDITED = {"title": "New", "tit2": "New", "name": "New", "copyright": "2026", "tcop": "2026",
              "genre": None, "tcon": None, "originator_reference": "2026",
              "originatorreference": "2026", "origination ref": "2026"}

    def edit(self, *more):
        def edited(key):
            return self.EDITED.get(re.split("[:.]", key)[-1].lower(), key)

        before = self.told()
        write(self.path, [("Title", "New"), ("Copyright", "2026"), *more])
        delete(self.path, "Genre")
        found = set()
        for tool, told in self.told().items():
            rest = {key: value for key, value in before[tool].items() if edited(key) == key}
            # What was in one chunk only is now in both.
            self.assertEqual({key: told.get(key) for key in rest}, rest, tool)
            for key, value in told.items():
                if edited(key) != key:
                    self.assertIn(str(edited(key)), value, (tool, key))
                    found.add(edited(key))
        self.assertEqual(found, {"New", "2026"})
        self.delete_all()

    @unittest.skipUnless(mutagen, "mutagen is not installed")
    def test_mutagen(self):
        for version in (3, 4):
            said = {"encoding": 1 if version == 3 else 3}
            text = {**said, "text": ["Ω 語"]}
            frames = [
                id3.TIT2(text=["Old"], **said), id3.TPE1(text=["A", "B"], **said),
                id3.TCON(text=["Rock"], **said), id3.TDRC(text=["2021-03-04 05:06"], **said),
                id3.TXXX(desc="private:Ω", **text), id3.COMM(lang="deu", desc="", **text),
                id3.COMM(lang="eng", desc="iTunNORM", text=["00"], **said), id3.TMOO(**text),
                id3.USLT(lang="eng", desc="d", text="Ω\nlyrics", **said),
                id3.SYLT(lang="eng", format=2, type=1, desc="", text=[("a", 1)], **said),
                id3.WXXX(desc="Ω", url="http://b", **said), id3.WOAR(url="http://1"),
                id3.WOAR(url="http://2"), id3.TIPL(people=[["producer", "P"]], **said),
                id3.POPM(email="a@b", rating=100, count=3), id3.PCNT(count=7),
                id3.POPM(email="c@d", rating=196, count=9), id3.UFID(owner="o", data=b"1"),
                id3.PRIV(owner="o", data=b"\0\xff\xe0" * 50), id3.MCDI(data=bytes(12)),
                id3.GEOB(mime="a/b", filename="Ω", desc="d", data=b"12", **said),
                id3.CTOC(element_id="toc", flags=3, child_element_ids=["c"], sub_frames=[]),
                id3.CHAP(element_id="c", start_time=0, end_time=9, start_offset=0, end_offset=0,
                         sub_frames=[id3.TIT2(**text)]),
                id3.APIC(mime="image/png", type=4, desc="Ω", data=PNG, **said)]
            self.path.write_bytes(wave())
            file = WAVE(self.path)
            file.add_tags()
            for frame in frames:
                file.tags.add(frame)
            if version == 3:
                file.tags.update_to_v23()
            file.tags.save(self.path, v2_version=version)
            with self.subTest(version=version):
                self.edit()

    @unittest.skipUnless(taglib, "pytaglib is not installed")
    def test_taglib(self):
        for kinds, text in (("LIST & ID3", "Ω 語"), ("LIST", "Größe")):
            self.path.write_bytes(wave())
            file = taglib.File(str(self.path))
            for name in ("COMPOSER", "LYRICS", "MY MOOD", "PERFORMER:GUITAR"):
                file.tags[name] = [text]
            file.tags.update(TITLE=["Old"], ARTIST=["A"], ALBUM=["B"], COMMENT=["C"], BPM=["99"],
                             GENRE=["Rock"], DATE=["2021-03-04"], TRACKNUMBER=["3/12"],
                             MUSICBRAINZ_TRACKID=["1"])
            file.save()
            file.close()
            if kinds == "LIST":
                self.path.write_bytes(without_chunk(self.path.read_bytes(), b"id3 "))
            with self.subTest(kinds=kinds):
                self.edit()

    def test_ffmpeg(self):
        self.need("ffmpeg")
        given = {"title": "Old", "artist": "Größe", "album": "B", "genre": "Rock", "comment": "C",
                 "date": "2020-01-02", "track": "3", "language": "eng", "description": "D",
                 "originator": "O", "time_reference": "5000000000", "coding_history": "A=PCM",
                 "umid": "0x" + "ab" * 32}
        run("ffmpeg", "-v", "error", "-y", "-i", self.bare, "-write_bext", "1",
            *(a for k, v in given.items() for a in ("-metadata", f"{k}={v}")), self.path)
        self.edit(("OrigReference", "2026"))

    def test_kid3(self):
        self.need("kid3-cli")
        given = {"title": "Old", "artist": "Größe", "comment": "C", "album": "B", "genre": "Rock",
                 "date": "2021-02-03", "composer": "D", "track number": "3"}
        for tag in (2, 3):
            steps = [f"set '{k}' '{v}' {tag}" for k, v in given.items()] + ["save"]
            self.path.write_bytes(wave())
            run("kid3-cli", *(a for step in steps for a in ("-c", step)), self.path)
            with self.subTest(tag=tag):
                self.edit()

    def test_sndfile(self):
        self.need("sndfile-metadata-set")
        given = {"str-title": "Old", "str-artist": "Größe", "str-comment": "C", "str-date": "2020",
                 "str-album": "B", "bext-description": "Größe", "bext-originator": "O",
                 "bext-umid": "umid", "bext-coding-hist": "A=PCM", "bext-time-ref": "5"}
        run("sndfile-metadata-set", *(a for k, v in given.items() for a in ("--" + k, v)),
            self.bare, self.path)
        self.edit()


if __name__ == "__main__":
    unittest.main()
