#!/usr/bin/env python3
"""Tests of the host's commands that change tags. WAVEHOST names the executable."""
import itertools
import json
import os
import struct
import subprocess
import unittest
from unittest import mock

from test_wavehost import AUDIO, HOST, JPEG, PCM16, PNG, HostCase, terminal
from wave_files import apic, bext, chunk, chunks, id3, info, rf64, riff, samples, text_frame

COMMENT = "comment " * 40
CHUNKS = {  # what a file may have besides format and audio
    "LIST": info(INAM="Old", ICMT=COMMENT),
    "id3 ": id3(3, text_frame(b"TPE1", "Old"), apic(3, "described", JPEG), apic(4, "", JPEG)),
    "bext": bext(b"Old", b"Desk", b"A=PCM\r\n"),
    "JUNK": chunk(b"JUNK", bytes(900)),
    "cue ": chunk(b"cue ", bytes(29)),
}
BOTH = "(default - LIST & ID3)"


class TagCase(HostCase):
    def setUp(self):
        super().setUp()
        self.store = self.folder / "settings"
        temporary = self.folder / "tmp"
        temporary.mkdir()
        self.addCleanup(lambda: self.assertEqual(os.listdir(temporary), []))
        self.enterContext(mock.patch.dict(
            os.environ, XCLASS_XREGISTRY_LOCATION=str(self.store), TMPDIR=str(temporary)))
        self.put("c.jpg", JPEG)
        self.put("d.png", PNG)
        self.put_wave("a.wav")

    def tags(self, name="in.wav"):
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
        self.put("plain.json", b'{"Title": "T", "Artist": ["C", "D"], "Year": 1999}')
        old = [CHUNKS["LIST"], id3(3, text_frame(b"TPE1", "Old"), (b"PRIV", b"me\0data"))]
        cases = [  # chunks, arguments, standard input, tags
            ([], "Title=New|Artist=A|ARTIST=B", "", {"Title": "New", "Artist": ["A", "B"]}),
            ([], "Title=a=b|My own=x", "", {"Title": "a=b", "My own": "x"}),
            (old, "title=New", "", {"Title": "New", "Artist": "Old", "Comment": COMMENT}),
            (old, "Title=|Year=1", "", {"Year": "1", "Artist": "Old", "Comment": COMMENT}),
            (old, "--remove|comment|--remove|Artist|Artist=N", "", {"Title": "Old", "Artist": "N"}),
            ([], "--from-json|-", listed, {"Title": "a\tb", "Artist": ["C", "D"]}),
            ([], "--from-json|-|Title=mine", json.dumps(json.loads(listed)["tags"]),
             {"Title": "mine", "Artist": ["C", "D"]}),
            ([], "--from-json=plain.json|Artist=", "", {"Title": "T", "Year": "1999"}),
            (old, "--from-json|-", "{}", {"Title": "Old", "Artist": "Old", "Comment": COMMENT}),
        ]
        for others, arguments, given, expected in cases:
            with self.subTest(arguments=arguments, given=given):
                path = self.put_wave("in.wav", *others)
                for changes in (given != "{}", False):
                    before = path.read_bytes()
                    done = self.run_host("tag", "in.wav", *arguments.split("|"), "--json",
                                         "--verify", input=given.encode(), stdin=None)
                    after = path.read_bytes()
                    self.assertEqual(after != before, changes)
                    self.assert_has(json.loads(done.stdout), not_kept=[], size_before=len(before),
                                    result="updated" if changes else "unchanged",
                                    size_after=len(after))
                self.assertEqual(self.tags()[0], expected)
                self.assertIn((b"data", AUDIO), [part[:2] for part in chunks(after)])
                self.assertEqual(b"PRIV" in after, bool(others))

    def test_pictures(self):
        front, back = ("Front Album Cover", "", len(PNG)), ("Back Album Cover", "", len(JPEG))
        described = ("Front Album Cover", "described", len(JPEG))
        self.put("x:back", PNG)
        old = [CHUNKS["id3 "]]
        cases = [  # chunks, arguments, pictures
            ([], "--picture|d.png", [front]),
            ([], "--picture|c.jpg:BACK|--picture|d.png:front album cover", [back, front]),
            ([], "--picture|d.png:logo|--picture|x:back", [("Artist Logo", "", len(PNG)), front]),
            (old, "--picture|d.png", [back, front]),  # its description does not stay
            (old, "--picture|d.png:back", [described, ("Back Album Cover", "", len(PNG))]),
            (old, "--picture|d.png:band", [described, back, ("Band", "", len(PNG))]),
            ([CHUNKS["LIST"], id3(3, apic(3, "described", JPEG))],  # the ID3 tag is never empty
             "--picture|d.png", [front]),
            (old, "--remove|_albumart_1_Front Album Cover<subdesc>described", [back]),
            (old, "--picture|d.png:other-icon|--remove|_albumart_2_Back Album Cover",
             [described, ("Other Icon", "", len(PNG))]),
        ]
        for others, arguments, expected in cases:
            with self.subTest(arguments=arguments, others=len(others)):
                self.put_wave("in.wav", *others)
                (told,) = self.run_json("tag", *arguments.split("|"), "in.wav")
                self.assert_has(told, result="updated", not_kept=[])
                self.assertEqual(sorted(self.tags()[1]), sorted(expected))

    def test_untag(self):
        path = self.put_wave("in.wav", *CHUNKS.values())
        self.put_wave("Title")
        plain = path.read_bytes()
        done = self.run_host("untag", "in.wav", "Comment", "nothing", "--verify")
        self.assertEqual(done.stderr, "wavehost: no tag 'nothing' in in.wav\n")
        left = self.tags()[0]
        self.assertEqual((left.get("Comment"), left["Title"]), (None, "Old"))
        self.run_host("untag", "--name", "Title", "in.wav")
        self.assertNotIn("Title", self.tags()[0])
        refused = self.run_host("untag", "in.wav", "Title", status=2, stdin=subprocess.DEVNULL)
        self.assertIn("--yes", refused.stderr)
        for answer, status in ((b"n\n", 1), (b"\n", 1), (b"\4", 1), (b"Yes\n", 0)):
            path.write_bytes(plain)
            with terminal() as (master, slave):
                os.write(master, answer)
                done = self.run_host("untag", "in.wav", "a.wav", status=status, stdin=slave)
            self.assertTrue(done.stderr.startswith("Remove all tags from 2 files? [y/N] "))
            self.assertEqual(path.read_bytes() == plain, status == 1)
        path.write_bytes(plain)
        self.run_host("untag", "-y", "--", "in.wav")
        self.assertEqual(self.tags(), ({}, []))
        self.assertIn(b"cue ", path.read_bytes())

    def test_dry_run(self):
        audio, junk = chunk(b"data", samples(30003)), CHUNKS["JUNK"] + CHUNKS["LIST"]
        everything = b"".join(CHUNKS.values())
        cut = bytearray(riff(PCM16, CHUNKS["LIST"], audio))
        struct.pack_into("<I", cut, cut.index(b"data") + 4, 40000)
        struct.pack_into("<I", cut, 4, len(cut) + 10000)
        layouts = {
            "plain": riff(PCM16, audio),
            "tags behind": riff(PCM16, audio, everything),
            "tags before": riff(PCM16, everything, audio) + b"more behind the end",
            "padding before": riff(PCM16, junk, audio, CHUNKS["cue "]),
            "cut off": bytes(cut),
            "RF64": rf64(PCM16, audio, CHUNKS["id3 "], mark=False),
            "RF64 with mark": rf64(PCM16, junk, audio),
        }
        edits = [["tag", "Title=New", "Mood=x"], ["tag", "Comment=" + "c" * 3000],
                 ["tag", "--picture", "c.jpg", "CodingHistory=A=ANALOGUE"], ["untag", "--yes"],
                 ["tag", "Title=\u590f", "--remove", "Comment"], ["untag", "Artist"]]
        for position, edits in (("[data] [LIST]", edits),
                                ("[LIST] [optional padding] [data]", edits[:2])):
            self.choose(LIST_Chunk_Position=position)
            for (layout, content), edit in itertools.product(layouts.items(), edits):
                with self.subTest(position=position, layout=layout, edit=edit):
                    self.check_rehearsal(content, edit)

    def check_rehearsal(self, content, edit):
        path = self.put("in.wav", content)
        os.utime(path, ns=(1, 12345))
        (dry,) = self.run_json(*edit, "in.wav", "--dry-run")
        self.assertEqual((path.read_bytes(), path.stat().st_mtime_ns), (content, 12345))
        before = self.tags()[0]
        (real,) = self.run_json(*edit, "in.wav", "--verify")
        after, now = self.tags()[0], path.read_bytes()
        for told in (dry, real):
            told["not_kept"] = [{**lost, "advice": 0} for lost in told["not_kept"]]
        self.assert_has(real, **{key: dry[key] for key in
                                 ("result", "size_before", "size_after", "not_kept")})
        self.assertNotIn("not_rehearsed", dry)
        self.assertEqual(dry["audio_moves"], content.index(b"data") != now.index(b"data"))
        names = {change: {item["name"] for item in items
                          if not item["name"].startswith(("Picture", "TagVersion"))}
                 for change, items in dry["changes"].items()}
        self.assertEqual(names, {
            "added": after.keys() - before.keys(), "removed": before.keys() - after.keys(),
            "changed": {n for n in after.keys() & before.keys() if after[n] != before[n]}})

    def test_dry_run_text(self):
        self.put_wave("in.wav", info(INAM="Old", ICMT="gone", IART="Ann"))
        text = self.run_text("tag", "in.wav", "Title=New\x1b", "Year=1", "Comment=", "--dry-run")
        self.assertRegex(
            text, r"^in\.wav: would be updated, \d+ bytes, \d+ more, audio stays in place\n")
        for line in ('  ~ Title: "Old" -> "New?"', '  + Year: "1"', '  - Comment: "gone"'):
            self.assertIn(line, text.split("\n"))
        self.assertNotIn("Ann", text)

    def test_dry_run_without_rehearsal(self):
        content = bytearray(riff(PCM16, chunk(b"data", AUDIO), CHUNKS["LIST"]))
        struct.pack_into("<I", content, 4, 40)  # the audio goes on behind the container
        path = self.put("in.wav", content)
        (dry,) = self.run_json("tag", "in.wav", "Title=New", "--remove", "nothing", "--dry-run")
        self.assert_has(dry, size_after=None, audio_moves=None)
        self.assertEqual(dry["changes"]["added"], [{"name": "Title", "values": ["New"]}])
        self.assertIn("header", dry["not_rehearsed"])
        self.assertEqual(path.read_bytes(), content)

    def test_huge_files(self):
        size = 0xFFFFFF00
        head = bytearray(riff(PCM16, chunk(b"data", b"")))
        struct.pack_into("<I", head, 4, len(head) + size - 8)
        struct.pack_into("<I", head, len(head) - 4, size)
        self.put_sparse("huge.wav", head, size)
        for dry in ([], ["--dry-run"]):
            comment = "Comment=" + "c" * 300
            failed = self.run_host("tag", "huge.wav", comment, *dry, status=1)
            self.assertEqual("this would fail" in failed.stderr, bool(dry))
            self.assertEqual((self.folder / "huge.wav").stat().st_size, size + 44)
            self.run_host("tag", "huge.wav", "Year=1", "--dry-run")
        self.put_sparse("huge.wav", rf64(PCM16, chunk(b"data", b"")), 5 << 30)
        (dry,) = self.run_json("tag", "huge.wav", "Title=T", "--dry-run")
        self.assert_has(dry, size_after=None, audio_moves=None)
        added = [item["name"] for item in dry["changes"]["added"]]
        self.assertEqual(added, ["Title", "TagVersion"])

    def test_advice_shows_no_control_characters(self):
        self.put_wave("a\x1b[31m.wav", info(INAM="Old"))
        done = self.run_host("tag", "a\x1b[31m.wav", "Weird Field=x")
        self.assertIn("to keep it: wavehost untag", done.stderr)
        self.assertNotIn("\x1b", done.stderr)

    def test_keep_mtime(self):
        path, time = self.put_wave("in.wav"), 1234567890123456789
        for arguments, kept in (("tag Title=a", False), ("tag Title=b --keep-mtime", True),
                                ("untag -y --keep-mtime", True)):
            os.utime(path, ns=(5, time))
            self.run_host(*arguments.split(), "in.wav")
            self.assertEqual(path.stat().st_mtime_ns == time, kept)

    @unittest.skipUnless("BROKEN_MODULE" in os.environ, "needs the module that damages audio")
    def test_verify(self):
        module = ["--module", os.environ.get("BROKEN_MODULE")]
        for command in (["tag", "Title=x"], ["untag", "--yes"]):
            self.put_wave("in.wav")
            told = self.run_text(*command, *module, "in.wav")
            self.assertIn("in.wav: unchanged", told)  # nobody looked at the audio
            self.put_wave("in.wav")
            failed = self.run_host(*command, *module, "in.wav", "--verify", "--json", status=1)
            self.assertRegex(failed.stderr,
                             r"in\.wav: THE AUDIO IS NOT THE SAME .*200000 bytes, XXH3")
            self.assertIn("error", json.loads(failed.stdout))

    def test_not_kept(self):
        unicode, creation, untag = (
            'wavehost options set "ID3v2 Text Encoding" Unicode-16',
            f'wavehost options set "Tag Creation" "{BOTH}"', "wavehost untag in.wav")
        summer, smile, only_list = "\u590f", "\U0001f600", [info(INAM="Old")]
        cases = [  # choice of Tag Creation, chunks, arguments, what is not kept
            (BOTH, [], ["Title=caf\u00e9 \u20ac"], []),
            (BOTH, [], ["Title=" + summer, "Artist=a"], [("Title", [summer], ["?"], [unicode])]),
            (BOTH, [], ["Title=" + smile], [("Title", [smile], ["?"], [])]),
            ("LIST", [], ["Title=" + summer, "Mood=m"],
             [("Title", [summer], ["_"], [creation, unicode, untag]),
              ("Mood", ["m"], [], [creation, untag])]),
            ("LIST", only_list, ["--picture", "d.png"],
             [("Picture: Front Album Cover", ["image/png, 58 bytes"], [], [creation, untag])]),
            (BOTH, only_list, ["Mood=m"], [("Mood", ["m"], [], [untag])]),
            ("(none)", [], ["Title=T"], [("Title", ["T"], [], [creation])]),
        ]
        for choice, others, arguments, expected in cases:
            with self.subTest(choice=choice, arguments=arguments):
                self.choose(Tag_Creation=choice)
                self.put_wave("in.wav", *others)
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
                    subprocess.run(command.replace("wavehost", f"'{HOST}'", 1).replace(
                        "untag", "untag --yes"), shell=True, check=True, cwd=self.folder,
                        stdout=subprocess.DEVNULL)
                (told,) = self.run_json("tag", "in.wav", *arguments)
                self.assertEqual([item["name"] for item in told["not_kept"] if item["advice"]], [])
                self.choose(ID3v2_Text_Encoding="ANSI")

    def test_options(self):
        (told,) = self.run_json("options")
        first, *_, last = told["options"]
        self.assert_has(first, choice=first["choices"][0], number=0)
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
                self.assertIn(line, self.run_text("options", "set", *arguments).split("\n"))
                self.assertIn(line, self.run_text("options").split("\n"))
                store = json.loads(self.store.read_text())
                tagging = store["hkcu"]["Software"]["Mardel"]["Tonvark"]["Tagging"]
                self.assertEqual((tagging[name], store["other"]), (number, {"kept": 1}))
        tagging["WaveLISTPos"] = 7
        self.store.write_text(json.dumps(store))
        self.assertIn("7 is stored, which is no choice", self.run_text("options"))
        for name, lines in (("nothing", [first["name"], last["name"]]),
                            (last["name"], last["choices"])):
            told = self.run_host("options", "set", name, "x", status=2).stderr
            self.assertLessEqual({"  " + line for line in lines}, set(told.split("\n")))
        self.store.unlink()
        self.store.mkdir()
        failed = self.run_host("options", "set", "LIST Padding Type", "(none)", status=1)
        self.assertIn(f"cannot write the settings file '{self.store}'", failed.stderr)

    def test_failures(self):
        self.put_wave("z.wav")
        bad = {"text.wav": b"no audio at all",
               "empty.wav": riff(PCM16, chunk(b"cue ", bytes(4)))}
        for name, content in {
                **bad, "bad.json": b'{"Title": ', "zero.json": b'{"Ti\\u0000": "x"}',
                "_.json": b'[{"name": "_riff_1", "value": "x"}]', "text.jpg": b"no picture",
                "deep.json": b'{"Title": {"a": 1}}',
                "one.json": b"1"}.items():
            self.put(name, content)
        files = {"a.wav": False, "text.wav": True, "nothing.wav": True, "empty.wav": True,
                 "z.wav": False}
        for more in ([], ["--dry-run"], ["--verify"]):
            self.assert_files(self.run_json("tag", *files, "Title=T", *more, status=1), **files)
        self.assertEqual({name: self.read(name) for name in bad}, bad)
        self.put_wave("b=c.wav")
        state = self.read("a.wav")
        cases = [
            ("tag|a.wav", 2, "NAME=VALUE"), ("tag|Title=x", 2, "FILE"), ("untag", 2, "FILE"),
            ("tag|a.wav|=x", 2, "without a name"), ("tag|a.wav|_x=1", 2, "reserved"),
            ("tag|a.wav|Title=\udcff", 2, "UTF-8"), ("tag|b=c.wav|T=x", 2, "--"),
            ("tag|a.wav|--picture|c.jpg:nothing", 2, "band"),
            ("tag|a.wav|--picture|text.jpg", 1, "no picture"),
            ("tag|a.wav|--picture|none.jpg:back", 1, "No such file"),
            ("tag|a.wav|--from-json|bad.json", 1, "no JSON"),
            ("tag|a.wav|--from-json|zero.json", 2, "no text"),
            ("tag|a.wav|--from-json|_.json", 2, "reserved"),
            ("tag|a.wav|--from-json|deep.json", 1, "list of texts"),
            ("tag|a.wav|--from-json|.", 1, "cannot read"),
            ("tag|a.wav|--from-json|one.json", 1, "no list of tags"),
            ("tag|a.wav|--picture|/dev/null:back", 1, "no regular file"),
            ("untag|none.wav|--yes", 2, "existing file"),
            ("untag|a.wav|--name|", 2, "without a name"),
            ("options|set|Tag Creation", 2, "choice"), ("options|--|a.wav", 2, "a.wav"),
        ]
        for arguments, status, message in cases:
            with self.subTest(arguments=arguments):
                done = self.run_host(*arguments.split("|"), status=status)
                self.assertIn(message, done.stderr)
                self.assertEqual(self.read("a.wav"), state)
        self.run_host("tag", "Title=x", "a.wav", "--", "b=c.wav")
        self.assertEqual(self.tags("b=c.wav")[0], {"Title": "x"})


if __name__ == "__main__":
    unittest.main()
