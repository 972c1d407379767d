"""What test cases that run programs share."""
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path


def run(*command, encoding="utf-8"):
    """What a program writes; bytes without an encoding."""
    done = subprocess.run([str(part) for part in command], capture_output=True, timeout=60,
                          check=False)
    assert done.returncode == 0, (command, done.stderr)
    return done.stdout.decode(encoding) if encoding else done.stdout


class FolderCase(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory(prefix="wave-tests-")))

    def need(self, *tools):
        for tool in tools:
            if not shutil.which(tool):
                self.skipTest(f"{tool} is not installed")

    def put(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path
