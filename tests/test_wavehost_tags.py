#!/usr/bin/env python3
"""Tests of the host's commands that change tags. WAVEHOST names the executable."""
import itertools
import json
import os
import pty
import struct
import subprocess
import unittest
from unittest import mock

import test_wavehost as base
from test_wavehost import JPEG, PCM16, PNG, apic, bext, id3, info_list, samples, text_frame, wave

CHUNKS = {  # what a file may have besides format and audio
    "LIST": info_list(INAM=b"Old", ICMT=b"comment " * 40),
    "id3 ": id3(3, text_frame(b"TPE1", "Old"), apic(3, "described", JPEG), apic(4, "", JPEG)),
    "bext": bext(b"Old", b"Desk", b"A=PCM\r\n"),
    "JUNK": (b"JUNK", bytes(900)),
    "cue ": (b"cue ", bytes(29)),
}


def chunks(content):
    """Yields ID, position and data of the chunks; the last one may be cut off."""
    position = 12
    while position + 8 <= len(content):
        name, size = struct.unpack_from("<4sI", content, position)
        yield name, position + 8, content[position + 8 : position + 8 + size]
        position += 8 + size + size % 2


def rf64(*parts, mark):
    """RF64 with its real sizes in ds64; with `mark` the audio, which comes last then, too."""
    body = bytearray(wave((b"ds64", bytes(28)), *parts)[12:])
    at = body.index(b"data")
    (size,) = struct.unpack_from("<I", body, at + 4)
    struct.pack_into("<QQQ", body, 8, 4 + len(body), size, size // 4)
    if mark:
        struct.pack_into("<I", body, at + 4, 0xFFFFFFFF)
    return b"RF64\xff\xff\xff\xffWAVE" + bytes(body)


class TagCase(base.HostCase):
    def setUp(self):
        super().setUp()
        self.store = self.folder / "settings"
        temporary = self.folder / "tmp"
        temporary.mkdir()
        self.addCleanup(lambda: self.assertEqual(os.listdir(temporary), []))
        patch = mock.patch.dict(os.environ, XCLASS_XREGISTRY_LOCATION=str(self.store),
                                TMPDIR=str(temporary))
        patch.start()
        self.addCleanup(patch.stop)
        (self.folder / "c.jpg").write_bytes(JPEG)
        (self.folder / "d.png").write_bytes(PNG)
        self.put("a.wav")

    def put(self, name, *others):
        self.put_tagged(name, *others)
        return self.folder / name

    def tags(self, name):
        (told,) = self.run_json("info", name)
        tags = {tag["name"]: tag.get("value", tag.get("values")) for tag in told["tags"]}
        tags.pop("TagVersion", None)
        return tags, [(p["kind"], p["description"], p["bytes"]) for p in told["pictures"]]

    def choose(self, **choices):
        for option, choice in choices.items():
            self.run_host("options", "set", option.replace("_", " "), choice, "-q")


class TagTest(TagCase):
    def test_set(self):
        listed = '{"file":"x","kinds":"","tags":[{"name":"Title","value":"a\\tb"},' \
                 '{"name":"Artist","values":["C","D"]},{"name":"TagVersion","value":"ID3v2.3"}]}'
        (self.folder / "plain.json").write_text('{"Title": "T", "Artist": ["C", "D"], "Year": 1999}')
        old = [CHUNKS["LIST"], id3(3, text_frame(b"TPE1", "Old"), (b"PRIV", b"me\0data"))]
        comment = "comment " * 40
        cases = [  # chunks, arguments, standard input, tags
            ([], ["Title=New", "Artist=A", "ARTIST=B"], "", {"Title": "New", "Artist": ["A", "B"]}),
            ([], ["Title=a=b", "My own=x"], "", {"Title": "a=b", "My own": "x"}),
            (old, ["title=New"], "", {"Title": "New", "Artist": "Old", "Comment": comment}),
            (old, ["Title=", "Year=1"], "", {"Year": "1", "Artist": "Old", "Comment": comment}),
            (old, ["--remove", "comment", "--remove", "Artist", "Artist=N"], "",
             {"Title": "Old", "Artist": "N"}),
            ([], ["--from-json", "-"], listed, {"Title": "a\tb", "Artist": ["C", "D"]}),
            ([], ["--from-json", "-", "Title=mine"], json.dumps(json.loads(listed)["tags"]),
             {"Title": "mine", "Artist": ["C", "D"]}),
            ([], ["--from-json=plain.json", "Artist="], "", {"Title": "T", "Year": "1999"}),
            (old, ["--from-json", "-"], "{}", {"Title": "Old", "Artist": "Old", "Comment": comment}),
        ]
        for others, arguments, given, expected in cases:
            with self.subTest(arguments=arguments, given=given):
                path = self.put("in.wav", *others)
                before = path.read_bytes()
                for turn in ("updated", "unchanged"):
                    told = self.run_host("tag", "in.wav", *arguments, "--json", "--verify",
                                         input=given.encode(), stdin=None).stdout
                    told = json.loads(told)
                    changed = path.read_bytes() != before
                    self.assertEqual(told["result"], "updated" if changed else "unchanged")
                    self.assertEqual((told["size_before"], told["size_after"], told["not_kept"]),
                                     (len(before), path.stat().st_size, []))
                    self.assertEqual(changed, turn == "updated" and given != "{}")
                    before = path.read_bytes()
                self.assertEqual(self.tags("in.wav")[0], expected)
                self.assertEqual([c for c in chunks(before) if c[0] == b"data"][0][2], samples(800))
                self.assertEqual(b"PRIV" in before, bool(others))

    def test_pictures(self):
        front, back = ("Front Album Cover", "", len(PNG)), ("Back Album Cover", "", len(JPEG))
        (self.folder / "x:back").write_bytes(PNG)
        parts = {**CHUNKS, "cover": id3(3, apic(3, "described", JPEG))}
        cases = [  # chunks, arguments, pictures
            ([], ["--picture", "d.png"], [front]),
            ([], ["--picture", "c.jpg:BACK", "--picture", "d.png:front album cover"], [back, front]),
            ([], ["--picture", "d.png:logo", "--picture", "x:back"],
             [("Artist Logo", "", len(PNG)), front]),
            (["id3 "], ["--picture", "d.png"], [back, front]),  # its description does not stay
            (["id3 "], ["--picture", "d.png:back"], [("Front Album Cover", "described", len(JPEG)),
                                                      ("Back Album Cover", "", len(PNG))]),
            (["id3 "], ["--picture", "d.png:band"],
             [("Front Album Cover", "described", len(JPEG)), back, ("Band", "", len(PNG))]),
            (["LIST", "cover"], ["--picture", "d.png"], [front]),  # the ID3 tag is never empty
            (["id3 "], ["--remove", "_albumart_1_Front Album Cover<subdesc>described"], [back]),
            (["id3 "], ["--picture", "d.png:other-icon", "--remove", "_albumart_2_Back Album Cover"],
             [("Front Album Cover", "described", len(JPEG)), ("Other Icon", "", len(PNG))]),
        ]
        for names, arguments, expected in cases:
            with self.subTest(names=names, arguments=arguments):
                self.put("in.wav", *(parts[name] for name in names))
                (told,) = self.run_json("tag", *arguments, "in.wav")
                self.assertEqual((told["result"], told["not_kept"]), ("updated", []))
                self.assertEqual(sorted(self.tags("in.wav")[1]), sorted(expected))

    def test_untag(self):
        path = self.put("in.wav", *CHUNKS.values())
        self.put("Title")
        plain = path.read_bytes()
        done = self.run_host("untag", "in.wav", "Comment", "nothing", "--verify")
        self.assertEqual(done.stderr, "wavehost: no tag 'nothing' in in.wav\n")
        self.assertEqual((self.tags("in.wav")[0].get("Comment"), self.tags("in.wav")[0]["Title"]),
                         (None, "Old"))
        self.run_host("untag", "--name", "Title", "in.wav")
        self.assertNotIn("Title", self.tags("in.wav")[0])
        refused = self.run_host("untag", "in.wav", "Title", status=2, stdin=subprocess.DEVNULL)
        self.assertIn("--yes", refused.stderr)
        for answer, status in ((b"n\n", 1), (b"\n", 1), (b"\4", 1), (b"Yes\n", 0)):
            path.write_bytes(plain)
            master, slave = pty.openpty()
            os.write(master, answer)
            done = self.run_host("untag", "in.wav", "a.wav", status=status, stdin=slave)
            os.close(slave)
            os.close(master)
            self.assertTrue(done.stderr.startswith("Remove all tags from 2 files? [y/N] "))
            self.assertEqual(path.read_bytes() == plain, status == 1)
        path.write_bytes(plain)
        self.run_host("untag", "-y", "--", "in.wav")
        self.assertEqual(self.tags("in.wav"), ({}, []))
        self.assertIn(b"cue ", path.read_bytes())

    def test_dry_run(self):
        audio = b"data", samples(30003)
        junk = [CHUNKS["JUNK"], CHUNKS["LIST"]]
        cut = bytearray(wave((b"fmt ", PCM16), CHUNKS["LIST"], audio))
        struct.pack_into("<I", cut, cut.index(b"data") + 4, 40000)
        struct.pack_into("<I", cut, 4, len(cut) + 10000)
        layouts = {
            "plain": wave((b"fmt ", PCM16), audio),
            "tags behind": wave((b"fmt ", PCM16), audio, *CHUNKS.values()),
            "tags before": wave((b"fmt ", PCM16), *CHUNKS.values(), audio) + b"more behind the end",
            "padding before": wave((b"fmt ", PCM16), *junk, audio, CHUNKS["cue "]),
            "cut off": bytes(cut),
            "RF64": rf64((b"fmt ", PCM16), audio, CHUNKS["id3 "], mark=False),
            "RF64 with mark": rf64((b"fmt ", PCM16), *junk, audio, mark=True),
        }
        edits = [["tag", "Title=New", "Mood=x"], ["tag", "Comment=" + "c" * 3000],
                 ["tag", "--picture", "c.jpg", "CodingHistory=A=ANALOGUE"], ["untag", "--yes"],
                 ["tag", "Title=\u590f", "--remove", "Comment"], ["untag", "Artist"]]
        path = self.folder / "in.wav"
        for position, edits in (("[data] [LIST]", edits), ("[LIST] [optional padding] [data]", edits[:2])):
            self.choose(LIST_Chunk_Position=position)
            for (layout, content), edit in itertools.product(layouts.items(), edits):
                with self.subTest(position=position, layout=layout, edit=edit):
                    path.write_bytes(content)
                    os.utime(path, ns=(1, 12345))
                    (dry,) = self.run_json(*edit, "in.wav", "--dry-run")
                    self.assertEqual((path.read_bytes(), path.stat().st_mtime_ns), (content, 12345))
                    before = self.tags("in.wav")[0]
                    (real,) = self.run_json(*edit, "in.wav", "--verify")
                    after, now = self.tags("in.wav")[0], path.read_bytes()
                    for key in ("result", "size_before", "size_after"):
                        self.assertEqual(dry[key], real[key])
                    self.assertEqual([{**lost, "advice": 0} for lost in dry["not_kept"]],
                                     [{**lost, "advice": 0} for lost in real["not_kept"]])
                    self.assertNotIn("not_rehearsed", dry)
                    places = [next(p for n, p, _ in chunks(c) if n == b"data") for c in (content, now)]
                    self.assertEqual(dry["audio_moves"], places[0] != places[1])
                    changes = {name: {item["name"] for item in items
                                      if not item["name"].startswith(("Picture", "TagVersion"))}
                               for name, items in dry["changes"].items()}
                    self.assertEqual(changes["added"], after.keys() - before.keys())
                    self.assertEqual(changes["removed"], before.keys() - after.keys())
                    self.assertEqual(changes["changed"], {n for n in after.keys() & before.keys()
                                                          if after[n] != before[n]})

    def test_dry_run_text(self):
        self.put("in.wav", info_list(INAM=b"Old", ICMT=b"gone", IART=b"Ann"))
        text = self.run_host("tag", "in.wav", "Title=New\x1b", "Year=1", "Comment=", "--dry-run").stdout
        self.assertRegex(text, rb"^in\.wav: would be updated, \d+ bytes, \d+ more, audio stays in place\n")
        for line in ('  ~ Title: "Old" -> "New?"', '  + Year: "1"', '  - Comment: "gone"'):
            self.assertIn(line, text.decode().split("\n"))
        self.assertNotIn(b"Ann", text)


    def test_dry_run_without_rehearsal(self):
        path = self.put("in.wav", CHUNKS["LIST"])
        content = bytearray(path.read_bytes())
        struct.pack_into("<I", content, 4, 40)  # the audio goes on behind the container
        path.write_bytes(content)
        (dry,) = self.run_json("tag", "in.wav", "Title=New", "--remove", "nothing", "--dry-run")
        self.assertEqual((dry["size_after"], dry["audio_moves"]), (None, None))
        self.assertEqual(dry["changes"]["added"], [{"name": "Title", "values": ["New"]}])
        self.assertIn("header", dry["not_rehearsed"])
        self.assertEqual(path.read_bytes(), content)

    def put_huge(self, kind, size):  # sparse
        head = {b"RIFF": wave((b"fmt ", PCM16), (b"data", b"")),
                b"RF64": rf64((b"fmt ", PCM16), (b"data", b""), mark=True)}[kind]
        with open(self.folder / "huge.wav", "wb") as file:
            file.write(head)
            file.truncate(len(head) + size)
            if kind == b"RIFF":
                file.seek(4)
                file.write(struct.pack("<I", len(head) + size - 8))
                file.seek(len(head) - 4)
                file.write(struct.pack("<I", size))

    def test_huge_files(self):
        self.put_huge(b"RIFF", 0xFFFFFF00)
        for dry in ([], ["--dry-run"]):
            comment = "Comment=" + "c" * 300
            failed = self.run_host("tag", "huge.wav", comment, *dry, status=1)
            self.assertEqual("this would fail" in failed.stderr, bool(dry))
            self.assertEqual(os.stat(self.folder / "huge.wav").st_size, 0xFFFFFF00 + 44)
            self.run_host("tag", "huge.wav", "Year=1", "--dry-run")
        self.put_huge(b"RF64", 5 << 30)
        (dry,) = self.run_json("tag", "huge.wav", "Title=T", "--dry-run")
        self.assertEqual((dry["size_after"], dry["audio_moves"]), (None, None))
        self.assertEqual([item["name"] for item in dry["changes"]["added"]], ["Title", "TagVersion"])

    def test_keep_mtime(self):
        path = self.put("in.wav")
        for arguments, kept in ((["Title=a"], False), (["Title=b", "--keep-mtime"], True)):
            os.utime(path, ns=(5, 1234567890123456789))
            self.run_host("tag", "in.wav", *arguments)
            self.assertEqual(path.stat().st_mtime_ns == 1234567890123456789, kept)
        self.run_host("untag", "in.wav", "-y", "--keep-mtime")
        self.assertEqual(path.stat().st_mtime_ns, 1234567890123456789)

    @unittest.skipUnless("BROKEN_MODULE" in os.environ, "needs the module that damages audio")
    def test_verify(self):
        module = ["--module", os.environ.get("BROKEN_MODULE")]
        for command in (["tag", "Title=x"], ["untag", "--yes"]):
            self.put("in.wav")
            told = self.run_host(*command, *module, "in.wav")
            self.assertIn(b"in.wav: unchanged", told.stdout)  # nobody looked at the audio
            self.put("in.wav")
            failed = self.run_host(*command, *module, "in.wav", "--verify", "--json", status=1)
            self.assertRegex(failed.stderr, r"in\.wav: THE AUDIO IS NOT THE SAME .*800 bytes, XXH3")
            self.assertIn("error", json.loads(failed.stdout))

    def test_not_kept(self):
        unicode, creation, untag = (
            'wavehost options set "ID3v2 Text Encoding" Unicode-16',
            'wavehost options set "Tag Creation" "(default - LIST & ID3)"', "wavehost untag in.wav")
        summer = "\u590f"
        only_list = [info_list(INAM=b"Old")]
        cases = [  # choice of Tag Creation, chunks, arguments, what is not kept
            ("(default - LIST & ID3)", [], ["Title=caf\u00e9 \u20ac"], []),
            ("(default - LIST & ID3)", [], ["Title=" + summer, "Artist=a"],
             [("Title", [summer], ["?"], [unicode])]),
            ("(default - LIST & ID3)", [], ["Title=\U0001f600"], [("Title", ["\U0001f600"], ["?"], [])]),
            ("LIST", [], ["Title=" + summer, "Mood=m"],
             [("Title", [summer], ["_"], [creation, unicode, untag]),
              ("Mood", ["m"], [], [creation, untag])]),
            ("LIST", only_list, ["--picture", "d.png"],
             [("Picture: Front Album Cover", ["image/png, 58 bytes"], [], [creation, untag])]),
            ("(default - LIST & ID3)", only_list, ["Mood=m"], [("Mood", ["m"], [], [untag])]),
            ("(none)", [], ["Title=T"], [("Title", ["T"], [], [creation])]),
        ]
        for choice, others, arguments, expected in cases:
            with self.subTest(choice=choice, arguments=arguments):
                self.choose(Tag_Creation=choice)
                path = self.put("in.wav", *others)
                stored = self.store.read_bytes()
                done = self.run_host("tag", "in.wav", *arguments, "--json")
                lost = json.loads(done.stdout)["not_kept"]
                self.assertEqual([tuple(item.values()) for item in lost], expected)
                self.assertEqual(self.store.read_bytes(), stored)
                lines = done.stderr.splitlines()
                for line, (name, _, _, advice) in itertools.zip_longest(lines, expected):
                    self.assertTrue(line.startswith(f"wavehost: in.wav: warning: {name} is "), line)
                    self.assertIn(" && ".join(advice), line)
                for command in {command: 0 for item in expected for command in item[3]}:
                    subprocess.run(command.replace("wavehost", f"'{base.HOST}'", 1).replace(
                        "untag", "untag --yes"), shell=True, check=True, cwd=self.folder,
                        stdout=subprocess.DEVNULL)
                (told,) = self.run_json("tag", "in.wav", *arguments)
                self.assertEqual([item["name"] for item in told["not_kept"] if item["advice"]], [])
                self.choose(ID3v2_Text_Encoding="ANSI")

    def test_options(self):
        first, *_, last = json.loads(self.run_host("options", "--json").stdout)["options"]
        self.assertEqual((first["choice"], first["number"]), (first["choices"][0], 0))
        cases = [  # arguments, value in the store, its number, the marked line
            (["LIST Padding Type", "'PAD ' Chunk"], "WaveLISTPadding", 1, "  * 'PAD ' Chunk"),
            (["list track tag", "itrk"], "WaveLISTTrack", 2, "  * itrk"),
            (["list  track tag", "Itrk"], "WaveLISTTrack", 0, "  * ITRK"),
            (["LIST chunk position", "[list] [optional padding] [data]"], "WaveLISTPos", 1,
             "  * [LIST]  [optional padding]  [data]"),
        ]
        self.store.write_text('{"other": {"kept": 1}, "hkcu": {"Software": {}}}')
        for arguments, name, number, line in cases:
            with self.subTest(arguments=arguments):
                text = self.run_host("options", "set", *arguments).stdout.decode()
                self.assertIn(line, text.split("\n"))
                self.assertIn(line, self.run_host("options").stdout.decode().split("\n"))
                store = json.loads(self.store.read_text())
                tagging = store["hkcu"]["Software"]["Mardel"]["Tonvark"]["Tagging"]
                self.assertEqual((tagging[name], store["other"]), (number, {"kept": 1}))
        tagging["WaveLISTPos"] = 7
        self.store.write_text(json.dumps(store))
        self.assertIn(b"7 is stored, which is no choice", self.run_host("options").stdout)
        for arguments, lines in ((["nothing", "x"], [first["name"], last["name"]]),
                                 ([last["name"], "x"], last["choices"])):
            told = self.run_host("options", "set", *arguments, status=2).stderr
            self.assertLessEqual({"  " + line for line in lines}, set(told.split("\n")))
        self.store.unlink()
        self.store.mkdir()
        failed = self.run_host("options", "set", "LIST Padding Type", "(none)", status=1)
        self.assertIn(f"cannot write the settings file '{self.store}'", failed.stderr)

    def test_failures(self):
        self.put("z.wav")
        (self.folder / "text.wav").write_bytes(b"no audio at all")
        (self.folder / "empty.wav").write_bytes(wave((b"fmt ", PCM16), (b"cue ", bytes(4))))
        before = {name: (self.folder / name).read_bytes() for name in ("text.wav", "empty.wav")}
        files = ["a.wav", "text.wav", "nothing.wav", "empty.wav", "z.wav"]
        for more in ([], ["--dry-run"], ["--verify"]):
            told = self.run_json("tag", *files, "Title=T", *more, status=1)
            self.assertEqual([item["file"] for item in told], files)
            self.assertEqual(["error" in item for item in told], [False, True, True, True, False])
        for name, content in before.items():
            self.assertEqual((self.folder / name).read_bytes(), content)
        (self.folder / "bad.json").write_text('{"Title": ')
        (self.folder / "zero.json").write_text('{"Ti\\u0000": "x"}')
        (self.folder / "_.json").write_text('[{"name": "_riff_1", "value": "x"}]')
        (self.folder / "deep.json").write_text('{"Title": {"a": 1}}')
        (self.folder / "text.jpg").write_text("no picture")
        self.put("b=c.wav")
        state = (self.folder / "a.wav").read_bytes()
        cases = [
            (["tag", "a.wav"], 2, "NAME=VALUE"), (["tag", "Title=x"], 2, "FILE"),
            (["tag", "a.wav", "=x"], 2, "without a name"), (["tag", "a.wav", "_x=1"], 2, "reserved"),
            (["tag", "a.wav", b"Title=\xff"], 2, "UTF-8"), (["tag", "b=c.wav", "T=x"], 2, "--"),
            (["tag", "a.wav", "--picture", "c.jpg:nothing"], 2, "band"),
            (["tag", "a.wav", "--picture", "text.jpg"], 1, "no picture"),
            (["tag", "a.wav", "--picture", "none.jpg:back"], 1, "No such file"),
            (["tag", "a.wav", "--from-json", "bad.json"], 1, "no JSON"),
            (["tag", "a.wav", "--from-json", "zero.json"], 2, "no text"),
            (["tag", "a.wav", "--from-json", "_.json"], 2, "reserved"),
            (["tag", "a.wav", "--from-json", "deep.json"], 1, "list of texts"),
            (["tag", "a.wav", "--from-json", "."], 1, "cannot read"),
            (["untag"], 2, "FILE"), (["untag", "none.wav", "--yes"], 2, "existing file"),
            (["untag", "a.wav", "--name", ""], 2, "without a name"),
            (["options", "set", "Tag Creation"], 2, "choice"), (["options", "--", "a.wav"], 2, "a.wav"),
        ]
        for arguments, status, message in cases:
            with self.subTest(arguments=arguments):
                done = self.run_host(*arguments, status=status)
                self.assertIn(message, done.stderr)
                self.assertEqual((self.folder / "a.wav").read_bytes(), state)
        self.run_host("tag", "Title=x", "a.wav", "--", "b=c.wav")
        self.assertEqual(self.tags("b=c.wav")[0], {"Title": "x"})


if __name__ == "__main__":
    unittest.main()
