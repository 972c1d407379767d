#!/usr/bin/env python3
"""The tables of docs/tags.md, which people go by: each field is where they say. WAVE_MODULE names the module."""
import os
import re
import tempfile
import unittest
from pathlib import Path

from codec_module import ROOT, Decoder, describe
from wave_files import chunk, fmt, riff

VALUES = {"Year": "2001", "Track": "3", "Rating": "5", "Original release year": "1999",
          "Recording dates": "5th June", "User defined URL link": "page http://a",
          "TimeReference": "44100", "OrigDate": "2026-11-21", "OrigTime": "08:30:00"}


def documented():
    """(name, ID in LIST or "", frame of ID3v2.3) of each field."""
    text = (ROOT / "docs/tags.md").read_text(encoding="utf-8")
    for place, table in re.findall(r"^### With a place in (\S+).*?$([^#]*)", text, re.MULTILINE):
        for row in re.findall(r"^\|.*\|$", table, re.MULTILINE)[2:]:
            cells = [cell.strip() for cell in row.strip("|").split("|")]
            if place == "`LIST`" and "`" not in cells[0] and "only read" not in cells[1]:
                yield cells[0], cells[1][1:5], frame_of(cells[2])
            elif place == "ID3v2":
                for name, frame in (cells[:2], cells[2:]):
                    if "`" not in name and name != "any other name":
                        yield name, "", frame_of(frame)


def frame_of(cell):
    return "TXXX" if cell == "user text" or "(2.4)" in cell.split(",")[0] else cell[1:5]


class Documents(unittest.TestCase):
    def test_fields_are_where_the_tables_say(self):
        with tempfile.TemporaryDirectory(prefix="wave-tests-") as folder:
            os.environ["XCLASS_XREGISTRY_LOCATION"] = f"{folder}/settings"
            path = Path(folder, "a.wav")
            fields = list(documented())
            self.assertGreater(len(fields), 60)
            for name, info, frame in fields:
                value = VALUES.get(name, "x")
                path.write_bytes(riff(fmt(1, 1, 8000, 16), chunk(b"data", bytes(20))))
                with self.subTest(name), Decoder() as decoder:
                    self.assertTrue(decoder.write_tags(path, [(name, value)]))
                    written = path.read_bytes()
                    listed = re.findall(rb"INFO(\w{4})", written)
                    self.assertEqual(listed, [info.encode()] if info else [])
                    frames = re.findall(rb"ID3\x03.{6}([A-Z0-9]{4})", written, re.DOTALL)
                    self.assertEqual(frames, [frame.encode()])
                    tags = {found.lower(): text for found, text, _ in describe(path)[0]}
                    self.assertEqual(tags.get(name.lower()), value)


if __name__ == "__main__":
    unittest.main()
