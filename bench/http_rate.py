#!/usr/bin/env python3
"""Decoding from a local nginx beside curl, and from a server that drops each connection after 64 MiB:
http_rate.py DECODE_RATE FOLDER"""
import os
import re
import shutil
import socket
import statistics
import subprocess
import sys
import threading
import time
from pathlib import Path

MIB = 1 << 20
SIZE = 1024 * MIB
PATH = os.environ["PATH"] + ":/usr/sbin"
TOOL, FOLDER = sys.argv[1], Path(sys.argv[2])


def make_file(path):
    if path.exists() and path.stat().st_size == SIZE + 44:
        return
    head = bytes.fromhex("1000000001000200 44ac000010b1020004001000")
    with path.open("wb") as file:
        file.write(b"RIFF" + (SIZE + 36).to_bytes(4, "little") + b"WAVEfmt " + head + b"data" +
                   SIZE.to_bytes(4, "little"))
        for _ in range(SIZE // MIB):
            file.write(os.urandom(MIB))


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def start_nginx():
    port = free_port()
    (FOLDER / "nginx.conf").write_text(
        f"daemon off; master_process off; pid pid; error_log stderr; events {{ }}\n"
        "http { access_log off; sendfile on; " + "".join(
            f"{kind}_temp_path {kind}; " for kind in
            ("client_body", "proxy", "fastcgi", "uwsgi", "scgi")) +
        f"server {{ listen 127.0.0.1:{port}; root .; }} }}\n")
    server = subprocess.Popen(["nginx", "-p", FOLDER, "-c", "nginx.conf"], env={"PATH": PATH},
                              stderr=subprocess.DEVNULL)
    time.sleep(1)
    return server, port


def serve_dropping(path, port):
    """Ends each connection 64 MiB into the body."""
    def serve(client):
        head = client.recv(65536).decode()
        asked = re.search("bytes=([0-9]+)-", head)
        first = int(asked[1]) if asked else 0
        size = path.stat().st_size
        client.sendall((f"HTTP/1.1 {'206 Partial' if asked else '200 OK'}\r\nAccept-Ranges: bytes\r\n"
                        f"Content-Range: bytes {first}-{size - 1}/{size}\r\n"
                        f"Content-Length: {size - first}\r\n\r\n").encode())
        end = min(size, first + 64 * MIB)
        with path.open("rb") as file:
            while first < end and (sent := os.sendfile(client.fileno(), file.fileno(), first,
                                                       end - first)):
                first += sent
        client.close()

    def run():
        listener = socket.create_server(("127.0.0.1", port))
        while True:
            threading.Thread(target=serve, args=[listener.accept()[0]], daemon=True).start()
    threading.Thread(target=run, daemon=True).start()


def curl(address):
    begin = time.perf_counter()
    subprocess.run(["curl", "-s", "-o", "/dev/null", address], check=True)
    return SIZE / (time.perf_counter() - begin)


def decode(address):
    begin = time.perf_counter()
    told = subprocess.run([TOOL, address], check=True, stdout=subprocess.PIPE).stdout.split()
    assert int(told[0]) == SIZE, told
    decode.heap = int(told[2])
    return SIZE / (time.perf_counter() - begin)


if not shutil.which("nginx", path=PATH) or not shutil.which("curl"):
    sys.exit("nginx or curl: not installed")
FOLDER.mkdir(parents=True, exist_ok=True)
make_file(FOLDER / "http.wav")
nginx, nginx_port = start_nginx()
dropping_port = free_port()
serve_dropping(FOLDER / "http.wav", dropping_port)
rates = {"curl": [], "stream": [], "stream, dropped every 64 MiB": []}
try:
    for _ in range(7):
        rates["curl"].append(curl(f"http://127.0.0.1:{nginx_port}/http.wav"))
        rates["stream"].append(decode(f"http://127.0.0.1:{nginx_port}/http.wav"))
        rates["stream, dropped every 64 MiB"].append(
            decode(f"http://127.0.0.1:{dropping_port}/http.wav"))
finally:
    nginx.terminate()
medians = {name: statistics.median(values) for name, values in rates.items()}
for name, rate in medians.items():
    print(f"{name}: {rate / 1e9:.2f} GB/s, {rate / medians['curl']:.2f} of curl")
print(f"heap of the stream's decoder: {decode.heap / 1024:.0f} KiB")
